// The concurrent transcodes of the machine, counted by lock files: slot i is
// <cache>/transcode/slot-<i>, held by an exclusive flock for as long as the
// stream that took it lives. The kernel drops a lock when its holder ends,
// however it ends, so a crashed stream never keeps a slot.
#ifndef CANTORA_PLATFORM_MEDIA_STREAM_TRANSCODE_SLOTS_H
#define CANTORA_PLATFORM_MEDIA_STREAM_TRANSCODE_SLOTS_H

#include <string>

namespace cantora {

class TranscodeSlot {
 public:
  TranscodeSlot() = default;
  ~TranscodeSlot();
  TranscodeSlot(const TranscodeSlot&) = delete;
  TranscodeSlot& operator=(const TranscodeSlot&) = delete;

  // Takes a free one of the slots kept in folder (made when missing, mode
  // 0700); false when all are taken or the folder cannot be used.
  bool Take(const std::string& folder, long slots);
  bool held() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

}  // namespace cantora

#endif
