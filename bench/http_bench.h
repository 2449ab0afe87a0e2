// The gateway over HTTP, as clients see it: lighttpd on 127.0.0.1 with the
// project's configuration, once with enumerate.cgi as a CGI and once as
// resident FastCGI processes, both started by the web server's user, and
// once more as resident processes of a lighttpd that stays root (the
// privilege guard changing no ids: the "as root" column); every action
// timed in rounds, in each a few requests to each of the three in turn,
// after one that is not timed (a fresh connection per request, medians),
// beside F_http, lighttpd's answer for a 13-byte static file in
// the same run; beside each, the processor time a request costs the
// resident processes and their lighttpd, of the web server's user and as
// root (what a request costs apart from waiting, which wall times on a
// busy machine blur); and the idle and peak memory of the FastCGI
// processes of the web server's user.
#ifndef CANTORA_BENCH_HTTP_BENCH_H
#define CANTORA_BENCH_HTTP_BENCH_H

#include <string>
#include <vector>

namespace bench {

struct HttpAction {
  std::string name;
  std::string query;
  enum Target { kNone, kFloorPlus, kAbsolute } target = kNone;
  double millis = 0;  // F_http + millis, or millis
  // The column the target holds for: the web server's resident processes,
  // or those of a lighttpd that stays root (a target set "as root").
  enum Column { kFastCgi, kAsRoot } column = kFastCgi;
};

struct HttpSetup {
  std::string dir;      // the run folders are made below it
  std::string cgi_dir;  // holds the deployed (setuid root) enumerate.cgi
  std::string config;
  std::string covers;
  std::string libraries;  // lighttpd list items: the stream's X-Sendfile folders
  std::string web_user;
  std::string session;
  int runs = 21;
};

// Prints the table; true when the three answered every request with the
// same status and the FastCGI medians (the web server's user's) are within
// their targets.
bool BenchHttp(const HttpSetup& setup, const std::vector<HttpAction>& actions);

}  // namespace bench

#endif
