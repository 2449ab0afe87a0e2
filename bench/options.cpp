#include "bench/options.h"

#include <cstdio>
#include <cstdlib>

#include "platform/process/own_folder.h"

namespace bench {

const char kUsage[] =
    "usage: cantora-bench [--songs N] [--dir DIR] [--runs R] [--keep | --reuse]\n"
    "                     [--web-user USER] [--watch-only | --http-only]\n";

bool ParseOptions(int argc, char** argv, Options* o) {
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    bool has_value = i + 1 < argc;
    if (a == "--songs" && has_value) {
      o->songs = std::strtoull(argv[++i], nullptr, 10);
    } else if (a == "--dir" && has_value) {
      o->dir = argv[++i];
    } else if (a == "--runs" && has_value) {
      o->runs = std::atoi(argv[++i]);
    } else if (a == "--keep") {
      o->keep = true;
    } else if (a == "--reuse") {
      o->reuse = true;
    } else if (a == "--watch-only") {
      o->watch_only = true;
    } else if (a == "--http-only") {
      o->http_only = true;
    } else if (a == "--web-user" && has_value) {
      o->web_user = argv[++i];
    } else {
      return false;
    }
  }
  if (o->reuse && o->dir.empty()) return false;
  return o->songs > 0 && o->runs > 0;
}

std::string SelfDirectory() {
  std::string folder = cantora::OwnProgramFolder();
  return folder.empty() ? "." : folder;
}

void Die(const std::string& message) {
  std::fprintf(stderr, "cantora-bench: %s\n", message.c_str());
  std::exit(1);
}

}  // namespace bench
