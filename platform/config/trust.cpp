#include "platform/config/trust.h"

#include <sys/auxv.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace cantora {

bool StartedPrivileged() { return getauxval(AT_SECURE) != 0; }

bool OwnedAndGuardedByRoot(const struct stat& st, gid_t caller_gid, std::string* why) {
  if (st.st_uid != 0) {
    *why = "not owned by root";
    return false;
  }
  if ((st.st_mode & S_IWOTH) != 0 || ((st.st_mode & S_IWGRP) != 0 && st.st_gid != caller_gid)) {
    *why = "writable by others";
    return false;
  }
  return true;
}

bool TrustedForPrivilegedUse(const std::string& path, std::string* resolved, std::string* why) {
  char real[PATH_MAX];
  if (realpath(path.c_str(), real) == nullptr) {
    *why = path + ": " + std::strerror(errno);
    return false;
  }
  std::string file = real;
  std::string folder = file.substr(0, file.rfind('/'));
  if (folder.empty()) folder = "/";
  gid_t caller = getgid();
  for (const std::string& p : {file, folder}) {
    struct stat st;
    if (lstat(p.c_str(), &st) != 0) {
      *why = p + ": " + std::strerror(errno);
      return false;
    }
    std::string reason;
    if (!OwnedAndGuardedByRoot(st, caller, &reason)) {
      *why = p + ": " + reason;
      return false;
    }
  }
  *resolved = file;
  return true;
}

}  // namespace cantora
