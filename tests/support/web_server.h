// lighttpd on 127.0.0.1 with the project's own configuration
// (deploy/lighttpd): the gateway's CGIs as CGIs, or, with the FastCGI part
// included, enumerate.cgi as resident processes that lighttpd starts and
// restarts itself. Shared by the tests and the benchmark; stopped by its pid
// in the destructor.
#ifndef CANTORA_TESTS_SUPPORT_WEB_SERVER_H
#define CANTORA_TESTS_SUPPORT_WEB_SERVER_H

#include <sys/types.h>

#include <string>

namespace webserver {

struct Setup {
  std::string run_dir;    // its configuration, logs and sockets; given to web_user
  std::string www_dir;    // the document root; hello.txt (13 bytes) is written there
  std::string cgi_dir;    // holds enumerate.cgi
  std::string config;     // CANTORA_CONFIG
  std::string covers;     // the cover cache (X-Sendfile)
  std::string libraries;  // the stream's X-Sendfile folders, as a lighttpd list's items
  std::string web_user;   // the account lighttpd runs as
  bool fastcgi = false;
  // lighttpd stays root (no server.username): so do the programs it starts,
  // and a setuid gateway's privilege guard then changes no ids (a bench's
  // "as root" arrangement; never a deployment).
  bool as_root = false;
};

class Server {
 public:
  // Starts lighttpd and waits until it answers; throws std::runtime_error
  // when it does not.
  explicit Server(const Setup& setup);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  pid_t pid() const { return pid_; }
  int port() const { return port_; }

 private:
  pid_t pid_ = -1;
  int port_ = 0;
};

struct Answer {
  int status = 0;  // 0: no answer
  std::string body;
};
// GET target over a fresh connection, with the session cookie when given.
Answer Get(int port, const std::string& target, const std::string& session = "");

}  // namespace webserver

#endif
