// The indexer: brings the music index in line with the files on disk.
//
// Libraries: every personal library whose owner has the personal switch on
// (library = the owner's user id), then the shared indexed folders (library 0).
// A file found twice (a home inside a shared folder) belongs to the first.
//
// Incremental by default: a file whose path, modification time (ns) and size
// match its row is not read again; rows of files that are gone are removed,
// and so are folder records that no longer lead to audio. A full run reads
// every file again. Either way song ids and create_date (the first time a file
// was indexed) are kept for files that stay, so that listings by date and ids
// held by clients survive re-indexing.
//
// A root that exists but cannot be read keeps its rows untouched (a volume
// that is not mounted must not empty the library); a root that does not exist
// is an empty library.
//
// A file that cannot be read is reported, logged and counted as failed, and
// the run goes on. Tags are read on several threads; one writer stores them
// in short transactions (WAL), so requests are served throughout. The
// summaries of artists, albums and genres are rebuilt in the last one, and
// the lyrics of side files are brought in step there (song_lyrics.h).
//
// A scoped run (IndexOptions::scope, what the watcher asks for) walks only
// the given folders: a shallow one's own files, a deep one with everything
// below; rows elsewhere are neither loaded nor touched, but for the records
// of the folders above the scope, which go when no audio is left below them.
// It keeps every guarantee of a whole run (the same transactions, the facets
// and song walk rebuilt when anything was written).
//
// Files that fail are kept in the table index_failure with their reason
// until they change or go (an unchanged failed file is not read again but
// by a full run), and each finished run leaves a row in index_run (index_status.h).
#ifndef CANTORA_PLATFORM_INDEXER_INDEXER_H
#define CANTORA_PLATFORM_INDEXER_INDEXER_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/indexer/index_summary.h"
#include "platform/indexer/tree_walk.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

struct IndexOptions {
  bool full = false;
  // Skipped files and unreadable folders, one line each; null for none.
  FILE* report = stderr;
  // Draws a progress bar on report (when it is a terminal, say).
  bool progress = false;
  unsigned readers = 0;  // 0: one per core
  size_t batch = 1000;   // writes per transaction
  // One JSON object per line: {"event":"progress",...} now and then while
  // files are read, {"event":"summary",...} at the end; null for none.
  FILE* json = nullptr;
  // Only these folders (see above); null for every library entirely.
  const std::vector<ScopeFolder>* scope = nullptr;
  // What started the run, as index_run records it ("index", "watch", ...).
  const char* kind = "index";
};

// Runs one indexing pass on db (the platform database, its index schema in
// place). False with *error when the database fails; the index is then left
// as the last committed transaction left it, which the next run completes.
bool RunIndex(sqlite::Database& db, const IndexOptions& options, IndexSummary* summary,
              std::string* error);

}  // namespace cantora

#endif
