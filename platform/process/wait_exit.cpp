#include "platform/process/wait_exit.h"

#include <sys/wait.h>

#include <cerrno>

namespace cantora {

int WaitExitStatus(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) == -1) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace cantora
