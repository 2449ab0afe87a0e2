#include "enumerate/song_file_tests.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "enumerate/guard/run_as.h"
#include "tests/unit/temp_folder.h"

namespace {

// The id calls of a process that is not root, whose every raise succeeds
// (the lookups are made with the ids the tests run with), recording which
// threads raised; or failing on the threads chosen.
struct FakeIds {
  static std::mutex mutex;
  static std::set<pid_t> raisers;
  static pid_t failing_thread;  // 0: none; -1: every thread but it
  static pid_t main_thread;
  // Whether every other thread that raised had SIGTERM and SIGPIPE blocked.
  static bool others_block_signals;

  static int Setresuid(uid_t, uid_t e, uid_t) {
    pid_t me = gettid();
    sigset_t mask;
    bool blocked = pthread_sigmask(SIG_BLOCK, nullptr, &mask) == 0 &&
                   sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGPIPE) == 1;
    std::lock_guard<std::mutex> lock(mutex);
    if (e == 0) raisers.insert(me);
    if (me != main_thread && !blocked) others_block_signals = false;
    bool fails = failing_thread == -1 ? me != main_thread : me == failing_thread;
    return e == 0 && fails ? -1 : 0;
  }
};
std::mutex FakeIds::mutex;
std::set<pid_t> FakeIds::raisers;
pid_t FakeIds::failing_thread = 0;
pid_t FakeIds::main_thread = 0;
bool FakeIds::others_block_signals = true;

bool MoreThanOneProcessor() {
  cpu_set_t set;
  return sched_getaffinity(0, sizeof set, &set) == 0 && CPU_COUNT(&set) > 1;
}

class SongFileTestsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = RunAsIdCalls();
    RunAsIdCalls() = {[] { return static_cast<uid_t>(33); }, [] { return static_cast<gid_t>(0); },
                      &FakeIds::Setresuid, [](gid_t, gid_t, gid_t) { return 0; }};
    FakeIds::raisers.clear();
    FakeIds::failing_thread = 0;
    FakeIds::main_thread = gettid();
    FakeIds::others_block_signals = true;
    library_ = dir_.Path("music");
    personal_ = dir_.Path("home/bob/music");
    outside_ = dir_.Path("outside");
    for (const std::string& d : {library_, dir_.Path("home"), dir_.Path("home/bob"), personal_,
                                 outside_})
      ASSERT_EQ(mkdir(d.c_str(), 0755), 0) << d;
    Touch(outside_ + "/secret.mp3");
  }
  void TearDown() override { RunAsIdCalls() = saved_; }

  static void Touch(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr) << path;
    std::fclose(f);
  }

  // A list of n songs as a search or an album gives them: folders of one,
  // two and five songs in turn, in the shared library and now and then in
  // bob's personal one (library 7). Every seventh song is missing, every
  // eleventh a link out of its library, every thirteenth a folder.
  // Each list has folders of its own.
  void MakeList(size_t n) {
    paths_.clear();
    libraries_.clear();
    std::string list = "/l" + std::to_string(lists_++) + "-";
    for (size_t folder = 0; paths_.size() < n; ++folder) {
      int library = folder % 9 == 4 ? 7 : 0;
      std::string path = (library == 7 ? personal_ : library_) + list + std::to_string(folder);
      ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
      size_t songs = folder % 3 == 0 ? 1 : folder % 3 == 1 ? 2 : 5;
      for (size_t s = 0; s < songs && paths_.size() < n; ++s) {
        size_t i = paths_.size();
        std::string song = path + "/s" + std::to_string(s) + ".mp3";
        if (i % 13 == 12)
          ASSERT_EQ(mkdir(song.c_str(), 0755), 0);
        else if (i % 11 == 10)
          ASSERT_EQ(symlink((outside_ + "/secret.mp3").c_str(), song.c_str()), 0);
        else if (i % 7 != 6)
          Touch(song);
        paths_.push_back(song);
        libraries_.push_back(library);
      }
    }
    records_.assign(paths_.size(), MediaInfo{});
    for (size_t i = 0; i < paths_.size(); ++i) {
      records_[i].path = paths_[i].c_str();
      records_[i].library = libraries_[i];
      records_[i].next = i + 1 < paths_.size() ? &records_[i + 1] : nullptr;
    }
  }

  // What the test of each file must say.
  std::vector<FileTest> Expected() const {
    std::vector<FileTest> expected;
    for (size_t i = 0; i < paths_.size(); ++i) {
      struct stat st;
      bool regular = lstat(paths_[i].c_str(), &st) == 0 && S_ISREG(st.st_mode);
      expected.push_back(regular ? FileTest::kExists : FileTest::kMissing);
    }
    return expected;
  }

  cantora::LibraryRoots Roots() const { return {{library_}, {{7, personal_}}}; }

  // The tests of the list's records in its order, through one SongFileTests.
  std::vector<FileTest> TestAll() {
    cantora::SongFiles files(Roots());
    SongFileTests tests(files);
    std::vector<FileTest> got;
    for (const MediaInfo& info : records_) got.push_back(tests.Test(info, 1307, 1313));
    return got;
  }

  IdCalls saved_;
  TempFolder dir_;
  std::string library_, personal_, outside_;
  std::vector<std::string> paths_;
  std::vector<int> libraries_;
  std::vector<MediaInfo> records_;
  int lists_ = 0;
};

TEST_F(SongFileTestsTest, ListsOfEverySizeGetTheAnswersOfOneByOne) {
  for (size_t n : {size_t{1}, SongFileTests::kLeastForTwoThreads - 1,
                   SongFileTests::kLeastForTwoThreads, SongFileTests::kAheadRecords,
                   SongFileTests::kAheadRecords + 1, 2 * SongFileTests::kAheadRecords + 300}) {
    SCOPED_TRACE(n);
    MakeList(n);
    std::vector<FileTest> expected = Expected();
    EXPECT_EQ(TestAll(), expected);
    // One by one, through a SongFiles of the list's own, for comparison.
    cantora::SongFiles files(Roots());
    for (size_t i = 0; i < records_.size(); ++i)
      EXPECT_EQ(TestSongFileAsRoot(files, records_[i], 1307, 1313), expected[i]) << paths_[i];
  }
}

TEST_F(SongFileTestsTest, ALongListIsTestedOnTwoThreadsEachRaisingItself) {
  if (!MoreThanOneProcessor()) GTEST_SKIP() << "one processor: tests are made one by one";
  MakeList(SongFileTests::kAheadRecords);
  EXPECT_EQ(TestAll(), Expected());
  EXPECT_EQ(FakeIds::raisers.size(), 2u);
  EXPECT_EQ(FakeIds::raisers.count(gettid()), 1u);
  // Signals to the process are the request's thread's to take.
  EXPECT_TRUE(FakeIds::others_block_signals);
}

TEST_F(SongFileTestsTest, AShortListOrAProcessThatIsRootStaysOnOneThread) {
  MakeList(SongFileTests::kLeastForTwoThreads - 1);
  EXPECT_EQ(TestAll(), Expected());
  EXPECT_EQ(FakeIds::raisers, std::set<pid_t>{gettid()});

  // As root, a test changes no ids: not worth a thread.
  FakeIds::raisers.clear();
  RunAsIdCalls().geteuid = [] { return static_cast<uid_t>(0); };
  MakeList(SongFileTests::kAheadRecords);
  EXPECT_EQ(TestAll(), Expected());
  EXPECT_TRUE(FakeIds::raisers.empty());
}

TEST_F(SongFileTestsTest, RecordsAskedOutOfOrderGetTheirOwnAnswers) {
  MakeList(SongFileTests::kAheadRecords);
  std::vector<FileTest> expected = Expected();
  cantora::SongFiles files(Roots());
  SongFileTests tests(files);
  // The first half in order (tested ahead), then from the end backwards,
  // then the middle again: each its own answer.
  size_t n = records_.size();
  for (size_t i = 0; i < n / 2; ++i) EXPECT_EQ(tests.Test(records_[i], 1307, 1313), expected[i]);
  for (size_t i = n; i-- > n - 10;) EXPECT_EQ(tests.Test(records_[i], 1307, 1313), expected[i]);
  for (size_t i = n / 2 - 5; i < n / 2 + 200; ++i)
    EXPECT_EQ(tests.Test(records_[i], 1307, 1313), expected[i]) << i;
}

TEST_F(SongFileTestsTest, AFailureToRaiseAtTheFirstSongEndsTheListOnOneThread) {
  FakeIds::failing_thread = gettid();
  MakeList(SongFileTests::kAheadRecords);
  std::vector<FileTest> got = TestAll();
  EXPECT_EQ(got, std::vector<FileTest>(got.size(), FileTest::kNoRoot));
  // The first test failed before a second thread was started.
  EXPECT_EQ(FakeIds::raisers, std::set<pid_t>{gettid()});
}

TEST_F(SongFileTestsTest, AFailureInTheSecondShareEndsTheListWhereThatShareBegins) {
  if (!MoreThanOneProcessor()) GTEST_SKIP() << "one processor: tests are made one by one";
  FakeIds::failing_thread = -1;  // every thread but this one
  MakeList(SongFileTests::kAheadRecords);
  std::vector<FileTest> expected = Expected();
  std::vector<FileTest> got = TestAll();
  ASSERT_EQ(got.size(), expected.size());
  size_t first_failure = got.size();
  for (size_t i = 0; i < got.size(); ++i)
    if (got[i] == FileTest::kNoRoot) {
      first_failure = i;
      break;
    }
  // The first share's answers are right; from the second share's first
  // record on, the list ends.
  EXPECT_GE(first_failure, got.size() / 2);
  EXPECT_LT(first_failure, got.size());
  for (size_t i = 0; i < first_failure; ++i) EXPECT_EQ(got[i], expected[i]) << i;
  for (size_t i = first_failure; i < got.size(); ++i) EXPECT_EQ(got[i], FileTest::kNoRoot) << i;
}

}  // namespace

namespace {

// The threads of this process, as the kernel counts them.
long Threads() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.compare(0, 8, "Threads:") == 0) return std::stol(line.substr(8));
  return -1;
}

TEST_F(SongFileTestsTest, NoThreadOfAListOutlivesItsTests) {
  MakeList(SongFileTests::kAheadRecords);
  std::vector<FileTest> expected = Expected();
  long before = Threads();
  {
    cantora::SongFiles files(Roots());
    SongFileTests tests(files);
    for (size_t i = 0; i < 10; ++i) EXPECT_EQ(tests.Test(records_[i], 1307, 1313), expected[i]);
  }  // a list left after ten of its shared records
  EXPECT_EQ(Threads(), before);
}

}  // namespace
