// FastCGI through libfcgi, behind a small RAII layer.
//
// A web server that starts the program as a FastCGI application (lighttpd's
// bin-path) hands it a listening socket as descriptor 0; a CGI gets a pipe,
// a file or nothing there. Listener::Open tells the two apart and, for
// FastCGI, moves the socket off descriptor 0 (close-on-exec, so that no
// helper the program starts inherits it) and puts /dev/null in its place.
//
// A Request is one accepted request: its parameters (the CGI environment of
// that request), its body and its answer, each as a stdio stream of its own
// made over libfcgi's streams, so that code written against FILE* and
// environment lookups serves it unchanged. Finish() (or the destructor)
// flushes the answer and ends the request on the connection.
#ifndef CANTORA_PLATFORM_LIB_FCGI_FCGI_H
#define CANTORA_PLATFORM_LIB_FCGI_FCGI_H

#include <cstdio>
#include <memory>

namespace fcgi {

class Request;

class Listener {
 public:
  // A listener when the process was started as a FastCGI application, else
  // null (a CGI, or libfcgi could not start).
  static std::unique_ptr<Listener> Open();
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // The listening socket (close-on-exec).
  int socket() const { return socket_; }

 private:
  explicit Listener(int socket) : socket_(socket) {}
  int socket_;
};

class Request {
 public:
  explicit Request(const Listener& listener);
  ~Request();
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

  // Waits for the next request; false when the listener failed (the web
  // server closed it, or a signal ended the wait): the application ends.
  bool Accept();
  // Flushes and ends the accepted request; nothing when none is open.
  void Finish();

  // The request's parameter of that name, or null.
  const char* Param(const char* name) const;
  // The request's parameters as "NAME=value" strings, null-terminated.
  char** Params() const;
  // The body (FCGI_STDIN) and the answer (FCGI_STDOUT); valid between
  // Accept and Finish.
  FILE* In() const { return in_; }
  FILE* Out() const { return out_; }

 private:
  struct State;
  std::unique_ptr<State> state_;
  FILE* in_ = nullptr;
  FILE* out_ = nullptr;
  bool open_ = false;
};

}  // namespace fcgi

#endif
