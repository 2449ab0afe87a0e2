// Percent escapes, as URLs and url-encoded forms write a byte: '%' and two
// hex digits of either case ("%2F", "%c3").
#ifndef CANTORA_PLATFORM_TEXT_PERCENT_ESCAPE_H
#define CANTORA_PLATFORM_TEXT_PERCENT_ESCAPE_H

#include <cstddef>
#include <string_view>

namespace cantora {

// The value of hex digit c, or -1 when it is none.
inline int HexDigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The byte (0 to 255) of the escape that starts at text[at], or -1 when no
// escape starts there (not '%', or not two hex digits after it). What a
// stray '%' means is the caller's to say.
inline int PercentEscapeAt(std::string_view text, size_t at) {
  if (text[at] != '%' || at + 2 >= text.size()) return -1;
  int high = HexDigitValue(text[at + 1]), low = HexDigitValue(text[at + 2]);
  return high < 0 || low < 0 ? -1 : high * 16 + low;
}

}  // namespace cantora

#endif
