// A hostile HTTP server for tests of the fetch helpers: a forked child on
// 127.0.0.1 and an ephemeral port, each connection served by a thread of its
// own (so that an answer that never ends holds up no other), stopped by pid
// when the object goes. Every request is kept, as RecordedServer keeps them.
//
// Routes (the query string is ignored; any method):
//   /body/<name>           200, the body given under name, with Content-Length
//   /gzip/<name>           the same, gzip-encoded (Content-Encoding: gzip)
//   /drip                  200 without a length, then one body byte a second, forever
//   /drip-head             the head itself, one byte a second, forever
//   /endless               200 without a length and a body without end
//   /huge-length           200 claiming a body of 16 GiB, then a body without end
//   /huge-headers          200, then header lines without end
//   /huge-header-line      200, then one header line without end
//   /redirect/<code>/<url> status code (301, 302, 303, 307, 308) with Location
//                          <url> (percent-decoded), an empty body
//   /gzip-bomb             Content-Encoding: gzip, no length: zeros, about a
//                          thousand times as many as the bytes sent, without end
//   /gzip-gzip-bomb        Content-Encoding: gzip, gzip: a body of a few KiB
//                          that inflates to 4 GiB of zeros
#ifndef CANTORA_TESTS_SUPPORT_HOSTILE_SERVER_H
#define CANTORA_TESTS_SUPPORT_HOSTILE_SERVER_H

#include <map>
#include <string>
#include <vector>

#include "tests/support/local_http.h"

namespace testserver {

// ok(), port(), Url(path) and Requests() are ServerProcess's.
class HostileServer : public ServerProcess {
 public:
  // bodies: the answers of /body/<name> and /gzip/<name>.
  explicit HostileServer(const std::map<std::string, std::string>& bodies = {});
};

// "/redirect/<code>/<target percent-encoded>".
std::string RedirectPath(int code, const std::string& target);

}  // namespace testserver

#endif
