// artist_enum, album_enum and genre_enum: the first levels of the browse
// tree, each one distinct column of the index as a list of names.
#include <syslog.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "enumerate/enumerate.h"
#include "enumerate/escape_param.h"
#include "enumerate/list_answer.h"
#include "enumerate/shared_name_lists.h"
#include "platform/auth/account.h"
#include "platform/cgi/json_text.h"
#include "platform/config/platform_db.h"
#include "platform/index/browse.h"
#include "platform/index/library.h"
#include "platform/text/utf8.h"

namespace {

// The numbers this file's log lines and privilege guards carry. They are
// part of the gateway's interface (log readers match them), not lines of
// this file: whatever moves here, they never change.
enum LogSite : int {
  kAlbumsEscapeArtist = 753,
  kAlbumsEscapeGenre = 771,
};

constexpr size_t kConditionSize = 4096;
// latest_album asks for this many albums when its count is not positive.
constexpr int kDefaultLatestAlbums = 100;

// One browse for a list of names: its fixed arguments, the record field
// that holds the name, and the log line for a name that is not UTF-8.
struct NameList {
  const char* columns;
  const char* grouping;
  const char* order;
  int mode;
  cantora::RecordField field;
  const char* bad_text_log;
};

const NameList kArtists = {nullptr, nullptr, "artist_sort asc", 1, cantora::RecordField::kArtist,
                           "artist %s is not valid utf8"};
// The grouped genre query delivers each genre in the title field.
const NameList kGenres = {"genre", "genre", "lower(genre) asc", 0, cantora::RecordField::kTitle,
                          "genre %s is not valid utf8"};
const NameList kAlbums = {"album", "album", "lower(album) asc", 0, cantora::RecordField::kAlbum,
                          "album %s is not valid utf8"};
const NameList kNewestAlbums = {"album", nullptr, "create_date desc", 2,
                                cantora::RecordField::kAlbum, "album %s is not valid utf8"};

// Browses and writes {"name": ...} for each name that is valid UTF-8, as
// the text JsonCpp gives that one-member object, into items. False when the
// browse failed; *rejected tells whether a name was turned away (and
// logged). The names are read without making a record of each
// (MusicBrowseTexts), and held until the browse has succeeded.
bool ReadNameItems(const NameList& what, const char* library, int uid, const char* condition,
                   int limit, NameItems* items, bool* rejected) {
  *rejected = false;
  sqlite::Database* db = cantora::IndexDatabase();
  if (db == nullptr) return false;
  cantora::BrowseQuery query;
  query.library = library;
  query.uid = uid;
  query.columns = what.columns;
  query.condition = condition;
  query.grouping = what.grouping;
  query.order = what.order;
  query.limit = limit;
  query.mode = what.mode;
  std::string names;  // each name followed by a NUL
  if (cantora::MusicBrowseTexts(*db, query, what.field, [&names](std::string_view name) {
        names.append(name).push_back('\0');
      }) < 0) {
    return false;
  }
  for (size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
    const char* name = names.c_str() + at;
    if (!TryUTF8ToUTF16(name)) {
      syslog(LOG_ERR, what.bad_text_log, name);
      *rejected = true;
      continue;
    }
    if (items->count++ != 0) items->text.push_back(',');
    items->text.append("{\"name\":");
    cantora::AppendJsonString(name, &items->text);
    items->text.push_back('}');
  }
  return true;
}

// Browses and adds the names to answer (see ReadNameItems). False when the
// browse failed, in which case nothing is added or logged.
bool ListNames(const NameList& what, const char* library, int uid, const char* condition,
               int limit, ListAnswer* answer) {
  NameItems items;
  bool rejected;
  if (!ReadNameItems(what, library, uid, condition, limit, &items, &rejected)) return false;
  answer->AddWritten(items.text, items.count);
  return true;
}

// The whole list of names, from what this process kept of it when the
// list is of the shared libraries alone (shared_name_lists.h), else read.
bool ListAllNames(const NameList& what, SharedNameList kept_as, const char* library, int uid,
                  ListAnswer* answer) {
  std::optional<cantora::DatabaseStamp> stamp;
  const bool shared_alone = cantora::ScopeOfLibrary(library) == cantora::LibraryScope::kShared;
  if (KeepingSharedNameLists() && shared_alone) stamp = cantora::PlatformDatabaseStamp();
  if (!stamp) return ListNames(what, library, uid, nullptr, -1, answer);
  const NameItems* kept = FindSharedNameList(kept_as, *stamp);
  NameItems items;
  if (kept == nullptr) {
    bool rejected;
    if (!ReadNameItems(what, library, uid, nullptr, -1, &items, &rejected)) return false;
    if (!rejected) kept = KeepSharedNameList(kept_as, *stamp, std::move(items));
  }
  const NameItems& listed = kept != nullptr ? *kept : items;
  answer->AddWritten(listed.text, listed.count);
  return true;
}

int LatestAlbumCount(const char* value) {
  long count = std::strtol(value, nullptr, 10);
  if (count < 1) return kDefaultLatestAlbums;
  return count > INT_MAX ? INT_MAX : static_cast<int>(count);
}

// The answer of a whole list of names: "success" true once listed, none
// when the browse failed.
void AnswerAllNames(const NameList& what, SharedNameList kept_as, cantora::WebMan* web,
                    const char* user_name) {
  ListAnswer answer(web, kJsonContentType);
  const char* library = ChangeToActualLib(web->In("library", "shared"));
  bool listed = ListAllNames(what, kept_as, library, GetUserIdFromName(user_name), &answer);
  answer.Finish(listed ? std::optional<bool>(true) : std::nullopt);
}

}  // namespace

void EnumerationHandler::ArtistEnum() {
  AnswerAllNames(kArtists, SharedNameList::kArtists, &web_, UserName());
}

void EnumerationHandler::GenreEnum() {
  AnswerAllNames(kGenres, SharedNameList::kGenres, &web_, UserName());
}

void EnumerationHandler::AlbumEnum() {
  ListAnswer answer(&web_, kJsonContentType);
  const char* library = ChangeToActualLib(web_.In("library", "shared"));
  int uid = GetUserIdFromName(UserName());
  const char* artist = web_.In("artist_name");
  const char* genre = web_.In("genre_name");
  const char* latest = web_.In("latest_album");
  char condition[kConditionSize];
  MallocText escaped;
  // "success": true once listed, false when an escape could not be made,
  // none when the browse failed.
  std::optional<bool> success;
  if (artist != nullptr) {
    if (!(escaped = EscapeParam(artist, kAlbumsEscapeArtist))) {
      success = false;
    } else {
      std::snprintf(condition, sizeof condition, kArtistCondition, escaped.get(),
                    ArtistJoiner(artist, "OR", "AND"), escaped.get());
      if (ListNames(kAlbums, library, uid, condition, -1, &answer)) success = true;
    }
  } else if (genre != nullptr) {
    if (!(escaped = EscapeParam(genre, kAlbumsEscapeGenre))) {
      success = false;
    } else {
      std::snprintf(condition, sizeof condition, "genre = '%s'", escaped.get());
      if (ListNames(kAlbums, library, uid, condition, -1, &answer)) success = true;
    }
  } else if (latest != nullptr) {
    if (ListNames(kNewestAlbums, library, uid, nullptr, LatestAlbumCount(latest), &answer))
      success = true;
  } else if (ListAllNames(kAlbums, SharedNameList::kAlbums, library, uid, &answer)) {
    success = true;
  }
  answer.Finish(success);
}
