#include "bench/measure.h"

#include <cstdio>
#include <cstdlib>

#include "bench/cgi_answer.h"
#include "bench/process_timer.h"

namespace bench {
namespace {

// Times timed() runs times after one warming run, whose Timing warm gets.
template <class F>
Measured TimeRuns(const std::string& floor, const std::vector<std::string>& argv,
                  const std::vector<std::string>& env, int runs, F timed, Timing* warm) {
  Measured m;
  std::vector<double> times;
  *warm = timed();
  m.ok = warm->ok;
  for (int r = 0; r < runs; ++r) {
    Timing t = timed();
    m.ok = m.ok && t.ok;
    times.push_back(t.millis);
  }
  m.median = Median(times);
  m.peak_kb = PeakKb(floor, argv, env, &m.ok);
  return m;
}

}  // namespace

std::vector<std::string> CgiEnvironment(const std::string& query, const std::string& session,
                                        const std::string& config,
                                        const std::vector<std::string>& extra) {
  std::vector<std::string> env = {"GATEWAY_INTERFACE=CGI/1.1",
                                  "SERVER_PROTOCOL=HTTP/1.1",
                                  "SERVER_NAME=127.0.0.1",
                                  "SERVER_PORT=80",
                                  "REMOTE_ADDR=127.0.0.1",
                                  "REQUEST_METHOD=GET",
                                  "SCRIPT_NAME=/cgi-bin/enumerate.cgi",
                                  "QUERY_STRING=" + query,
                                  "HTTP_COOKIE=id=" + session,
                                  "CANTORA_CONFIG=" + config,
                                  "PATH=/usr/bin:/bin"};
  env.insert(env.end(), extra.begin(), extra.end());
  return env;
}

long PeakKb(const std::string& floor, const std::vector<std::string>& argv,
            const std::vector<std::string>& env, bool* ok) {
  std::vector<std::string> launched = {floor, "--rss"};
  launched.insert(launched.end(), argv.begin(), argv.end());
  std::string rss;
  Timing memory = TimeProcess(launched, env, &rss);
  *ok = *ok && memory.ok;
  return std::atol(rss.substr(rss.rfind('\n', rss.size() - 2) + 1).c_str());
}

Measured Measure(const std::string& floor, const std::vector<std::string>& argv,
                 const std::vector<std::string>& env, int runs) {
  Timing warm;
  Measured m = TimeRuns(floor, argv, env, runs, [&] { return TimeProcess(argv, env); }, &warm);
  m.total = TotalOf(warm.output);
  return m;
}

Measured MeasureFirstByte(const std::string& floor, const std::vector<std::string>& argv,
                          const std::vector<std::string>& env, int runs, bool leave) {
  Timing warm;
  return TimeRuns(floor, argv, env, runs, [&] { return TimeFirstBodyByte(argv, env, leave); },
                  &warm);
}

bool Report(const Action& a, const Measured& m, double f) {
  char target[32] = "-";
  bool within = true;
  if (a.target == Action::kFloorPlus) {
    std::snprintf(target, sizeof target, "<= %.1f", f + a.millis);
    within = m.median <= f + a.millis;
  } else if (a.target == Action::kAbsolute) {
    std::snprintf(target, sizeof target, "< %.0f", a.millis);
    within = m.median < a.millis;
  }
  bool small = m.peak_kb < 64 * 1024 || (a.target == Action::kNone && !a.bounded_memory);
  char items[32] = "-";
  if (m.total >= 0) std::snprintf(items, sizeof items, "%ld", m.total);
  std::printf("%-28s %10.2f %11s %8.1f %8s   %s\n", a.name, m.median, target, m.peak_kb / 1024.0,
              items,
              !m.ok             ? "FAILED"
              : within && small ? "ok"
                                : "OVER");
  return m.ok && within && small;
}

}  // namespace bench
