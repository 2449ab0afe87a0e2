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

sqlite::Database* PlatformDatabase() {
  static sqlite::Database db;
  static bool tried = false;
  if (!tried) {
    tried = true;
    std::string error, path = GetConfig().database;
    // A setuid process tests the songs of this database as root: it must be
    // one that only root and the web server's group can have written.
    if (StartedPrivileged() && !TrustedForPrivilegedUse(GetConfig().database, &path, &error)) {
      syslog(LOG_ERR, "cantora: refusing database %s", error.c_str());
      return nullptr;
    }
    if (!OpenPlatformDatabase(path, false, &db, &error)) {
      syslog(LOG_ERR, "cantora: cannot open database %s: %s", path.c_str(), error.c_str());
      db.Close();
    }
  }
  return db.IsOpen() ? &db : nullptr;
}

}  // namespace cantora
