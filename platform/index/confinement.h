// The walls around a query's statement.
//
// A statement of the index is prepared and stepped under an authorizer that
// admits only reading the index's tables and calling the index's functions,
// with the connection in query_only mode; it must be one read-only
// statement with nothing after it. Whatever a fragment says, it can then
// neither read outside the index nor change anything.
#ifndef CANTORA_PLATFORM_INDEX_CONFINEMENT_H
#define CANTORA_PLATFORM_INDEX_CONFINEMENT_H

#include <sqlite3.h>

#include "platform/index/query_sql.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

// Holds the authorizer and query_only mode for its life. uses_trigrams: the
// statement reads the trigram index, which is connected first.
class Confinement {
 public:
  Confinement(sqlite::Database& db, bool uses_trigrams);
  ~Confinement();
  Confinement(const Confinement&) = delete;
  Confinement& operator=(const Confinement&) = delete;

 private:
  sqlite::Database& db_;
};

// Prepares statement, which must be one read-only statement, and binds its
// values; false when it cannot be. Call it under a Confinement.
bool PrepareConfined(sqlite::Database& db, const SqlPiece& statement, sqlite::Statement* stmt);

}  // namespace cantora

#endif
