// What an index run brings in step once its songs and folders are written:
// the lyrics of side files (song_lyrics.h), the song walk (song_walk.h) and
// the facets (facets.h), in the run's last transaction; then, after a large
// change, the database file compacted.
#ifndef CANTORA_PLATFORM_INDEXER_INDEX_FINISH_H
#define CANTORA_PLATFORM_INDEXER_INDEX_FINISH_H

#include <functional>
#include <string>
#include <vector>

#include "platform/indexer/tree_walk.h"
#include "platform/indexer/walked_roots.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

// Matches the side lyrics files the walk found against the songs, leaving
// the rows below unreadable roots (and, for a scoped run, outside scope's
// folders) as they are. Inside the caller's transaction.
bool SyncWalkedSideLyrics(sqlite::Database& db, const std::vector<WalkedRoot>& roots,
                          const std::vector<ScopeFolder>* scope, std::string* error);

// A run that wrote nothing: SyncWalkedSideLyrics, and the song walk written
// again when a library that has songs lacks it (an index made before the
// walk was kept, a run that stopped part-way), in a transaction of their
// own, which leaves the facets as they are.
bool SyncSideLyricsAlone(sqlite::Database& db, const std::vector<WalkedRoot>& roots,
                         const std::vector<ScopeFolder>* scope, std::string* error);

// The artist, album and genre lists and the song walk, built again from the
// songs. Inside the caller's transaction.
bool RebuildSummaries(sqlite::Database& db, std::string* error);

// Writes every table and index again in order (VACUUM), passing a failure
// to report: the index is already committed, a failure leaves it as it was.
void Compact(sqlite::Database& db, const std::function<void(const std::string&)>& report);

}  // namespace cantora

#endif
