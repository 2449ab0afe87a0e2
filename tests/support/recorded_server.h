// A local HTTP server for tests: a forked child listening on 127.0.0.1 and
// an ephemeral port, serving recorded answers from a folder. It is stopped
// by pid when the object goes.
//
// Routes (the query string is ignored; any method):
//   /<name>            200, the file <folder>/<name>.json, with Content-Length
//   /nolength/<name>   200, the same file without Content-Length (read to close)
//   /slow/<name>       the same as /<name>, after a delay of slow_seconds
//   /blank             200, an empty body
//   /status/<code>     that status, an empty body
// A file that does not exist answers 404.
//
// Every request (head and body, as received) is kept, in arrival order.
#ifndef CANTORA_TESTS_SUPPORT_RECORDED_SERVER_H
#define CANTORA_TESTS_SUPPORT_RECORDED_SERVER_H

#include <string>
#include <vector>

#include "tests/support/local_http.h"

namespace testserver {

// ok(), port(), Url(path) and Requests() are ServerProcess's.
class RecordedServer : public ServerProcess {
 public:
  explicit RecordedServer(const std::string& folder, int slow_seconds = 5);
};

// A port on 127.0.0.1 that nothing listens on (bound, then released).
int ClosedPort();

}  // namespace testserver

#endif
