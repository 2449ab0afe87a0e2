#include "platform/indexer/watch/watcher.h"

#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <vector>

#include "platform/config/platform_db.h"
#include "platform/index/indexed_folder.h"
#include "platform/indexer/indexer.h"
#include "platform/indexer/library_roots.h"
#include "platform/index/sql_functions.h"
#include "platform/indexer/watch/folder_watches.h"

namespace cantora {
namespace {

using Clock = std::chrono::steady_clock;

// What the next run covers.
struct Pending {
  bool full = false;                  // everything (start, lost events)
  std::map<std::string, bool> scope;  // folder -> deep
  const char* kind = "watch";
  Clock::time_point first{}, last{};

  bool empty() const { return !full && scope.empty(); }
  void Mark(const std::string& folder, bool deep, Clock::time_point now) {
    if (empty()) first = now;
    last = now;
    scope[folder] = scope[folder] || deep;
  }
  void Everything(const char* why, Clock::time_point now) {
    if (empty()) first = now;
    last = now;
    full = true;
    kind = why;
  }
};

class Watcher {
 public:
  Watcher(const std::string& database, const WatchOptions& options)
      : database_(database), options_(options), watches_(options.watch_limit) {}

  int Run() {
    if (watches_.fd() < 0)
      return Log("cannot use inotify: " + std::string(std::strerror(errno)), 1);
    sigset_t signals;
    sigemptyset(&signals);
    for (int s : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) sigaddset(&signals, s);
    sigprocmask(SIG_BLOCK, &signals, &old_mask_);
    signal_fd_ = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
    if (signal_fd_ < 0)
      return Log("cannot wait for signals: " + std::string(std::strerror(errno)), 1);
    std::string error;
    if (!ReadRoots(&roots_, &error)) return Log("cannot read the libraries: " + error, 1);
    for (const LibraryRoot& r : roots_) watches_.AddTree(r.path);
    Log("watching " + std::to_string(roots_.size()) + " libraries, " +
        std::to_string(watches_.size()) + " folders");
    CheckLimit();
    // Whatever changed while nobody watched.
    pending_.Everything("watch-start", Clock::now());
    pending_.first = pending_.last = Clock::time_point();
    while (!stop_) {
      if (child_ <= 0) MaybeStart();
      struct pollfd fds[2] = {{watches_.fd(), POLLIN, 0}, {signal_fd_, POLLIN, 0}};
      if (poll(fds, 2, Timeout()) < 0 && errno != EINTR) return Log("poll failed", 1);
      if (fds[1].revents & POLLIN) Signals();
      if (fds[0].revents & POLLIN) Events();
    }
    if (child_ > 0) {
      kill(child_, SIGTERM);
      waitpid(child_, nullptr, 0);
    }
    Log("stopped");
    return 0;
  }

 private:
  int Log(const std::string& line, int status = 0) {
    std::fprintf(options_.log, "watch: %s\n", line.c_str());
    std::fflush(options_.log);
    return status;
  }

  bool ReadRoots(std::vector<LibraryRoot>* roots, std::string* error) {
    sqlite::Database db;
    return OpenPlatformDatabase(database_, false, &db, error) && ListLibraryRoots(db, roots, error);
  }

  // The one line about the watch limit, and the scan that stands in.
  void CheckLimit() {
    if (watches_.unwatched().empty()) return;
    if (next_rescan_ == Clock::time_point())
      next_rescan_ = Clock::now() + std::chrono::seconds(options_.rescan_seconds);
    if (limit_told_) return;
    limit_told_ = true;
    size_t needed = watches_.size() + watches_.unwatched_folders();
    size_t kernel = FolderWatches::KernelLimit();
    size_t raise = (kernel + watches_.unwatched_folders() + 1023) / 1024 * 1024;
    Log("the libraries have " + std::to_string(needed) + " folders but only " +
        std::to_string(watches_.size()) +
        " inotify watches could be set; raise the limit with 'sysctl "
        "fs.inotify.max_user_watches=" +
        std::to_string(raise) + "' (and a file in /etc/sysctl.d/ to keep it); until then the " +
        std::to_string(watches_.unwatched_folders()) + " folders not watched are scanned every " +
        std::to_string(options_.rescan_seconds) + " s");
  }

  int Timeout() const {
    auto now = Clock::now();
    Clock::time_point due = Clock::time_point::max();
    if (!pending_.empty() && child_ <= 0) {
      due = std::min(pending_.last + std::chrono::milliseconds(options_.quiet_ms),
                     pending_.first + std::chrono::milliseconds(options_.max_delay_ms));
    }
    if (!watches_.unwatched().empty() && child_ <= 0) due = std::min(due, next_rescan_);
    if (due == Clock::time_point::max()) return -1;  // asleep until something happens
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(due - now).count() + 1;
    return static_cast<int>(std::max<int64_t>(0, ms));
  }

  void MaybeStart() {
    auto now = Clock::now();
    if (!pending_.empty() &&
        (now >= pending_.last + std::chrono::milliseconds(options_.quiet_ms) ||
         now >= pending_.first + std::chrono::milliseconds(options_.max_delay_ms))) {
      Pending run;
      std::swap(run, pending_);
      if (run.full && std::strcmp(run.kind, "watch-start") != 0)
        for (const LibraryRoot& r : roots_) watches_.AddTree(r.path);  // events were lost
      Start(run);
      return;
    }
    if (!watches_.unwatched().empty() && now >= next_rescan_) {
      std::vector<std::string> folders = watches_.unwatched();
      watches_.RetryUnwatched();
      Pending scan;
      scan.kind = "watch-scan";
      for (const std::string& f : folders) scan.scope[f] = true;
      next_rescan_ = now + std::chrono::seconds(options_.rescan_seconds);
      Start(scan);
    }
  }

  // Runs the indexer on what is pending, in a child process.
  void Start(const Pending& run) {
    std::vector<ScopeFolder> scope;
    for (const auto& f : run.scope) scope.push_back({f.first, f.second});
    std::fflush(options_.log);
    pid_t pid = fork();
    if (pid < 0) {
      Log("cannot start a run: " + std::string(std::strerror(errno)));
      return;
    }
    if (pid > 0) {
      child_ = pid;
      return;
    }
    sigprocmask(SIG_SETMASK, &old_mask_, nullptr);
    sqlite::Database db;
    std::string error;
    IndexOptions options;
    options.report = options_.log;
    options.scope = run.full ? nullptr : &scope;
    options.kind = run.kind;
    IndexSummary summary;
    bool ok = OpenPlatformDatabase(database_, false, &db, &error) &&
              RegisterIndexFunctions(db.get()) && RunIndex(db, options, &summary, &error);
    if (ok)
      Log(std::string(run.kind) + " (" +
          (run.full ? std::string("every library") : std::to_string(scope.size()) + " folders") +
          "): " + FormatIndexSummary(summary));
    else
      Log(std::string(run.kind) + " failed: " + error);
    std::fflush(nullptr);
    _exit(ok ? 0 : 1);
  }

  void Signals() {
    struct signalfd_siginfo info;
    while (read(signal_fd_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
      switch (info.ssi_signo) {
        case SIGTERM:
        case SIGINT:
          stop_ = true;
          break;
        case SIGHUP:
          RootsChanged();
          break;
        case SIGCHLD:
          Reap();
          break;
      }
    }
  }

  void Reap() {
    int status;
    pid_t pid;
    while ((pid = waitpid(-1, &status, WNOHANG)) > 0)
      if (pid == child_) child_ = 0;
  }

  // New libraries are watched and walked; the rows of those gone are dropped.
  void RootsChanged() {
    std::vector<LibraryRoot> now;
    std::string error;
    if (!ReadRoots(&now, &error)) {
      Log("cannot read the libraries: " + error);
      return;
    }
    auto t = Clock::now();
    for (const LibraryRoot& r : roots_) {
      if (std::find(now.begin(), now.end(), r) != now.end()) continue;
      watches_.RemoveTree(r.path);
      pending_.Mark(r.path, true, t);
    }
    for (const LibraryRoot& r : now) {
      if (std::find(roots_.begin(), roots_.end(), r) != roots_.end()) continue;
      watches_.AddTree(r.path);
      pending_.Mark(r.path, true, t);
    }
    roots_ = std::move(now);
    // A folder still in the set (a root moved between libraries) is walked again too.
    for (const LibraryRoot& r : roots_)
      if (pending_.scope.count(r.path) != 0) watches_.AddTree(r.path);
    CheckLimit();
  }

  bool IsRoot(const std::string& path) const {
    for (const LibraryRoot& r : roots_)
      if (r.path == path) return true;
    return false;
  }

  void Events() {
    alignas(struct inotify_event) char buffer[65536];
    ssize_t n;
    while ((n = read(watches_.fd(), buffer, sizeof buffer)) > 0) {
      auto now = Clock::now();
      for (ssize_t at = 0; at < n;) {
        const auto* e = reinterpret_cast<const struct inotify_event*>(buffer + at);
        at += static_cast<ssize_t>(sizeof(struct inotify_event) + e->len);
        Event(*e, now);
      }
    }
    CheckLimit();
  }

  void Event(const struct inotify_event& e, Clock::time_point now) {
    if (e.mask & IN_Q_OVERFLOW) {
      Log("events were lost (the kernel's queue overflowed): every library is checked again");
      pending_.Everything("watch-full", now);
      return;
    }
    if (e.mask & IN_IGNORED) {
      watches_.Dropped(e.wd);
      return;
    }
    const std::string* known = watches_.PathOf(e.wd);
    if (known == nullptr) return;
    const std::string folder = *known;
    if (e.mask & (IN_DELETE_SELF | IN_MOVE_SELF)) {
      // A library's own folder; any other folder's parent reports it.
      if (IsRoot(folder)) {
        watches_.RemoveTree(folder);
        pending_.Mark(folder, true, now);
      }
      return;
    }
    if (e.len == 0 || e.name[0] == '.' || e.name[0] == '\0') return;
    const std::string path = folder + "/" + e.name;
    if (e.mask & IN_ISDIR) {
      if (e.mask & (IN_CREATE | IN_MOVED_TO)) {
        watches_.AddTree(path);
      } else if (e.mask & (IN_DELETE | IN_MOVED_FROM)) {
        watches_.RemoveTree(path);
      } else {
        return;
      }
      pending_.Mark(path, true, now);
      return;
    }
    pending_.Mark(folder, false, now);
  }

  const std::string database_;
  const WatchOptions options_;
  FolderWatches watches_;
  std::vector<LibraryRoot> roots_;
  Pending pending_;
  sigset_t old_mask_;
  int signal_fd_ = -1;
  pid_t child_ = 0;
  bool stop_ = false;
  bool limit_told_ = false;
  Clock::time_point next_rescan_{};
};

}  // namespace

int RunWatcher(const std::string& database, const WatchOptions& options) {
  Watcher watcher(database, options);
  return watcher.Run();
}

}  // namespace cantora
