// The process's ids as the kernel holds them: real, effective and saved
// user and group ids and the file-system ones (what /proc/<pid>/status
// shows on its Uid: and Gid: lines).
//
// A resident gateway takes a snapshot once it has dropped to the web
// server's user and compares it after every request: a privilege guard that
// failed to restore must end the process, never let it answer the next
// request with raised ids.
#ifndef CANTORA_ENUMERATE_FRAME_PROCESS_IDS_H
#define CANTORA_ENUMERATE_FRAME_PROCESS_IDS_H

#include <sys/types.h>

#include <string>

struct ProcessIds {
  uid_t uid[4];  // real, effective, saved, file-system
  gid_t gid[4];

  static ProcessIds Now();
  bool operator==(const ProcessIds& other) const;
  bool operator!=(const ProcessIds& other) const { return !(*this == other); }
  // "uid r/e/s/fs gid r/e/s/fs", for the log.
  std::string Text() const;
};

#endif
