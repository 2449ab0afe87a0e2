// auth.cgi as a client meets it.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <vector>

#include "tests/support/blackbox.h"
#include "tests/support/harness.h"

namespace {

using namespace blackbox;

CgiRequest SignInRequest(const std::string& account, const std::string& password) {
  CgiRequest r;
  r.program = "auth.cgi";
  r.method = "POST";
  r.content_type = "application/x-www-form-urlencoded";
  r.body = "account=" + harness::Encode(account) + "&passwd=" + harness::Encode(password);
  return r;
}

class AuthTest : public ::testing::Test {
 protected:
  void SetUp() override { instance.AddUser("alice"); }
  Instance instance;
};

TEST_F(AuthTest, RightPasswordGivesASessionTheGatewayAccepts) {
  CgiResult r = RunCgi(instance, SignInRequest("alice", "secret-alice"));
  EXPECT_EQ(r.status, 0);
  ASSERT_TRUE(r.has_json) << r.out;
  ASSERT_TRUE(r.json["success"].asBool());
  std::string sid = r.json["sid"].asString();
  EXPECT_EQ(sid.size(), 64u);
  EXPECT_EQ(r.headers["Set-Cookie"], "id=" + sid + "; Path=/; HttpOnly; SameSite=Strict");
  CgiResult e = harness::Enumerate(instance, sid, "action=radio_enum");
  ASSERT_TRUE(e.has_json) << e.out;
  EXPECT_TRUE(e.json["success"].asBool());
}

TEST_F(AuthTest, WrongPasswordAndUnknownAccountGetTheSameAnswer) {
  CgiResult wrong = RunCgi(instance, SignInRequest("alice", "nope"));
  CgiResult unknown = RunCgi(instance, SignInRequest("mallory", "nope"));
  EXPECT_EQ(wrong.status, 0);
  EXPECT_EQ(wrong.out, unknown.out);
  ASSERT_TRUE(wrong.has_json);
  EXPECT_FALSE(wrong.json["success"].asBool());
  EXPECT_FALSE(wrong.json.isMember("sid"));
  EXPECT_EQ(wrong.headers.count("Set-Cookie"), 0u);
}

TEST_F(AuthTest, RepeatedFailuresAreSlowedDown) {
  for (int i = 0; i < 3; ++i) RunCgi(instance, SignInRequest("alice", "guess"));
  auto start = std::chrono::steady_clock::now();
  CgiResult r = RunCgi(instance, SignInRequest("alice", "secret-alice"));
  double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_GE(waited, 0.25);
  // The right password still gets in, and clears the count.
  ASSERT_TRUE(r.has_json);
  EXPECT_TRUE(r.json["success"].asBool());
}

TEST_F(AuthTest, PasswordsAreRefusedInTheQueryStringAndOnGet) {
  CgiRequest get;
  get.program = "auth.cgi";
  get.query = "account=alice&passwd=secret-alice";
  CgiResult r = RunCgi(instance, get);
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_FALSE(r.json["success"].asBool());
  EXPECT_FALSE(r.json.isMember("sid"));
}

TEST_F(AuthTest, OversizedBodyIsRefused) {
  CgiRequest big = SignInRequest("alice", "secret-alice");
  big.body += "&pad=" + std::string((1 << 20) + 1, 'x');
  CgiResult r = RunCgi(instance, big);
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_FALSE(r.json["success"].asBool());
}

TEST_F(AuthTest, LogoutEndsTheSession) {
  CgiResult in = RunCgi(instance, SignInRequest("alice", "secret-alice"));
  std::string sid = in.json["sid"].asString();
  CgiRequest out;
  out.program = "auth.cgi";
  out.query = "method=logout";
  out.session = sid;
  CgiResult r = RunCgi(instance, out);
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ(harness::Enumerate(instance, sid, "action=radio_enum").out, "");
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  size_t n = values.size();
  return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// Timing must not tell which accounts exist: a wrong password and an unknown
// account cost the same. Each attempt comes from an address and at a name of
// its own, so that no slowing down of repeated failures takes part; the two
// kinds alternate, so that the machine's load falls on both alike.
TEST(AuthTimingTest, UnknownAccountAndWrongPasswordTakeTheSameTime) {
  Instance instance;
  constexpr int kAttempts = 15;
  for (int i = 0; i < kAttempts; ++i) instance.AddUser("user" + std::to_string(i));
  std::vector<double> wrong, unknown;
  auto timed = [&](const std::string& account, const std::string& address) {
    CgiRequest r = SignInRequest(account, "not-the-password");
    r.env["REMOTE_ADDR"] = address;
    auto start = std::chrono::steady_clock::now();
    CgiResult result = RunCgi(instance, r);
    double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                    .count();
    EXPECT_FALSE(result.json["success"].asBool());
    return ms;
  };
  for (int i = 0; i < kAttempts; ++i) {
    wrong.push_back(timed("user" + std::to_string(i), "10.1.0." + std::to_string(i)));
    unknown.push_back(timed("ghost" + std::to_string(i), "10.2.0." + std::to_string(i)));
  }
  double w = Median(wrong), u = Median(unknown);
  RecordProperty("wrong_password_median_ms", std::to_string(w));
  RecordProperty("unknown_account_median_ms", std::to_string(u));
  EXPECT_LE(std::abs(w - u), 0.15 * std::max(w, u))
      << "wrong password " << w << " ms, unknown account " << u << " ms (medians)";
}

// Guesses with names of a megabyte neither fill the database nor reach it.
TEST_F(AuthTest, HugeNamesAreNotStored) {
  std::string db = instance.Path("data/cantora.db");
  struct stat before;
  ASSERT_EQ(stat(db.c_str(), &before), 0);
  std::string name(1000000, 'n');
  for (int i = 0; i < 5; ++i) {
    name[0] = static_cast<char>('a' + i);
    CgiResult r = RunCgi(instance, SignInRequest(name, "guess"));
    ASSERT_TRUE(r.has_json) << r.out;
    EXPECT_EQ(r.json["error"].asString(), "invalid account or password");
  }
  harness::CommandResult dump =
      harness::Run({"/usr/bin/sqlite3", db, "SELECT count(*) FROM sign_in_failures"});
  EXPECT_EQ(dump.out, "0\n");
  struct stat after;
  ASSERT_EQ(stat(db.c_str(), &after), 0);
  EXPECT_LT(after.st_size, before.st_size + 100000);
}

}  // namespace
