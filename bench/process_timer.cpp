#include "bench/process_timer.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

extern char** environ;

namespace bench {
namespace {

std::vector<char*> Pointers(const std::vector<std::string>& strings) {
  std::vector<char*> p;
  for (const std::string& s : strings) p.push_back(const_cast<char*>(s.c_str()));
  p.push_back(nullptr);
  return p;
}

void ReadAll(int fd, std::string* into) {
  char buf[65536];
  ssize_t n;
  while ((n = read(fd, buf, sizeof buf)) > 0)
    if (into) into->append(buf, static_cast<size_t>(n));
  close(fd);
}

// How the child's stdin and stderr are connected.
struct Streams {
  std::string stdin_path = "/dev/null";
  bool keep_stderr = false;       // share this program's stderr
  std::string* errors = nullptr;  // else collect it here, or drop it
  // When set, the time the first byte after the CGI header arrived is noted
  // here; with leave, the output is not read further (a client that goes).
  std::chrono::steady_clock::time_point* first_body_byte = nullptr;
  bool leave = false;
};

// Reads the output until its end, or, when watching for the first byte of
// the body and asked to leave, until that byte.
void ReadOutput(int fd, std::string* into, const Streams& streams) {
  if (streams.first_body_byte == nullptr) return ReadAll(fd, into);
  std::string seen;
  char buf[65536];
  ssize_t n;
  while ((n = read(fd, buf, sizeof buf)) > 0) {
    seen.append(buf, static_cast<size_t>(n));
    size_t header = seen.find("\r\n\r\n");
    if (header != std::string::npos && seen.size() > header + 4) {
      *streams.first_body_byte = std::chrono::steady_clock::now();
      if (streams.leave) break;
      ReadAll(fd, &seen);
      fd = -1;
      break;
    }
  }
  if (fd >= 0) close(fd);
  if (into) *into = std::move(seen);
}

// Spawns argv with stdout on a pipe; reads the output to its end (then the
// collected stderr) and reaps the child. Returns the wait status, or -1.
int SpawnAndRead(const std::vector<std::string>& argv, char** envp, std::string* output,
                 const Streams& streams) {
  int out[2], err[2] = {-1, -1};
  if (pipe2(out, O_CLOEXEC) != 0) return -1;
  if (streams.errors && pipe2(err, O_CLOEXEC) != 0) {
    close(out[0]);
    close(out[1]);
    return -1;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, streams.stdin_path.c_str(), O_RDONLY, 0);
  if (streams.errors)
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
  else if (!streams.keep_stderr)
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::vector<char*> args = Pointers(argv);
  pid_t pid;
  int rc = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), envp);
  posix_spawn_file_actions_destroy(&actions);
  close(out[1]);
  if (err[1] >= 0) close(err[1]);
  if (rc != 0) {
    close(out[0]);
    if (err[0] >= 0) close(err[0]);
    return -1;
  }
  ReadOutput(out[0], output, streams);
  if (err[0] >= 0) ReadAll(err[0], streams.errors);
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  return status;
}

}  // namespace

Timing TimeProcess(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                   std::string* errors) {
  std::vector<char*> envp = Pointers(env);
  Timing t;
  auto start = std::chrono::steady_clock::now();
  Streams streams;
  streams.errors = errors;
  int status = SpawnAndRead(argv, envp.data(), &t.output, streams);
  t.millis =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  t.ok = status >= 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return t;
}

Timing TimeFirstBodyByte(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                         bool leave) {
  std::vector<char*> envp = Pointers(env);
  Timing t;
  auto start = std::chrono::steady_clock::now();
  auto first = start;
  Streams streams;
  streams.first_body_byte = &first;
  streams.leave = leave;
  int status = SpawnAndRead(argv, envp.data(), &t.output, streams);
  t.millis = std::chrono::duration<double, std::milli>(first - start).count();
  t.ok = first != start && status >= 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return t;
}

bool Run(const std::vector<std::string>& argv, std::string* output, const std::string& stdin_path) {
  Streams streams;
  streams.stdin_path = stdin_path;
  streams.keep_stderr = true;
  int status = SpawnAndRead(argv, environ, output, streams);
  return status >= 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

AtOnce RunAtOnce(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                 int count) {
  std::vector<char*> envp = Pointers(env);
  std::vector<char*> args = Pointers(argv);
  std::vector<pid_t> pids;
  std::vector<int> errs;
  AtOnce r;
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < count; ++i) {
    int err[2];
    if (pipe2(err, O_CLOEXEC) != 0) break;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    pid_t pid;
    int rc = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(err[1]);
    if (rc != 0) {
      close(err[0]);
      break;
    }
    pids.push_back(pid);
    errs.push_back(err[0]);
  }
  r.ok = static_cast<int>(pids.size()) == count;
  for (size_t i = 0; i < pids.size(); ++i) {
    std::string errors;
    ReadAll(errs[i], &errors);
    int status = 0;
    bool exited = waitpid(pids[i], &status, 0) == pids[i] && WIFEXITED(status) &&
                  WEXITSTATUS(status) == 0;
    r.ok = r.ok && exited;
    size_t line = errors.find_last_of('\n', errors.size() >= 2 ? errors.size() - 2 : 0);
    r.last_lines.push_back(errors.substr(line == std::string::npos ? 0 : line + 1));
  }
  r.millis =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  return r;
}

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  size_t n = values.size();
  return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

}  // namespace bench
