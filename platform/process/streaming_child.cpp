#include "platform/process/streaming_child.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/process/exec_argv.h"
#include "platform/process/wait_exit.h"

namespace cantora {
namespace {

// In the child, between fork and exec: only async-signal-safe calls.
[[noreturn]] void BecomeHelper(const char* program, char* const* argv, int stdin_fd, int out,
                               pid_t parent) {
  if (geteuid() != 0) {
    // All three ids of each kind become the real ones: a setuid parent keeps
    // root as its saved user id.
    gid_t gid = getgid();
    uid_t uid = getuid();
    if (setresgid(gid, gid, gid) != 0 || setresuid(uid, uid, uid) != 0) _exit(127);
  }
  // After the change of ids, which clears it.
  if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent) _exit(127);
  // The CGI ignores SIGPIPE to see a reader leave; the helper must not
  // inherit that.
  signal(SIGPIPE, SIG_DFL);
  if (dup2(stdin_fd, STDIN_FILENO) < 0 || dup2(out, STDOUT_FILENO) < 0) _exit(127);
  if (stdin_fd == STDIN_FILENO) fcntl(STDIN_FILENO, F_SETFD, 0);
  // No environment: the request's text (its cookie, its query) stays here.
  char* const no_environment[] = {nullptr};
  execve(program, argv, no_environment);
  _exit(127);
}

}  // namespace

StreamingChild::~StreamingChild() { Kill(); }

bool StreamingChild::Start(const std::string& program, const std::vector<std::string>& args,
                           int stdin_fd, const char* log_tag) {
  int pipe_fds[2];
  if (pipe2(pipe_fds, O_CLOEXEC) != 0) return false;
  UniqueFd output(pipe_fds[0]);
  std::vector<char*> argv = ExecArgv(program, args);
  const pid_t parent = getpid();
  pid_t pid = fork();
  if (pid == 0) BecomeHelper(program.c_str(), argv.data(), stdin_fd, pipe_fds[1], parent);
  close(pipe_fds[1]);
  if (pid < 0) {
    syslog(LOG_ERR, "%s: cannot run %s: %s", log_tag, program.c_str(), std::strerror(errno));
    return false;
  }
  pid_ = pid;
  output_ = std::move(output);
  return true;
}

void StreamingChild::Kill() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    Wait();
  }
}

int StreamingChild::Wait() {
  output_.Reset();
  if (pid_ <= 0) return -1;
  pid_t pid = pid_;
  pid_ = -1;
  return WaitExitStatus(pid);
}

}  // namespace cantora
