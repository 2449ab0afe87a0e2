// One owner per file descriptor, and the read and write loops every caller
// needs: a signal interrupts read(2) and write(2) (the CGIs install their
// handlers without SA_RESTART), and a pipe or socket takes less than asked.
#ifndef CANTORA_PLATFORM_IO_UNIQUE_FD_H
#define CANTORA_PLATFORM_IO_UNIQUE_FD_H

#include <signal.h>
#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace cantora {

// Owns a descriptor and closes it when it goes; move-only. -1 is "none".
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  ~UniqueFd() { Reset(); }
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.Release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  // True when a descriptor is held.
  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }

  // Closes the descriptor held (if any), ignoring close's result, and holds
  // fd instead.
  void Reset(int fd = -1);
  // Hands the descriptor over without closing it; -1 when none was held.
  int Release() {
    int fd = fd_;
    fd_ = -1;
    return fd;
  }
  // Closes the descriptor now, for callers that must know close's result
  // (a written file's last error may show only there). True when none was
  // held.
  bool Close();

 private:
  int fd_ = -1;
};

// The loops below retry a call that a signal interrupted (EINTR), unless
// stop is given and set (a handler's flag): then they give up as on an
// error, with errno EINTR, so that a request asked to end does not block.

// Reads until size bytes are in buffer or the end of the file. Returns the
// number read (less than size only at the end), or -1 with errno set.
ssize_t ReadAll(int fd, void* buffer, size_t size, const volatile sig_atomic_t* stop = nullptr);

// Appends what fd holds up to its end to out. False (errno set) on a read
// error, and false (errno EFBIG) as soon as more than max_bytes were read.
bool ReadToEnd(int fd, std::string* out, size_t max_bytes);

// One read of at most size bytes: what read(2) returns, with EINTR retried.
ssize_t ReadSome(int fd, void* buffer, size_t size, const volatile sig_atomic_t* stop = nullptr);

// Writes all of data. False (errno set) when a write fails first, the
// reader of a pipe gone (EPIPE) say; what was written before stays written.
bool WriteAll(int fd, const void* data, size_t size, const volatile sig_atomic_t* stop = nullptr);
inline bool WriteAll(int fd, std::string_view data, const volatile sig_atomic_t* stop = nullptr) {
  return WriteAll(fd, data.data(), data.size(), stop);
}

}  // namespace cantora

#endif
