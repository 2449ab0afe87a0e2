// The music index's tables in the platform database.
//
//   song    one row per audio file (records of kind 0). "library" is 0 for the
//           shared libraries and the owner's user id for a personal library.
//   folder  one row per folder that holds audio (records of kind 4).
//   facet   the distinct artists (kind 1), albums (2) and genres (3) of each
//           library, rebuilt by the indexer in the same transaction as the
//           songs it summarises, so that whole-library listings never scan songs.
//   song_fts  a contentless trigram index over fold() of title, album, artist
//           and album artist; a candidate filter for substring searches.
//           Triggers keep it in step with song.
//
// The triggers call fold(), the index's own case folding; a connection that
// writes songs must have the index's SQL functions registered
// (RegisterIndexFunctions), or the write fails: it can never silently store
// tokens folded some other way.
#ifndef CANTORA_PLATFORM_INDEX_SCHEMA_H
#define CANTORA_PLATFORM_INDEX_SCHEMA_H

#include <string>

#include "platform/lib/sqlite/database.h"

namespace cantora {

enum FacetKind { kFacetArtist = 1, kFacetAlbum = 2, kFacetGenre = 3 };

// Creates the index's tables, indexes and triggers when missing, and brings
// those of a database made by an earlier version up to date.
bool CreateIndexSchema(sqlite::Database& db, std::string* error);

}  // namespace cantora

#endif
