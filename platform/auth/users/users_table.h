// The users table of the platform database, and what the concerns that keep
// something per user (the music index and its indexer, the playlists) may
// ask of it. It is the accounts' table: those concerns read and hook it
// through the calls below, never by SQL of their own. Sessions, passwords
// and sign-in stand above it (account.h).
//
//   users             id (never 0: library 0 is the shared one), name, a
//                     salted slow password hash, the personal-library
//                     switch, the time the account was made.
//   retired_user_ids  ids of deleted users, never given again: a personal
//                     library, its songs' ids and anything else kept by user
//                     id must not pass to a later account.
//
// It stands on the SQLite wrapper alone, so that the index can ask it without
// linking the accounts' sessions, password hashing and sign-in.
#ifndef CANTORA_PLATFORM_AUTH_USERS_USERS_TABLE_H
#define CANTORA_PLATFORM_AUTH_USERS_USERS_TABLE_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/lib/sqlite/database.h"

namespace cantora {

// A user name is 1 to 64 bytes of letters, digits, '.', '_' and '-', not
// starting with '.' or '-': it names a home folder and a preference folder.
bool IsValidUserName(const std::string& name);

// Creates the users table and the retirement of deleted ids when missing.
bool CreateUsersTable(sqlite::Database& db, std::string* error);

// A personal library and its owner: the library's id is the owner's user id.
struct LibraryOwner {
  int64_t id = 0;
  std::string name;
};

// The owners whose personal library is switched on, by id. False with
// *error when the database fails.
bool ListPersonalLibraryOwners(sqlite::Database& db, std::vector<LibraryOwner>* owners,
                               std::string* error);

// The name of the user of that id; empty when there is none or the database
// cannot be read.
std::string UserNameById(sqlite::Database& db, int64_t id);

// Whether the user of that id exists and has the personal library switched on.
bool IsPersonalLibraryOn(sqlite::Database& db, int64_t uid);

// Makes what a concern keeps per personal library go with it: statements
// (SQL that names the library's id old.id, each ending in ';') run within
// the very statement that deletes the owner or switches the library off, so
// that no listing shows it after and no later account can inherit it. The
// triggers are named <name>_user_deleted and <name>_switched_off, made when
// missing. Where the database holds no users table (an index kept apart from
// the accounts) nothing is made, and that is no failure.
bool DropWithPersonalLibrary(sqlite::Database& db, const std::string& name,
                             const std::string& statements, std::string* error);

}  // namespace cantora

#endif
