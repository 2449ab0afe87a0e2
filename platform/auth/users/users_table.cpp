#include "platform/auth/users/users_table.h"

namespace cantora {
namespace {

constexpr const char* kUsersSchema = R"sql(
CREATE TABLE IF NOT EXISTS users (
  id INTEGER PRIMARY KEY,
  name TEXT NOT NULL UNIQUE,
  password_hash TEXT NOT NULL,
  personal INTEGER NOT NULL DEFAULT 0,
  created INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE IF NOT EXISTS retired_user_ids (id INTEGER PRIMARY KEY);
CREATE TRIGGER IF NOT EXISTS users_retire_id AFTER DELETE ON users BEGIN
  INSERT OR IGNORE INTO retired_user_ids(id) VALUES (old.id);
END;
)sql";

bool HasUsersTable(sqlite::Database& db) {
  sqlite::Statement st =
      db.Prepare("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'users'");
  return st.IsValid() && st.Step() == SQLITE_ROW;
}

}  // namespace

bool IsValidUserName(const std::string& name) {
  if (name.empty() || name.size() > 64 || name[0] == '.' || name[0] == '-') return false;
  for (char c : name) {
    bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
              c == '.' || c == '_' || c == '-';
    if (!ok) return false;
  }
  return true;
}

bool CreateUsersTable(sqlite::Database& db, std::string* error) {
  return db.Exec(kUsersSchema, error);
}

bool ListPersonalLibraryOwners(sqlite::Database& db, std::vector<LibraryOwner>* owners,
                               std::string* error) {
  owners->clear();
  sqlite::Statement st =
      db.Prepare("SELECT id, name FROM users WHERE personal = 1 ORDER BY id", error);
  if (!st.IsValid()) return false;
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) owners->push_back({st.Int(0), st.Text(1)});
  if (rc != SQLITE_DONE) return db.Fail(error);
  return true;
}

std::string UserNameById(sqlite::Database& db, int64_t id) {
  sqlite::Statement st = db.Prepare("SELECT name FROM users WHERE id = ?");
  if (!st.IsValid()) return std::string();
  st.Bind(1, id);
  return st.Step() == SQLITE_ROW ? std::string(st.Text(0)) : std::string();
}

bool IsPersonalLibraryOn(sqlite::Database& db, int64_t uid) {
  sqlite::Statement st = db.Prepare("SELECT personal FROM users WHERE id = ?");
  if (!st.IsValid()) return false;
  st.Bind(1, uid);
  return st.Step() == SQLITE_ROW && st.Int(0) != 0;
}

bool DropWithPersonalLibrary(sqlite::Database& db, const std::string& name,
                             const std::string& statements, std::string* error) {
  if (!HasUsersTable(db)) return true;
  return db.Exec("CREATE TRIGGER IF NOT EXISTS " + name +
                     "_user_deleted AFTER DELETE ON users BEGIN\n" + statements + "END;\n" +
                     "CREATE TRIGGER IF NOT EXISTS " + name +
                     "_switched_off AFTER UPDATE OF personal ON users\n"
                     "WHEN new.personal = 0 BEGIN\n" +
                     statements + "END;\n",
                 error);
}

}  // namespace cantora
