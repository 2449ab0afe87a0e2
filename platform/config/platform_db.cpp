#include "platform/config/platform_db.h"

#include <syslog.h>

#include "platform/config/config.h"
#include "platform/config/trust.h"

namespace cantora {
bool OpenPlatformDatabase(const std::string& path, bool create, sqlite::Database* db,
                          std::string* error) {
  int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
  if (create) flags |= SQLITE_OPEN_CREATE;
  if (!db->Open(path, flags, error)) return false;
  sqlite3_busy_timeout(db->get(), 5000);
  // Keep the -wal and -shm files when the last connection closes: every
  // request is a new process, and creating, sizing and removing them again
  // on each one costs more than the request's own query.
  int persist = 1;
  sqlite3_file_control(db->get(), "main", SQLITE_FCNTL_PERSIST_WAL, &persist);
  // journal_mode=WAL is persistent in the file; setting it again is cheap
  // only when it is already WAL, so ask first.
  if (create && !db->Exec("PRAGMA journal_mode=WAL", error)) return false;
  // The first connection of a process rebuilds the WAL index from the whole
  // WAL file, so whoever closes last empties the WAL: a request never replays
  // frames that an earlier writer left behind.
  return db->Exec("PRAGMA foreign_keys=ON; PRAGMA synchronous=NORMAL; PRAGMA journal_size_limit=0",
                  error);
}

namespace {

// The process's connection and what is known of it.
struct Connection {
  sqlite::Database db;
  bool tried = false;
  std::string named;  // the configured path it was opened for
  uint64_t generation = 0;
  int64_t data_version = -1;  // as last asked; -1 before the first question
};

Connection& Platform() {
  static Connection connection;
  return connection;
}

}  // namespace

sqlite::Database* PlatformDatabase() {
  Connection& c = Platform();
  if (!c.tried) {
    c.tried = true;
    c.named = GetConfig().database;
    c.data_version = -1;
    std::string error, path = c.named;
    // A setuid process tests the songs of this database as root: it must be
    // one that only root and the web server's group can have written.
    if (StartedPrivileged() && !TrustedForPrivilegedUse(c.named, &path, &error)) {
      syslog(LOG_ERR, "cantora: refusing database %s", error.c_str());
      return nullptr;
    }
    if (!OpenPlatformDatabase(path, false, &c.db, &error)) {
      syslog(LOG_ERR, "cantora: cannot open database %s: %s", path.c_str(), error.c_str());
      c.db.Close();
    } else {
      ++c.generation;
    }
  }
  return c.db.IsOpen() ? &c.db : nullptr;
}

uint64_t PlatformDatabaseGeneration() { return Platform().generation; }

void ForgetPlatformDatabaseIfMoved() {
  Connection& c = Platform();
  if (!c.tried || (c.db.IsOpen() && c.named == GetConfig().database)) return;
  c.db.Close();
  c.tried = false;
}

namespace {

std::optional<int64_t> DataVersion(sqlite::Database& db) {
  sqlite::Statement st = db.PrepareKept("PRAGMA data_version");
  if (!st.IsValid() || st.Step() != SQLITE_ROW) return std::nullopt;
  return st.Int(0);
}

}  // namespace

std::optional<DatabaseStamp> PlatformDatabaseStamp() {
  Connection& c = Platform();
  if (!c.db.IsOpen()) return std::nullopt;
  std::optional<int64_t> version = DataVersion(c.db);
  if (!version) return std::nullopt;
  return DatabaseStamp{c.generation, *version};
}

bool PlatformDatabaseChangedSinceLastAsked() {
  Connection& c = Platform();
  if (!c.db.IsOpen()) return false;
  std::optional<int64_t> read = DataVersion(c.db);
  if (!read) return false;
  const int64_t version = *read;
  const bool changed = c.data_version != -1 && version != c.data_version;
  c.data_version = version;
  return changed;
}

bool ReleasePlatformDatabase() {
  Connection& c = Platform();
  if (!c.db.IsOpen()) return true;
  sqlite3* db = c.db.get();
  int busy = 0;
  for (sqlite3_stmt* st = sqlite3_next_stmt(db, nullptr); st != nullptr;
       st = sqlite3_next_stmt(db, st)) {
    if (sqlite3_stmt_busy(st)) {
      sqlite3_reset(st);
      ++busy;
    }
  }
  const bool in_transaction = sqlite3_get_autocommit(db) == 0;
  if (in_transaction) c.db.Exec("ROLLBACK");
  if (busy == 0 && !in_transaction) return true;
  syslog(LOG_ERR, "cantora: a request left %d statement(s) running%s; released", busy,
         in_transaction ? " and a transaction open" : "");
  return false;
}

}  // namespace cantora
