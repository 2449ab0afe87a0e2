#include "enumerate/frame/process_ids.h"

#include <sys/fsuid.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

ProcessIds ProcessIds::Now() {
  ProcessIds ids{};
  getresuid(&ids.uid[0], &ids.uid[1], &ids.uid[2]);
  getresgid(&ids.gid[0], &ids.gid[1], &ids.gid[2]);
  // An impossible id changes nothing and returns the one in force.
  ids.uid[3] = static_cast<uid_t>(setfsuid(static_cast<uid_t>(-1)));
  ids.gid[3] = static_cast<gid_t>(setfsgid(static_cast<gid_t>(-1)));
  return ids;
}

bool ProcessIds::operator==(const ProcessIds& other) const {
  return std::equal(uid, uid + 4, other.uid) && std::equal(gid, gid + 4, other.gid);
}

std::string ProcessIds::Text() const {
  char text[128];
  std::snprintf(text, sizeof text, "uid %u/%u/%u/%u gid %u/%u/%u/%u", uid[0], uid[1], uid[2],
                uid[3], gid[0], gid[1], gid[2], gid[3]);
  return text;
}
