// A helper program whose output the caller passes on as it comes (the
// transcoder of the stream CGI), run without a shell.
//
// The child's stdin is a descriptor the caller opened (a song file opened
// under the privilege guard), its stdout a pipe the caller reads, its stderr
// ours, and its environment empty (the request's cookie and query stay in
// the CGI). Started while the process is not root (a setuid CGI outside its
// guard) it runs with the real user and group ids, real, effective and saved
// alike, so nothing of root reaches it. It is killed (SIGKILL) when the
// process that started it ends, whatever way it ends, and by this object's
// destructor unless it was waited for: no helper outlives its request.
#ifndef CANTORA_PLATFORM_PROCESS_STREAMING_CHILD_H
#define CANTORA_PLATFORM_PROCESS_STREAMING_CHILD_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/io/unique_fd.h"

namespace cantora {

class StreamingChild {
 public:
  StreamingChild() = default;
  ~StreamingChild();
  StreamingChild(const StreamingChild&) = delete;
  StreamingChild& operator=(const StreamingChild&) = delete;

  // Starts program with args (argv[1...]). False (logged at LOG_ERR with
  // log_tag) when it could not be started.
  bool Start(const std::string& program, const std::vector<std::string>& args, int stdin_fd,
             const char* log_tag);

  // The read end of the child's stdout; -1 before Start.
  int output() const { return output_.get(); }
  pid_t pid() const { return pid_; }

  // Kills the child at once and reaps it. Does nothing when there is none.
  void Kill();
  // Waits for the child to end; its exit status, or -1 when it died of a
  // signal or there was none.
  int Wait();

 private:
  pid_t pid_ = -1;
  UniqueFd output_;
};

}  // namespace cantora

#endif
