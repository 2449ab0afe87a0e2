// Waiting for a child process to end, as the platform's callers of helper
// programs read the outcome: its exit status, or a failure.
#ifndef CANTORA_PLATFORM_PROCESS_WAIT_EXIT_H
#define CANTORA_PLATFORM_PROCESS_WAIT_EXIT_H

#include <sys/types.h>

namespace cantora {

// Waits for the child pid to end (a wait a signal interrupts is retried).
// Its exit status; -1 when it died of a signal or could not be waited for.
int WaitExitStatus(pid_t pid);

}  // namespace cantora

#endif
