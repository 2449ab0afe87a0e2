#include "platform/media/stream/transcode_slots.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cantora {

TranscodeSlot::~TranscodeSlot() {
  if (fd_ >= 0) close(fd_);
}

bool TranscodeSlot::Take(const std::string& folder, long slots) {
  if (fd_ >= 0) return true;
  mkdir(folder.c_str(), 0700);
  for (long i = 0; i < slots; ++i) {
    std::string path = folder + "/slot-" + std::to_string(i);
    int fd = open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
      fd_ = fd;
      return true;
    }
    close(fd);
  }
  return false;
}

}  // namespace cantora
