// What a setuid program may read as root.
//
// enumerate.cgi is installed setuid root; its caller chooses its environment.
// A caller that could name the configuration, and so the database whose song
// paths the program tests as root, could learn through those tests what lies
// in folders it cannot read. So a privileged process (one started with more
// privileges than its caller: the kernel's AT_SECURE) reads its configuration
// and database only when nobody but root, and the group of the caller (the
// web server, which writes the database), can have written them.
#ifndef CANTORA_PLATFORM_CONFIG_TRUST_H
#define CANTORA_PLATFORM_CONFIG_TRUST_H

#include <sys/stat.h>

#include <string>

namespace cantora {

// True when this process was started setuid or setgid (AT_SECURE).
bool StartedPrivileged();

// True when the file or folder that st describes is owned by root and is not
// writable by others: neither by everyone nor by a group other than
// caller_gid. Otherwise false with the reason in *why.
bool OwnedAndGuardedByRoot(const struct stat& st, gid_t caller_gid, std::string* why);

// For a privileged process: true when the file at path (resolved) and the
// folder holding it pass OwnedAndGuardedByRoot for the caller's real group;
// *resolved receives the canonical path to open. Otherwise false with one
// line in *why. A file that does not exist is refused with errno's reason.
bool TrustedForPrivilegedUse(const std::string& path, std::string* resolved, std::string* why);

}  // namespace cantora

#endif
