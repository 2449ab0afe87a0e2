// get_lyrics: the lyrics of one song. Lyrics stored with the file win; only
// a file that has none is searched for by its artist and title.
#include <syslog.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "enumerate/enumerate.h"
#include "enumerate/escape_param.h"
#include "enumerate/song_id_param.h"
#include "platform/auth/account.h"
#include "platform/index/escape.h"
#include "platform/index/library.h"
#include "platform/index/music_browse.h"
#include "platform/media/lyrics/lyrics.h"

namespace {

// The numbers this file's log lines carry. They are part of the gateway's
// interface (log readers match them), not lines of this file: whatever moves
// here, they never change.
enum LogSite : int {
  kInvalidMusicId = 178,
  kReadLyricsFailed = 199,
};

// Sets "lyrics" of answer when the song named by id_param has some. True
// when the request succeeded, with or without lyrics.
bool FindLyrics(const char* id_param, int uid, Json::Value* answer, MallocText* condition,
                MediaInfo** list) {
  SongIdParam id;
  if (!ParseSongIdParam(id_param, kInvalidMusicId, &id)) return false;
  condition->reset(ZARNDBEscapeStringEX3(1, "id = @ZARN:VAR", id.id.c_str()));
  if (!*condition) return false;
  if (ZARNMusicBrowse(id.library, uid, 0, list, 0, "path, artist, title", condition->get(), "", "",
                      0, 1, 0, 0) < 0 ||
      *list == nullptr) {
    return false;
  }
  std::string lyrics;
  switch (ReadLyrics((*list)->path, lyrics)) {
    case 1:
      (*answer)["lyrics"] = lyrics;
      break;
    case -1:
      syslog(LOG_ERR, "%s:%d Read lyrics failed.", kEnumerateSource, kReadLyricsFailed);
      return false;
    case 0:
      if (LyricSearchLyricByArtistAndTitle((*list)->artist, (*list)->title, lyrics) == 1)
        (*answer)["lyrics"] = lyrics;
      break;
    default:
      break;
  }
  return true;
}

}  // namespace

void EnumerationHandler::GetLyrics() {
  Json::Value answer(Json::objectValue);
  SetSuccess(answer, false);
  MallocText condition;
  MediaInfo* list = nullptr;
  if (FindLyrics(web_.In("id", "0"), GetUserIdFromName(UserName()), &answer, &condition, &list))
    SetSuccess(answer, true);
  WriteJsonResponse(answer, kJsonContentType);
  ZARNPlaylistRecFree(list);
}
