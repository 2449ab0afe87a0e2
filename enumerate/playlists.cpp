// Playlists: the listings (playlist_enum, smartplaylist_enum,
// all_playlist_enum), the songs of a normal or the random playlist
// (playlist_song_enum) and playlist creation (playlist_create).
#include <strings.h>
#include <sys/stat.h>
#include <syslog.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "enumerate/enumerate.h"
#include "enumerate/guard/run_as.h"
#include "enumerate/song_item.h"
#include "platform/auth/account.h"
#include "platform/auth/preference_dir.h"
#include "platform/cgi/json_text.h"
#include "platform/config/config.h"
#include "platform/index/library.h"
#include "platform/locale/localized_strings.h"
#include "platform/playlist/entry_id.h"
#include "platform/playlist/legacy_create_playlist.h"
#include "platform/playlist/playlist.h"
#include "platform/playlist/playlist_files.h"
#include "platform/playlist/random_playlist.h"
#include "platform/playlist/smart/legacy_smart_store.h"
#include "platform/playlist/store.h"

namespace {

// The numbers this file's log lines and privilege guards carry. They are
// part of the gateway's interface (log readers match them), not lines of
// this file: whatever moves here, they never change.
enum LogSite : int {
  kAllPersonalGuard = 347,
  kAllPersonalNoRoot = 390,
  kSongsNoPlaylist = 421,
  kSongsNoPlaylistForm = 422,
  kPersonalByNameGuard = 468,
  kPersonalByNameNoPrefs = 471,
  kPersonalByNameNoRoot = 475,
  kPersonalByIdNoPath = 483,
  kSharedNoPath = 490,
  kRandomBadPath = 672,
  kRandomBadPathForm = 673,
  kRandomWriteFailed = 683,
  kRandomWriteFailedForm = 684,
  kCreateBadParameter = 1751,
  kCreateNameTooLong = 1757,
  kCreateFailed = 1763,
  kCreateBadIdList = 1768,
  kCreateWriteFailed = 1777,
};

constexpr size_t kPathSize = 4095;
constexpr size_t kIdSize = 32;
constexpr const char* kTextsFolder = "/var/packages/Cantora/target/app/texts/";

// Smart playlist names in answer order: ascending as strcasecmp compares
// them, names that compare equal kept in enumeration order (a multimap
// inserts an equal key after the ones already there), every occurrence kept.
struct CaseLess {
  bool operator()(const std::string& a, const std::string& b) const {
    return strcasecmp(a.c_str(), b.c_str()) < 0;
  }
};
using SmartPlaylistNameIndex = std::multimap<std::string, unsigned, CaseLess>;

SmartPlaylistNameIndex IndexNames(const std::vector<std::string>& names) {
  SmartPlaylistNameIndex index;
  for (size_t i = 0; i < names.size(); ++i) index.emplace(names[i], static_cast<unsigned>(i));
  return index;
}

// Appends the smart playlists of a store (null: the shared one) to items.
// Shared ones carry their enumeration position as "id"; personal ones none.
int AppendSmartPlaylists(cantora::SmartPlaylistStores& stores, const char* file, bool typed,
                         bool personal, Json::Value* items) {
  int total = 0;
  std::vector<std::string> names = ZarnAudioUtils::SmartPLSEnum(stores, 0, 0, total, file);
  for (const auto& entry : IndexNames(names)) {
    Json::Value item(Json::objectValue);
    if (!personal) item["id"] = Json::Value(Json::UInt(entry.second));
    item["name"] = entry.first;
    if (typed) item["type"] = "smart_playlist";
    if (personal) item["personal"] = true;
    items->append(item);
  }
  return total;
}

// Appends a normal playlist item per record. personal_user: the user whose
// personal playlists these are (null for shared ones); an original personal
// playlist carries no "id".
void AppendNormalPlaylists(const PlaylistRecord* list, bool typed, const char* personal_user,
                           Json::Value* items) {
  for (const PlaylistRecord* r = list; r != nullptr; r = r->next) {
    Json::Value item(Json::objectValue);
    if (personal_user == nullptr ||
        ZARNPlaylistIsOriginalPersonalPlaylist(r->path, personal_user) == 0) {
      char id[kIdSize];
      std::snprintf(id, sizeof id, "%ld", r->id);
      item["id"] = id;
    }
    item["name"] = r->name;
    item["path"] = r->path;
    if (typed) item["type"] = "normal_playlist";
    if (personal_user != nullptr) item["personal"] = true;
    items->append(item);
  }
}

long ParseLong(const char* text) { return std::strtol(text, nullptr, 10); }

// "start" and "limit": empty or absent gives the default, else strtol.
int PagingParam(const char* value, int def) {
  if (value == nullptr || value[0] == '\0') return def;
  return static_cast<int>(ParseLong(value));
}

}  // namespace

// The random playlist's file, named after the client's "username".
std::string EnumerationHandler::GetRandomPlaylistPath() {
  const char* user = web_.In("username");
  std::string path = cantora::RandomPlaylistPath(cantora::ResolveSystemPath("/tmp/"),
                                                 user != nullptr ? user : "(null)");
  // Cut where the answer's 4096-byte buffer has always cut it.
  if (path.size() > kPathSize) path.resize(kPathSize);
  return path;
}

Json::Value EnumerationHandler::RandomPlaylistItem(bool typed) {
  Json::Value texts = ZARN::PVX::LocalizedStringParser::ParseTexts(
      cantora::ResolveSystemPath(kTextsFolder) + web_.GetUILanguage());
  Json::Value item(Json::objectValue);
  item["id"] = Json::Value(Json::Int(cantora::kRandomPlaylistId));
  item["name"] = texts["common"]["random_playlist"];
  item["path"] = GetRandomPlaylistPath();
  if (typed) item["type"] = "random100";
  return item;
}

// "items", "total" = their number (unsigned), "success" true.
void EnumerationHandler::AnswerPlaylists(const Json::Value& items) {
  Json::Value answer(Json::objectValue);
  answer["items"] = items;
  answer["total"] = Json::Value(Json::UInt(items.size()));
  SetSuccess(answer, true);
  WriteJsonResponse(answer, kJsonContentType);
}

void EnumerationHandler::PlaylistEnum() {
  Json::Value items(Json::arrayValue);
  items.append(RandomPlaylistItem(false));
  PlaylistRecord* list = nullptr;
  ZARNPlaylistListAll("shared", 0, &list, 0, 0, 0);
  AppendNormalPlaylists(list, false, nullptr, &items);
  ZARNPlayListFree(list);
  AnswerPlaylists(items);
}

void EnumerationHandler::SmartPlaylistEnum() {
  Json::Value answer(Json::objectValue);
  Json::Value items(Json::arrayValue);
  int total =
      AppendSmartPlaylists(request().smart_playlist_stores(), nullptr, false, false, &items);
  answer["items"] = items;
  answer["total"] = total;  // the enumeration's own count
  SetSuccess(answer, true);
  WriteJsonResponse(answer, kJsonContentType);
}

void EnumerationHandler::AllPlaylistEnum() {
  const char* library = web_.In("library", "shared");
  const char* user = UserName();
  int uid = GetUserIdFromName(user);
  Json::Value items(Json::arrayValue);
  items.append(RandomPlaylistItem(true));

  PlaylistRecord* shared = nullptr;
  if (std::strcmp(library, "personal") != 0) {
    ZARNPlaylistListAll("shared", 0, &shared, 0, 0, 0);
    AppendNormalPlaylists(shared, true, nullptr, &items);
    AppendSmartPlaylists(request().smart_playlist_stores(), nullptr, true, false, &items);
  }

  char smart_file[kPathSize] = "";
  {
    IF_RUN_AS guard(kEnumerateSource, kAllPersonalGuard);
    char prefdir[kPathSize] = "";
    struct stat st;
    if (!guard.ok()) {
      syslog(LOG_ERR, "%s:%d Failed to run as root.", kEnumerateSource, kAllPersonalNoRoot);
    } else if (ZARNUserPreferenceDirGet(user, prefdir, kPathSize) == 0 && stat(prefdir, &st) == 0) {
      PlaylistRecord* personal = nullptr;
      int rc = IsPersonalLibEnabled(user) == 0 || std::strcmp(library, "shared") == 0
                   ? ZARNPersonalPlaylistListAll(prefdir, &personal, 0, -1)
                   : ZARNPlaylistListAll("personal", uid, &personal, 0, -1, 0);
      if (rc >= 0) {
        AppendNormalPlaylists(personal, true, user, &items);
        char file[kPathSize];
        std::snprintf(file, sizeof file, "%s/%s", prefdir, "playlists/smart.playlist");
        if (stat(file, &st) == 0) std::memcpy(smart_file, file, sizeof file);
      }
      ZARNPlayListFree(personal);
    }
  }
  // Read with the process's own identity, the privileges given back.
  if (smart_file[0] != '\0')
    AppendSmartPlaylists(request().smart_playlist_stores(), smart_file, true, true, &items);

  ZARNPlayListFree(shared);
  AnswerPlaylists(items);
}

void EnumerationHandler::PlaylistSongEnum() {
  const char* pls_id = web_.In("pls_id", "");
  if (pls_id[0] == '\0') {
    syslog(LOG_ERR, "%s (%d) Bad parameters.", kEnumerateSource, kSongsNoPlaylist);
    SetFormErrInfo("common", "error_system", kSongsNoPlaylistForm);
  } else {
    int start = PagingParam(web_.In("start"), 0);
    int limit = PagingParam(web_.In("limit"), 100000);
    ListPlaylistSongs(pls_id, start, limit);
  }
  if (HasFormError()) ReportError();
}

bool EnumerationHandler::CreateRandomPlaylist(const char* path) {
  const char* library = web_.In("library", "shared");
  int uid = GetUserIdFromName(UserName());
  if (path == nullptr || path[0] == '\0') {
    syslog(LOG_ERR, "%s (%d) Bad parameters.", kEnumerateSource, kRandomBadPath);
    SetFormErrInfo("common", "error_system", kRandomBadPathForm);
    return false;
  }
  // The old file goes first; only a random playlist file is ever removed.
  const cantora::PlaylistWriter writer = request().playlist_writer();
  cantora::RemoveRandomPlaylistFile(path, writer);
  MediaInfo* list = nullptr;
  ZARNMusicListAll(ChangeToActualLib(library), uid, &list, 8, "", "random", 1, 0, 100);
  if (ZARNWriteMusicPlaylist(list, path, writer) != 0) {
    syslog(LOG_ERR, "%s (%d) Failed to create playlist %s", kEnumerateSource, kRandomWriteFailed,
           path);
    SetFormErrInfo("common", "error_system", kRandomWriteFailedForm);
    ZARNPlaylistRecFree(list);
    return false;
  }
  ZARNPlaylistRecFree(list);
  return true;
}

void EnumerationHandler::ListPlaylistSongs(const char* pls_id, int start, int limit) {
  const std::string random_path = GetRandomPlaylistPath();
  const char* user = UserName();
  int uid = GetUserIdFromName(user);
  char prefdir[kPathSize] = "";
  char path[kPathSize] = "";
  char personal_id[kPathSize] = "";
  long id = ParseLong(pls_id);
  bool have_path = false;

  if (id == cantora::kRandomPlaylistId) {
    if (!CreateRandomPlaylist(random_path.c_str())) return;
    std::snprintf(path, sizeof path, "%s", random_path.c_str());
    have_path = true;
  } else if (std::strcmp(web_.In("personal", "no"), "yes") == 0) {
    const char* given = web_.In("personal_pls_id", "");
    if (given[0] != '\0') {
      std::snprintf(personal_id, sizeof personal_id, "%s", given);
      if (ZARNPlaylistPathGet("personal", uid, ParseLong(personal_id), path, kPathSize) != 0)
        syslog(LOG_ERR, "%s:%d Failed to get playlist path.", kEnumerateSource,
               kPersonalByIdNoPath);
      else
        have_path = true;
    } else {
      std::snprintf(personal_id, sizeof personal_id, "0");
      IF_RUN_AS guard(kEnumerateSource, kPersonalByNameGuard);
      struct stat st;
      if (!guard.ok()) {
        syslog(LOG_ERR, "%s:%d Failed to run as root.", kEnumerateSource, kPersonalByNameNoRoot);
      } else if (ZARNUserPreferenceDirGet(user, prefdir, kPathSize) != 0 ||
                 stat(prefdir, &st) != 0) {
        syslog(LOG_ERR, "%s:%d cannot get preference dir, user name=%s", kEnumerateSource,
               kPersonalByNameNoPrefs, user);
      } else {
        std::snprintf(path, sizeof path, "%s/%s/%s.m3u", prefdir, "playlists", pls_id);
        have_path = true;
      }
    }
  } else {
    std::snprintf(personal_id, sizeof personal_id, "0");
    if (ZARNPlaylistPathGet("shared", uid, id, path, kPathSize) != 0)
      syslog(LOG_ERR, "%s:%d Failed to get playlist path.", kEnumerateSource, kSharedNoPath);
    else
      have_path = true;
  }

  MediaInfo* list = nullptr;
  if (have_path) {
    int count = 0;
    list = ZARNPlaylistParseByPath(uid, path, 0, &count, start, limit, "*", 1);
  }
  WritePlaylistSongs(list, id, pls_id, personal_id, start, limit);
  ZARNPlaylistRecFree(list);
}

// {"id":<id>,"items":[...],"success":true,"total":<items>}, the members in
// JsonCpp's key order, the items written as they are made.
void EnumerationHandler::WritePlaylistSongs(const MediaInfo* list, long id, const char* pls_id,
                                            const char* personal_id, int start, int limit) {
  web_.WriteHeader(kJsonContentType);
  cantora::PieceWriter out(web_.Output());
  std::string* text = out.text();
  *text += "{\"id\":" + std::to_string(id) + ",\"items\":[";
  unsigned total = 0;
  int position = 0;
  cantora::PlaylistEntryId entry{pls_id, personal_id, web_.In("personal", "no"), start, limit, 0};
  for (const MediaInfo* info = list; info != nullptr; info = info->next, ++position) {
    if (info->id != 0) {
      if (!AdmitRecordText(*info)) continue;
      if (total++ != 0) text->push_back(',');
      // Any scope but "shared": personal songs carry the prefix.
      AppendSongItem(*info, "all", text);
    } else {
      entry.position = position;
      std::string entry_id = cantora::FormatPlaylistEntryId(entry);
      // Cut where its buffer of kPathSize bytes has always cut it.
      if (entry_id.size() > kPathSize - 1) entry_id.resize(kPathSize - 1);
      if (total++ != 0) text->push_back(',');
      AppendSongItemWithId(*info, entry_id.c_str(), text);
    }
    out.MaybeFlush();
  }
  *text += "],\"success\":true,\"total\":" + std::to_string(total) + "}";
  out.Flush();
  std::fflush(out.file());
}

void EnumerationHandler::PlaylistCreate(const char* user_info) {
  Json::Value answer;  // null until it succeeds
  MediaInfo* record = nullptr;
  bool personal = std::strcmp(web_.In("personal", "no"), "yes") == 0;
  const char* owner = user_info;
  if (web_.In("name") == nullptr || web_.In("id_list") == nullptr || owner == nullptr ||
      owner[0] == '\0') {
    syslog(LOG_ERR, "%s:%d Bad parameter", kEnumerateSource, kCreateBadParameter);
  } else {
    std::string name = web_.In("name", "");
    std::string path;
    char resolved[4096];
    if (name.size() > 250) {
      syslog(LOG_ERR, "%s:%d Playlist name is too long: %s", kEnumerateSource, kCreateNameTooLong,
             name.c_str());
    } else if (IPhoneCreateEmptyPlaylist(name, path, owner, !personal) == 0) {
      syslog(LOG_ERR, "%s:%d Failed to create playlist", kEnumerateSource, kCreateFailed);
    } else if (GetMediaListFromMixedIDList(owner, web_.In("id_list"), &record) == 0) {
      syslog(LOG_ERR, "%s:%d Failed to parse json.", kEnumerateSource, kCreateBadIdList);
    } else {
      if (realpath(path.c_str(), resolved) == nullptr)
        std::snprintf(resolved, sizeof resolved, "%s", path.c_str());
      if (ZARNWriteMusicPlaylist(record, resolved, request().playlist_writer()) != 0) {
        syslog(LOG_ERR, "%s:%d Failed to write songs into playlist.", kEnumerateSource,
               kCreateWriteFailed);
      } else {
        answer["playlist_name"] = name;
        SetSuccess(answer, true);
      }
    }
  }
  if (record != nullptr) ZARNPlaylistRecFree(record);
  WriteJsonResponse(answer, kJsonContentType);
}
