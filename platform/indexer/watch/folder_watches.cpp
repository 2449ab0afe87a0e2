#include "platform/indexer/watch/folder_watches.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "platform/index/indexed_folder.h"

namespace cantora {
namespace {

// What the watcher wants to hear of a folder: entries added, removed, moved,
// written or touched, and the folder itself going. Links are not followed.
// Not IN_CLOSE_WRITE: it reports a file opened for writing, written or not,
// and the tag reader's own opens would start a run after every run; a
// write is an IN_MODIFY.
constexpr uint32_t kMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY |
                           IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW |
                           IN_EXCL_UNLINK;

// The sub-folders of path the walk would enter.
std::vector<std::string> SubFolders(const std::string& path) {
  std::vector<std::string> subs;
  int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return subs;
  DIR* dir = fdopendir(fd);
  if (dir == nullptr) {
    close(fd);
    return subs;
  }
  while (const struct dirent* e = readdir(dir)) {
    if (e->d_name[0] == '.') continue;
    unsigned char type = e->d_type;
    if (type == DT_UNKNOWN) {
      struct stat st;
      if (fstatat(dirfd(dir), e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
      type = S_ISDIR(st.st_mode) ? DT_DIR : DT_REG;
    }
    if (type == DT_DIR) subs.push_back(path + "/" + e->d_name);
  }
  closedir(dir);
  return subs;
}

size_t CountFolders(const std::string& path) {
  size_t n = 1;
  for (const std::string& sub : SubFolders(path)) n += CountFolders(sub);
  return n;
}

}  // namespace

FolderWatches::FolderWatches(size_t limit)
    : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), limit_(limit) {}

FolderWatches::~FolderWatches() {
  if (fd_ >= 0) close(fd_);
}

size_t FolderWatches::KernelLimit() {
  FILE* f = std::fopen("/proc/sys/fs/inotify/max_user_watches", "re");
  if (f == nullptr) return 0;
  unsigned long long n = 0;
  if (std::fscanf(f, "%llu", &n) != 1) n = 0;
  std::fclose(f);
  return static_cast<size_t>(n);
}

int FolderWatches::Watch(const std::string& path) {
  if (fd_ < 0) return -1;
  if (limit_ != 0 && by_wd_.size() >= limit_ && by_path_.count(path) == 0) return 0;
  int wd = inotify_add_watch(fd_, path.c_str(), kMask);
  if (wd < 0) return errno == ENOSPC ? 0 : -1;
  // The same folder under a new name (moved) keeps its descriptor.
  auto old = by_wd_.find(wd);
  if (old != by_wd_.end() && old->second != path) by_path_.erase(old->second);
  by_wd_[wd] = path;
  by_path_[path] = wd;
  return 1;
}

void FolderWatches::AddTree(const std::string& path) {
  std::vector<std::string> stack = {path};
  while (!stack.empty()) {
    std::string folder = std::move(stack.back());
    stack.pop_back();
    int watched = Watch(folder);
    if (watched < 0) continue;
    if (watched == 0) {
      unwatched_folders_ += CountFolders(folder);
      unwatched_.push_back(std::move(folder));
      continue;
    }
    for (std::string& sub : SubFolders(folder)) stack.push_back(std::move(sub));
  }
}

void FolderWatches::RemoveTree(const std::string& path) {
  for (auto it = by_path_.lower_bound(path);
       it != by_path_.end() && it->first.compare(0, path.size(), path) == 0;) {
    if (!IsSameOrBelow(it->first, path)) {
      ++it;
      continue;
    }
    inotify_rm_watch(fd_, it->second);
    by_wd_.erase(it->second);
    it = by_path_.erase(it);
  }
  for (size_t i = 0; i < unwatched_.size();) {
    if (IsSameOrBelow(unwatched_[i], path)) {
      unwatched_.erase(unwatched_.begin() + static_cast<std::ptrdiff_t>(i));
    } else {
      ++i;
    }
  }
}

void FolderWatches::Dropped(int wd) {
  auto it = by_wd_.find(wd);
  if (it == by_wd_.end()) return;
  auto p = by_path_.find(it->second);
  if (p != by_path_.end() && p->second == wd) by_path_.erase(p);
  by_wd_.erase(it);
}

const std::string* FolderWatches::PathOf(int wd) const {
  auto it = by_wd_.find(wd);
  return it == by_wd_.end() ? nullptr : &it->second;
}

void FolderWatches::RetryUnwatched() {
  std::vector<std::string> again;
  again.swap(unwatched_);
  unwatched_folders_ = 0;
  for (const std::string& path : again) AddTree(path);
}

}  // namespace cantora
