// Thin RAII layer over SQLite: the only place that includes <sqlite3.h>
// besides code that registers SQL functions or an authorizer.
#ifndef CANTORA_PLATFORM_LIB_SQLITE_DATABASE_H
#define CANTORA_PLATFORM_LIB_SQLITE_DATABASE_H

#include <sqlite3.h>

#include <cstdint>
#include <string>

namespace sqlite {

class Statement;

// An open connection. Move-only; closes on destruction.
class Database {
 public:
  Database() = default;
  ~Database();
  Database(Database&& other) noexcept;
  Database& operator=(Database&& other) noexcept;
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // flags are SQLite's SQLITE_OPEN_* flags. Returns false and fills *error.
  bool Open(const std::string& path, int flags, std::string* error);
  bool IsOpen() const { return db_ != nullptr; }
  void Close();

  // Runs one or more statements without results. Returns false on error.
  bool Exec(const std::string& sql, std::string* error = nullptr);

  // Prepares one statement; an invalid Statement on error.
  Statement Prepare(const std::string& sql, std::string* error = nullptr);
  // The same for a statement the program runs again and again (a resident
  // process's session check, on every request): prepared on first use and
  // kept on the connection, each Statement returned a lease of it that
  // resets it and clears its bindings when it ends, so that a kept
  // statement holds no values and no read transaction between uses. sql
  // must be text written in the program, never text a request supplied,
  // and must not need an authorizer (none sees it again). A statement
  // whose lease has not ended (a nested use) is prepared afresh for the
  // next caller. Leases must end before the connection closes.
  Statement PrepareKept(const char* sql, std::string* error = nullptr);

  int64_t LastInsertId() const { return sqlite3_last_insert_rowid(db_); }
  int Changes() const { return sqlite3_changes(db_); }
  const char* ErrorMessage() const { return db_ ? sqlite3_errmsg(db_) : "database not open"; }
  // Puts ErrorMessage() in *error (when not null) and returns false, so that
  // a failure reads as `return st.Run() || db.Fail(error);`.
  bool Fail(std::string* error) const {
    if (error != nullptr) *error = ErrorMessage();
    return false;
  }
  sqlite3* get() const { return db_; }

 private:
  struct Kept;
  sqlite3* db_ = nullptr;
  Kept* kept_ = nullptr;  // the kept statements, once one was asked for
};

// A prepared statement. Bind indexes start at 1, column indexes at 0.
class Statement {
 public:
  Statement() = default;
  explicit Statement(sqlite3_stmt* stmt) : stmt_(stmt) {}
  // A lease of a kept statement (Database::PrepareKept): *leased is true
  // while it lasts.
  Statement(sqlite3_stmt* stmt, bool* leased) : stmt_(stmt), leased_(leased) {}
  ~Statement();
  Statement(Statement&& other) noexcept;
  Statement& operator=(Statement&& other) noexcept;
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  bool IsValid() const { return stmt_ != nullptr; }

  Statement& Bind(int index, int64_t value);
  Statement& Bind(int index, int value) { return Bind(index, static_cast<int64_t>(value)); }
  Statement& Bind(int index, double value);
  Statement& Bind(int index, const std::string& value);
  Statement& Bind(int index, const char* value);  // null binds NULL
  Statement& BindBlob(int index, const void* data, int size);

  // SQLITE_ROW, SQLITE_DONE or an error code.
  int Step();
  // Steps once and reports whether it finished without error.
  bool Run() { int rc = Step(); return rc == SQLITE_DONE || rc == SQLITE_ROW; }
  // A write: steps once, then Reset. True when it ran to its end
  // (SQLITE_DONE); else false with the connection's message in *error (when
  // not null).
  bool RunToEnd(std::string* error);
  // Back to the start, with the bound values cleared.
  void Reset();
  // Back to the start, keeping the bound values: a statement run again and
  // again with one value changed.
  void Rewind() { sqlite3_reset(stmt_); }

  int64_t Int(int col) const { return sqlite3_column_int64(stmt_, col); }
  double Double(int col) const { return sqlite3_column_double(stmt_, col); }
  // Never null: NULL reads as "".
  const char* Text(int col) const;
  int Bytes(int col) const { return sqlite3_column_bytes(stmt_, col); }
  bool IsNull(int col) const { return sqlite3_column_type(stmt_, col) == SQLITE_NULL; }
  int ColumnCount() const { return sqlite3_column_count(stmt_); }
  const char* ColumnName(int col) const { return sqlite3_column_name(stmt_, col); }
  sqlite3_stmt* get() const { return stmt_; }

 private:
  // Finalizes the statement, or ends the lease of a kept one.
  void Release();
  sqlite3_stmt* stmt_ = nullptr;
  bool* leased_ = nullptr;
};

// Holds a transaction open; rolls back unless Commit() was called.
class Transaction {
 public:
  explicit Transaction(Database& db, const char* begin = "BEGIN IMMEDIATE");
  ~Transaction();
  bool ok() const { return ok_; }
  bool Commit();

 private:
  Database& db_;
  bool ok_ = false;
  bool done_ = false;
};

}  // namespace sqlite

#endif
