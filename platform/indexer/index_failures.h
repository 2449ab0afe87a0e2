// The files an index run could not read, as the table index_failure keeps
// them between runs: by path, with the file's modification time and size
// when it failed and the reason.
//
// A failed file that has not changed since is not read again (but by a full
// run): it is counted and reported as failed once more. Rows of failures no
// run found again go, but for those out of the run's reach (below a root
// that could not be read, outside a scoped run's folders), which stay.
#ifndef CANTORA_PLATFORM_INDEXER_INDEX_FAILURES_H
#define CANTORA_PLATFORM_INDEXER_INDEX_FAILURES_H

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

#include "platform/lib/sqlite/database.h"

namespace cantora {

class IndexFailures {
 public:
  // Reads the table. False with *error when the database fails.
  bool Load(sqlite::Database& db, std::string* error);

  // The reason path failed for when it failed before with this modification
  // time and size, and marks it kept; null when it is to be read.
  const std::string* Known(const std::string& path, int64_t mtime, int64_t size);
  // path failed in this run (written by Store).
  void Add(const std::string& path, int64_t mtime, int64_t size, const std::string& reason);
  // Keeps the failures whose path keep(path) holds for, as they are.
  void KeepWhere(const std::function<bool(const std::string&)>& keep);

  // Brings the table in line with this run, in a transaction of its own when
  // anything changed; now (seconds since the epoch) dates the new rows.
  bool Store(sqlite::Database& db, int64_t now, std::string* error);

 private:
  struct Failure {
    int64_t mtime = 0;
    int64_t size = 0;
    std::string reason;
    bool keep = false;   // still true (or out of the run's reach)
    bool fresh = false;  // found by this run: to be written
  };
  std::unordered_map<std::string, Failure> failures_;
};

}  // namespace cantora

#endif
