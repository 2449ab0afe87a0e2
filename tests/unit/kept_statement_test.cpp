// Statements kept prepared on a connection (Database::PrepareKept).
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "platform/lib/sqlite/database.h"

namespace {

class KeptStatementTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(db_.Open(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, &error)) << error;
    ASSERT_TRUE(db_.Exec("CREATE TABLE t(k TEXT, v INTEGER); INSERT INTO t VALUES ('a', 1), "
                         "('b', 2)"));
  }

  sqlite::Database db_;
};

constexpr const char* kByKey = "SELECT v FROM t WHERE k = ?";

// The same prepared statement is handed out again once a lease ends, with
// nothing of the last use left: not running, no value bound.
TEST_F(KeptStatementTest, ReusedResetAndUnbound) {
  sqlite3_stmt* first = nullptr;
  {
    sqlite::Statement st = db_.PrepareKept(kByKey);
    ASSERT_TRUE(st.IsValid());
    ASSERT_EQ(SQLITE_ROW, st.Bind(1, "b").Step());
    EXPECT_EQ(2, st.Int(0));
    first = st.get();
  }
  EXPECT_FALSE(sqlite3_stmt_busy(first));
  sqlite::Statement again = db_.PrepareKept(kByKey);
  EXPECT_EQ(first, again.get());
  // Unbound, the parameter is NULL: no row matches.
  EXPECT_EQ(SQLITE_DONE, again.Step());
}

// A lease still out is not shared: a nested use gets a statement of its own.
TEST_F(KeptStatementTest, NestedUseGetsItsOwn) {
  sqlite::Statement outer = db_.PrepareKept(kByKey);
  ASSERT_EQ(SQLITE_ROW, outer.Bind(1, "a").Step());
  sqlite::Statement inner = db_.PrepareKept(kByKey);
  ASSERT_TRUE(inner.IsValid());
  EXPECT_NE(outer.get(), inner.get());
  ASSERT_EQ(SQLITE_ROW, inner.Bind(1, "b").Step());
  EXPECT_EQ(1, outer.Int(0));
  EXPECT_EQ(2, inner.Int(0));
}

// A lease moved on is ended once, by its last holder.
TEST_F(KeptStatementTest, MovedLeaseEndsOnce) {
  sqlite3_stmt* kept = nullptr;
  {
    sqlite::Statement moved;
    {
      sqlite::Statement st = db_.PrepareKept(kByKey);
      kept = st.get();
      moved = std::move(st);
    }
    // Still leased: a second caller gets another.
    sqlite::Statement other = db_.PrepareKept(kByKey);
    EXPECT_NE(kept, other.get());
    ASSERT_EQ(SQLITE_ROW, moved.Bind(1, "a").Step());
  }
  sqlite::Statement st = db_.PrepareKept(kByKey);
  EXPECT_EQ(kept, st.get());
}

TEST_F(KeptStatementTest, BadSqlIsInvalid) {
  std::string error;
  sqlite::Statement st = db_.PrepareKept("SELECT nothing FROM nowhere", &error);
  EXPECT_FALSE(st.IsValid());
  EXPECT_FALSE(error.empty());
}

}  // namespace
