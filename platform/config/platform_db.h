// The platform's SQLite database (accounts, sessions, the music index).
//
// One file, named by the configuration's "database" key, in WAL mode so that
// requests read while the indexer writes. Each process opens it at most once.
#ifndef CANTORA_PLATFORM_CONFIG_PLATFORM_DB_H
#define CANTORA_PLATFORM_CONFIG_PLATFORM_DB_H

#include <string>

#include "platform/lib/sqlite/database.h"

namespace cantora {

// The process's connection, opened on first use (read-write, no create).
// Null when the database cannot be opened; the reason is logged once.
sqlite::Database* PlatformDatabase();

// Opens (creating when asked) the database at path with the platform's
// connection settings: WAL journal, a busy timeout, foreign keys.
bool OpenPlatformDatabase(const std::string& path, bool create, sqlite::Database* db,
                          std::string* error);

}  // namespace cantora

#endif
