#include "enumerate/guard/run_as.h"

#include <grp.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>

namespace {

// The effective ids as this thread last set them. Only the thread itself
// changes its ids (see TrackedSetresuid), so after one real read the answer
// is known without asking the kernel: a song list runs the guard once per
// song, and the reads would be most of its system calls.
struct EffectiveIds {
  bool known = false;
  uid_t uid = 0;
  gid_t gid = 0;
};

EffectiveIds& Current() {
  thread_local EffectiveIds ids;
  if (!ids.known) {
    ids.uid = ::geteuid();
    ids.gid = ::getegid();
    ids.known = true;
  }
  return ids;
}

// What the process knows of its ids is asked of the kernel again at the
// next read.
void ForgetKnownIds() { Current().known = false; }

// The caller's ids (RememberCallerIds): what the process returns to between
// requests.
EffectiveIds& Caller() {
  static EffectiveIds ids;
  return ids;
}

uid_t KnownEuid() { return Current().uid; }
gid_t KnownEgid() { return Current().gid; }

// The kernel's calls, which change the ids of the calling thread only. The C
// library's setresuid and setresgid would change those of every thread of
// the process, signalling each one: a thread that tests song files as root
// beside the request's own must raise itself alone.
int TrackedSetresuid(uid_t r, uid_t e, uid_t s) {
  int rc = static_cast<int>(::syscall(SYS_setresuid, r, e, s));
  if (rc == 0 && e != static_cast<uid_t>(-1)) Current().uid = e;
  return rc;
}

int TrackedSetresgid(gid_t r, gid_t e, gid_t s) {
  int rc = static_cast<int>(::syscall(SYS_setresgid, r, e, s));
  if (rc == 0 && e != static_cast<gid_t>(-1)) Current().gid = e;
  return rc;
}

}  // namespace

IdCalls& RunAsIdCalls() {
  static IdCalls calls = {KnownEuid, KnownEgid, TrackedSetresuid, TrackedSetresgid};
  return calls;
}

bool RunAsChangesIds() {
  const IdCalls& id = RunAsIdCalls();
  return id.geteuid() != 0 || id.getegid() != 0;
}

IF_RUN_AS::IF_RUN_AS(const char* file, int line) : file_(file), line_(line) {
  const IdCalls& id = RunAsIdCalls();
  saved_uid_ = id.geteuid();
  saved_gid_ = id.getegid();

  if (!RunAsChangesIds()) {
    ok_ = true;
    return;
  }
  uid_t euid = id.geteuid();
  gid_t egid = id.getegid();
  bool failed = false;
  // The user id goes first: only root may change the group. It is set once
  // more afterwards, so that the guard ends as root whatever the group step did.
  if (euid != 0 && id.setresuid(-1, 0, -1) < 0) failed = true;
  if (!failed && egid != 0 && id.setresgid(-1, 0, -1) != 0) failed = true;
  if (!failed && euid != 0 && id.setresuid(-1, 0, -1) != 0) failed = true;
  ok_ = !failed;
  if (failed) syslog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: %s(%d, %d)", file_, line_, name_, 0, 0);
}

IF_RUN_AS::~IF_RUN_AS() {
  const IdCalls& id = RunAsIdCalls();
  uid_t euid = id.geteuid();
  gid_t egid = id.getegid();
  if (euid == saved_uid_ && egid == saved_gid_) return;

  bool failed = false;
  if (euid != 0 && euid != saved_uid_ && id.setresuid(-1, 0, -1) < 0) failed = true;
  if (!failed && saved_gid_ != egid && saved_gid_ != static_cast<gid_t>(-1) &&
      id.setresgid(-1, saved_gid_, -1) != 0)
    failed = true;
  if (!failed && saved_uid_ != euid && saved_uid_ != static_cast<uid_t>(-1) &&
      id.setresuid(-1, saved_uid_, -1) != 0)
    failed = true;
  if (failed)
    syslog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: ~%s(%d, %d)", file_, line_, name_,
           static_cast<int>(saved_uid_), static_cast<int>(saved_gid_));
}

void RememberCallerIds() {
  EffectiveIds& caller = Caller();
  if (caller.known) return;
  const IdCalls& id = RunAsIdCalls();
  caller.uid = id.geteuid();
  caller.gid = id.getegid();
  caller.known = true;
}

void EndProcessUnlessCallerIds(const char* source) {
  RememberCallerIds();
  ForgetKnownIds();
  const IdCalls& id = RunAsIdCalls();
  const EffectiveIds& caller = Caller();
  uid_t euid = id.geteuid();
  gid_t egid = id.getegid();
  if (euid == caller.uid && egid == caller.gid) return;
  syslog(LOG_AUTH | LOG_CRIT,
         "%s: effective ids %d/%d after a request, not the caller's %d/%d: ending the process",
         source, static_cast<int>(euid), static_cast<int>(egid), static_cast<int>(caller.uid),
         static_cast<int>(caller.gid));
  _exit(EXIT_FAILURE);
}

namespace {

bool DropIds() {
  uid_t ruid = getuid(), euid = geteuid();
  gid_t rgid = getgid(), egid = getegid();
  if (ruid == euid && rgid == egid) return true;
  // While still root, forget the supplementary groups of whoever installed
  // us; the caller's real group is all the program needs outside the guard.
  if (euid == 0 && setgroups(0, nullptr) != 0) return false;
  // Through the guard's calls, so that the ids it keeps track of stay right.
  // The group first, while the user id may still change it. Set to root, the
  // saved user id stays root, for IF_RUN_AS to come back to; everything in
  // force outside the guard is the caller's.
  const IdCalls& id = RunAsIdCalls();
  if (egid != rgid && id.setresgid(-1, rgid, -1) != 0) return false;
  if (euid != ruid && id.setresuid(-1, ruid, -1) != 0) return false;
  return geteuid() == ruid && getegid() == rgid;
}

}  // namespace

bool DropToRealIds() {
  if (!DropIds()) return false;
  RememberCallerIds();
  return true;
}
