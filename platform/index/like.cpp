#include "platform/index/like.h"

#include <cstdint>
#include <cstring>

#include "platform/text/utf8.h"

namespace cantora {
namespace {

size_t CharLength(std::string_view s, size_t i) {
  unsigned char c = static_cast<unsigned char>(s[i]);
  if (c < 0x80) return 1;
  int32_t cp;
  return DecodeUtf8(reinterpret_cast<const unsigned char*>(s.data()) + i, s.size() - i, &cp);
}

bool EndsInLoneEscape(std::string_view pattern) {
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == '\\') {
      if (i + 1 == pattern.size()) return true;
      ++i;
    }
  }
  return false;
}

}  // namespace

LikeResult LikeMatch(std::string_view text, std::string_view pattern) {
  if (EndsInLoneEscape(pattern)) return LikeResult::kBadPattern;
  size_t ti = 0, pi = 0;
  // Where to resume after the last '%': pattern just past it, and the text
  // position that '%' has swallowed up to.
  size_t star_p = std::string_view::npos, star_t = 0;
  while (ti < text.size()) {
    if (pi < pattern.size()) {
      char c = pattern[pi];
      if (c == '%') {
        star_p = ++pi;
        star_t = ti;
        continue;
      }
      if (c == '_') {
        ti += CharLength(text, ti);
        ++pi;
        continue;
      }
      size_t lit = c == '\\' ? pi + 1 : pi;
      size_t len = CharLength(pattern, lit);
      if (CharLength(text, ti) == len && std::memcmp(text.data() + ti, pattern.data() + lit, len) == 0) {
        ti += len;
        pi = lit + len;
        continue;
      }
    }
    if (star_p == std::string_view::npos) return LikeResult::kNoMatch;
    star_t += CharLength(text, star_t);
    ti = star_t;
    pi = star_p;
  }
  while (pi < pattern.size() && pattern[pi] == '%') ++pi;
  return pi == pattern.size() ? LikeResult::kMatch : LikeResult::kNoMatch;
}

}  // namespace cantora
