#include "platform/cgi/request_source.h"

#include <cstdlib>
#include <cstring>

namespace cantora {
namespace {

const RequestSource kProcess;
// Set only inside a RequestSourceScope, that is, during one request.
const RequestSource* current = &kProcess;

}  // namespace

const RequestSource& CurrentRequest() { return *current; }

const char* RequestEnv(const char* name) {
  char** params = current->params;
  if (params == nullptr) return std::getenv(name);
  size_t length = std::strlen(name);
  for (; *params != nullptr; ++params)
    if (std::strncmp(*params, name, length) == 0 && (*params)[length] == '=')
      return *params + length + 1;
  return nullptr;
}

RequestSourceScope::RequestSourceScope(const RequestSource& source) : previous_(current) {
  current = &source;
}

RequestSourceScope::~RequestSourceScope() { current = previous_; }

}  // namespace cantora
