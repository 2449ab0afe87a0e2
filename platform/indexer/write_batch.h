// The indexer's writes, grouped into transactions of a bounded size, so
// that requests never wait long behind a run (the database is in WAL mode:
// readers go on between two transactions).
//
// The first transaction of a run also marks the facets (the artist, album
// and genre lists) stale: the songs it commits are not summed up until the
// run's last transaction rebuilds them.
#ifndef CANTORA_PLATFORM_INDEXER_WRITE_BATCH_H
#define CANTORA_PLATFORM_INDEXER_WRITE_BATCH_H

#include <cstddef>
#include <string>

#include "platform/lib/sqlite/database.h"

namespace cantora {

class WriteBatch {
 public:
  // size: writes per transaction (0 counts as 1).
  WriteBatch(sqlite::Database& db, size_t size) : db_(db), size_(size == 0 ? 1 : size) {}
  // An open transaction is rolled back.
  ~WriteBatch();
  WriteBatch(const WriteBatch&) = delete;
  WriteBatch& operator=(const WriteBatch&) = delete;

  // Opens a transaction unless one is open. False with *error.
  bool Begin(std::string* error);
  // Whether this run has written anything (opened a transaction).
  bool wrote() const { return wrote_; }
  // One write: write() returns false with *error set when it fails. The
  // transaction is committed once it holds size writes.
  template <class F>
  bool Write(std::string* error, F write) {
    return Begin(error) && write() && Wrote(error);
  }
  // Commits the open transaction, if any.
  bool Commit(std::string* error);

 private:
  bool Wrote(std::string* error) { return ++writes_ < size_ || Commit(error); }

  sqlite::Database& db_;
  const size_t size_;
  size_t writes_ = 0;
  bool open_ = false;
  bool wrote_ = false;
};

}  // namespace cantora

#endif
