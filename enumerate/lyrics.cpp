// get_lyrics: the lyrics of one song. Lyrics stored with the file win; only
// a file that has none is searched for by its artist and title.
#include <syslog.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "enumerate/enumerate.h"
#include "enumerate/escape_param.h"
#include "platform/auth/account.h"
#include "platform/index/escape.h"
#include "platform/index/library.h"
#include "platform/index/music_browse.h"
#include "platform/media/lyrics/lyrics.h"

namespace {

constexpr size_t kBufferSize = 4096;

// Sets "lyrics" of answer when the song named by id_param has some. True
// when the request succeeded, with or without lyrics.
bool FindLyrics(const char* id_param, int uid, Json::Value* answer, MallocText* condition,
                MediaInfo** list) {
  char id[kBufferSize];
  std::snprintf(id, sizeof id, "%s", id_param);
  // A playlist entry outside the index.
  if (std::strncmp(id, "PLSID", 5) == 0) return false;
  const char* bare = id;
  const char* library = "actual_shared";
  if (IsPersonalLibraryID(id)) {
    bare = RemovePersonalLibraryPrefix(id);
    if (bare == nullptr) return false;
    library = "actual_personal";
  }
  if (std::strcmp(bare, "0") == 0) {
    syslog(LOG_ERR, "%s (%d) Invalid music id.", kEnumerateSource, 178);
    return false;
  }
  condition->reset(ZARNDBEscapeStringEX3(1, "id = @ZARN:VAR", bare));
  if (!*condition) return false;
  if (ZARNMusicBrowse(library, uid, 0, list, 0, "path, artist, title", condition->get(), "", "",
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
      syslog(LOG_ERR, "%s:%d Read lyrics failed.", kEnumerateSource, 199);
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
