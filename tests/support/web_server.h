// lighttpd on 127.0.0.1 with the project's own configuration
// (deploy/lighttpd), serving an instance's gateway as a CGI or, with the
// FastCGI part included, as resident processes that lighttpd starts and
// restarts itself. Stopped by its pid in the destructor.
#ifndef CANTORA_TESTS_SUPPORT_WEB_SERVER_H
#define CANTORA_TESTS_SUPPORT_WEB_SERVER_H

#include <sys/types.h>

#include <string>

#include "tests/support/harness.h"

namespace harness {

class WebServer {
 public:
  // cgi_dir holds enumerate.cgi (a copy made by InstallGatewayCopy); the
  // server runs as web_user.
  WebServer(const Instance& instance, const std::string& cgi_dir, const std::string& web_user,
            bool fastcgi);
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  pid_t pid() const { return pid_; }
  int port() const { return port_; }

 private:
  pid_t pid_ = -1;
  int port_ = 0;
};

struct HttpAnswer {
  int status = 0;  // 0: no answer
  std::string body;
};
// GET target over a fresh connection, with the session cookie when given.
HttpAnswer HttpGet(int port, const std::string& target, const std::string& session = "");

}  // namespace harness

#endif
