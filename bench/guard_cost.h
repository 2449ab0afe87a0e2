// What the privilege guard costs one song as deployed: an IF_RUN_AS scope
// built and left, in a process whose ids are those of the setuid gateway
// after its start (real and effective the web server's user, saved root),
// so that the guard really changes ids: five id calls a song, of which
// four change the effective group or user id (the third call, the user id
// once more, finds it root already).
#ifndef CANTORA_BENCH_GUARD_COST_H
#define CANTORA_BENCH_GUARD_COST_H

#include <sys/types.h>

namespace bench {

// Microseconds a guard, the median of a few runs of many guards, measured
// in a child that takes uid and gid as the gateway does. A negative value
// when the child could not take them (not run as root).
double GuardMicros(uid_t uid, gid_t gid);

}  // namespace bench

#endif
