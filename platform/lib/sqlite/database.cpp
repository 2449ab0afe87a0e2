#include "platform/lib/sqlite/database.h"

#include <deque>
#include <utility>

namespace sqlite {

// The kept statements of a connection, each with whether a lease of it
// is out. A deque: a lease points at its entry's flag, which must not move.
struct Database::Kept {
  struct Entry {
    std::string sql;
    sqlite3_stmt* stmt;
    bool leased;
  };
  std::deque<Entry> entries;
};

Database::~Database() { Close(); }

Database::Database(Database&& other) noexcept
    : db_(std::exchange(other.db_, nullptr)), kept_(std::exchange(other.kept_, nullptr)) {}

Database& Database::operator=(Database&& other) noexcept {
  if (this != &other) {
    Close();
    db_ = std::exchange(other.db_, nullptr);
    kept_ = std::exchange(other.kept_, nullptr);
  }
  return *this;
}

namespace {

// Process-wide settings, made once before SQLite starts. The page cache
// takes its pages one at a time: by default each connection first
// allocates and touches room for 20 pages, and a process that answers a
// small request reads only a handful: room for pages it never reads would
// only cost page faults.
void ConfigureOnce() {
  static const bool configured = [] {
    sqlite3_config(SQLITE_CONFIG_PAGECACHE, nullptr, 0, 0);
    return true;
  }();
  (void)configured;
}

}  // namespace

bool Database::Open(const std::string& path, int flags, std::string* error) {
  Close();
  ConfigureOnce();
  int rc = sqlite3_open_v2(path.c_str(), &db_, flags, nullptr);
  if (rc != SQLITE_OK) {
    if (error) *error = db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(rc);
    Close();
    return false;
  }
  sqlite3_extended_result_codes(db_, 1);
  return true;
}

void Database::Close() {
  if (kept_ != nullptr) {
    for (Kept::Entry& e : kept_->entries) sqlite3_finalize(e.stmt);
    delete kept_;
    kept_ = nullptr;
  }
  if (db_) {
    sqlite3_close_v2(db_);
    db_ = nullptr;
  }
}

bool Database::Exec(const std::string& sql, std::string* error) {
  char* message = nullptr;
  int rc = sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &message);
  if (rc != SQLITE_OK) {
    if (error) *error = message ? message : sqlite3_errstr(rc);
    sqlite3_free(message);
    return false;
  }
  return true;
}

Statement Database::Prepare(const std::string& sql, std::string* error) {
  sqlite3_stmt* stmt = nullptr;
  int rc = sqlite3_prepare_v2(db_, sql.c_str(), static_cast<int>(sql.size()), &stmt, nullptr);
  if (rc != SQLITE_OK) {
    if (error) *error = sqlite3_errmsg(db_);
    sqlite3_finalize(stmt);
    return Statement();
  }
  return Statement(stmt);
}

Statement Database::PrepareKept(const char* sql, std::string* error) {
  if (kept_ == nullptr) kept_ = new Kept;
  Kept::Entry* free = nullptr;
  for (Kept::Entry& e : kept_->entries) {
    if (e.sql == sql && !e.leased) {
      free = &e;
      break;
    }
  }
  if (free == nullptr) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &stmt, nullptr) != SQLITE_OK) {
      if (error) *error = sqlite3_errmsg(db_);
      sqlite3_finalize(stmt);
      return Statement();
    }
    free = &kept_->entries.emplace_back(Kept::Entry{sql, stmt, false});
  }
  free->leased = true;
  return Statement(free->stmt, &free->leased);
}

Statement::~Statement() { Release(); }

void Statement::Release() {
  if (leased_ == nullptr) {
    sqlite3_finalize(stmt_);
  } else {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
    *leased_ = false;
  }
  stmt_ = nullptr;
  leased_ = nullptr;
}

Statement::Statement(Statement&& other) noexcept
    : stmt_(std::exchange(other.stmt_, nullptr)), leased_(std::exchange(other.leased_, nullptr)) {}

Statement& Statement::operator=(Statement&& other) noexcept {
  if (this != &other) {
    Release();
    stmt_ = std::exchange(other.stmt_, nullptr);
    leased_ = std::exchange(other.leased_, nullptr);
  }
  return *this;
}

Statement& Statement::Bind(int index, int64_t value) {
  sqlite3_bind_int64(stmt_, index, value);
  return *this;
}

Statement& Statement::Bind(int index, double value) {
  sqlite3_bind_double(stmt_, index, value);
  return *this;
}

Statement& Statement::Bind(int index, const std::string& value) {
  sqlite3_bind_text(stmt_, index, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
  return *this;
}

Statement& Statement::Bind(int index, const char* value) {
  if (value)
    sqlite3_bind_text(stmt_, index, value, -1, SQLITE_TRANSIENT);
  else
    sqlite3_bind_null(stmt_, index);
  return *this;
}

Statement& Statement::BindBlob(int index, const void* data, int size) {
  sqlite3_bind_blob(stmt_, index, data, size, SQLITE_TRANSIENT);
  return *this;
}

int Statement::Step() { return sqlite3_step(stmt_); }

void Statement::Reset() {
  sqlite3_reset(stmt_);
  sqlite3_clear_bindings(stmt_);
}

bool Statement::RunToEnd(std::string* error) {
  int rc = Step();
  Reset();
  if (rc == SQLITE_DONE) return true;
  if (error != nullptr) *error = sqlite3_errmsg(sqlite3_db_handle(stmt_));
  return false;
}

const char* Statement::Text(int col) const {
  const unsigned char* t = sqlite3_column_text(stmt_, col);
  return t ? reinterpret_cast<const char*>(t) : "";
}

Transaction::Transaction(Database& db, const char* begin) : db_(db) { ok_ = db_.Exec(begin); }

Transaction::~Transaction() {
  if (ok_ && !done_) db_.Exec("ROLLBACK");
}

bool Transaction::Commit() {
  if (!ok_ || done_) return false;
  done_ = true;
  return db_.Exec("COMMIT");
}

}  // namespace sqlite
