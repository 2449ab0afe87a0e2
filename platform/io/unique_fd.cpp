#include "platform/io/unique_fd.h"

#include <unistd.h>

#include <cerrno>

namespace cantora {
namespace {

// True when a call that failed should be made again.
bool Retry(const volatile sig_atomic_t* stop) {
  return errno == EINTR && (stop == nullptr || *stop == 0);
}

}  // namespace

void UniqueFd::Reset(int fd) {
  if (fd_ >= 0 && fd_ != fd) close(fd_);
  fd_ = fd;
}

bool UniqueFd::Close() {
  return fd_ < 0 || close(Release()) == 0;
}

ssize_t ReadSome(int fd, void* buffer, size_t size, const volatile sig_atomic_t* stop) {
  for (;;) {
    if (stop != nullptr && *stop != 0) {
      errno = EINTR;
      return -1;
    }
    ssize_t n = read(fd, buffer, size);
    if (n >= 0 || !Retry(stop)) return n;
  }
}

ssize_t ReadAll(int fd, void* buffer, size_t size, const volatile sig_atomic_t* stop) {
  char* at = static_cast<char*>(buffer);
  size_t done = 0;
  while (done < size) {
    ssize_t n = ReadSome(fd, at + done, size - done, stop);
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(done);
}

bool ReadToEnd(int fd, std::string* out, size_t max_bytes) {
  char buffer[1 << 16];
  size_t total = 0;
  for (;;) {
    ssize_t n = ReadSome(fd, buffer, sizeof buffer);
    if (n < 0) return false;
    if (n == 0) return true;
    out->append(buffer, static_cast<size_t>(n));
    total += static_cast<size_t>(n);
    if (total > max_bytes) {
      errno = EFBIG;
      return false;
    }
  }
}

bool WriteAll(int fd, const void* data, size_t size, const volatile sig_atomic_t* stop) {
  const char* at = static_cast<const char*>(data);
  while (size > 0) {
    ssize_t n = write(fd, at, size);
    if (n < 0 && Retry(stop)) continue;
    if (n < 0) return false;
    if (n == 0) {
      // Not seen for a descriptor that takes bytes; never loop on it.
      errno = EIO;
      return false;
    }
    at += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

}  // namespace cantora
