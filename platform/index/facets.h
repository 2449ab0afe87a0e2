// The facet table: per library, the distinct artists, albums and genres of
// its songs with a sort key, the newest song's creation date and a song
// count. Whole-library listings read it instead of grouping every song.
//
// Sort keys are what a scan of the songs would order by, so that a listing
// reads the same whichever way it was answered:
//   artist  lower() of the artist's sort name (artist_sort, or the artist
//           when that is empty), the least over the artist's songs
//   album   lower(album)
//   genre   lower(genre)
#ifndef CANTORA_PLATFORM_INDEX_FACETS_H
#define CANTORA_PLATFORM_INDEX_FACETS_H

#include <string_view>

#include "platform/index/schema.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

struct FacetDefinition {
  FacetKind kind;
  // The song column whose distinct values the facet holds.
  const char* column;
  // Aggregate SQL over a group of song rows giving the group's sort key.
  const char* sort_key_sql;
};

// The facet over a song column, or null when that column has none.
const FacetDefinition* FacetForColumn(std::string_view column);
const FacetDefinition& FacetOfKind(FacetKind kind);

// Replaces the facet table's rows with those of the current songs. Runs
// inside the caller's transaction when there is one (the indexer calls it
// at the end of each run, in the run's transaction). db must have the
// index's SQL functions (RegisterIndexFunctions), on which the sort keys
// depend, as every connection that writes the index has. Also refreshes the
// query planner's statistics of the index tables, which the browse queries
// rely on to pick their indexes.
bool RebuildFacets(sqlite::Database& db);

// The facets are marked stale in the transaction of an indexing run's first
// write, and current again in the one that rebuilds them, so that a run cut
// short (killed, power lost) leaves a mark the listings and the next run see.
bool MarkFacetsStale(sqlite::Database& db);
// False when marked stale. RebuildFacets clears the mark.
bool FacetsCurrent(sqlite::Database& db);

}  // namespace cantora

#endif
