// The gateway's actions timed through one enumerate.cgi: each alone (a
// table of medians and peaks beside the targets), and many at once.
#ifndef CANTORA_BENCH_TIME_ACTIONS_H
#define CANTORA_BENCH_TIME_ACTIONS_H

#include <string>
#include <vector>

#include "bench/measure.h"

namespace bench {

// Times every action through program and prints one line each under the
// title arrangement; true when every target holds. floor_program:
// cantora-bench-floor, f its median.
bool TimeActions(const char* arrangement, const std::string& program,
                 const std::vector<Action>& actions, const std::string& session,
                 const std::string& config, const std::string& floor_program, double f, int runs);

// Many requests at once on a small box: 32 copies of each action held to
// the memory target, started together through the floor program. The sum
// of their peaks (an upper bound of what they held at one moment) must
// leave room on a box of 2 GB. True when it does for every action.
bool TimeAtOnce(const std::string& program, const std::vector<Action>& actions,
                const std::string& session, const std::string& config,
                const std::string& floor_program);

}  // namespace bench

#endif
