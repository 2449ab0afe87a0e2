// A FastCGI client for the tests: one request over a fresh connection to a
// responder's Unix socket, as lighttpd's mod_fastcgi sends it (the CGI
// environment as parameters, the body as stdin), and the records that come
// back.
#ifndef CANTORA_TESTS_SUPPORT_FASTCGI_CLIENT_H
#define CANTORA_TESTS_SUPPORT_FASTCGI_CLIENT_H

#include <string>
#include <vector>

namespace harness {

struct FastCgiAnswer {
  bool connected = false;
  bool complete = false;  // the application's end-of-request record arrived
  int app_status = -1;    // its status, when complete
  std::string out;        // FCGI_STDOUT, all records joined
  std::string err;        // FCGI_STDERR
};

// params: "NAME=value" strings.
FastCgiAnswer FastCgiExchange(const std::string& socket_path, const std::vector<std::string>& params,
                              const std::string& body);

}  // namespace harness

#endif
