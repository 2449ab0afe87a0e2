// Where the request being answered comes from and where its answer goes.
//
// A CGI process answers one request: its environment, stdin and stdout. A
// resident process (FastCGI) answers many, each with its own parameters,
// body and answer stream. Code on the request's path asks this source
// instead of getenv, stdin and stdout, so that it serves both unchanged.
//
// The source in force is the process's own unless a RequestSourceScope set
// another for the length of one request.
#ifndef CANTORA_PLATFORM_CGI_REQUEST_SOURCE_H
#define CANTORA_PLATFORM_CGI_REQUEST_SOURCE_H

#include <cstdio>

namespace cantora {

struct RequestSource {
  // "NAME=value" strings, null-terminated; null: the process's environment.
  char** params = nullptr;
  FILE* in = stdin;
  FILE* out = stdout;
};

// The source of the request being answered.
const RequestSource& CurrentRequest();

// The request's variable (its CGI environment), or null when absent.
const char* RequestEnv(const char* name);

// Makes source the request's for the life of the scope.
class RequestSourceScope {
 public:
  explicit RequestSourceScope(const RequestSource& source);
  ~RequestSourceScope();
  RequestSourceScope(const RequestSourceScope&) = delete;
  RequestSourceScope& operator=(const RequestSourceScope&) = delete;

 private:
  const RequestSource* previous_;
};

}  // namespace cantora

#endif
