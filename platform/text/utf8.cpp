#include "platform/text/utf8.h"

#include <cstdint>
#include <cstring>

namespace cantora {

int DecodeUtf8(const unsigned char* s, size_t n, int32_t* cp) {
  unsigned char c = s[0];
  if (c < 0x80) {
    *cp = c;
    return 1;
  }
  int len;
  int32_t value;
  int32_t min;
  if (c >= 0xC2 && c <= 0xDF) {
    len = 2, value = c & 0x1F, min = 0x80;
  } else if (c >= 0xE0 && c <= 0xEF) {
    len = 3, value = c & 0x0F, min = 0x800;
  } else if (c >= 0xF0 && c <= 0xF4) {
    len = 4, value = c & 0x07, min = 0x10000;
  } else {
    *cp = -1;
    return 1;
  }
  if (static_cast<size_t>(len) > n) {
    *cp = -1;
    return 1;
  }
  for (int i = 1; i < len; ++i) {
    if ((s[i] & 0xC0) != 0x80) {
      *cp = -1;
      return 1;
    }
    value = (value << 6) | (s[i] & 0x3F);
  }
  if (value < min || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
    *cp = -1;
    return 1;
  }
  *cp = value;
  return len;
}

int EncodeUtf8(int32_t cp, char* out) {
  if (cp < 0x80) {
    out[0] = static_cast<char>(cp);
    return 1;
  }
  if (cp < 0x800) {
    out[0] = static_cast<char>(0xC0 | (cp >> 6));
    out[1] = static_cast<char>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (cp >> 12));
    out[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (cp & 0x3F));
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | (cp >> 18));
  out[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
  out[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
  out[3] = static_cast<char>(0x80 | (cp & 0x3F));
  return 4;
}

}  // namespace cantora

bool TryUTF8ToUTF16(const char* text) {
  if (text == nullptr) return false;
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  size_t n = std::strlen(text);
  size_t i = 0;
  while (i < n) {
    // Tags are mostly ASCII: pass eight such bytes at a time.
    if (n - i >= 8) {
      uint64_t word;
      std::memcpy(&word, s + i, sizeof word);
      if ((word & 0x8080808080808080ull) == 0) {
        i += sizeof word;
        continue;
      }
    }
    if (s[i] < 0x80) {
      ++i;
      continue;
    }
    int32_t cp;
    i += cantora::DecodeUtf8(s + i, n - i, &cp);
    if (cp < 0) return false;
  }
  return true;
}
