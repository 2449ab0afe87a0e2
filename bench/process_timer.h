// Running a program the way a web server runs a CGI, and timing it from the
// moment before it is started to its last byte of output and its exit.
#ifndef CANTORA_BENCH_PROCESS_TIMER_H
#define CANTORA_BENCH_PROCESS_TIMER_H

#include <string>
#include <vector>

namespace bench {

struct Timing {
  bool ok = false;     // started, and exited with status 0
  double millis = 0;   // start to exit, output read to its end
  std::string output;  // everything it wrote on stdout
};

// Runs argv[0] (a path) with exactly the environment env ("NAME=value").
// Its stderr goes to *errors when given, else nowhere.
Timing TimeProcess(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                   std::string* errors = nullptr);

// Runs argv like TimeProcess, timed from the moment before it is started to
// the first byte of its body (after the CGI header's blank line). With
// leave, the output is closed at that byte, as by a client that goes, and
// the program must still end by itself (status 0). output holds what was
// read.
Timing TimeFirstBodyByte(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                         bool leave);

// Runs argv to completion with the current environment, stdin from the file
// stdin_path (default /dev/null) and stderr shared with this program; stdout
// is returned in *output when given. True when it exited with status 0.
bool Run(const std::vector<std::string>& argv, std::string* output = nullptr,
         const std::string& stdin_path = "/dev/null");

// Starts count copies of argv at once, their stdout discarded, and waits for
// them all. last_lines holds the last line each wrote on stderr.
struct AtOnce {
  bool ok = false;  // all started and exited with status 0
  double millis = 0;  // until the last ended
  std::vector<std::string> last_lines;
};
AtOnce RunAtOnce(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                 int count);

double Median(std::vector<double> values);

}  // namespace bench

#endif
