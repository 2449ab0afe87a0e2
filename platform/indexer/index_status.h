// What an administrator (or a page) reads about indexing: the runs that
// finished (table index_run, the last 1000 kept) and the files that could
// not be read (table index_failure, kept by the indexer until they change).
#ifndef CANTORA_PLATFORM_INDEXER_INDEX_STATUS_H
#define CANTORA_PLATFORM_INDEXER_INDEX_STATUS_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/indexer/indexer.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

struct IndexRunRecord {
  int64_t started = 0;  // seconds since the epoch
  std::string kind;     // "index", "full", "watch", "watch-scan"
  IndexSummary counts;
};

struct IndexFailureRecord {
  std::string path;
  std::string reason;
  int64_t at = 0;  // when it was last read
};

// Stores a finished run. False with *error when the database fails.
bool RecordIndexRun(sqlite::Database& db, const char* kind, int64_t started,
                    const IndexSummary& summary, std::string* error);

// The last run (*found false when none is recorded) and how many are kept.
bool LastIndexRun(sqlite::Database& db, IndexRunRecord* run, bool* found, int64_t* runs,
                  std::string* error);

// The files that failed, by path.
bool ListIndexFailures(sqlite::Database& db, std::vector<IndexFailureRecord>* failures,
                       std::string* error);

}  // namespace cantora

#endif
