// The privilege guard's exact sequence of id calls, watched through a fake
// set of id calls; and, with the real calls, whose ids it changes.
#include "enumerate/guard/run_as.h"

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

struct FakeIds {
  uid_t euid = 0;
  gid_t egid = 0;
  int fail_setresuid_call = -1;  // 0-based index of the setresuid call to refuse
  int fail_setresgid_call = -1;
  int setresuid_calls = 0;
  int setresgid_calls = 0;
  std::vector<std::string> calls;
};

FakeIds* fake;

uid_t FakeGeteuid() { return fake->euid; }
gid_t FakeGetegid() { return fake->egid; }
int FakeSetresuid(uid_t r, uid_t e, uid_t s) {
  fake->calls.push_back("setresuid(" + std::to_string(static_cast<int>(e)) + ")");
  if (fake->setresuid_calls++ == fake->fail_setresuid_call) return -1;
  // Only root may take an arbitrary id; anyone may go back to root here, as a
  // setuid program with root saved may.
  fake->euid = e;
  return 0;
}
int FakeSetresgid(gid_t r, gid_t e, gid_t s) {
  fake->calls.push_back("setresgid(" + std::to_string(static_cast<int>(e)) + ")");
  if (fake->setresgid_calls++ == fake->fail_setresgid_call) return -1;
  if (fake->euid != 0) return -1;
  fake->egid = e;
  return 0;
}

class RunAsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fake = &ids;
    saved = RunAsIdCalls();
    RunAsIdCalls() = {FakeGeteuid, FakeGetegid, FakeSetresuid, FakeSetresgid};
  }
  void TearDown() override { RunAsIdCalls() = saved; }
  FakeIds ids;
  IdCalls saved{};
};

TEST_F(RunAsTest, RootAlreadyMakesNoIdCallsEitherWay) {
  {
    IF_RUN_AS guard("enumerate", 10);
    EXPECT_TRUE(guard.ok());
  }
  EXPECT_TRUE(ids.calls.empty());
}

TEST_F(RunAsTest, RaisesUserThenGroupThenUserAgainAndRestoresGroupThenUser) {
  ids.euid = 33;
  ids.egid = 44;
  {
    IF_RUN_AS guard("enumerate", 10);
    EXPECT_TRUE(guard.ok());
    EXPECT_EQ(ids.euid, 0u);
    EXPECT_EQ(ids.egid, 0u);
    EXPECT_EQ(ids.calls, (std::vector<std::string>{"setresuid(0)", "setresgid(0)", "setresuid(0)"}));
    ids.calls.clear();
  }
  EXPECT_EQ(ids.calls, (std::vector<std::string>{"setresgid(44)", "setresuid(33)"}));
  EXPECT_EQ(ids.euid, 33u);
  EXPECT_EQ(ids.egid, 44u);
}

TEST_F(RunAsTest, OnlyTheGroupNeedsRaising) {
  ids.euid = 0;
  ids.egid = 44;
  {
    IF_RUN_AS guard("enumerate", 10);
    EXPECT_TRUE(guard.ok());
    EXPECT_EQ(ids.calls, (std::vector<std::string>{"setresgid(0)"}));
    ids.calls.clear();
  }
  EXPECT_EQ(ids.calls, (std::vector<std::string>{"setresgid(44)"}));
}

// A setuid gateway outside the guard: its group is already root, so only the
// user id moves, two changes of ids a song.
TEST_F(RunAsTest, OnlyTheUserNeedsRaising) {
  ids.euid = 33;
  ids.egid = 0;
  {
    IF_RUN_AS guard("enumerate", 10);
    EXPECT_TRUE(guard.ok());
    EXPECT_EQ(ids.calls, (std::vector<std::string>{"setresuid(0)", "setresuid(0)"}));
    ids.calls.clear();
  }
  EXPECT_EQ(ids.calls, (std::vector<std::string>{"setresuid(33)"}));
}

TEST_F(RunAsTest, RefusedRaiseIsNotOkAndTheDestructorStillRestores) {
  ids.euid = 33;
  ids.egid = 44;
  ids.fail_setresgid_call = 0;  // the group change is refused after the user went to root
  {
    IF_RUN_AS guard("enumerate", 10);
    EXPECT_FALSE(guard.ok());
    EXPECT_EQ(ids.euid, 0u);  // changed before the failure, not undone here
    ids.calls.clear();
  }
  EXPECT_EQ(ids.calls, (std::vector<std::string>{"setresuid(33)"}));
  EXPECT_EQ(ids.euid, 33u);
}

TEST_F(RunAsTest, RefusedFirstCallLeavesEverythingAlone) {
  ids.euid = 33;
  ids.egid = 44;
  ids.fail_setresuid_call = 0;
  {
    IF_RUN_AS guard("enumerate", 10);
    EXPECT_FALSE(guard.ok());
  }
  EXPECT_EQ(ids.calls, (std::vector<std::string>{"setresuid(0)"}));
  EXPECT_EQ(ids.euid, 33u);
  EXPECT_EQ(ids.egid, 44u);
}

TEST_F(RunAsTest, SavedMinusOneIsNeverRestored) {
  ids.euid = static_cast<uid_t>(-1);
  ids.egid = static_cast<gid_t>(-1);
  {
    IF_RUN_AS guard("enumerate", 10);
    EXPECT_TRUE(guard.ok());
    ids.calls.clear();
  }
  EXPECT_TRUE(ids.calls.empty());
  EXPECT_EQ(ids.euid, 0u);
}

TEST_F(RunAsTest, RestoreRegainsRootFirstWhenSomeoneElseIsEffective) {
  ids.euid = 33;
  ids.egid = 44;
  {
    IF_RUN_AS guard("enumerate", 10);
    ids.euid = 55;  // the step itself switched identity
    ids.calls.clear();
  }
  EXPECT_EQ(ids.calls,
            (std::vector<std::string>{"setresuid(0)", "setresgid(44)", "setresuid(33)"}));
}

}  // namespace

// Between requests of a persistent process the ids are the caller's again;
// a guard whose restore failed leaves them raised, and the process then
// ends before it could serve another request. Each case runs in a process
// of its own: the caller's ids are recorded once per process.
TEST_F(RunAsTest, AfterARequestTheCallersIdsLetTheProcessGoOn) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        ids.euid = 1000;
        RememberCallerIds();
        { IF_RUN_AS guard("enumerate", 10); }
        EndProcessUnlessCallerIds("enumerate");
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(RunAsTest, AFailedRestoreEndsTheProcessBeforeTheNextRequest) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        ids.euid = 1000;
        RememberCallerIds();
        ids.fail_setresuid_call = 2;  // raise, raise again, then the restore
        { IF_RUN_AS guard("enumerate", 10); }
        EndProcessUnlessCallerIds("enumerate");
        std::exit(0);
      },
      ::testing::ExitedWithCode(1), "");
}

namespace {

// The effective user id of the process's main thread, as the kernel shows it.
long MainThreadEuid() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.compare(0, 4, "Uid:") == 0) {
      std::istringstream fields(line.substr(4));
      long real, effective;
      fields >> real >> effective;
      return effective;
    }
  return -1;
}

// With the real id calls, as a setuid program dropped to another user: a
// guard built on a second thread raises that thread alone. Exits 0 when it
// did, so that the request's thread kept its ids meanwhile and after.
[[noreturn]] void RaiseOnASecondThread() {
  if (RunAsIdCalls().setresuid(-1, 65534, -1) != 0) std::exit(2);
  long in_guard = -1;
  long main_meanwhile = -1;
  long after = -1;
  std::thread second([&] {
    {
      IF_RUN_AS guard("enumerate", 10);
      if (!guard.ok()) return;
      in_guard = static_cast<long>(syscall(SYS_geteuid));
      main_meanwhile = MainThreadEuid();
    }
    after = static_cast<long>(syscall(SYS_geteuid));
  });
  second.join();
  bool right = in_guard == 0 && main_meanwhile == 65534 && after == 65534 &&
               MainThreadEuid() == 65534;
  std::exit(right ? 0 : 3);
}

}  // namespace

// In a process of its own: the song tests of a second thread leave the
// request's thread as it is.
TEST(RunAsThreadsTest, TheGuardRaisesOnlyTheThreadThatBuildsIt) {
  if (geteuid() != 0) GTEST_SKIP() << "changing ids needs root";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(RaiseOnASecondThread(), ::testing::ExitedWithCode(0), "");
}
