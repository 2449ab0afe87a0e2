#include "bench/time_actions.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "bench/process_timer.h"

namespace bench {
namespace {

constexpr int kAtOnce = 32;
constexpr long kBoxKb = 2048 * 1024;

}  // namespace

bool TimeActions(const char* arrangement, const std::string& program,
                 const std::vector<Action>& actions, const std::string& session,
                 const std::string& config, const std::string& floor_program, double f, int runs) {
  std::printf("%s: %s\n", arrangement, program.c_str());
  std::printf("%-28s %10s %11s %8s %8s\n", "action", "median ms", "target ms", "peak MB", "items");
  const std::vector<std::string> cgi = {program};
  bool all_ok = true;
  for (const Action& a : actions) {
    Measured m = Measure(floor_program, cgi, CgiEnvironment(a.query, session, config), runs);
    all_ok = Report(a, m, f) && all_ok;
  }
  return all_ok;
}

bool TimeAtOnce(const std::string& program, const std::vector<Action>& actions,
                const std::string& session, const std::string& config,
                const std::string& floor_program) {
  std::printf("%d at once: %s\n", kAtOnce, program.c_str());
  std::printf("%-28s %10s %11s %8s %8s\n", "action", "all ms", "sum MB", "max MB", "target");
  bool all_ok = true;
  for (const Action& a : actions) {
    if (!a.bounded_memory) continue;
    AtOnce r = RunAtOnce({floor_program, "--rss", program}, CgiEnvironment(a.query, session, config),
                         kAtOnce);
    long sum = 0, largest = 0;
    for (const std::string& line : r.last_lines) {
      long kb = std::atol(line.c_str());
      sum += kb;
      largest = std::max(largest, kb);
    }
    bool within = r.ok && sum < kBoxKb;
    std::printf("%-28s %10.0f %11.1f %8.1f %8s   %s\n", a.name, r.millis, sum / 1024.0,
                largest / 1024.0, "< 2048", !r.ok ? "FAILED" : within ? "ok" : "OVER");
    all_ok = all_ok && within;
  }
  return all_ok;
}

}  // namespace bench
