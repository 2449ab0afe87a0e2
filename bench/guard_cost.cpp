#include "bench/guard_cost.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "enumerate/guard/run_as.h"

namespace bench {
namespace {

constexpr int kGuards = 20000;
constexpr int kRuns = 5;

// In the child: the ids of a setuid-root program started by uid, then the
// gateway's own drop (DropToRealIds), then the guards.
double MeasureAs(uid_t uid, gid_t gid) {
  if (setresgid(gid, 0, 0) != 0 || setresuid(uid, 0, 0) != 0 || !DropToRealIds()) return -1;
  std::vector<double> runs;
  for (int r = 0; r < kRuns; ++r) {
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kGuards; ++i) {
      IF_RUN_AS guard("bench", __LINE__);
      if (!guard.ok()) return -1;
    }
    std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
    runs.push_back(took.count() / kGuards);
  }
  std::sort(runs.begin(), runs.end());
  return runs[runs.size() / 2];
}

}  // namespace

double GuardMicros(uid_t uid, gid_t gid) {
  int pipe_fds[2];
  if (pipe(pipe_fds) != 0) return -1;
  pid_t child = fork();
  if (child < 0) return -1;
  if (child == 0) {
    close(pipe_fds[0]);
    double micros = MeasureAs(uid, gid);
    _exit(write(pipe_fds[1], &micros, sizeof micros) == sizeof micros ? 0 : 1);
  }
  close(pipe_fds[1]);
  double micros = -1;
  if (read(pipe_fds[0], &micros, sizeof micros) != sizeof micros) micros = -1;
  close(pipe_fds[0]);
  waitpid(child, nullptr, 0);
  return micros;
}

}  // namespace bench
