#include "platform/file/beneath.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <vector>

namespace cantora {
namespace {

// The rest of an absolute path below root, or nullopt when it is not below.
std::optional<std::string_view> Below(std::string_view path, std::string_view root) {
  if (root.empty() || path.compare(0, root.size(), root) != 0) return std::nullopt;
  std::string_view rest = path.substr(root.size());
  if (root.back() == '/') return rest;
  if (rest.empty()) return rest;
  if (rest.front() != '/') return std::nullopt;
  return rest.substr(1);
}

// Folds the components of text onto *parts; false when ".." leaves the root.
bool Fold(std::string_view text, std::vector<std::string_view>* parts) {
  while (!text.empty()) {
    size_t slash = text.find('/');
    std::string_view part = text.substr(0, slash);
    text = slash == std::string_view::npos ? std::string_view() : text.substr(slash + 1);
    if (part.empty() || part == ".") continue;
    if (part == "..") {
      if (parts->empty()) return false;
      parts->pop_back();
      continue;
    }
    parts->push_back(part);
  }
  return true;
}

}  // namespace

int OpenBeneath(int root_fd, const char* path, int flags) {
  open_how how{};
  how.flags = static_cast<uint64_t>(flags | O_CLOEXEC);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  return static_cast<int>(syscall(SYS_openat2, root_fd, path, &how, sizeof how));
}

std::optional<std::string> LinkTargetBeneath(std::string_view link_folder, std::string_view target,
                                             const RootNames& root) {
  std::vector<std::string_view> parts;
  if (!target.empty() && target.front() == '/') {
    std::optional<std::string_view> rest = Below(target, root.path);
    if (!rest) rest = Below(target, root.real);
    if (!rest || !Fold(*rest, &parts)) return std::nullopt;
  } else if (!Fold(link_folder, &parts) || !Fold(target, &parts)) {
    return std::nullopt;
  }
  std::string path;
  for (std::string_view part : parts) {
    if (!path.empty()) path += '/';
    path.append(part);
  }
  return path;
}

int OpenLinkTargetBeneath(int root_fd, const RootNames& root, int folder_fd,
                          std::string_view link_folder, const char* name, int flags) {
  char target[PATH_MAX];
  ssize_t n = readlinkat(folder_fd, name, target, sizeof target);
  if (n <= 0 || n >= static_cast<ssize_t>(sizeof target)) return -1;
  std::optional<std::string> path =
      LinkTargetBeneath(link_folder, std::string_view(target, static_cast<size_t>(n)), root);
  if (!path || path->empty()) return -1;
  return OpenBeneath(root_fd, path->c_str(), flags);
}

bool LinkedFileBeneath(int root_fd, const RootNames& root, int folder_fd,
                       std::string_view link_folder, const char* name, struct stat* st) {
  int fd = OpenLinkTargetBeneath(root_fd, root, folder_fd, link_folder, name, O_PATH);
  if (fd < 0) return false;
  bool regular = fstat(fd, st) == 0 && S_ISREG(st->st_mode);
  close(fd);
  return regular;
}

}  // namespace cantora
