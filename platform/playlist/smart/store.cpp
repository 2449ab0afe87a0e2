#include "platform/playlist/smart/store.h"

#include <json/json.h>
#include <sys/stat.h>
#include <syslog.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <list>
#include <memory>
#include <sstream>

#include "platform/auth/preference_dir.h"
#include "platform/config/config.h"
#include "platform/file/atomic_file.h"
#include "platform/text/json_parse.h"

namespace cantora {
namespace {

bool ParseStore(const std::string& text, std::vector<SmartPlaylistEntry>* entries,
                std::string* error) {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  Json::Value root;
  if (!ParseJson(text, builder, &root)) {
    *error = "not JSON";
    return false;
  }
  if (!root.isObject() || !root["playlists"].isArray()) {
    *error = "expected an object with a \"playlists\" array";
    return false;
  }
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  const Json::Value& list = root["playlists"];
  for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
    const Json::Value& entry = list[i];
    if (!entry.isObject() || !entry["name"].isString()) {
      *error = "playlist " + std::to_string(i + 1) + " is not an object with a text \"name\"";
      return false;
    }
    entries->push_back({entry["name"].asString(), Json::writeString(writer, entry)});
  }
  return true;
}

}  // namespace

std::string SmartPlaylistRules(SmartPlaylistStores& stores, const std::string& path,
                               const std::string& name) {
  for (const SmartPlaylistEntry& e : stores.Load(path))
    if (e.name == name) return e.json;
  return std::string();
}

const std::vector<SmartPlaylistEntry>& SmartPlaylistStores::Load(const std::string& path) {
  for (const Store& s : stores_)
    if (s.path == path) return s.entries;
  Store store{path, {}};
  std::string error;
  if (!ReadSmartPlaylistStore(path, &store.entries, &error)) {
    syslog(LOG_ERR, "smart playlist store %s: %s", path.c_str(), error.c_str());
    store.entries.clear();
  }
  stores_.push_back(std::move(store));
  return stores_.back().entries;
}

bool ReadSmartPlaylistStore(const std::string& path, std::vector<SmartPlaylistEntry>* entries,
                            std::string* error) {
  entries->clear();
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    if (errno == ENOENT) return true;
    *error = std::strerror(errno);
    return false;
  }
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) {
    *error = "read error";
    return false;
  }
  if (!ParseStore(text.str(), entries, error)) {
    entries->clear();
    return false;
  }
  return true;
}

std::string SharedSmartPlaylistStorePath() { return GetConfig().smart_playlists; }

namespace {

// Makes every missing folder of path's parent, one level at a time.
bool MakeParentFolders(const std::string& path, std::string* error) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    std::string folder = path.substr(0, slash);
    if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) {
      *error = "cannot create " + folder + ": " + std::strerror(errno);
      return false;
    }
  }
  return true;
}

}  // namespace

bool WriteSmartPlaylistStore(const std::string& path,
                             const std::vector<SmartPlaylistEntry>& entries, std::string* error) {
  Json::Value root(Json::objectValue);
  Json::Value& list = root["playlists"] = Json::Value(Json::arrayValue);
  for (const SmartPlaylistEntry& e : entries) {
    Json::Value entry;
    if (!ParseJson(e.json, &entry) || !entry.isObject()) {
      *error = "smart playlist \"" + e.name + "\" is not a JSON object";
      return false;
    }
    list.append(entry);
  }
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "  ";
  std::string text = Json::writeString(writer, root) + "\n";
  return MakeParentFolders(path, error) && ReplaceFileAtomically(path, text, error);
}

std::string UserSmartPlaylistStorePath(const std::string& user_name) {
  std::string dir = UserPreferenceDir(user_name);
  return dir.empty() ? std::string() : dir + "/playlists/smart.playlist";
}

}  // namespace cantora
