// smartpls_song_enum: the songs that a smart playlist's rules select.
#include <sys/stat.h>
#include <syslog.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "enumerate/enumerate.h"
#include "enumerate/guard/run_as.h"
#include "enumerate/list_answer.h"
#include "enumerate/song_item.h"
#include "platform/auth/account.h"
#include "platform/auth/preference_dir.h"
#include "platform/playlist/smart/legacy_smart_store.h"
#include "platform/playlist/smart/songs.h"

namespace {

// The numbers this file's log lines and privilege guards carry. They are
// part of the gateway's interface (log readers match them), not lines of
// this file: whatever moves here, they never change.
enum LogSite : int {
  kSongsNoPlaylist = 573,
  kSongsNoPlaylistForm = 574,
  kPersonalRulesGuard = 608,
  kPersonalRulesNoRoot = 614,
};

constexpr size_t kPathSize = 4095;

// An empty "start" or "limit" counts as absent.
int PagingParam(const char* value, int absent) {
  if (value == nullptr || value[0] == '\0') return absent;
  return static_cast<int>(std::strtol(value, nullptr, 10));
}

// The shared playlist's position; one that does not fit an int names none
// (rather than wrapping round to another playlist).
int Position(const char* pls_id) {
  long position = std::strtol(pls_id, nullptr, 10);
  return position < 0 || position > INT_MAX ? -1 : static_cast<int>(position);
}

}  // namespace

void EnumerationHandler::SmartPlsSongEnum() {
  const char* pls_id = web_.In("pls_id", "");
  if (pls_id[0] == '\0') {
    syslog(LOG_ERR, "%s (%d) Bad parameters.", kEnumerateSource, kSongsNoPlaylist);
    SetFormErrInfo("common", "error_system", kSongsNoPlaylistForm);
    ReportError();
    return;
  }
  int start = PagingParam(web_.In("start"), 0);
  int limit = PagingParam(web_.In("limit"), 100000);
  ListAnswer answer(&web_, kJsonContentType, std::strtol(pls_id, nullptr, 10));
  ListSmartPlaylistSongs(&answer, pls_id, start, limit);
  answer.Finish(true);
}

void EnumerationHandler::ListSmartPlaylistSongs(ListAnswer* answer, const char* pls_id, int,
                                                int) {
  int uid = GetUserIdFromName(UserName());
  std::string rules;
  char prefdir[kPathSize] = {};
  char path[kPathSize] = {};
  if (std::strcmp(web_.In("personal", "no"), "yes") == 0) {
    {
      IF_RUN_AS guard(kEnumerateSource, kPersonalRulesGuard);
      if (!guard.ok()) {
        syslog(LOG_ERR, "%s:%d Failed to run as root.", kEnumerateSource, kPersonalRulesNoRoot);
        return;
      }
      struct stat st;
      if (ZARNUserPreferenceDirGet(UserName(), prefdir, kPathSize) != 0 ||
          stat(prefdir, &st) != 0) {
        return;
      }
    }
    std::snprintf(path, kPathSize, "%s/%s", prefdir, "playlists/smart.playlist");
    rules = ZarnAudioUtils::LoadSmartPlsRulesByFilename(request().smart_playlist_stores(), path,
                                                        pls_id);
  } else {
    cantora::SmartPlaylistStores& stores = request().smart_playlist_stores();
    rules = ZarnAudioUtils::LoadSmartPlsRules(
        stores, ZarnAudioUtils::SmartPLSGetName(stores, Position(pls_id)));
  }
  MediaInfo* list = nullptr;
  int count = 0;
  ZARNPlaylistSmartListSongs(uid, &list, 0, rules.c_str(), &count, 0, 0, "actual");
  // The walk moves on only past a song it answers. It relies on the
  // platform's promise that a smart playlist never yields a record with id
  // 0 or with text that is not UTF-8: on such a record it would not advance.
  for (const MediaInfo* info = list; info != nullptr;) {
    if (info->id == 0 || !AdmitRecordText(*info)) continue;
    AppendSongItemWithNumericId(*info, answer->NextItem());
    info = info->next;
  }
  ZARNPlaylistRecFree(list);
}
