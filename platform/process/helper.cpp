#include "platform/process/helper.h"

#include <spawn.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/config/config.h"
#include "platform/process/exec_argv.h"
#include "platform/process/own_folder.h"
#include "platform/process/wait_exit.h"

extern char** environ;

namespace cantora {
namespace {

bool IsExecutable(const std::string& path) { return access(path.c_str(), X_OK) == 0; }

// Spawn's file actions, released on every path.
class FileActions {
 public:
  FileActions() { ok_ = posix_spawn_file_actions_init(&actions_) == 0; }
  ~FileActions() {
    if (ok_) posix_spawn_file_actions_destroy(&actions_);
  }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  bool ok() const { return ok_; }
  posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
  bool ok_ = false;
};

}  // namespace

std::string HelperProgramPath(const std::string& name) {
  const std::string& libexec = GetConfig().libexec;
  if (!libexec.empty()) {
    std::string path = libexec + "/" + name;
    if (IsExecutable(path)) return path;
  }
  std::string folder = OwnProgramFolder();
  if (!folder.empty()) {
    std::string path = folder + "/" + name;
    if (IsExecutable(path)) return path;
  }
  return "";
}

int RunHelper(const std::string& program, const std::vector<std::string>& args,
              const char* log_tag, int stdin_fd) {
  FileActions actions;
  if (!actions.ok() ||
      posix_spawn_file_actions_adddup2(actions.get(), STDERR_FILENO, STDOUT_FILENO) != 0 ||
      (stdin_fd >= 0 &&
       posix_spawn_file_actions_adddup2(actions.get(), stdin_fd, STDIN_FILENO) != 0)) {
    return -1;
  }
  std::vector<char*> argv = ExecArgv(program, args);
  pid_t pid = -1;
  int error = posix_spawn(&pid, program.c_str(), actions.get(), nullptr, argv.data(), environ);
  if (error != 0) {
    syslog(LOG_ERR, "%s: cannot run %s: %s", log_tag, program.c_str(), std::strerror(error));
    return -1;
  }
  return WaitExitStatus(pid);
}

}  // namespace cantora
