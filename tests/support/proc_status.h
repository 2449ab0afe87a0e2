// What /proc tells of a process: its status lines and its children.
#ifndef CANTORA_TESTS_SUPPORT_PROC_STATUS_H
#define CANTORA_TESTS_SUPPORT_PROC_STATUS_H

#include <sys/types.h>

#include <string>
#include <vector>

// The numbers of a line of /proc/<pid>/status ("Uid:", "Gid:", "VmRSS:").
std::vector<long> StatusLine(pid_t pid, const std::string& name);

// The processes whose parent is pid (zombies included).
std::vector<pid_t> ChildrenOf(pid_t pid);

// The program pid runs (the target of /proc/<pid>/exe); empty when it
// cannot be read (the process ended).
std::string ExecutableOf(pid_t pid);

// The children of pid that run program (a path).
std::vector<pid_t> ChildrenRunning(pid_t pid, const std::string& program);

#endif
