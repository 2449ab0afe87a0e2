#include "platform/index/escape.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

int ZARNDBEscapeString(char* dst, const char* src, size_t srclen) {
  size_t out = 0;
  for (size_t i = 0; i < srclen && src[i] != '\0'; ++i) {
    if (src[i] == '\'') dst[out++] = '\'';
    dst[out++] = src[i];
  }
  dst[out] = '\0';
  return static_cast<int>(out);
}

int ZARNDBEscapeBackslash(char* dst, size_t dstsize, const char* src) {
  size_t out = 0;
  for (const char* p = src; *p != '\0'; ++p) {
    bool special = *p == '\\' || *p == '%' || *p == '_';
    if (out + (special ? 2 : 1) >= dstsize) {
      if (dstsize > 0) dst[0] = '\0';
      return -1;
    }
    if (special) dst[out++] = '\\';
    dst[out++] = *p;
  }
  if (out >= dstsize) return -1;
  dst[out] = '\0';
  return static_cast<int>(out);
}

char* ZARNDBEscapeStringEX3(int count, const char* tmpl, ...) {
  static const char kPlaceholder[] = "@ZARN:VAR";
  if (tmpl == nullptr) return nullptr;
  std::string out;
  va_list args;
  va_start(args, tmpl);
  const char* rest = tmpl;
  for (int i = 0; i < count; ++i) {
    const char* at = std::strstr(rest, kPlaceholder);
    if (at == nullptr) break;
    const char* value = va_arg(args, const char*);
    if (value == nullptr) {
      va_end(args);
      return nullptr;
    }
    out.append(rest, at - rest);
    cantora::AppendQuoted(value, '\'', &out);
    rest = at + sizeof(kPlaceholder) - 1;
  }
  va_end(args);
  out.append(rest);
  return strdup(out.c_str());
}

namespace cantora {

void AppendQuoted(std::string_view text, char quote, std::string* out) {
  out->push_back(quote);
  for (char c : text) {
    if (c == quote) out->push_back(quote);
    out->push_back(c);
  }
  out->push_back(quote);
}

}  // namespace cantora
