// radio_enum: internet radio as a three-level tree. The root lists the
// sources of grzRadioItem, "inetradio_sc" the SHOUTcast genres, and a genre
// or user-list id the stations of that list. One level per request, no paging.
#include <syslog.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "enumerate/enumerate.h"
#include "platform/radio/store/radiolist.h"

namespace {

// The numbers this file's log lines and privilege guards carry. They are
// part of the gateway's interface (log readers match them), not lines of
// this file: whatever moves here, they never change.
enum LogSite : int {
  kNoGenreList = 1153,
  kBadGenreId = 1174,
  kUnknownGenre = 1179,
  kNoUserDefinedStations = 1185,
  kNoFavoriteStations = 1191,
  kBadRadioTypeId = 1196,
};

constexpr const char kShoutcastId[] = "inetradio_sc";
constexpr const char kGenrePrefix[] = "inetradio_genre";
constexpr const char kUserDefinedPrefix[] = "inetradio_userdefined";
constexpr const char kFavoritePrefix[] = "inetradio_favorite";

bool StartsWith(const char* text, const char* prefix) {
  return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

// Clients show these labels untranslated.
const char* RootLabel(const char* id) {
  if (std::strcmp(id, kShoutcastId) == 0) return "SHOUTcast(TM)";
  if (std::strcmp(id, kUserDefinedPrefix) == 0) return "user defined";
  if (std::strcmp(id, kFavoritePrefix) == 0) return "favorite";
  return "";
}

void AppendRoot(Json::Value& items) {
  for (int i = 0; grzRadioItem[i][0] != nullptr; ++i) {
    Json::Value item;
    item["title"] = RootLabel(grzRadioItem[i][0]);
    item["id"] = grzRadioItem[i][0];
    item["is_container"] = true;
    items.append(std::move(item));
  }
}

bool AppendGenres(Json::Value& items) {
  Json::Value genres;
  if (RadioShoutcastGenreList(genres) != 0) {
    syslog(LOG_ERR, "%s (%d) cannot read Shoutcast genre list.", kEnumerateSource, kNoGenreList);
    return false;
  }
  for (const Json::Value& genre : genres) {
    char id[1024];
    std::snprintf(id, sizeof(id), "inetradio_genre_%s", genre.asCString());
    Json::Value item;
    item["title"] = genre;
    item["id"] = id;
    item["is_container"] = true;
    items.append(std::move(item));
  }
  return true;
}

// Loads the station list an id names; false (logged) when it cannot.
bool LoadStations(const char* id, Json::Value& list) {
  if (StartsWith(id, kGenrePrefix)) {
    // The genre is what follows the last underscore, so "inetradio_genre"
    // alone asks for the genre "genre".
    const char* genre = std::strrchr(id, '_') + 1;
    if (*genre == '\0') {
      syslog(LOG_ERR, "%s (%d) bad genre id: %s.", kEnumerateSource, kBadGenreId, id);
      return false;
    }
    if (ZARNAudioRadioGetShoutcastListByGenre(genre, list, 0) != 0) {
      syslog(LOG_ERR, "%s (%d) cannot find shoutcast genre: %s.", kEnumerateSource, kUnknownGenre,
             genre);
      return false;
    }
    return true;
  }
  if (StartsWith(id, kUserDefinedPrefix)) {
    if (ZARNAudioRadioGetList(ZARN_AUDIORADIO_USERDEFINED, list) != 0) {
      syslog(LOG_ERR, "%s (%d) cannot get user defined station.", kEnumerateSource,
             kNoUserDefinedStations);
      return false;
    }
    return true;
  }
  if (StartsWith(id, kFavoritePrefix)) {
    if (ZARNAudioRadioGetList(ZARN_AUDIORADIO_FAVORITE, list) != 0) {
      syslog(LOG_ERR, "%s (%d) cannot get favorite station.", kEnumerateSource,
             kNoFavoriteStations);
      return false;
    }
    return true;
  }
  syslog(LOG_ERR, "%s (%d) bad radio type id =%s", kEnumerateSource, kBadRadioTypeId, id);
  return false;
}

// Station ids repeat the whole received id: "inetradio_favorite 2". A loaded
// list's "stations" is absent or an array of objects (see radiolist.h), and a
// member a station lacks reads as null.
void AppendStations(const char* id, const Json::Value& list, Json::Value& items) {
  int index = 0;
  for (const Json::Value& station : list["stations"]) {
    char item_id[1024];
    std::snprintf(item_id, sizeof(item_id), "%s %d", id, index++);
    Json::Value item;
    item["id"] = item_id;
    item["desc"] = station["desc"];
    item["title"] = station["name"];
    item["bitrate"] = station["bitrate"];
    item["path"] = station["url"];
    item["is_container"] = false;
    items.append(std::move(item));
  }
}

bool BuildLevel(const char* id, Json::Value& items) {
  if (id[0] == '\0') {
    AppendRoot(items);
    return true;
  }
  if (std::strcmp(id, kShoutcastId) == 0) return AppendGenres(items);
  Json::Value list;
  if (!LoadStations(id, list)) return false;
  AppendStations(id, list, items);
  return true;
}

}  // namespace

void EnumerationHandler::RadioEnum() {
  const char* id = web_.In("id", "");
  Json::Value items(Json::arrayValue);
  bool built = BuildLevel(id, items);
  // "total" is always the number of items sent, whatever a station file's
  // own "total" says.
  AnswerList(built, items);
}
