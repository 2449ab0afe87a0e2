#include "platform/file/remove_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace cantora {
namespace {

// Deeper than this is not a preference folder, and the recursion must end.
constexpr int kMaxDepth = 64;

bool Failed(const std::string& what, std::string* error) {
  *error = "cannot remove " + what + ": " + std::strerror(errno);
  return false;
}

bool RemoveAt(int parent_fd, const std::string& name, int depth, std::string* error) {
  if (unlinkat(parent_fd, name.c_str(), 0) == 0 || errno == ENOENT) return true;
  if (errno != EISDIR && errno != EPERM) return Failed(name, error);
  if (depth >= kMaxDepth) {
    *error = "cannot remove " + name + ": folders nested too deep";
    return false;
  }
  int fd = openat(parent_fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return errno == ENOENT || Failed(name, error);
  DIR* dir = fdopendir(fd);
  if (dir == nullptr) {
    close(fd);
    return Failed(name, error);
  }
  std::vector<std::string> entries;
  while (struct dirent* e = readdir(dir)) {
    if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0)
      entries.push_back(e->d_name);
  }
  bool ok = true;
  for (const std::string& entry : entries)
    ok = RemoveAt(dirfd(dir), entry, depth + 1, error) && ok;
  closedir(dir);
  if (!ok) return false;
  return unlinkat(parent_fd, name.c_str(), AT_REMOVEDIR) == 0 || errno == ENOENT ||
         Failed(name, error);
}

}  // namespace

bool RemoveTree(int parent_fd, const std::string& name, std::string* error) {
  return RemoveAt(parent_fd, name, 0, error);
}

}  // namespace cantora
