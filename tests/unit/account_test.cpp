#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>
#include <ctime>
#include <functional>
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
  // A space never occurs in the stored form, so the password cannot turn up
  // in it by chance, as a short one can in the random salt and hash.
  const std::string password = "the same password";
  ASSERT_TRUE(cantora::AddUser(db, "alice", password, false, &error));
  ASSERT_TRUE(cantora::AddUser(db, "bob", password, false, &error));
  sqlite::Statement st = db.Prepare("SELECT password_hash FROM users ORDER BY name");
  ASSERT_EQ(st.Step(), SQLITE_ROW);
  std::string a = st.Text(0);
  ASSERT_EQ(st.Step(), SQLITE_ROW);
  std::string b = st.Text(0);
  EXPECT_EQ(a.rfind("$argon2id$", 0), 0u) << a;
  EXPECT_NE(a, b);
  EXPECT_EQ(a.find(password), std::string::npos);
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
  EXPECT_EQ(cantora::SignIn(db, "alice", "wrong", "10.0.0.1", &sid), cantora::SignInResult::kRefused);
  EXPECT_EQ(cantora::SignIn(db, "nobody", "right", "10.0.0.1", &sid), cantora::SignInResult::kRefused);
  EXPECT_EQ(sid, "");
  EXPECT_EQ(cantora::SignIn(db, "alice", "right", "10.0.0.1", &sid), cantora::SignInResult::kOk);
  EXPECT_EQ(sid.size(), 64u);
  sqlite::Statement st = db.Prepare("SELECT count(*) FROM sessions WHERE token_hash = ?");
  st.Bind(1, sid);
  ASSERT_EQ(st.Step(), SQLITE_ROW);
  EXPECT_EQ(st.Int(0), 0) << "the session id itself is never stored";
}

TEST_F(AccountTest, FailedSignInsKeepOnlyHashesAndLongTextIsRefusedUnstored) {
  std::string sid;
  std::string huge(100000, 'm');
  EXPECT_EQ(cantora::SignIn(db, huge, "pw", "10.0.0.1", &sid), cantora::SignInResult::kRefused);
  EXPECT_EQ(cantora::SignIn(db, "alice", std::string(cantora::kMaxPasswordBytes + 1, 'p'),
                            "10.0.0.1", &sid),
            cantora::SignInResult::kRefused);
  sqlite::Statement none = db.Prepare("SELECT count(*) FROM sign_in_failures");
  ASSERT_EQ(none.Step(), SQLITE_ROW);
  EXPECT_EQ(none.Int(0), 0);

  EXPECT_EQ(cantora::SignIn(db, "mallory", "pw", "10.0.0.1", &sid),
            cantora::SignInResult::kRefused);
  sqlite::Statement rows = db.Prepare("SELECT key FROM sign_in_failures");
  int count = 0;
  while (rows.Step() == SQLITE_ROW) {
    std::string key = rows.Text(0);
    EXPECT_EQ(key.size(), 64u);
    EXPECT_EQ(key.find("mallory"), std::string::npos);
    EXPECT_EQ(key.find("10.0.0.1"), std::string::npos);
    ++count;
  }
  EXPECT_EQ(count, 2) << "one row for the name, one for the address";
}

TEST_F(AccountTest, OldFailuresAreForgotten) {
  int64_t long_ago = static_cast<int64_t>(time(nullptr)) - 2 * 3600;
  ASSERT_TRUE(db.Exec("INSERT INTO sign_in_failures(key, failures, last) VALUES ('old', 9, " +
                      std::to_string(long_ago) + ")"));
  std::string sid;
  cantora::SignIn(db, "mallory", "pw", "10.0.0.1", &sid);
  sqlite::Statement st = db.Prepare("SELECT count(*) FROM sign_in_failures WHERE key = 'old'");
  ASSERT_EQ(st.Step(), SQLITE_ROW);
  EXPECT_EQ(st.Int(0), 0);
}

double SecondsOf(const std::function<void()>& work) {
  auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Guesses at alice from many addresses slow down further guesses at alice,
// but alice, who knows her password, gets in at once.
TEST_F(AccountTest, AHammeredNameLetsTheRightPasswordThrough) {
  ASSERT_TRUE(cantora::AddUser(db, "alice", "right", false, &error));
  std::string sid;
  for (int i = 0; i < 5; ++i)
    cantora::SignIn(db, "alice", "guess", "10.0.1." + std::to_string(i), &sid);
  ASSERT_EQ(cantora::SignInDelayMillis(5), 1000);
  cantora::SignInResult result;
  double owner = SecondsOf([&] { result = cantora::SignIn(db, "alice", "right", "10.0.2.1", &sid); });
  EXPECT_EQ(result, cantora::SignInResult::kOk);
  EXPECT_LT(owner, 1.0) << "the owner waited for the attacker's failures";
  for (int i = 0; i < 5; ++i)
    cantora::SignIn(db, "alice", "guess", "10.0.3." + std::to_string(i), &sid);
  double guess = SecondsOf([&] { cantora::SignIn(db, "alice", "guess", "10.0.4.1", &sid); });
  EXPECT_GE(guess, 1.0) << "a further guess at the name is slowed";
}

// One address failing again and again waits before each attempt, whichever
// name it tries.
TEST_F(AccountTest, AnAddressThatKeepsFailingWaits) {
  std::string sid;
  for (int i = 0; i < 3; ++i)
    cantora::SignIn(db, "user" + std::to_string(i), "guess", "10.0.5.1", &sid);
  double waited = SecondsOf([&] { cantora::SignIn(db, "other", "guess", "10.0.5.1", &sid); });
  EXPECT_GE(waited, 0.25);
}

// Anything else that writes to the database (the indexer, another sign-in)
// must not make a correct sign-in fail: it waits its turn.
TEST_F(AccountTest, TheRightPasswordGetsInWhileSomethingElseKeepsWriting) {
  ASSERT_TRUE(cantora::AddUser(db, "alice", "right", false, &error));
  std::atomic<bool> stop{false};
  std::atomic<int> commits{0};
  std::thread writer([&] {
    sqlite::Database other;
    std::string e;
    if (!cantora::OpenPlatformDatabase(dir_ + "/c.db", false, &other, &e)) return;
    other.Exec("CREATE TABLE IF NOT EXISTS busy(n INTEGER)");
    while (!stop) {
      if (other.Exec("INSERT INTO busy VALUES (1)")) ++commits;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  });
  int signed_in = 0;
  for (int i = 0; i < 5; ++i) {
    std::string sid;
    if (cantora::SignIn(db, "alice", "right", "10.0.6.1", &sid) == cantora::SignInResult::kOk)
      ++signed_in;
  }
  stop = true;
  writer.join();
  EXPECT_GT(commits.load(), 10) << "the other writer did not write";
  EXPECT_EQ(signed_in, 5);
}

// Failures at one name from many clients at once are each counted.
TEST_F(AccountTest, ParallelFailuresAddUp) {
  ASSERT_TRUE(cantora::AddUser(db, "alice", "right", false, &error));
  constexpr int kClients = 6;  // the last waits SignInDelayMillis(5) after failing
  std::vector<std::thread> clients;
  std::atomic<int> refused{0};
  for (int i = 0; i < kClients; ++i) {
    clients.emplace_back([&, i] {
      sqlite::Database own;
      std::string e, sid;
      if (!cantora::OpenPlatformDatabase(dir_ + "/c.db", false, &own, &e)) return;
      if (cantora::SignIn(own, "alice", "guess", "10.0.7." + std::to_string(i), &sid) ==
          cantora::SignInResult::kRefused)
        ++refused;
    });
  }
  for (std::thread& t : clients) t.join();
  EXPECT_EQ(refused.load(), kClients);
  // Each client's address failed once; the name, once per client.
  sqlite::Statement st = db.Prepare("SELECT max(failures), count(*) FROM sign_in_failures");
  ASSERT_EQ(st.Step(), SQLITE_ROW);
  EXPECT_EQ(st.Int(0), kClients);
  EXPECT_EQ(st.Int(1), kClients + 1);
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
