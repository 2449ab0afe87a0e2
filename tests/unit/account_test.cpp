#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <unistd.h>

#include "platform/auth/account.h"
#include "platform/config/config.h"
#include "platform/config/platform_db.h"

namespace {

class AccountTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/cantora-acct-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    dir_ = dir;
    std::string error;
    ASSERT_TRUE(cantora::OpenPlatformDatabase(dir_ + "/c.db", true, &db, &error)) << error;
    ASSERT_TRUE(cantora::CreateAccountSchema(db, &error)) << error;
  }
  void TearDown() override {
    db.Close();
    std::system(("rm -rf " + dir_).c_str());
  }
  std::string dir_;
  sqlite::Database db;
  std::string error;
};

TEST_F(AccountTest, UserNamesThatCouldNameAFolderOutsideAreRefused) {
  for (const char* bad : {"", "..", ".hidden", "-x", "a/b", "a b", "a'b", "\xC3\xA9"})
    EXPECT_FALSE(cantora::AddUser(db, bad, "pw", false, &error)) << bad;
  EXPECT_TRUE(cantora::AddUser(db, "alice.b-c_d", "pw", false, &error)) << error;
}

TEST_F(AccountTest, PasswordsAreStoredAsSaltedSlowHashes) {
  ASSERT_TRUE(cantora::AddUser(db, "alice", "pw", false, &error));
  ASSERT_TRUE(cantora::AddUser(db, "bob", "pw", false, &error));
  sqlite::Statement st = db.Prepare("SELECT password_hash FROM users ORDER BY name");
  ASSERT_EQ(st.Step(), SQLITE_ROW);
  std::string a = st.Text(0);
  ASSERT_EQ(st.Step(), SQLITE_ROW);
  std::string b = st.Text(0);
  EXPECT_EQ(a.rfind("$argon2id$", 0), 0u) << a;
  EXPECT_NE(a, b);
  EXPECT_EQ(a.find("pw"), std::string::npos);
}

TEST_F(AccountTest, DuplicateAndMissingUsers) {
  ASSERT_TRUE(cantora::AddUser(db, "alice", "pw", false, &error));
  EXPECT_FALSE(cantora::AddUser(db, "alice", "pw2", false, &error));
  EXPECT_FALSE(cantora::DeleteUser(db, "nobody-here", &error));
  EXPECT_FALSE(cantora::SetPassword(db, "nobody-here", "x", &error));
  EXPECT_FALSE(cantora::SetPersonalLibrary(db, "nobody-here", true, &error));
}

TEST_F(AccountTest, SignInGivesASessionOnlyForTheRightPassword) {
  ASSERT_TRUE(cantora::AddUser(db, "alice", "right", false, &error));
  std::string sid;
  EXPECT_EQ(cantora::SignIn(db, "alice", "wrong", &sid), cantora::SignInResult::kRefused);
  EXPECT_EQ(cantora::SignIn(db, "nobody", "right", &sid), cantora::SignInResult::kRefused);
  EXPECT_EQ(sid, "");
  EXPECT_EQ(cantora::SignIn(db, "alice", "right", &sid), cantora::SignInResult::kOk);
  EXPECT_EQ(sid.size(), 64u);
  sqlite::Statement st = db.Prepare("SELECT count(*) FROM sessions WHERE token_hash = ?");
  st.Bind(1, sid);
  ASSERT_EQ(st.Step(), SQLITE_ROW);
  EXPECT_EQ(st.Int(0), 0) << "the session id itself is never stored";
}

TEST_F(AccountTest, NewPasswordEndsSessions) {
  ASSERT_TRUE(cantora::AddUser(db, "alice", "right", false, &error));
  std::string sid;
  ASSERT_TRUE(cantora::NewSession(db, "alice", &sid, &error));
  ASSERT_TRUE(cantora::SetPassword(db, "alice", "new", &error));
  sqlite::Statement st = db.Prepare("SELECT count(*) FROM sessions");
  ASSERT_EQ(st.Step(), SQLITE_ROW);
  EXPECT_EQ(st.Int(0), 0);
}

TEST(SignInDelay, GrowsAfterThreeFailuresAndIsCapped) {
  EXPECT_EQ(cantora::SignInDelayMillis(0), 0);
  EXPECT_EQ(cantora::SignInDelayMillis(2), 0);
  EXPECT_EQ(cantora::SignInDelayMillis(3), 250);
  EXPECT_EQ(cantora::SignInDelayMillis(4), 500);
  EXPECT_EQ(cantora::SignInDelayMillis(8), 8000);
  EXPECT_EQ(cantora::SignInDelayMillis(9), 16000);
  EXPECT_EQ(cantora::SignInDelayMillis(1000), 16000);
}

}  // namespace
