// One action of the gateway, timed: its request, its target, the median of
// its runs and its peak memory, and the line that prints them.
//
// A target is F + millis (kFloorPlus, F the exec time of the trivial
// statically linked program cantora-bench-floor), an absolute millis, or
// none. Peak memory is measured by starting the program once more through
// the floor program (--rss), and held to 64 MB unless the action has no
// target and is not bounded_memory.
#ifndef CANTORA_BENCH_MEASURE_H
#define CANTORA_BENCH_MEASURE_H

#include <string>
#include <vector>

namespace bench {

struct Action {
  const char* name;
  std::string query;
  enum Target { kFloorPlus, kAbsolute, kNone } target;
  double millis;  // F + millis, or millis, per target
  // Held to the memory target even without a time target: its answer is
  // large or its selection is the whole library, but what it holds beside
  // the answer must not grow with the library.
  bool bounded_memory = false;
};

struct Measured {
  double median = 0;
  long peak_kb = 0;
  long total = -1;  // the answer's "total", -1 when it has none
  bool ok = true;
};

// The environment of a GET of enumerate.cgi with query, plus extra variables.
std::vector<std::string> CgiEnvironment(const std::string& query, const std::string& session,
                                        const std::string& config,
                                        const std::vector<std::string>& extra = {});

// The peak memory of one run of argv, started through the floor program;
// *ok turns false when the run fails.
long PeakKb(const std::string& floor, const std::vector<std::string>& argv,
            const std::vector<std::string>& env, bool* ok);

// Times argv `runs` times (after one run that warms the caches) and
// measures its peak memory once more, started through the floor program.
Measured Measure(const std::string& floor, const std::vector<std::string>& argv,
                 const std::vector<std::string>& env, int runs);

// The same, timed from the start to the first byte of the answer's body
// (TimeFirstBodyByte, with leave).
Measured MeasureFirstByte(const std::string& floor, const std::vector<std::string>& argv,
                          const std::vector<std::string>& env, int runs, bool leave);

// Prints one measured action beside its target (f: the floor F); true when
// within it.
bool Report(const Action& a, const Measured& m, double f);

}  // namespace bench

#endif
