#include "enumerate/escape_param.h"

#include <syslog.h>

#include <cstring>

#include "enumerate/enumerate.h"
#include "platform/index/escape.h"

namespace {

char* Allocate(size_t bytes, int line) {
  char* buffer = static_cast<char*>(std::malloc(bytes));
  if (buffer == nullptr) {
    syslog(LOG_ERR, "%s (%d) Failed to malloc(%d)", kEnumerateSource, line,
           static_cast<int>(bytes));
  }
  return buffer;
}

}  // namespace

MallocText EscapeParam(const char* value, int malloc_line) {
  size_t length = std::strlen(value);
  MallocText escaped(Allocate(length * 2 + 1, malloc_line));
  if (escaped) ZARNDBEscapeString(escaped.get(), value, length);
  return escaped;
}

MallocText EscapePatternParam(const char* escaped, int malloc_line, int escape_line) {
  size_t size = std::strlen(escaped) * 3 + 1;
  MallocText pattern(Allocate(size, malloc_line));
  if (pattern && ZARNDBEscapeBackslash(pattern.get(), size, escaped) == -1) {
    syslog(LOG_ERR, "%s (%d) Failed to escape condition.", kEnumerateSource, escape_line);
    pattern.reset();
  }
  return pattern;
}
