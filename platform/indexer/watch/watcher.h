// cantora-admin watch: keeps the index in step with the libraries' folders
// as they change, with inotify.
//
// inotify rather than fanotify: fanotify's directory-entry events need a
// mark on a whole file system (the libraries are folders of it, and a mark
// would report every change of the system's other files too) and
// CAP_SYS_ADMIN, while inotify reports exactly the watched folders' entries
// (added, removed, renamed, written, touched) by name, to an unprivileged
// reader as well; its cost, a watch per folder, is bounded and counted below.
//
// A change marks its folder: a file's event its folder (shallow: that
// folder's files are matched again), a folder made, moved in, moved out or
// removed that folder (deep: walked with everything below it, or its rows
// dropped). Marks are gathered until nothing has happened for a quiet
// period (or for at most a longer delay while changes keep coming), and
// then indexed in one scoped run of the indexer (indexer.h) of just those
// folders: an album copied in is one run, one transaction.
//
// Runs happen in a child process, so that the watcher itself stays small
// (the watches and their paths; no index rows) and a run's memory goes back
// to the system; events keep being read meanwhile. A run killed in the
// middle leaves the index as its last transaction left it, and the next
// start of the watcher begins with an unchanged run of every library, which
// catches up with whatever changed while nobody watched.
//
// The set of libraries is read again when a cantora-admin command changes
// it (SIGHUP, index_lock.h): new ones are watched and walked, the rows of
// those gone are dropped. Nothing is polled: with nothing changing the
// watcher sleeps in poll() on the inotify and signal descriptors. When the
// kernel allows fewer watches than there are folders it says so once (how
// many are needed, how to raise the limit) and scans the folders it cannot
// watch every rescan period; a lost event queue (IN_Q_OVERFLOW) is followed
// by an unchanged run of everything. SIGTERM and SIGINT end it (a run under
// way is ended too, its open transaction rolled back).
#ifndef CANTORA_PLATFORM_INDEXER_WATCH_WATCHER_H
#define CANTORA_PLATFORM_INDEXER_WATCH_WATCHER_H

#include <cstddef>
#include <cstdio>
#include <string>

namespace cantora {

struct WatchOptions {
  size_t watch_limit = 0;    // at most this many watches (0: the kernel's limit)
  int quiet_ms = 700;        // a batch waits for this long without events
  int max_delay_ms = 2000;   // ... but no longer than this after its first one
  int rescan_seconds = 600;  // the scan of folders that cannot be watched
  FILE* log = stderr;        // one line per run and per problem
};

// Watches until SIGTERM or SIGINT; the caller holds the index lock
// (index_lock.h) and has loaded the configuration. Returns the exit status.
int RunWatcher(const std::string& database, const WatchOptions& options);

}  // namespace cantora

#endif
