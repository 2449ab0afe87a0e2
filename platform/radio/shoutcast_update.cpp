#include "platform/radio/shoutcast_update.h"

#include <spawn.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/config/config.h"

extern char** environ;

namespace ZarnAudioUtils {
namespace {

bool IsExecutable(const std::string& path) { return access(path.c_str(), X_OK) == 0; }

std::string OwnFolder() {
  char buffer[4096];
  ssize_t n = readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
  if (n <= 0) return "";
  std::string self(buffer, static_cast<size_t>(n));
  size_t slash = self.rfind('/');
  return slash == std::string::npos ? "" : self.substr(0, slash);
}

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

const char* const kRadioFetchProgram = "cantora-radio-fetch";

std::string ShoutcastGenreOfStem(const std::string& stem) {
  const size_t length = sizeof(kShoutcastStemPrefix) - 1;
  if (stem.compare(0, length, kShoutcastStemPrefix) != 0) return "";
  return stem.substr(length);
}

std::string RadioFetchProgramPath() {
  const std::string& libexec = cantora::GetConfig().libexec;
  if (!libexec.empty()) {
    std::string path = libexec + "/" + kRadioFetchProgram;
    if (IsExecutable(path)) return path;
  }
  std::string folder = OwnFolder();
  if (!folder.empty()) {
    std::string path = folder + "/" + kRadioFetchProgram;
    if (IsExecutable(path)) return path;
  }
  return "";
}

int RadioUpdateShoutcastByGenre(const std::string& stem) {
  // The stem becomes a file name in the radio folder: no way out of it.
  if (ShoutcastGenreOfStem(stem).empty() || stem.find('/') != std::string::npos ||
      stem.find('\0') != std::string::npos) {
    return -1;
  }
  const std::string program = RadioFetchProgramPath();
  if (program.empty()) {
    syslog(LOG_ERR, "radio: %s not found in %s nor beside this program", kRadioFetchProgram,
           cantora::GetConfig().libexec.c_str());
    return -1;
  }
  FileActions actions;
  if (!actions.ok() ||
      posix_spawn_file_actions_adddup2(actions.get(), STDERR_FILENO, STDOUT_FILENO) != 0) {
    return -1;
  }
  char* argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>(stem.c_str()), nullptr};
  pid_t pid = -1;
  int error = posix_spawn(&pid, program.c_str(), actions.get(), nullptr, argv, environ);
  if (error != 0) {
    syslog(LOG_ERR, "radio: cannot run %s: %s", program.c_str(), std::strerror(error));
    return -1;
  }
  int status = 0;
  while (waitpid(pid, &status, 0) == -1) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace ZarnAudioUtils
