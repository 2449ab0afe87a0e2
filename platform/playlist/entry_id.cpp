#include "platform/playlist/entry_id.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace cantora {
namespace {

constexpr char kTag[] = "PLSID";
constexpr char kSeparator[] = "_ZARNPLSSPTR_";
constexpr size_t kSeparatorLength = sizeof kSeparator - 1;
// The tag, the playlist id and the five fixed fields.
constexpr size_t kFields = 7;

bool ParseDecimal(const std::string& text, long* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  *value = std::strtol(text.c_str(), &end, 10);
  return errno == 0 && *end == '\0';
}

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> fields;
  size_t pos = 0;
  for (;;) {
    size_t sep = text.find(kSeparator, pos);
    fields.push_back(text.substr(pos, sep == std::string::npos ? std::string::npos : sep - pos));
    if (sep == std::string::npos) return fields;
    pos = sep + kSeparatorLength;
  }
}

}  // namespace

std::string FormatPlaylistEntryId(const PlaylistEntryId& e) {
  std::string id = kTag;
  for (const std::string& field : {e.pls_id, e.personal_id, e.personal, std::to_string(e.start),
                                   std::to_string(e.limit), std::to_string(e.position)}) {
    id += kSeparator;
    id += field;
  }
  return id;
}

bool ParsePlaylistEntryId(const std::string& text, PlaylistEntryId* out) {
  std::vector<std::string> fields = Split(text);
  const size_t n = fields.size();
  if (n < kFields || fields[0] != kTag) return false;
  out->pls_id = fields[1];
  for (size_t i = 2; i + 5 < n; ++i) out->pls_id += kSeparator + fields[i];
  out->personal_id = fields[n - 5];
  out->personal = fields[n - 4];
  return ParseDecimal(fields[n - 3], &out->start) && ParseDecimal(fields[n - 2], &out->limit) &&
         ParseDecimal(fields[n - 1], &out->position) && out->position >= 0;
}

bool LooksLikePlaylistEntryId(const char* text) {
  return text != nullptr && std::strncmp(text, kTag, sizeof kTag - 1) == 0;
}

}  // namespace cantora
