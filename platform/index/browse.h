// The music index's query: a BrowseQuery (browse_query.h) answered with
// records (MediaInfo). The gateway's legacy entry, ZARNMusicBrowse, is an
// adapter over MusicBrowse (music_browse.h), which documents the arguments.
//
// How a query is answered: browse_plan.h chooses its access method from its
// fields, browse_executors.h reads its records, confinement.h keeps it to
// reading the index.
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
#include <string_view>
#include <vector>

#include "platform/index/browse_query.h"
#include "platform/index/index_database.h"
#include "platform/index/query_sql.h"
#include "platform/index/song_columns.h"
#include "platform/index/media_info.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

// The statement a query runs: SQL with its parameters. False when the query
// is refused. *empty is set when the scope holds no rows at all (a personal
// library without a user), in which case there is no statement.
bool BuildBrowseStatement(const BrowseQuery& query, SqlPiece* statement, bool* empty);

// The query's records as one list, as ZARNMusicBrowse answers them
// (music_browse.h), on a given connection, which must have the index's SQL
// functions registered (IndexDatabase, index_database.h).
int MusicBrowse(sqlite::Database& db, const BrowseQuery& query, MediaInfo** head);

// The same records handed to each one at a time, in the list's order, and
// freed when it returns; the list is never held whole, so that the memory a
// long list takes beside its answer is a few hundred records. each returns
// false to stop. The records are read under the confinement a batch at a
// time and handed out outside it, so each may use the connection (to look
// up a library's folder, say). A whole song list in the song lists' order
// (every column, no paging: SongOrder::kSongList) of up to 8,192 songs
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

// The text each row's record would hold in field, as MusicBrowse would
// read it ("" when the query does not fill that field, cut at a NUL),
// handed to each in the list's order. No record is made: for listings of
// names (artists, albums, genres), where making a record of every field for
// one text costs more than reading the row. each must not use the
// connection (it may run while the statement does), and the text is valid
// only during the call. Returns their number, or -1 as MusicBrowse (texts
// may have been handed out by then).
using TextSink = std::function<void(std::string_view)>;
int MusicBrowseTexts(sqlite::Database& db, const BrowseQuery& query, RecordField field,
                     const TextSink& each);

}  // namespace cantora

#endif
