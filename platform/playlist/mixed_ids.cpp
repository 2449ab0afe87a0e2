// GetMediaListFromMixedIDList: the songs of a client's list of ids.
#include <json/json.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <tuple>

#include "platform/text/json_parse.h"
#include "platform/auth/account.h"
#include "platform/index/library.h"
#include "platform/playlist/entry_id.h"
#include "platform/playlist/m3u.h"
#include "platform/playlist/playlist.h"
#include "platform/playlist/playlist_files.h"
#include "platform/playlist/random_playlist.h"
#include "platform/playlist/song_records.h"
#include "platform/playlist/store.h"

namespace {

using cantora::PlaylistEntryId;

// The playlist file an entry id names, as playlist_song_enum found it.
std::string PlaylistPathOf(const PlaylistEntryId& e, const std::string& owner, int uid) {
  char path[4096] = "";
  if (std::strtol(e.pls_id.c_str(), nullptr, 10) == cantora::kRandomPlaylistId)
    return cantora::RandomPlaylistFile(owner);
  if (e.IsPersonal() && !e.personal_id.empty() && e.personal_id != "0") {
    long id = std::strtol(e.personal_id.c_str(), nullptr, 10);
    return ZARNPlaylistPathGet("personal", uid, id, path, sizeof path) == 0 ? path : "";
  }
  if (e.IsPersonal()) {
    std::string folder = cantora::PersonalPlaylistFolder(owner);
    return folder.empty() ? folder : folder + "/" + e.pls_id + ".m3u";
  }
  long id = std::strtol(e.pls_id.c_str(), nullptr, 10);
  return ZARNPlaylistPathGet("shared", uid, id, path, sizeof path) == 0 ? path : "";
}

// Reads each page of a playlist once, however many of its entries are named.
class PageCache {
 public:
  PageCache(const std::string& owner, int uid) : owner_(owner), uid_(uid) {}

  // The entry an entry id names, or null.
  const cantora::PlaylistEntry* Find(const PlaylistEntryId& e) {
    std::string path = PlaylistPathOf(e, owner_, uid_);
    if (path.empty()) return nullptr;
    auto key = std::make_tuple(path, e.start, e.limit);
    auto it = pages_.find(key);
    if (it == pages_.end()) {
      std::vector<cantora::PlaylistEntry> entries;
      std::string text, folder;
      if (cantora::ReadPlaylistFile(uid_, path.c_str(), &text, &folder))
        entries = cantora::ParseM3u(text, folder, e.start, e.limit);
      it = pages_.emplace(key, std::move(entries)).first;
    }
    if (static_cast<size_t>(e.position) >= it->second.size()) return nullptr;
    return &it->second[static_cast<size_t>(e.position)];
  }

 private:
  std::string owner_;
  int uid_;
  std::map<std::tuple<std::string, long, long>, std::vector<cantora::PlaylistEntry>> pages_;
};

// The song id of a plain or personal id, or 0.
unsigned long SongIdOf(const Json::Value& item) {
  if (item.isUInt64()) return static_cast<unsigned long>(item.asUInt64());
  if (!item.isString()) return 0;
  std::string text = item.asString();
  const char* digits =
      IsPersonalLibraryID(text.c_str()) ? RemovePersonalLibraryPrefix(text.c_str()) : text.c_str();
  if (digits == nullptr || *digits < '0' || *digits > '9') return 0;
  char* end = nullptr;
  errno = 0;
  unsigned long id = std::strtoul(digits, &end, 10);
  return errno == 0 && *end == '\0' ? id : 0;
}

}  // namespace

int GetMediaListFromMixedIDList(const char* owner, const char* id_list, MediaInfo** list) {
  if (list == nullptr) return 0;
  *list = nullptr;
  if (owner == nullptr || id_list == nullptr) return 0;
  int uid = GetUserIdFromName(owner);
  if (uid <= 0) return 0;
  Json::Value ids;
  if (!cantora::ParseJson(id_list, &ids) || !ids.isArray()) return 0;

  cantora::SongLookup lookup(uid);
  PageCache pages(owner, uid);
  cantora::MediaInfoList songs;
  for (const Json::Value& item : ids) {
    PlaylistEntryId entry;
    if (item.isString() && cantora::ParsePlaylistEntryId(item.asString(), &entry)) {
      if (const cantora::PlaylistEntry* found = pages.Find(entry))
        songs.Append(cantora::EntryRecord(&lookup, *found));
      continue;
    }
    songs.Append(lookup.ById(SongIdOf(item)));
  }
  *list = songs.Release();
  return 1;
}
