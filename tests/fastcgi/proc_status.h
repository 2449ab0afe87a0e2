// What /proc tells of a process: its status lines and its children.
#ifndef CANTORA_TESTS_FASTCGI_PROC_STATUS_H
#define CANTORA_TESTS_FASTCGI_PROC_STATUS_H

#include <sys/types.h>

#include <string>
#include <vector>

// The numbers of a line of /proc/<pid>/status ("Uid:", "Gid:", "VmRSS:").
std::vector<long> StatusLine(pid_t pid, const std::string& name);

// The processes whose parent is pid (zombies included).
std::vector<pid_t> ChildrenOf(pid_t pid);

#endif
