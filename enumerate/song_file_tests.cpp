#include "enumerate/song_file_tests.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <syslog.h>

#include <algorithm>
#include <functional>

#include "enumerate/enumerate.h"
#include "enumerate/guard/run_as.h"

namespace {

// The processors this process may run on, but for the one the calling
// thread runs on now; false when there are none.
bool OtherProcessors(cpu_set_t* set) {
  CPU_ZERO(set);
  if (sched_getaffinity(0, sizeof *set, set) != 0) return false;
  int here = sched_getcpu();
  if (here >= 0 && here < CPU_SETSIZE) CPU_CLR(here, set);
  return CPU_COUNT(set) > 0;
}

// A thread that runs work on one of the processors in set, started at once
// and joined when this ends. A new thread is otherwise placed beside the
// thread that makes it, and waits until that one sleeps: a share of tests
// would then begin when the other share has ended.
class OtherProcessorThread {
 public:
  OtherProcessorThread(const cpu_set_t& set, std::function<void()> work)
      : work_(std::move(work)) {
    pthread_attr_t attr;
    if (pthread_attr_init(&attr) != 0) return;
    // Signals stay the request's thread's: the new one starts with all of
    // them blocked (it inherits the mask in force here).
    sigset_t all, before;
    sigfillset(&all);
    if (pthread_attr_setaffinity_np(&attr, sizeof set, &set) == 0 &&
        pthread_sigmask(SIG_SETMASK, &all, &before) == 0) {
      started_ = pthread_create(&thread_, &attr, &Run, this) == 0;
      pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    pthread_attr_destroy(&attr);
  }
  ~OtherProcessorThread() {
    if (started_) pthread_join(thread_, nullptr);
  }
  // False when no thread could be made: work has not run.
  bool started() const { return started_; }
  OtherProcessorThread(const OtherProcessorThread&) = delete;
  OtherProcessorThread& operator=(const OtherProcessorThread&) = delete;

 private:
  static void* Run(void* self) {
    static_cast<OtherProcessorThread*>(self)->work_();
    return nullptr;
  }

  std::function<void()> work_;
  pthread_t thread_;
  bool started_ = false;
};

// Where the list of records is shared between two threads: the first
// record, from the middle on, whose folder is not the one before it (a
// folder's songs are looked up together); the middle when none is.
size_t ShareBoundary(const std::vector<const MediaInfo*>& records) {
  size_t middle = records.size() / 2;
  for (size_t i = middle; i < records.size(); ++i)
    if (!cantora::SongFiles::SameFolder(*records[i - 1], *records[i])) return i;
  return middle;
}

}  // namespace

FileTest TestSongFileAsRoot(cantora::SongFiles& files, const MediaInfo& info, int guard_line,
                            int fail_line) {
  bool located = files.Locate(info);
  IF_RUN_AS guard(kEnumerateSource, guard_line);
  if (!guard.ok()) {
    syslog(LOG_ERR, "%s:%d Failed to run as root.", kEnumerateSource, fail_line);
    return FileTest::kNoRoot;
  }
  return located && files.LocatedExists() ? FileTest::kExists : FileTest::kMissing;
}

FileTest SongFileTests::Test(const MediaInfo& info, int guard_line, int fail_line) {
  bool expected = next_ < ahead_.size() && ahead_[next_] == &info &&
                  guard_line == guard_line_ && fail_line == fail_line_;
  if (!expected && !one_by_one_) {
    if (alone_ > 0)
      --alone_;
    else
      TestAhead(info, guard_line, fail_line);
  }
  if (next_ < ahead_.size()) return tests_[next_++];
  return TestSongFileAsRoot(files_, info, guard_line, fail_line);
}

void SongFileTests::TestAhead(const MediaInfo& first, int guard_line, int fail_line) {
  ahead_.clear();
  tests_.clear();
  next_ = 0;
  cpu_set_t others;
  // Shared only when a test raises the ids and restores them (four changes
  // of credentials a song, several times the lookup's own time): a process
  // running as root tests a song in a microsecond or two, and a second
  // thread would cost about what it saves (its start, and the other
  // processor, which the web server needs to pass the answer on).
  if (!RunAsChangesIds() || !OtherProcessors(&others)) {
    one_by_one_ = true;
    return;
  }
  for (const MediaInfo* info = &first; info != nullptr && ahead_.size() < kAheadRecords;
       info = info->next)
    ahead_.push_back(info);
  if (ahead_.size() < kLeastForTwoThreads) {
    // Too few to share, those that follow first too.
    alone_ = ahead_.size() - 1;
    ahead_.clear();
    return;
  }
  guard_line_ = guard_line;
  fail_line_ = fail_line;
  // Untested until a share says otherwise: a share that stops early leaves
  // the list ending there.
  tests_.assign(ahead_.size(), FileTest::kNoRoot);
  size_t boundary = ShareBoundary(ahead_);
  size_t end = ahead_.size();
  // The first share's failure ends the list: the second stops too. The
  // second's own failure ends only the second share, after the first. A
  // failure to raise is most often the first test's (a program that is not
  // setuid root), made before the second thread starts: logged once, as
  // one by one.
  std::atomic<bool> first_failed{false};
  if (!TestShare(files_, 0, 1, first_failed)) return;
  bool shared;
  {
    // The roots are read here, where the database may be used.
    cantora::LibraryRoots roots = files_.RootsOf(ahead_[boundary], ahead_.back()->next);
    OtherProcessorThread second(others, [&] {
      cantora::SongFiles files(roots);
      TestShare(files, boundary, end, first_failed);
    });
    if (!TestShare(files_, 1, boundary, first_failed)) first_failed = true;
    shared = second.started();
  }
  if (!shared && !first_failed) TestShare(files_, boundary, end, first_failed);
  // What the second share found after the first share's failure is not
  // handed out: the list ends at the first failure.
  std::fill(std::find(tests_.begin(), tests_.end(), FileTest::kNoRoot), tests_.end(),
            FileTest::kNoRoot);
}

bool SongFileTests::TestShare(cantora::SongFiles& files, size_t begin, size_t end,
                              const std::atomic<bool>& stop) {
  for (size_t i = begin; i < end && !stop.load(std::memory_order_relaxed); ++i) {
    tests_[i] = TestSongFileAsRoot(files, *ahead_[i], guard_line_, fail_line_);
    if (tests_[i] == FileTest::kNoRoot) return false;
  }
  return true;
}
