// Serves gateway requests inside the test's own process, one after another,
// as a persistent process (FastCGI) does: BeginRequest, an
// EnumerationHandler built on the stack from the CGI environment, Run,
// destroyed, EndOfRequest. What the handler writes on stdout is the answer.
#ifndef CANTORA_TESTS_PROCESS_REQUEST_DRIVER_H
#define CANTORA_TESTS_PROCESS_REQUEST_DRIVER_H

#include <functional>
#include <string>

namespace process_test {

struct Served {
  std::string out;  // everything written on stdout
  // The statements of the platform connection still stepping after it
  // (their SQL). Statements that SQLite's full-text index keeps prepared,
  // reset, are no snapshot and are not counted.
  std::string busy_statements;
  bool transaction_left = false;  // the platform connection was not in autocommit after it
};

// One GET request with the query (already encoded) and, when not empty, the
// session as the cookie "id". after_handler, when given, runs once the
// handler is destroyed and before EndOfRequest.
Served Serve(const std::string& session, const std::string& query,
             const std::function<void()>& after_handler = nullptr);

}  // namespace process_test

#endif
