// IF_RUN_AS: raises the effective user and group ids to root for one scope.
//
//   {
//     IF_RUN_AS guard(kEnumerateSource, 1307);
//     if (!guard.ok()) { ... give up the step ... }
//     ... the one step that needs root ...
//   }  // the caller's effective ids are back
//
// Only effective ids change; real and saved ids are left alone, which is what
// lets a process started setuid root, and dropped to its caller at start,
// come back to root here. The ids are those of the thread that builds the
// guard: another thread of the process keeps its own (a song list may test
// its files on two threads, each raising itself for each song). Failures
// are logged, never thrown: raising at LOG_AUTH|LOG_ERR as
// "<file>:<line> ERROR: IF_RUN_AS(0, 0)", restoring at LOG_AUTH|LOG_CRIT as
// "<file>:<line> ERROR: ~IF_RUN_AS(<uid>, <gid>)".
#ifndef CANTORA_ENUMERATE_GUARD_RUN_AS_H
#define CANTORA_ENUMERATE_GUARD_RUN_AS_H

#include <sys/types.h>

// The id calls the guard makes, replaceable so that tests can watch them.
struct IdCalls {
  uid_t (*geteuid)();
  gid_t (*getegid)();
  int (*setresuid)(uid_t, uid_t, uid_t);
  int (*setresgid)(gid_t, gid_t, gid_t);
};
// The calls in force: the kernel's set calls, which change the calling
// thread's ids only, and reads of the effective ids that the set calls keep
// up to date (one real read per thread), unless a test swapped them. Every
// change of the effective ids goes through them.
IdCalls& RunAsIdCalls();

// Whether an IF_RUN_AS built now on this thread would change ids: its
// effective user or group is not root already.
bool RunAsChangesIds();

class IF_RUN_AS {
 public:
  IF_RUN_AS(const char* file, int line);
  ~IF_RUN_AS();
  IF_RUN_AS(const IF_RUN_AS&) = delete;
  IF_RUN_AS& operator=(const IF_RUN_AS&) = delete;

  bool ok() const { return ok_; }

 private:
  uid_t saved_uid_;
  gid_t saved_gid_;
  const char* file_;
  int line_;
  const char* name_ = "IF_RUN_AS";
  bool ok_ = false;
};

// Drops a setuid program to its caller at start: the effective user and
// group ids become the real ones (the caller's), and a program set to root
// forgets the supplementary groups and keeps root as its saved user id, so
// that IF_RUN_AS can come back to it. Called first thing in main(); does
// nothing when real and effective agree. Returns false when the drop failed
// (the program must then not go on).
bool DropToRealIds();

// The caller's ids: the effective user and group ids that DropToRealIds left
// in force (or, in a process that never called it, those in force when this
// is first called). Recorded once per process, through the id calls in force.
void RememberCallerIds();

// Between two requests of a process that serves many, the effective ids
// must be the caller's again: a guard whose restore failed (logged at
// LOG_AUTH|LOG_CRIT as above) leaves them raised. Unless they are the
// caller's, logs at LOG_AUTH|LOG_CRIT "<source>: effective ids <uid>/<gid>
// after a request, not the caller's <uid>/<gid>: ending the process" and
// ends the process at once (exit status 1), rather than serve the next
// request with raised ids. The ids are read afresh from the kernel (through
// the id calls in force). Needs RememberCallerIds (or DropToRealIds) first.
void EndProcessUnlessCallerIds(const char* source);

#endif
