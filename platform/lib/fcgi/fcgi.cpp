#include "platform/lib/fcgi/fcgi.h"

#include <fcgiapp.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <iterator>

namespace fcgi {
namespace {

// stdio over a libfcgi stream (glibc's fopencookie): reads and writes go to
// the FastCGI records of the request; closing the FILE leaves the stream to
// libfcgi, which frees it when the request ends.
ssize_t CookieRead(void* cookie, char* buffer, size_t size) {
  auto* stream = static_cast<FCGX_Stream*>(cookie);
  int n = FCGX_GetStr(buffer, static_cast<int>(size), stream);
  return n < 0 ? -1 : n;
}

ssize_t CookieWrite(void* cookie, const char* buffer, size_t size) {
  auto* stream = static_cast<FCGX_Stream*>(cookie);
  int n = FCGX_PutStr(buffer, static_cast<int>(size), stream);
  // A short count tells stdio the write failed (the client left).
  return n < 0 ? 0 : n;
}

FILE* OpenStream(FCGX_Stream* stream, const char* mode) {
  cookie_io_functions_t calls{};
  calls.read = CookieRead;
  calls.write = CookieWrite;
  return fopencookie(stream, mode, calls);
}

// libfcgi's start installs handlers of its own for these signals (a broken
// pipe ignored, a termination deferred to the next accept) even when the
// process turns out to be a CGI. The program keeps the dispositions it had:
// a CGI behaves exactly as before, and the FastCGI frame chooses its own.
constexpr int kSignalsLibfcgiTakes[] = {SIGPIPE, SIGTERM, SIGUSR1};

class KeepSignalDispositions {
 public:
  KeepSignalDispositions() {
    for (size_t i = 0; i < std::size(kSignalsLibfcgiTakes); ++i)
      sigaction(kSignalsLibfcgiTakes[i], nullptr, &saved_[i]);
  }
  ~KeepSignalDispositions() {
    for (size_t i = 0; i < std::size(kSignalsLibfcgiTakes); ++i)
      sigaction(kSignalsLibfcgiTakes[i], &saved_[i], nullptr);
  }

 private:
  struct sigaction saved_[std::size(kSignalsLibfcgiTakes)];
};

bool StartedAsFastCgi() {
  KeepSignalDispositions keep;
  return FCGX_Init() == 0 && !FCGX_IsCGI();
}

}  // namespace

struct Request::State {
  FCGX_Request request;
};

std::unique_ptr<Listener> Listener::Open() {
  if (!StartedAsFastCgi()) return nullptr;
  int socket = fcntl(0, F_DUPFD_CLOEXEC, 3);
  if (socket < 0) return nullptr;
  int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (null < 0 || dup2(null, 0) < 0) {
    close(socket);
    if (null >= 0) close(null);
    return nullptr;
  }
  close(null);
  return std::unique_ptr<Listener>(new Listener(socket));
}

Listener::~Listener() { close(socket_); }

Request::Request(const Listener& listener) : state_(new State) {
  FCGX_InitRequest(&state_->request, listener.socket(), 0);
}

Request::~Request() {
  Finish();
  FCGX_Free(&state_->request, 1);
}

bool Request::Accept() {
  Finish();
  if (FCGX_Accept_r(&state_->request) < 0) return false;
  // The connection to the web server is the request's alone: no helper
  // started while it is answered may hold it open.
  if (state_->request.ipcFd >= 0) fcntl(state_->request.ipcFd, F_SETFD, FD_CLOEXEC);
  in_ = OpenStream(state_->request.in, "r");
  out_ = OpenStream(state_->request.out, "w");
  open_ = true;
  if (in_ == nullptr || out_ == nullptr) {  // out of memory: the application ends
    Finish();
    return false;
  }
  return true;
}

void Request::Finish() {
  if (!open_) return;
  if (out_ != nullptr) std::fclose(out_);
  if (in_ != nullptr) std::fclose(in_);
  in_ = out_ = nullptr;
  open_ = false;
  FCGX_Finish_r(&state_->request);
}

const char* Request::Param(const char* name) const {
  return open_ ? FCGX_GetParam(name, state_->request.envp) : nullptr;
}

char** Request::Params() const { return open_ ? state_->request.envp : nullptr; }

}  // namespace fcgi
