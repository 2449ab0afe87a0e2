#include "platform/auth/account.h"

#include <chrono>
#include <cstring>
#include <ctime>
#include <optional>
#include <thread>

#include "platform/config/config.h"
#include "platform/config/platform_db.h"
#include "platform/lib/sodium/crypto.h"

namespace cantora {
namespace {

constexpr const char* kAccountSchema = R"sql(
CREATE TABLE IF NOT EXISTS sessions (
  token_hash TEXT PRIMARY KEY,
  user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,
  created INTEGER NOT NULL,
  expires INTEGER NOT NULL
) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS sessions_expires ON sessions(expires);
CREATE TABLE IF NOT EXISTS session_language (
  token_hash TEXT PRIMARY KEY REFERENCES sessions(token_hash) ON DELETE CASCADE,
  language TEXT NOT NULL
) WITHOUT ROWID;
-- Failed sign-ins, per account name and per client address, each known
-- only by a hash: a guess of any length costs one short row. Rows older
-- than kFailureMemory are forgotten. (login_failures kept whole names.)
DROP TABLE IF EXISTS login_failures;
CREATE TABLE IF NOT EXISTS sign_in_decoy (hash TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS sign_in_failures (
  key TEXT PRIMARY KEY,
  failures INTEGER NOT NULL,
  last INTEGER NOT NULL
) WITHOUT ROWID;
)sql";

// How long a failed sign-in counts towards the wait of the next attempt.
constexpr int64_t kFailureMemory = 3600;

constexpr size_t kSessionIdHexDigits = 64;

bool IsSessionIdShape(const char* id) {
  if (id == nullptr || std::strlen(id) != kSessionIdHexDigits) return false;
  for (const char* p = id; *p; ++p)
    if (!((*p >= '0' && *p <= '9') || (*p >= 'a' && *p <= 'f'))) return false;
  return true;
}

int64_t Now() { return static_cast<int64_t>(std::time(nullptr)); }

bool UserByName(sqlite::Database& db, const std::string& name, User* user) {
  sqlite::Statement st = db.PrepareKept("SELECT id, name, personal FROM users WHERE name = ?");
  if (!st.IsValid()) return false;
  st.Bind(1, name);
  if (st.Step() != SQLITE_ROW) return false;
  user->id = st.Int(0);
  user->name = st.Text(1);
  user->personal = st.Int(2) != 0;
  return true;
}

// The failure counts are kept per account name and per client address,
// under a hash of either, never the text itself.
std::string NameKey(const std::string& name) { return crypto::Digest("account\n" + name); }
std::string AddressKey(const std::string& address) {
  return crypto::Digest("address\n" + address);
}

int Failures(sqlite::Database& db, const std::string& key) {
  sqlite::Statement st =
      db.Prepare("SELECT failures FROM sign_in_failures WHERE key = ? AND last > ?");
  if (!st.IsValid()) return 0;
  st.Bind(1, key).Bind(2, Now() - kFailureMemory);
  return st.Step() == SQLITE_ROW ? static_cast<int>(st.Int(0)) : 0;
}

// Forgets the failures older than kFailureMemory.
bool ForgetOldFailures(sqlite::Database& db) {
  sqlite::Statement forget = db.Prepare("DELETE FROM sign_in_failures WHERE last <= ?");
  return forget.IsValid() && forget.Bind(1, Now() - kFailureMemory).Run();
}

bool RecordFailure(sqlite::Database& db, const std::string& key) {
  int64_t now = Now();
  sqlite::Statement st = db.Prepare(
      "INSERT INTO sign_in_failures(key, failures, last) VALUES (?, 1, ?) "
      "ON CONFLICT(key) DO UPDATE SET failures = failures + 1, last = excluded.last");
  return st.IsValid() && st.Bind(1, key).Bind(2, now).Run();
}

bool ClearFailures(sqlite::Database& db, const std::string& key) {
  sqlite::Statement st = db.Prepare("DELETE FROM sign_in_failures WHERE key = ?");
  return st.IsValid() && st.Bind(1, key).Run();
}

// How often a sign-in's write is tried before the answer is an error: each
// try waits its turn for the database under the busy timeout.
constexpr int kWriteTries = 3;

// Runs write (true when all of it succeeded) in a transaction that takes the
// write lock at its start (BEGIN IMMEDIATE), so that it waits its turn under
// the busy timeout instead of failing on a snapshot another writer made
// stale; a failed try is rolled back and made again.
template <typename Write>
bool WriteInTurn(sqlite::Database& db, Write write) {
  for (int attempt = 0; attempt < kWriteTries; ++attempt) {
    sqlite::Transaction tx(db);
    if (tx.ok() && write() && tx.Commit()) return true;
  }
  return false;
}

// The stored hash of name's password into *hash (nullopt: no such
// account). The statement is let go before the slow check of the password:
// kept open, it would hold a read transaction through it, and the writes
// that follow would fail at once whenever anything else had written.
bool StoredHash(sqlite::Database& db, const std::string& name, std::optional<std::string>* hash) {
  sqlite::Statement st = db.Prepare("SELECT password_hash FROM users WHERE name = ?");
  if (!st.IsValid()) return false;
  st.Bind(1, name);
  int rc = st.Step();
  if (rc == SQLITE_ROW) *hash = st.Text(0);
  return rc == SQLITE_ROW || rc == SQLITE_DONE;
}

void Wait(int millis) {
  if (millis > 0) std::this_thread::sleep_for(std::chrono::milliseconds(millis));
}

// A hash of a password nobody has, made as the real ones are, so that an
// unknown account costs the same verification as a known one. It is made
// once and kept in the database: making it costs as much as a verification.
std::string DecoyHash(sqlite::Database& db) {
  sqlite::Statement read = db.Prepare("SELECT hash FROM sign_in_decoy");
  if (read.IsValid() && read.Step() == SQLITE_ROW) return read.Text(0);
  std::string hash;
  crypto::HashPassword(crypto::RandomHex(16), &hash);
  sqlite::Statement keep = db.Prepare("INSERT INTO sign_in_decoy(hash) VALUES (?)");
  if (keep.IsValid()) keep.Bind(1, hash).Run();
  return hash;
}

// A password SignIn could accept: not empty, and no longer than it reads.
bool IsUsablePassword(const std::string& password, std::string* error) {
  if (password.empty()) {
    *error = "empty password";
    return false;
  }
  if (password.size() > kMaxPasswordBytes) {
    *error = "password longer than " + std::to_string(kMaxPasswordBytes) +
             " bytes: sign-in would never accept it";
    return false;
  }
  return true;
}

}  // namespace

bool CreateAccountSchema(sqlite::Database& db, std::string* error) {
  if (!CreateUsersTable(db, error) || !db.Exec(kAccountSchema, error)) return false;
  DecoyHash(db);
  return true;
}

bool AddUser(sqlite::Database& db, const std::string& name, const std::string& password,
             bool personal, std::string* error) {
  if (!IsValidUserName(name)) {
    *error = "invalid user name '" + name + "' (letters, digits, '.', '_', '-'; at most 64)";
    return false;
  }
  if (!IsUsablePassword(password, error)) return false;
  User existing;
  if (UserByName(db, name, &existing)) {
    *error = "user '" + name + "' exists";
    return false;
  }
  std::string hash;
  if (!crypto::HashPassword(password, &hash)) {
    *error = "cannot hash the password";
    return false;
  }
  // Past every id ever given, deleted ones included.
  sqlite::Statement st = db.Prepare(
      "INSERT INTO users(id, name, password_hash, personal, created) VALUES ("
      "1 + max(coalesce((SELECT max(id) FROM users), 0), "
      "coalesce((SELECT max(id) FROM retired_user_ids), 0)), ?, ?, ?, ?)",
      error);
  if (!st.IsValid()) return false;
  st.Bind(1, name).Bind(2, hash).Bind(3, personal ? 1 : 0).Bind(4, Now());
  if (!st.Run()) return db.Fail(error);
  return true;
}

bool SetPassword(sqlite::Database& db, const std::string& name, const std::string& password,
                 std::string* error) {
  User user;
  if (!UserByName(db, name, &user)) {
    *error = "no user '" + name + "'";
    return false;
  }
  std::string hash;
  if (!IsUsablePassword(password, error)) return false;
  if (!crypto::HashPassword(password, &hash)) {
    *error = "cannot hash the password";
    return false;
  }
  sqlite::Transaction tx(db);
  sqlite::Statement st = db.Prepare("UPDATE users SET password_hash = ? WHERE id = ?", error);
  sqlite::Statement end = db.Prepare("DELETE FROM sessions WHERE user_id = ?", error);
  if (!st.IsValid() || !end.IsValid()) return false;
  // A new password ends every open session of the account.
  if (!st.Bind(1, hash).Bind(2, user.id).Run() || !end.Bind(1, user.id).Run() || !tx.Commit()) {
    return db.Fail(error);
  }
  ClearFailures(db, NameKey(name));
  return true;
}

bool SetPersonalLibrary(sqlite::Database& db, const std::string& name, bool on,
                        std::string* error) {
  sqlite::Statement st = db.Prepare("UPDATE users SET personal = ? WHERE name = ?", error);
  if (!st.IsValid() || !st.Bind(1, on ? 1 : 0).Bind(2, name).Run()) {
    if (error->empty()) *error = db.ErrorMessage();
    return false;
  }
  if (db.Changes() == 0) {
    *error = "no user '" + name + "'";
    return false;
  }
  return true;
}

bool DeleteUser(sqlite::Database& db, const std::string& name, std::string* error) {
  User user;
  if (!UserByName(db, name, &user)) {
    *error = "no user '" + name + "'";
    return false;
  }
  // One transaction: the account, its sessions (by foreign key), its
  // failures, and through the schema's triggers its personal library and
  // the retirement of its id.
  sqlite::Transaction tx(db);
  sqlite::Statement st = db.Prepare("DELETE FROM users WHERE id = ?", error);
  sqlite::Statement failures = db.Prepare("DELETE FROM sign_in_failures WHERE key = ?", error);
  if (!tx.ok() || !st.IsValid() || !failures.IsValid() || !st.Bind(1, user.id).Run() ||
      !failures.Bind(1, NameKey(name)).Run() || !tx.Commit()) {
    if (error->empty()) *error = db.ErrorMessage();
    return false;
  }
  return true;
}

bool ListUsers(sqlite::Database& db, std::vector<User>* users, std::string* error) {
  sqlite::Statement st = db.Prepare("SELECT id, name, personal FROM users ORDER BY name", error);
  if (!st.IsValid()) return false;
  while (st.Step() == SQLITE_ROW) {
    User u;
    u.id = st.Int(0);
    u.name = st.Text(1);
    u.personal = st.Int(2) != 0;
    users->push_back(u);
  }
  return true;
}

bool NewSession(sqlite::Database& db, const std::string& name, std::string* session_id,
                std::string* error) {
  User user;
  if (!UserByName(db, name, &user)) {
    *error = "no user '" + name + "'";
    return false;
  }
  std::string id = crypto::RandomHex(kSessionIdHexDigits / 2);
  int64_t now = Now();
  db.Exec("DELETE FROM sessions WHERE expires <= " + std::to_string(now));
  sqlite::Statement st = db.Prepare(
      "INSERT INTO sessions(token_hash, user_id, created, expires) VALUES (?, ?, ?, ?)", error);
  if (!st.IsValid()) return false;
  st.Bind(1, crypto::Digest(id)).Bind(2, user.id).Bind(3, now).Bind(4,
                                                                      now + GetConfig().session_lifetime);
  if (!st.Run()) return db.Fail(error);
  *session_id = id;
  return true;
}

bool SetSessionLanguage(sqlite::Database& db, const std::string& session_id,
                        const std::string& language) {
  if (!IsSessionIdShape(session_id.c_str())) return false;
  // A database made before session languages existed gets the table here.
  if (!CreateAccountSchema(db, nullptr)) return false;
  sqlite::Statement st =
      db.Prepare("INSERT OR REPLACE INTO session_language(token_hash, language) VALUES (?, ?)");
  return st.IsValid() && st.Bind(1, crypto::Digest(session_id)).Bind(2, language).Run();
}

bool EndSession(sqlite::Database& db, const std::string& session_id) {
  if (!IsSessionIdShape(session_id.c_str())) return true;
  sqlite::Statement st = db.Prepare("DELETE FROM sessions WHERE token_hash = ?");
  return st.IsValid() && st.Bind(1, crypto::Digest(session_id)).Run();
}

int SignInDelayMillis(int failures) {
  if (failures < 3) return 0;
  int shift = failures - 3;
  return shift >= 6 ? 16000 : 250 << shift;
}

SignInResult SignIn(sqlite::Database& db, const std::string& name, const std::string& password,
                    const std::string& address, std::string* session_id) {
  // No account has a longer name, and no password this long is needed.
  if (name.size() > kMaxAccountBytes || password.size() > kMaxPasswordBytes)
    return SignInResult::kRefused;
  const std::string name_key = NameKey(name), address_key = AddressKey(address);
  // An address that keeps failing waits before every attempt, whatever the
  // name; the owner of a name under attack, elsewhere, does not.
  Wait(SignInDelayMillis(Failures(db, address_key)));

  std::optional<std::string> stored;
  if (!StoredHash(db, name, &stored)) return SignInResult::kError;
  std::string hash = stored ? *stored : DecoyHash(db);
  bool match = crypto::VerifyPassword(hash, password) && stored;
  if (!match) {
    // Guesses at one name from many addresses wait after failing: the
    // right password is let through at once.
    int name_failures = 0;
    WriteInTurn(db, [&] {
      name_failures = Failures(db, name_key);
      return ForgetOldFailures(db) && RecordFailure(db, name_key) &&
             RecordFailure(db, address_key);
    });
    Wait(SignInDelayMillis(name_failures));
    return SignInResult::kRefused;
  }
  std::string error;
  bool opened = WriteInTurn(db, [&] {
    error.clear();
    return ClearFailures(db, name_key) && NewSession(db, name, session_id, &error);
  });
  return opened ? SignInResult::kOk : SignInResult::kError;
}

}  // namespace cantora

namespace cantora {

User UserOfRecord(const CantoraUserRecord& record) {
  User user;
  user.id = record.uid;
  user.name.assign(record.name, strnlen(record.name, sizeof record.name));
  user.personal = record.personal_library != 0;
  return user;
}

}  // namespace cantora

int CantoraIphoneIsAuthorized(const char* session_id, void* record, int size) {
  if (record == nullptr || size < static_cast<int>(sizeof(CantoraUserRecord))) return -1;
  if (!cantora::IsSessionIdShape(session_id)) return -1;
  sqlite::Database* db = cantora::PlatformDatabase();
  if (db == nullptr) return -1;
  sqlite::Statement st = db->PrepareKept(
      "SELECT u.id, u.name, u.personal FROM sessions s JOIN users u ON u.id = s.user_id "
      "WHERE s.token_hash = ? AND s.expires > ?");
  if (!st.IsValid()) return -1;
  st.Bind(1, crypto::Digest(session_id)).Bind(2, cantora::Now());
  if (st.Step() != SQLITE_ROW) return -1;
  CantoraUserRecord* user = static_cast<CantoraUserRecord*>(record);
  std::memset(user, 0, sizeof *user);
  std::strncpy(user->name, st.Text(1), sizeof user->name - 1);
  user->uid = static_cast<int32_t>(st.Int(0));
  user->personal_library = static_cast<int32_t>(st.Int(2));
  // A database made before session languages existed has no such table:
  // the session then simply has no language.
  sqlite::Statement language =
      db->PrepareKept("SELECT language FROM session_language WHERE token_hash = ?");
  if (language.IsValid() && language.Bind(1, crypto::Digest(session_id)).Step() == SQLITE_ROW)
    std::strncpy(user->language, language.Text(0), sizeof user->language - 1);
  return 0;
}

int GetUserIdFromName(const char* name) {
  sqlite::Database* db = cantora::PlatformDatabase();
  if (db == nullptr || name == nullptr) return -1;
  cantora::User user;
  return cantora::UserByName(*db, name, &user) ? static_cast<int>(user.id) : -1;
}

int IsPersonalLibEnabled(const char* name) {
  sqlite::Database* db = cantora::PlatformDatabase();
  if (db == nullptr || name == nullptr) return 0;
  cantora::User user;
  return cantora::UserByName(*db, name, &user) && user.personal ? 1 : 0;
}
