#include "platform/index/confinement.h"

#include <strings.h>

#include <string_view>

#include "platform/index/candidates.h"
#include "platform/index/fragment.h"
#include "platform/index/sql_functions.h"

namespace cantora {
namespace {

const char* const kReadableTables[] = {"song",          "folder",       "facet",         "song_walk",
                                       "song_fts",      "song_fts_data", "song_fts_idx",
                                       "song_fts_config", "song_fts_docsize"};
// SQLite's own functions that the statements of the index use, and the
// candidate test of a walk.
const char* const kSqlFunctions[] = {"min", "max", "count", "match", CandidateFunction::kName};

template <size_t N>
bool Named(const char* const (&names)[N], const char* name) {
  if (name == nullptr) return false;
  for (const char* n : names) {
    if (strcasecmp(n, name) == 0) return true;
  }
  return false;
}

int Authorize(void*, int action, const char* arg1, const char* arg2, const char*, const char*) {
  switch (action) {
    case SQLITE_SELECT:
      return SQLITE_OK;
    case SQLITE_READ:
      return Named(kReadableTables, arg1) ? SQLITE_OK : SQLITE_DENY;
    case SQLITE_PRAGMA:
      // The trigram index asks this read-only counter before it reads.
      return arg1 != nullptr && strcasecmp(arg1, "data_version") == 0 && arg2 == nullptr
                 ? SQLITE_OK
                 : SQLITE_DENY;
    case SQLITE_FUNCTION:
      return arg2 != nullptr && (IsIndexFunction(arg2) || Named(kSqlFunctions, arg2))
                 ? SQLITE_OK
                 : SQLITE_DENY;
    default:
      return SQLITE_DENY;
  }
}

void Bind(sqlite::Statement& stmt, const std::vector<SqlValue>& values) {
  for (size_t i = 0; i < values.size(); ++i) {
    int index = static_cast<int>(i) + 1;
    const SqlValue& v = values[i];
    switch (v.type) {
      case SqlValue::Type::kText:
        stmt.Bind(index, v.text);
        break;
      case SqlValue::Type::kInteger:
        stmt.Bind(index, v.integer);
        break;
      case SqlValue::Type::kReal:
        stmt.Bind(index, v.real);
        break;
    }
  }
}

// The statements around a confined one are the program's own, run with no
// authorizer in force: kept prepared, since a long list is read in batches,
// each under a confinement of its own.
void RunKept(sqlite::Database& db, const char* sql) {
  sqlite::Statement st = db.PrepareKept(sql);
  while (st.IsValid() && st.Step() == SQLITE_ROW) {
  }
}

}  // namespace

Confinement::Confinement(sqlite::Database& db, bool uses_trigrams) : db_(db) {
  // Connecting the trigram index declares its table, which an authorizer
  // sees as a schema write: connect it first, with a statement of our own.
  if (uses_trigrams) RunKept(db_, "SELECT 1 FROM song_fts WHERE 0");
  RunKept(db_, "PRAGMA query_only=1");
  sqlite3_set_authorizer(db_.get(), Authorize, nullptr);
}

Confinement::~Confinement() {
  sqlite3_set_authorizer(db_.get(), nullptr, nullptr);
  RunKept(db_, "PRAGMA query_only=0");
}

bool PrepareConfined(sqlite::Database& db, const SqlPiece& statement, sqlite::Statement* stmt) {
  sqlite3_stmt* raw = nullptr;
  const char* tail = nullptr;
  const std::string& sql = statement.sql;
  if (sqlite3_prepare_v2(db.get(), sql.c_str(), static_cast<int>(sql.size()), &raw, &tail) !=
      SQLITE_OK) {
    sqlite3_finalize(raw);
    return false;
  }
  *stmt = sqlite::Statement(raw);
  if (raw == nullptr || !IsBlankFragment(std::string_view(tail)) || !sqlite3_stmt_readonly(raw)) {
    return false;
  }
  Bind(*stmt, statement.values);
  return true;
}

}  // namespace cantora
