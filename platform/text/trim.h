// Trimming white space (as isspace() in the C locale sees it) off text.
#ifndef CANTORA_PLATFORM_TEXT_TRIM_H
#define CANTORA_PLATFORM_TEXT_TRIM_H

#include <cctype>
#include <string_view>

namespace cantora {

inline std::string_view TrimSpace(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

}  // namespace cantora

#endif
