// cantora-bench's command line (see main.cpp), where it finds the programs
// it times, and how it stops when the set-up fails.
#ifndef CANTORA_BENCH_OPTIONS_H
#define CANTORA_BENCH_OPTIONS_H

#include <cstddef>
#include <string>

namespace bench {

struct Options {
  size_t songs = 100000;
  std::string dir;
  int runs = 21;
  bool keep = false;
  bool reuse = false;  // time the actions on a kept DIR again
  // The account the web server runs CGIs as, for the deployed arrangement.
  std::string web_user;
  bool watch_only = false;
  bool http_only = false;  // only the CGI against FastCGI over HTTP
};

extern const char kUsage[];

// False when the arguments are not understood (print kUsage).
bool ParseOptions(int argc, char** argv, Options* o);

// The folder of this program, where the programs it times are built.
std::string SelfDirectory();

// Prints "cantora-bench: <message>" on stderr and exits with status 1.
[[noreturn]] void Die(const std::string& message);

}  // namespace bench

#endif
