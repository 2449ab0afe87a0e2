// ZARNMusicBrowse: the one query entry of the music index.
//
//   ZARNMusicBrowse(library, uid, kind, &head, 0, columns, condition,
//                   grouping, order, offset, limit, mode, 0)
//
// library  a library name (library.h); it selects the rows the query may see:
//          the shared libraries, the personal library of uid, or both. The
//          condition is evaluated only inside those rows.
// kind     0: song records; 4: folder records (path, title = the folder's
//          name).
// columns  "*", null or "": every field; else a list of column names; the
//          fields not listed are left empty (0 or "").
// condition, grouping, order: fragments in PostgreSQL's dialect
//          (fragment.h); null or blank means none. The folder listing's
//          conditions are matched by folder identity (folder_condition.h).
// offset, limit: paging; a negative limit means no limit.
// mode     0: the rows (or, with a grouping, one record per group, the
//          group's values in their fields and the first one also in the
//          title field: a genre grouping delivers the genre as title).
//          1: the distinct artists, in artist sort order (artist and title
//          fields). 2: the newest distinct albums, by the creation date of
//          their newest song, newest first (album and title fields).
//          Modes 1 and 2 have their own order; the order argument is not used.
//
// Returns the number of records (>= 0) and stores the list in *head (null
// when empty; free it with ZARNPlaylistRecFree), or a negative number when
// the query is refused or fails (*head is then null).
//
// Confinement: a fragment can neither read outside the scope nor change
// anything. It must parse as an expression over the table's columns; the
// query is one SELECT over the scoped rows, prepared under an authorizer
// that admits only reading the index's tables and calling the index's
// functions, checked read-only with nothing after it, and run with the
// connection in query_only mode.
#ifndef CANTORA_PLATFORM_INDEX_BROWSE_H
#define CANTORA_PLATFORM_INDEX_BROWSE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/index/fragment.h"
#include "platform/index/media_info.h"
#include "platform/lib/sqlite/database.h"

int ZARNMusicBrowse(const char* library, int uid, int kind, MediaInfo** head, int,
                    const char* columns, const char* condition, const char* grouping,
                    const char* order, int offset, int limit, int mode, int);

namespace cantora {

enum BrowseKind { kBrowseSongs = 0, kBrowseFolders = 4 };
enum BrowseMode { kBrowseRows = 0, kBrowseArtists = 1, kBrowseNewestAlbums = 2 };

struct BrowseQuery {
  const char* library = "shared";
  int uid = 0;
  int kind = kBrowseSongs;
  const char* columns = nullptr;
  const char* condition = nullptr;
  const char* grouping = nullptr;
  const char* order = nullptr;
  int offset = 0;
  int limit = -1;
  int mode = kBrowseRows;
  // Whether the facet table may answer whole-library listings. MusicBrowse
  // sets it from the index: an indexing run that was cut short leaves its
  // songs committed and its facets stale, and listings then group the songs.
  bool facets_current = true;
};

// The statement a query runs: SQL with its parameters. False when the query
// is refused. *empty is set when the scope holds no rows at all (a personal
// library without a user), in which case there is no statement.
bool BuildBrowseStatement(const BrowseQuery& query, SqlPiece* statement, bool* empty);

// ZARNMusicBrowse on a given connection, which must have the index's SQL
// functions registered.
int MusicBrowse(sqlite::Database& db, const BrowseQuery& query, MediaInfo** head);

// The same records handed to each one at a time, in the list's order, and
// freed when it returns; the list is never held whole, so that the memory a
// long list takes beside its answer is a few hundred records. each returns
// false to stop. The records are read under the confinement a batch at a
// time and handed out outside it, so each may use the connection (to look
// up a library's folder, say). A whole song list in the song lists' order
// (every column, no paging: the one SongOrder sorts) of up to 8,192 songs
// is read in one pass and its records sorted, as MusicBrowse does; a longer
// one keeps only the sort keys and ids of its songs (SongKeys, about 32
// bytes a song), puts them in order and reads the records again by id, in
// the same read transaction.
// Returns the number of records handed out, or -1 when the query is refused
// or fails (records may have been handed out by then).
using RecordSink = std::function<bool(const MediaInfo&)>;
int MusicBrowseEach(sqlite::Database& db, const BrowseQuery& query, const RecordSink& each);

// The ids of the rows the query selects (its columns are not used), handed
// to each in the query's order while the statement runs, under the
// confinement: each must not use the connection. No record is made and none
// is kept. Returns their number, or -1 as MusicBrowse.
int MusicBrowseIds(sqlite::Database& db, const BrowseQuery& query,
                   const std::function<void(int64_t)>& each);

// The platform database ready for MusicBrowse (the index's functions
// registered, read settings made), prepared once per connection; null when
// it cannot be opened.
sqlite::Database* IndexDatabase();

}  // namespace cantora

#endif
