// song_enum and search: song lists of one album, artist or genre, and of a
// substring search over titles, albums and artists.
#include <syslog.h>

#include <cstdio>
#include <cstring>
#include <optional>

#include "enumerate/enumerate.h"
#include "enumerate/escape_param.h"
#include "enumerate/list_answer.h"
#include "enumerate/song_item.h"
#include "platform/auth/account.h"
#include "platform/index/browse.h"
#include "platform/index/library.h"

namespace {

// The numbers this file's log lines and privilege guards carry. They are
// part of the gateway's interface (log readers match them), not lines of
// this file: whatever moves here, they never change.
enum LogSite : int {
  kSongsNoFilter = 1239,
  kSongsEscapeAlbum = 1252,
  kSongsEscapeArtist = 1263,
  kSongsEscapeGenre = 1274,
  kSongsGuard = 1307,
  kSongsNoRoot = 1313,
  kSearchNoKey = 1391,
  kSearchEscapeKey = 1401,
  kSearchPatternMalloc = 1409,
  kSearchPatternEscape = 1414,
  kSearchGuard = 1440,
  kSearchNoRoot = 1446,
};

constexpr size_t kConditionSize = 4096;
constexpr const char* kSongOrder = "lower(album) asc, disc asc, track asc, path asc";
// Search answers at most this many songs; dropped ones are not replaced.
constexpr int kSearchLimit = 1000;

// The browse and the admission loop that both lists end in. The success
// flag to answer, or none when the browse or the switch to root failed.
std::optional<bool> ListSongs(cantora::SongFiles& files, const char* library, int uid,
                              const char* condition, int limit, int guard_line, int fail_line,
                              ListAnswer* answer) {
  if (!AppendSongList(files, ChangeToActualLib(library), uid, condition, kSongOrder, limit,
                      guard_line, fail_line, answer)) {
    return std::nullopt;
  }
  return true;
}

std::optional<bool> SongsOf(cantora::SongFiles& files, const char* library, int uid,
                            const char* album, const char* artist, const char* genre,
                            ListAnswer* answer) {
  if (album == nullptr && artist == nullptr && genre == nullptr) {
    syslog(LOG_ERR, "%s (%d) Enumeration of songs parameters error.", kEnumerateSource,
           kSongsNoFilter);
    return false;
  }
  MallocText album_q, artist_q, genre_q;
  if (album != nullptr && !(album_q = EscapeParam(album, kSongsEscapeAlbum))) return false;
  if (artist != nullptr && !(artist_q = EscapeParam(artist, kSongsEscapeArtist))) return false;
  if (genre != nullptr && !(genre_q = EscapeParam(genre, kSongsEscapeGenre))) return false;

  // With a genre the artist is ignored: genre rows come first.
  char condition[kConditionSize];
  if (genre != nullptr && album != nullptr) {
    std::snprintf(condition, sizeof condition, "genre = '%s' and album = '%s'", genre_q.get(),
                  album_q.get());
  } else if (genre != nullptr) {
    std::snprintf(condition, sizeof condition, "genre = '%s'", genre_q.get());
  } else if (album != nullptr && artist != nullptr) {
    char artist_condition[kConditionSize];
    std::snprintf(artist_condition, sizeof artist_condition, kArtistCondition, artist_q.get(),
                  ArtistJoiner(artist, "or", "and"), artist_q.get());
    std::snprintf(condition, sizeof condition, "album = '%s' and (%s)", album_q.get(),
                  artist_condition);
  } else if (artist != nullptr) {
    std::snprintf(condition, sizeof condition, kArtistCondition, artist_q.get(),
                  ArtistJoiner(artist, "or", "and"), artist_q.get());
  } else {
    std::snprintf(condition, sizeof condition, "album = '%s'", album_q.get());
  }
  return ListSongs(files, library, uid, condition, -1, kSongsGuard, kSongsNoRoot, answer);
}

std::optional<bool> SearchSongs(cantora::SongFiles& files, const char* library, int uid,
                                const char* key, const char* category, ListAnswer* answer) {
  if (key[0] == '\0') {
    syslog(LOG_ERR, "%s (%d) Should provide a search key.", kEnumerateSource, kSearchNoKey);
    return false;
  }
  MallocText quoted = EscapeParam(key, kSearchEscapeKey);
  if (!quoted) return false;
  MallocText k = EscapePatternParam(quoted.get(), kSearchPatternMalloc, kSearchPatternEscape);
  if (!k) return std::nullopt;

  char condition[kConditionSize];
  if (category != nullptr && std::strcmp(category, "title") == 0) {
    std::snprintf(condition, sizeof condition, "title ilike '%%%s%%'", k.get());
  } else if (category != nullptr && std::strcmp(category, "album") == 0) {
    std::snprintf(condition, sizeof condition, "album ilike '%%%s%%'", k.get());
  } else if (category != nullptr && std::strcmp(category, "artist") == 0) {
    std::snprintf(condition, sizeof condition, "artist ilike '%%%s%%' or album_artist ilike '%%%s%%'",
                  k.get(), k.get());
  } else {
    std::snprintf(condition, sizeof condition,
                  "title ilike '%%%s%%' or album ilike '%%%s%%' or artist ilike '%%%s%%' or "
                  "album_artist ilike '%%%s%%'",
                  k.get(), k.get(), k.get(), k.get());
  }
  return ListSongs(files, library, uid, condition, kSearchLimit, kSearchGuard, kSearchNoRoot,
                   answer);
}

}  // namespace

void EnumerationHandler::SongEnum() {
  ListAnswer answer(&web_, kJsonContentType);
  answer.Finish(SongsOf(request().song_files(), web_.In("library", "shared"),
                        GetUserIdFromName(UserName()), web_.In("album_name"),
                        web_.In("artist_name"), web_.In("genre_name"), &answer));
}

void EnumerationHandler::Search() {
  ListAnswer answer(&web_, kJsonContentType);
  answer.Finish(SearchSongs(request().song_files(), web_.In("library", "shared"),
                            GetUserIdFromName(UserName()), web_.In("search_key", ""),
                            web_.In("category"), &answer));
}
