// One read transaction held over several statements.
#ifndef CANTORA_PLATFORM_INDEX_READ_TRANSACTION_H
#define CANTORA_PLATFORM_INDEX_READ_TRANSACTION_H

#include <sqlite3.h>

namespace cantora {

// Holds one read transaction over the statements of a list read in several
// steps, so that they all see one state of the index. Nothing when the
// connection is already in a transaction.
class ReadTransaction {
 public:
  explicit ReadTransaction(sqlite3* db);
  ~ReadTransaction();
  ReadTransaction(const ReadTransaction&) = delete;
  ReadTransaction& operator=(const ReadTransaction&) = delete;

 private:
  sqlite3* db_;
  bool began_;
};

}  // namespace cantora

#endif
