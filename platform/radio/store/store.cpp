// Station list files: where they live, their age, loading and saving.
#include <sys/stat.h>
#include <syslog.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>

#include "platform/text/json_parse.h"
#include "platform/config/config.h"
#include "platform/radio/legacy_shoutcast_update.h"
#include "platform/radio/store/radiolist.h"

const char* const kRadioListSource = "radiolist";
const char* const kRadioDirectory = "/usr/zarn/etc/radio";

namespace {

// True for the shape every reader of a list indexes blindly: an object whose
// "stations", if any, is an array of objects.
bool IsStationList(const Json::Value& value) {
  if (!value.isObject()) return false;
  const Json::Value& stations = value["stations"];
  if (stations.isNull()) return true;
  if (!stations.isArray()) return false;
  for (const Json::Value& station : stations) {
    if (!station.isObject()) return false;
  }
  return true;
}

// Parses a station list from in (comments allowed). On failure list is left
// as it was.
bool ParseStationList(std::istream& in, Json::Value& list) {
  Json::Value parsed;
  if (!cantora::ParseJson(in, &parsed) || !IsStationList(parsed)) return false;
  list.swap(parsed);
  return true;
}

}  // namespace

int RadioListPathByType(tag_ZARN_AUDIORADIO_TYPE type, std::string& path) {
  const char* name = nullptr;
  switch (type) {
    case ZARN_AUDIORADIO_USERDEFINED: name = "/userdef.json"; break;
    case ZARN_AUDIORADIO_FAVORITE: name = "/favorite.json"; break;
    default: return -1;
  }
  path = cantora::ResolveSystemPath(kRadioDirectory) + name;
  return 0;
}

int RadioListIsExpired(const char* path) {
  struct stat st;
  if (stat(path, &st) != 0) {
    if (errno != ENOENT) {
      syslog(LOG_ERR, "%s:%d Failed to stat [%s], [%m]", kRadioListSource, 225, path);
    }
    return 1;
  }
  time_t now = time(nullptr);
  if (now == static_cast<time_t>(-1)) {
    syslog(LOG_ERR, "%s:%d Failed to get current time. %m", kRadioListSource, 231);
    return 1;
  }
  // A 32-bit difference, as the cache files have always been aged: a time in
  // the future gives a negative age and counts as fresh.
  int32_t age = static_cast<int32_t>(static_cast<uint32_t>(now) -
                                     static_cast<uint32_t>(st.st_mtime));
  return age > kRadioCacheMaxAge ? 1 : 0;
}

void RadioListNormalizeBitrate(Json::Value& list) {
  Json::Value& stations = list["stations"];
  if (!stations.isArray() || stations.size() < 1) return;
  for (Json::Value& station : stations) {
    Json::Value& bitrate = station["bitrate"];
    if (bitrate.isString()) {
      long kbits = std::strtol(bitrate.asCString(), nullptr, 10);
      bitrate = Json::Value(static_cast<Json::Int64>(kbits) * 1000);
    }
  }
}

int RadioListSave(const char* path, const Json::Value& list) {
  if (path == nullptr) {
    syslog(LOG_ERR, "%s:%d Bad parameter.", kRadioListSource, 96);
    return -1;
  }
  Json::StyledWriter writer;
  const std::string text = writer.write(list);

  FILE* file = std::fopen(path, "wb");
  if (file == nullptr) {
    if (errno != ENOENT) {
      syslog(LOG_ERR, "%s:%d Failed to fopen [%s], [%m]", kRadioListSource, 116, path);
      return -1;
    }
    // One level only, and 0644 without search bits: the lists have always
    // been written by root, which needs none, and installers set the mode of
    // an existing directory themselves.
    const std::string dir = cantora::ResolveSystemPath(kRadioDirectory);
    if (mkdir(dir.c_str(), 0644) == -1) {
      syslog(LOG_ERR, "%s:%d Failed to mkdir [%s], [%m]", kRadioListSource, 106, dir.c_str());
      return -1;
    }
    file = std::fopen(path, "wb");
    if (file == nullptr) {
      syslog(LOG_ERR, "%s:%d Failed to fopen [%s] after mkdir, [%m]", kRadioListSource, 112, path);
      return -1;
    }
  }
  int result = 0;
  if (std::fwrite(text.data(), 1, text.size(), file) < text.size()) {
    syslog(LOG_ERR, "%s:%d Failed to fwrite, [%m]", kRadioListSource, 123);
    result = -1;
  }
  std::fclose(file);
  return result;
}

int RadioListLoad(const std::string& path, Json::Value& list) {
  std::ifstream in(path, std::ios::binary);
  if (in.fail()) {
    // No list yet is an empty list; clients show an empty folder.
    list["stations"] = Json::Value(Json::arrayValue);
    list["total"] = 0;
    return 0;
  }
  if (!ParseStationList(in, list)) {
    syslog(LOG_ERR, "%s:%d Failed to parse json file [%s]", kRadioListSource, 387, path.c_str());
    return -1;
  }
  RadioListNormalizeBitrate(list);
  return 0;
}

int ZARNAudioRadioGetList(tag_ZARN_AUDIORADIO_TYPE type, Json::Value& list) {
  std::string path;
  if (RadioListPathByType(type, path) != 0) {
    syslog(LOG_ERR, "%s:%d Could not find the path of type: %d", kRadioListSource, 373,
           static_cast<int>(type));
    return -1;
  }
  return RadioListLoad(path, list);
}

int RadioShoutcastGetListByIndex(unsigned index, Json::Value& list, int force) {
  std::string path;
  if (RadioShoutcastPathByIndex(index, path) != 0) {
    syslog(LOG_ERR, "%s:%d Failed to get SHOUTcast json path by index [%d]", kRadioListSource, 268,
           static_cast<int>(index));
    return -1;
  }
  if (force != 0 || RadioListIsExpired(path.c_str()) != 0) {
    // A failed refresh leaves the old file, which is still worth showing.
    ZarnAudioUtils::RadioUpdateShoutcastByGenre(std::string(cantora::kShoutcastStemPrefix) +
                                                ShoutcastGenreTable[index][0]);
  }
  // Unlike a user list, a missing genre file is an error: the stream fails
  // to open and the parse fails with it.
  std::ifstream in(path, std::ios::binary);
  if (!ParseStationList(in, list)) {
    syslog(LOG_ERR, "%s:%d Failed to parse json file [%s]", kRadioListSource, 282, path.c_str());
    return -1;
  }
  RadioListNormalizeBitrate(list);
  return 0;
}

int ZARNAudioRadioGetShoutcastListByGenre(const char* genre, Json::Value& list, int force) {
  int index = RadioShoutcastIndexByGenre(genre);
  if (index == -1) {
    syslog(LOG_ERR, "%s:%d Failed to get SHOUTcast index by genre [%s]", kRadioListSource, 316,
           genre != nullptr ? genre : "(null)");
    return -1;
  }
  return RadioShoutcastGetListByIndex(static_cast<unsigned>(index), list, force);
}
