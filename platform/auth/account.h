// Accounts and sessions of the platform database.
//
//   users     the accounts themselves (users/users_table.h); the password
//             hash is libsodium's crypto_pwhash_str (Argon2id).
//   sessions  a BLAKE2b hash of the session id (the id itself is never
//             stored), the user, and the expiry time.
//   sign_in_failures  failed sign-ins per hash of an account name and per
//             hash of a client address, for slowing down guessing; forgotten
//             after an hour.
#ifndef CANTORA_PLATFORM_AUTH_ACCOUNT_H
#define CANTORA_PLATFORM_AUTH_ACCOUNT_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/auth/users/users_table.h"
#include "platform/lib/sqlite/database.h"

// The signed-in user's record as CantoraIphoneIsAuthorized fills it. Only its
// size and its first member, the login name, are part of the interface.
struct CantoraUserRecord {
  char name[256];
  int32_t uid;
  int32_t personal_library;
  char language[16];  // the UI language chosen at sign-in; empty for none
  char reserved[492 - 256 - 2 * sizeof(int32_t) - 16];
};
static_assert(sizeof(CantoraUserRecord) == 492, "the user record is 492 bytes");

// Fills record (size bytes, at least 492) for a live session; 0 on success,
// negative when the session id is empty, malformed, unknown or expired, or
// the database cannot be read.
int CantoraIphoneIsAuthorized(const char* session_id, void* record, int size);

// The numeric id of the named user; -1 when there is no such user.
int GetUserIdFromName(const char* name);

// Non-zero when the named user's personal library is switched on.
int IsPersonalLibEnabled(const char* name);

namespace cantora {

bool CreateAccountSchema(sqlite::Database& db, std::string* error);

struct User {
  int64_t id = 0;
  std::string name;
  bool personal = false;
};

// Each returns false with one line in *error. DeleteUser removes, in one
// transaction, the account, its sessions and failures and (where the music
// index lives in the same database) its personal library; ids of deleted
// users are never given again. Switching a personal library off takes it
// out of the index at once.
bool AddUser(sqlite::Database& db, const std::string& name, const std::string& password,
             bool personal, std::string* error);
bool SetPassword(sqlite::Database& db, const std::string& name, const std::string& password,
                 std::string* error);
bool SetPersonalLibrary(sqlite::Database& db, const std::string& name, bool on,
                        std::string* error);
bool DeleteUser(sqlite::Database& db, const std::string& name, std::string* error);
bool ListUsers(sqlite::Database& db, std::vector<User>* users, std::string* error);

// Opens a session for the user; *session_id receives the new id (64 hex digits).
bool NewSession(sqlite::Database& db, const std::string& name, std::string* session_id,
                std::string* error);
// Records the UI language a session was signed in with (a shipped one).
bool SetSessionLanguage(sqlite::Database& db, const std::string& session_id,
                        const std::string& language);
// Ends the session; true also when it did not exist.
bool EndSession(sqlite::Database& db, const std::string& session_id);

enum class SignInResult { kOk, kRefused, kError };

// Longest account name and password SignIn considers; longer ones are
// refused without a look (no account has such a name).
constexpr size_t kMaxAccountBytes = 64;
constexpr size_t kMaxPasswordBytes = 1024;

// Checks the password of a sign-in from the client at address. Wrong
// password and unknown account are one result, taking the same time.
// Guessing is slowed twice: an address with recent failures waits before its
// attempt, and a failed attempt at a name with recent failures (from any
// address) waits before its answer; a right password is never held back by
// the failures of the name.
SignInResult SignIn(sqlite::Database& db, const std::string& name, const std::string& password,
                    const std::string& address, std::string* session_id);

// The wait that this many failures earn (0 for the first two).
int SignInDelayMillis(int failures);

// The user of a record that CantoraIphoneIsAuthorized filled.
User UserOfRecord(const CantoraUserRecord& record);

}  // namespace cantora

#endif
