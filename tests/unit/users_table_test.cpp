#include "platform/auth/users/users_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/auth/account.h"
#include "platform/config/platform_db.h"
#include "platform/index/schema.h"
#include "platform/index/sql_functions.h"
#include "tests/unit/temp_folder.h"

namespace {

// The triggers on users as the index schema wrote them before the accounts
// made them: a database made then holds exactly this text.
constexpr const char* kEarlierPersonalLibraryTriggers = R"sql(
CREATE TRIGGER IF NOT EXISTS personal_library_user_deleted AFTER DELETE ON users BEGIN
  DELETE FROM song WHERE library = old.id;
  DELETE FROM folder WHERE library = old.id;
  DELETE FROM facet WHERE library = old.id;
END;
CREATE TRIGGER IF NOT EXISTS personal_library_switched_off AFTER UPDATE OF personal ON users
WHEN new.personal = 0 BEGIN
  DELETE FROM song WHERE library = old.id;
  DELETE FROM folder WHERE library = old.id;
  DELETE FROM facet WHERE library = old.id;
END;
-- The playlist files of that library go with it.
CREATE TRIGGER IF NOT EXISTS personal_playlists_user_deleted AFTER DELETE ON users BEGIN
  DELETE FROM playlist WHERE library = old.id;
END;
CREATE TRIGGER IF NOT EXISTS personal_playlists_switched_off AFTER UPDATE OF personal ON users
WHEN new.personal = 0 BEGIN
  DELETE FROM playlist WHERE library = old.id;
END;
)sql";

class UsersTableTest : public ::testing::Test {
 protected:
  void Open(const std::string& name, sqlite::Database* db) {
    ASSERT_TRUE(cantora::OpenPlatformDatabase(dir_.Path(name), true, db, &error_)) << error_;
    // The index's triggers call its SQL functions.
    ASSERT_TRUE(cantora::RegisterIndexFunctions(db->get()));
  }

  // Every table, index and trigger with its SQL, in one text.
  static std::string Schema(sqlite::Database& db) {
    sqlite::Statement st =
        db.Prepare("SELECT type, name, tbl_name, sql FROM sqlite_master ORDER BY type, name");
    std::string all;
    while (st.Step() == SQLITE_ROW)
      all += std::string(st.Text(0)) + " " + st.Text(1) + " on " + st.Text(2) + ": " +
             (st.IsNull(3) ? "" : st.Text(3)) + "\n";
    return all;
  }

  static std::string Query(sqlite::Database& db, const std::string& sql) {
    sqlite::Statement st = db.Prepare(sql);
    return st.IsValid() && st.Step() == SQLITE_ROW ? st.Text(0) : "?";
  }

  // A song, a folder, a facet and a playlist file of library.
  static void AddLibraryRows(sqlite::Database& db, int64_t library) {
    std::string id = std::to_string(library);
    ASSERT_TRUE(db.Exec("INSERT INTO song(library, path, title) VALUES (" + id + ", '/h/" + id +
                        "/a.mp3', 'A');"
                        "INSERT INTO folder(library, path, title) VALUES (" + id + ", '/h/" + id +
                        "', 'x');"
                        "INSERT INTO facet(kind, library, value, sort_key) VALUES (1, " +
                        id + ", 'A', 'a');"
                        "INSERT INTO playlist(library, path, name) VALUES (" +
                        id + ", '/h/" + id + ".m3u', 'p');"));
  }

  static std::string LibraryRows(sqlite::Database& db, int64_t library) {
    std::string id = std::to_string(library);
    return Query(db, "SELECT (SELECT count(*) FROM song WHERE library = " + id +
                         ") || '|' || (SELECT count(*) FROM folder WHERE library = " + id +
                         ") || '|' || (SELECT count(*) FROM facet WHERE library = " + id +
                         ") || '|' || (SELECT count(*) FROM playlist WHERE library = " + id + ")");
  }

  TempFolder dir_;
  std::string error_;
};

// A database made before the accounts owned their table is brought to the
// very schema a new one gets: the triggers keep their names and their text,
// none is made twice, and they still drop a closed library's rows.
TEST_F(UsersTableTest, ADatabaseOfEarlierVersionsKeepsItsSchema) {
  sqlite::Database earlier, fresh;
  Open("earlier.db", &earlier);
  Open("fresh.db", &fresh);
  ASSERT_TRUE(cantora::CreateAccountSchema(earlier, &error_)) << error_;
  ASSERT_TRUE(earlier.Exec(kEarlierPersonalLibraryTriggers, &error_)) << error_;
  ASSERT_TRUE(cantora::CreateIndexSchema(earlier, &error_)) << error_;
  ASSERT_TRUE(cantora::CreateAccountSchema(fresh, &error_)) << error_;
  ASSERT_TRUE(cantora::CreateIndexSchema(fresh, &error_)) << error_;
  EXPECT_EQ(Schema(fresh), Schema(earlier));
  EXPECT_EQ("5", Query(earlier, "SELECT count(*) FROM sqlite_master WHERE type = 'trigger' "
                                "AND tbl_name = 'users'"));

  ASSERT_TRUE(cantora::AddUser(earlier, "anna", "secret-anna", true, &error_)) << error_;
  ASSERT_TRUE(cantora::AddUser(earlier, "bert", "secret-bert", true, &error_)) << error_;
  int64_t anna = std::stoll(Query(earlier, "SELECT id FROM users WHERE name = 'anna'"));
  int64_t bert = std::stoll(Query(earlier, "SELECT id FROM users WHERE name = 'bert'"));
  AddLibraryRows(earlier, anna);
  AddLibraryRows(earlier, bert);
  AddLibraryRows(earlier, 0);
  ASSERT_TRUE(cantora::SetPersonalLibrary(earlier, "anna", false, &error_)) << error_;
  EXPECT_EQ("0|0|0|0", LibraryRows(earlier, anna));
  EXPECT_EQ("1|1|1|1", LibraryRows(earlier, bert));
  ASSERT_TRUE(cantora::DeleteUser(earlier, "bert", &error_)) << error_;
  EXPECT_EQ("0|0|0|0", LibraryRows(earlier, bert));
  EXPECT_EQ("1|1|1|1", LibraryRows(earlier, 0));
}

// An index kept apart from the accounts hooks nothing on a table it lacks;
// the triggers come once the accounts are there.
TEST_F(UsersTableTest, AnIndexWithoutAccountsHooksNothing) {
  sqlite::Database db;
  Open("index.db", &db);
  ASSERT_TRUE(cantora::CreateIndexSchema(db, &error_)) << error_;
  const std::string triggers_on_users =
      "SELECT count(*) FROM sqlite_master WHERE type = 'trigger' AND tbl_name = 'users'";
  EXPECT_EQ("0", Query(db, triggers_on_users));
  ASSERT_TRUE(cantora::CreateAccountSchema(db, &error_)) << error_;
  ASSERT_TRUE(cantora::CreateIndexSchema(db, &error_)) << error_;
  EXPECT_EQ("5", Query(db, triggers_on_users));
}

TEST_F(UsersTableTest, OwnersOfSwitchedOnLibrariesAndNamesById) {
  sqlite::Database db;
  Open("c.db", &db);
  ASSERT_TRUE(cantora::CreateAccountSchema(db, &error_)) << error_;
  for (const char* name : {"carl", "anna", "bert"})
    ASSERT_TRUE(cantora::AddUser(db, name, "secret", std::string(name) != "bert", &error_))
        << error_;
  std::vector<cantora::LibraryOwner> owners;
  ASSERT_TRUE(cantora::ListPersonalLibraryOwners(db, &owners, &error_)) << error_;
  ASSERT_EQ(2u, owners.size());
  EXPECT_EQ("carl", owners[0].name);
  EXPECT_EQ("anna", owners[1].name);
  EXPECT_LT(owners[0].id, owners[1].id);
  EXPECT_EQ("anna", cantora::UserNameById(db, owners[1].id));
  EXPECT_TRUE(cantora::IsPersonalLibraryOn(db, owners[1].id));
  int64_t bert = std::stoll(Query(db, "SELECT id FROM users WHERE name = 'bert'"));
  EXPECT_EQ("bert", cantora::UserNameById(db, bert));
  EXPECT_FALSE(cantora::IsPersonalLibraryOn(db, bert));
  EXPECT_EQ("", cantora::UserNameById(db, bert + 1));
  EXPECT_FALSE(cantora::IsPersonalLibraryOn(db, bert + 1));
}

}  // namespace
