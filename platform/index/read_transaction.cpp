#include "platform/index/read_transaction.h"

namespace cantora {

ReadTransaction::ReadTransaction(sqlite3* db)
    : db_(db),
      began_(sqlite3_get_autocommit(db) != 0 &&
             sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK) {}

ReadTransaction::~ReadTransaction() {
  if (began_) sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr);
}

}  // namespace cantora
