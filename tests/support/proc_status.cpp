#include "tests/support/proc_status.h"

#include <dirent.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <sstream>

std::vector<long> StatusLine(pid_t pid, const std::string& name) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  std::vector<long> numbers;
  while (std::getline(in, line)) {
    if (line.compare(0, name.size(), name) != 0) continue;
    std::istringstream fields(line.substr(name.size()));
    long n;
    while (fields >> n) numbers.push_back(n);
  }
  return numbers;
}

std::vector<pid_t> ChildrenOf(pid_t pid) {
  std::vector<pid_t> children;
  DIR* proc = opendir("/proc");
  while (dirent* entry = readdir(proc)) {
    pid_t candidate = std::atoi(entry->d_name);
    if (candidate <= 0) continue;
    // A process may end while it is read: the read then fails.
    std::string stat;
    try {
      std::ifstream in("/proc/" + std::string(entry->d_name) + "/stat");
      stat.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    } catch (const std::exception&) {
      continue;
    }
    size_t close = stat.rfind(')');
    if (close == std::string::npos) continue;
    std::istringstream rest(stat.substr(close + 2));
    char state;
    pid_t parent = -1;
    rest >> state >> parent;
    if (parent == pid) children.push_back(candidate);
  }
  closedir(proc);
  return children;
}


std::string ExecutableOf(pid_t pid) {
  char target[4096];
  ssize_t n = readlink(("/proc/" + std::to_string(pid) + "/exe").c_str(), target, sizeof target - 1);
  return n > 0 ? std::string(target, static_cast<size_t>(n)) : std::string();
}

std::vector<pid_t> ChildrenRunning(pid_t pid, const std::string& program) {
  std::vector<pid_t> found;
  for (pid_t child : ChildrenOf(pid))
    if (ExecutableOf(child) == program) found.push_back(child);
  return found;
}
