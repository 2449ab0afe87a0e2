// cantora-admin watch and status: the index kept current as the libraries
// change, and what an administrator reads about indexing.
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "platform/config/config.h"
#include "platform/indexer/index_status.h"
#include "platform/indexer/watch/index_lock.h"
#include "platform/indexer/watch/watcher.h"
#include "tools/admin/command.h"

namespace {

constexpr const char* kWatchUsage =
    "usage: cantora-admin watch [--max-watches N] [--rescan SECONDS]\n"
    "\n"
    "Keeps the index current: watches every folder of the shared folders and of\n"
    "the enabled personal libraries (inotify) and indexes the folders that\n"
    "changed, gathered until nothing has changed for 0.7 s. Starts with an\n"
    "unchanged run of everything. Folders added or removed, personal libraries\n"
    "switched on or off with cantora-admin are picked up as they change. Runs\n"
    "until SIGTERM or SIGINT; one line per run on stderr.\n"
    "\n"
    "--max-watches N  watch at most N folders (default: as many as the kernel's\n"
    "                 fs.inotify.max_user_watches allows); folders beyond are\n"
    "                 scanned every --rescan SECONDS (default 600).\n";

constexpr const char* kStatusUsage =
    "usage: cantora-admin status\n"
    "\n"
    "Prints the last indexing run (when, what started it, how long, its counts),\n"
    "how many runs are recorded, whether a watcher runs, and the files that\n"
    "could not be read with their reasons (kept until they change).\n";

bool Number(const std::string& text, long min, long* value) {
  char* end = nullptr;
  long n = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || n < min) return false;
  *value = n;
  return true;
}

int RunWatch(const AdminArgs& args) {
  cantora::WatchOptions options;
  for (size_t i = 0; i < args.size(); ++i) {
    long n = 0;
    if ((args[i] == "--max-watches" || args[i] == "--rescan") && i + 1 < args.size()) {
      if (!Number(args[i + 1], 1, &n))
        return Fail("watch: " + args[i] + " needs a positive number");
      if (args[i] == "--max-watches")
        options.watch_limit = static_cast<size_t>(n);
      else
        options.rescan_seconds = static_cast<int>(n);
      ++i;
    } else {
      return Fail("watch: unknown argument " + args[i] + " (see cantora-admin watch --help)");
    }
  }
  {
    sqlite::Database db;  // a clear error early when the database cannot be opened
    if (!OpenAdminDatabase(&db)) return 1;
  }
  const std::string& database = cantora::GetConfig().database;
  cantora::IndexLock lock;
  cantora::IndexLockHolder holder;
  std::string error;
  if (!lock.TryTake(database, "watch", &holder, &error)) {
    if (!holder.held) return Fail("watch: " + error);
    if (holder.LiveWatcher())
      return Fail("watch: a watcher runs already (pid " + std::to_string(holder.pid) + ")");
    std::fprintf(stderr, "cantora-admin: watch: waiting for the run of pid %ld to end\n",
                 static_cast<long>(holder.pid));
    if (!lock.Take(database, "watch", &error)) return Fail("watch: " + error);
  }
  return cantora::RunWatcher(database, options);
}

std::string When(int64_t seconds) {
  time_t t = static_cast<time_t>(seconds);
  struct tm tm;
  char text[64];
  gmtime_r(&t, &tm);
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &tm);
  return text;
}

int RunStatus(const AdminArgs& args) {
  if (!args.empty()) return Fail("status: no arguments expected");
  sqlite::Database db;
  if (!OpenAdminDatabase(&db)) return 1;
  std::string error;
  cantora::IndexRunRecord last;
  bool found = false;
  int64_t runs = 0;
  if (!cantora::LastIndexRun(db, &last, &found, &runs, &error)) return Fail("status: " + error);
  if (found)
    std::printf("last run: %s (%s), %s\n", When(last.started).c_str(), last.kind.c_str(),
                cantora::FormatIndexSummary(last.counts).c_str());
  else
    std::printf("last run: none\n");
  std::printf("runs recorded: %lld\n", static_cast<long long>(runs));
  cantora::IndexLockHolder holder = cantora::ReadIndexLock(cantora::GetConfig().database);
  if (holder.LiveWatcher())
    std::printf("watcher: running (pid %ld)\n", static_cast<long>(holder.pid));
  else
    std::printf("watcher: not running\n");
  if (holder.held && holder.role == "index")
    std::printf("index: running (pid %ld)\n", static_cast<long>(holder.pid));
  std::vector<cantora::IndexFailureRecord> failures;
  if (!cantora::ListIndexFailures(db, &failures, &error)) return Fail("status: " + error);
  std::printf("failed files: %zu\n", failures.size());
  for (const cantora::IndexFailureRecord& f : failures)
    std::printf("  %s: %s\n", f.path.c_str(), f.reason.c_str());
  return 0;
}

AdminCommand watch_command("watch", "keep the index current as the libraries change", kWatchUsage,
                           RunWatch);
AdminCommand status_command("status", "the last indexing run, failed files, the watcher",
                            kStatusUsage, RunStatus);

}  // namespace
