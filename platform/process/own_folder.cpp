#include "platform/process/own_folder.h"

#include <limits.h>
#include <unistd.h>

namespace cantora {

std::string OwnProgramFolder() {
  char buffer[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (n <= 0) return "";
  std::string self(buffer, static_cast<size_t>(n));
  size_t slash = self.rfind('/');
  return slash == std::string::npos ? "" : self.substr(0, slash);
}

}  // namespace cantora
