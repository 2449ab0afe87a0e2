// The platform's SQLite database (accounts, sessions, the music index).
//
// One file, named by the configuration's "database" key, in WAL mode so that
// requests read while the indexer writes. A process opens it once and keeps
// the connection (see process_state.h for what keeps it valid between
// requests); it is opened again only when the configuration names another
// file.
#ifndef CANTORA_PLATFORM_CONFIG_PLATFORM_DB_H
#define CANTORA_PLATFORM_CONFIG_PLATFORM_DB_H

#include <cstdint>
#include <optional>
#include <string>

#include "platform/lib/sqlite/database.h"

namespace cantora {

// The process's connection, opened on first use (read-write, no create).
// Null when the database cannot be opened; the reason is logged (once per
// request of a persistent process, see ForgetPlatformDatabaseIfMoved).
sqlite::Database* PlatformDatabase();

// Changes whenever the connection PlatformDatabase hands out is a new one
// (never 0 once one was opened): what is set up per connection (SQL
// functions, pragmas) is set up again when it differs from the number it
// was set up for. A connection's address may be reused by the next.
uint64_t PlatformDatabaseGeneration();

// Between requests: closes the connection when the configuration in force
// names another database than the one it opened, and forgets a failed
// opening, so that the next use opens the one named (as a new CGI would).
void ForgetPlatformDatabaseIfMoved();

// Between requests: whether anything committed to the database since this
// was last asked of the same connection (SQLite's data_version: an indexing
// run, an administrator's change). False for the first question of a
// connection, and when none is open.
bool PlatformDatabaseChangedSinceLastAsked();

// Which state of the database the connection reads now: the connection's
// generation and SQLite's data_version, which moves with every commit made
// through another connection (an indexing run, an administrator's change, a
// sign-in). Whatever was read under one stamp may be used again while the
// stamp is unchanged. Nullopt when no connection is open.
struct DatabaseStamp {
  uint64_t generation = 0;
  int64_t data_version = 0;
  bool operator==(const DatabaseStamp& o) const {
    return generation == o.generation && data_version == o.data_version;
  }
};
std::optional<DatabaseStamp> PlatformDatabaseStamp();

// Between requests: true when the connection holds nothing of the last
// request, no statement stepped and not reset, and no transaction open (so
// that no read snapshot keeps the indexer's writes or a WAL checkpoint
// waiting). Otherwise resets the statements, rolls the transaction back,
// logs one line naming what was left, and returns false.
bool ReleasePlatformDatabase();

// Opens (creating when asked) the database at path with the platform's
// connection settings: WAL journal, a busy timeout, foreign keys.
bool OpenPlatformDatabase(const std::string& path, bool create, sqlite::Database* db,
                          std::string* error);

}  // namespace cantora

#endif
