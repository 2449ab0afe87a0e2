// One writer of the index at a time. `cantora-admin index` holds an flock on
// "<database>.lock" for its run, `cantora-admin watch` for its whole life
// (the runs it starts inherit it). The file names its holder, "index <pid>"
// or "watch <pid>", so that a command refused or kept waiting can say who
// writes, `status` can tell whether a watcher runs, and the commands that
// change the set of libraries can tell the watcher (SIGHUP).
//
// The kernel drops an flock with its last holder, so a writer killed at any
// moment leaves no stale lock; the name in the file may be stale, which is
// why the lock, not the file, decides.
#ifndef CANTORA_PLATFORM_INDEXER_WATCH_INDEX_LOCK_H
#define CANTORA_PLATFORM_INDEXER_WATCH_INDEX_LOCK_H

#include <sys/types.h>

#include <string>

namespace cantora {

std::string IndexLockPath(const std::string& database);

// Who holds the lock: held false when nobody does.
struct IndexLockHolder {
  bool held = false;
  std::string role;  // "index" or "watch"
  pid_t pid = 0;
  // A watcher whose process still exists (a killed watcher's last run may
  // still hold the lock it inherited).
  bool LiveWatcher() const;
};

IndexLockHolder ReadIndexLock(const std::string& database);

class IndexLock {
 public:
  IndexLock() = default;
  ~IndexLock();
  IndexLock(const IndexLock&) = delete;
  IndexLock& operator=(const IndexLock&) = delete;

  // Takes the lock for role, without waiting: false when it is held (then
  // *holder says by whom) or on an error (*error set, holder->held false).
  bool TryTake(const std::string& database, const char* role, IndexLockHolder* holder,
               std::string* error);
  // Waits for the lock. False with *error on an error.
  bool Take(const std::string& database, const char* role, std::string* error);

 private:
  bool Open(const std::string& database, std::string* error);
  void Name(const char* role);

  int fd_ = -1;
};

// Tells a running watcher that the set of libraries changed (SIGHUP), so
// that it watches and indexes new ones and drops the rows of those gone.
// Nothing when no watcher runs.
void NotifyIndexWatcher(const std::string& database);

}  // namespace cantora

#endif
