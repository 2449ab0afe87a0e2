#include "platform/indexer/watch/index_lock.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace cantora {

std::string IndexLockPath(const std::string& database) { return database + ".lock"; }

bool IndexLockHolder::LiveWatcher() const {
  return held && role == "watch" && pid > 0 && (kill(pid, 0) == 0 || errno == EPERM);
}

namespace {

IndexLockHolder ReadName(int fd) {
  IndexLockHolder h;
  h.held = true;
  char text[64] = {};
  ssize_t n = pread(fd, text, sizeof text - 1, 0);
  if (n <= 0) return h;
  char role[16] = {};
  long pid = 0;
  if (std::sscanf(text, "%15s %ld", role, &pid) == 2) {
    h.role = role;
    h.pid = static_cast<pid_t>(pid);
  }
  return h;
}

}  // namespace

IndexLockHolder ReadIndexLock(const std::string& database) {
  IndexLockHolder h;
  int fd = open(IndexLockPath(database).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
  if (fd < 0) return h;
  // A shared lock taken and given back at once: it fails only while a
  // writer holds the exclusive one.
  if (flock(fd, LOCK_SH | LOCK_NB) == 0) {
    flock(fd, LOCK_UN);
  } else if (errno == EWOULDBLOCK) {
    h = ReadName(fd);
  }
  close(fd);
  return h;
}

IndexLock::~IndexLock() {
  if (fd_ >= 0) close(fd_);
}

bool IndexLock::Open(const std::string& database, std::string* error) {
  if (fd_ >= 0) return true;
  std::string path = IndexLockPath(database);
  fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (fd_ < 0) {
    *error = "cannot open " + path + ": " + std::strerror(errno);
    return false;
  }
  // The database's folder may be writable by the web server's group: a
  // file put there in advance (a hard link to another file, a pipe) must
  // not be truncated and written by root.
  struct stat st;
  if (fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode) || st.st_nlink != 1 || st.st_uid != geteuid()) {
    *error = path + " is not a plain file of this user's; remove it";
    close(fd_);
    fd_ = -1;
    return false;
  }
  return true;
}

void IndexLock::Name(const char* role) {
  char text[64];
  int n = std::snprintf(text, sizeof text, "%s %ld\n", role, static_cast<long>(getpid()));
  if (ftruncate(fd_, 0) != 0 || pwrite(fd_, text, static_cast<size_t>(n), 0) != n) {
    // The name only informs; the lock itself is held.
  }
}

bool IndexLock::TryTake(const std::string& database, const char* role, IndexLockHolder* holder,
                        std::string* error) {
  *holder = IndexLockHolder();
  if (!Open(database, error)) return false;
  if (flock(fd_, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK)
      *holder = ReadName(fd_);
    else
      *error = std::string("cannot lock the index: ") + std::strerror(errno);
    return false;
  }
  Name(role);
  return true;
}

bool IndexLock::Take(const std::string& database, const char* role, std::string* error) {
  if (!Open(database, error)) return false;
  while (flock(fd_, LOCK_EX) != 0) {
    if (errno == EINTR) continue;
    *error = std::string("cannot lock the index: ") + std::strerror(errno);
    return false;
  }
  Name(role);
  return true;
}

void NotifyIndexWatcher(const std::string& database) {
  IndexLockHolder h = ReadIndexLock(database);
  if (h.LiveWatcher()) kill(h.pid, SIGHUP);
}

}  // namespace cantora
