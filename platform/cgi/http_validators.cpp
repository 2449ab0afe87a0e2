#include "platform/cgi/http_validators.h"

#include <cstdio>
#include <cstring>

#include "platform/cgi/file_outputer.h"

namespace cantora {

std::string EntityTag(const struct stat& st) {
  char tag[96];
  std::snprintf(tag, sizeof tag, "\"%llx-%llx-%llx\"", static_cast<unsigned long long>(st.st_ino),
                static_cast<unsigned long long>(st.st_size),
                static_cast<unsigned long long>(st.st_mtim.tv_sec) * 1000000000ull +
                    static_cast<unsigned long long>(st.st_mtim.tv_nsec));
  return tag;
}

bool TagListMatches(const char* list, const std::string& tag) {
  std::string text = list;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(',', start);
    if (end == std::string::npos) end = text.size();
    std::string item = text.substr(start, end - start);
    size_t b = item.find_first_not_of(" \t"), e = item.find_last_not_of(" \t");
    item = b == std::string::npos ? "" : item.substr(b, e - b + 1);
    if (item.compare(0, 2, "W/") == 0) item.erase(0, 2);
    if (item == "*" || item == tag) return true;
    start = end + 1;
  }
  return false;
}

bool NotModified(const char* if_none_match, const char* if_modified_since,
                 const struct stat& st, const std::string& tag) {
  if (if_none_match != nullptr) return TagListMatches(if_none_match, tag);
  if (if_modified_since == nullptr) return false;
  time_t since = ParseHttpDate(if_modified_since);
  return since != -1 && st.st_mtim.tv_sec <= since;
}

bool IfRangeHolds(const char* if_range, const struct stat& st, const std::string& tag) {
  std::string text = if_range;
  size_t b = text.find_first_not_of(" \t"), e = text.find_last_not_of(" \t");
  text = b == std::string::npos ? "" : text.substr(b, e - b + 1);
  if (!text.empty() && text[0] == '"') return text == tag;
  if (text.compare(0, 2, "W/") == 0) return false;
  time_t date = ParseHttpDate(text.c_str());
  return date != -1 && date == st.st_mtim.tv_sec;
}

}  // namespace cantora
