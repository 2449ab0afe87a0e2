// The pieces the tests' local HTTP servers share: a listening socket on
// 127.0.0.1, reading one request, sending, and the log of what arrived
// (kept in files, since the server is a forked child and the test reads
// the log from the parent).
#ifndef CANTORA_TESTS_SUPPORT_LOCAL_HTTP_H
#define CANTORA_TESTS_SUPPORT_LOCAL_HTTP_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace testserver {

// A listening socket on 127.0.0.1 and an ephemeral port (put in *port), or -1.
int ListenLocal(int* port);

// Sends all of data; false once the peer is gone.
bool SendAll(int fd, const std::string& data);

// Reads one request: the head up to the blank line and Content-Length bytes.
std::string ReadRequest(int fd);

// The names in a folder but those starting with '.', sorted.
std::vector<std::string> FileNames(const std::string& dir);

// The target of a request's first line ("/a?b" of "GET /a?b HTTP/1.1"), "/" when none.
std::string RequestTarget(const std::string& request);

// Requests as received, one file each in a temporary folder that the
// destructor removes.
class RequestLog {
 public:
  RequestLog();
  ~RequestLog();
  RequestLog(const RequestLog&) = delete;
  RequestLog& operator=(const RequestLog&) = delete;

  bool ok() const { return !dir_.empty(); }
  // Keeps request number (they are listed by number).
  void Keep(int number, const std::string& request) const;
  std::vector<std::string> All() const;

 private:
  std::string dir_;
};

// A server in a forked child: listens on 127.0.0.1 and an ephemeral port
// and runs serve(listener, log) there until it is stopped, by pid, when the
// object goes.
class ServerProcess {
 public:
  using ServeFunction = std::function<void(int listener, const RequestLog& log)>;
  explicit ServerProcess(const ServeFunction& serve);
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  // False when the server could not be started.
  bool ok() const { return pid_ > 0; }
  int port() const { return port_; }
  // "http://127.0.0.1:<port><path>"; path starts with "/".
  std::string Url(const std::string& path) const;
  // The requests received so far, each its head and body as sent.
  std::vector<std::string> Requests() const { return log_.All(); }

 private:
  RequestLog log_;
  pid_t pid_ = -1;
  int port_ = 0;
};

}  // namespace testserver

#endif
