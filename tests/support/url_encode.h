// Percent-encoding of a query parameter's value. Header-only so that the
// benchmark, which does not link the test harness, shares harness::Encode's.
#ifndef CANTORA_TESTS_SUPPORT_URL_ENCODE_H
#define CANTORA_TESTS_SUPPORT_URL_ENCODE_H

#include <cctype>
#include <string>

namespace url {

// value with every byte but ASCII letters, digits and "-_.~" written as %XX.
inline std::string Encode(const std::string& value) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : value) {
    if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

}  // namespace url

#endif
