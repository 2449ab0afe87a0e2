// The watcher on a large library: how soon a file or an album copied into
// the watched library is answered by song_enum, and what the watcher costs
// while nothing changes (processor ticks, resident memory).
#ifndef CANTORA_BENCH_WATCH_BENCH_H
#define CANTORA_BENCH_WATCH_BENCH_H

#include <string>

namespace bench {

struct WatchBench {
  std::string admin, enumerate;  // programs
  std::string config, music, dir, session;
  int file_runs = 20;
  int album_runs = 5;
  int idle_seconds = 10;
};

// Prints its lines beside their targets; true when all are met.
bool BenchWatcher(const WatchBench& b);

}  // namespace bench

#endif
