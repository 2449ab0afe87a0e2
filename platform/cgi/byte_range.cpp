#include "platform/cgi/byte_range.h"

#include <strings.h>

#include <cstdint>
#include <string>
#include <vector>

namespace cantora {
namespace {

std::string Trim(const std::string& text) {
  size_t b = text.find_first_not_of(" \t"), e = text.find_last_not_of(" \t");
  return b == std::string::npos ? "" : text.substr(b, e - b + 1);
}

// A decimal number of 1 to 19 digits that fits in int64_t; false otherwise.
bool ParseCount(const std::string& text, int64_t* out) {
  if (text.empty() || text.size() > 19) return false;
  int64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    int digit = c - '0';
    if (value > (INT64_MAX - digit) / 10) return false;
    value = value * 10 + digit;
  }
  *out = value;
  return true;
}

struct Spec {
  bool suffix = false;  // "-n"
  int64_t first = 0, last = -1;  // last -1: open ("a-")
};

bool ParseSpec(const std::string& text, Spec* spec) {
  size_t dash = text.find('-');
  if (dash == std::string::npos) return false;
  std::string a = Trim(text.substr(0, dash)), b = Trim(text.substr(dash + 1));
  if (a.empty()) {
    spec->suffix = true;
    return ParseCount(b, &spec->last);
  }
  if (!ParseCount(a, &spec->first)) return false;
  if (b.empty()) return true;
  return ParseCount(b, &spec->last) && spec->last >= spec->first;
}

}  // namespace

ByteRange ParseByteRange(const char* header, int64_t size) {
  ByteRange range;
  if (header == nullptr) return range;
  std::string text = Trim(header);
  size_t equals = text.find('=');
  if (equals == std::string::npos) {
    range.kind = ByteRange::kMalformed;
    return range;
  }
  if (strcasecmp(Trim(text.substr(0, equals)).c_str(), "bytes") != 0) return range;  // other unit
  std::vector<Spec> specs;
  std::string list = text.substr(equals + 1);
  size_t start = 0;
  while (true) {
    size_t comma = list.find(',', start);
    std::string item = Trim(list.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
    // Empty elements of a list are allowed and count for nothing.
    if (!item.empty()) {
      Spec spec;
      if (!ParseSpec(item, &spec)) {
        range.kind = ByteRange::kMalformed;
        return range;
      }
      specs.push_back(spec);
    }
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  if (specs.empty()) {
    range.kind = ByteRange::kMalformed;
    return range;
  }
  if (specs.size() > 1) return range;  // several: the whole file
  const Spec& spec = specs[0];
  if (spec.suffix) {
    if (spec.last == 0 || size == 0) {
      range.kind = ByteRange::kUnsatisfiable;
      return range;
    }
    range.kind = ByteRange::kPart;
    range.first = spec.last >= size ? 0 : size - spec.last;
    range.last = size - 1;
    return range;
  }
  if (spec.first >= size) {
    range.kind = ByteRange::kUnsatisfiable;
    return range;
  }
  range.kind = ByteRange::kPart;
  range.first = spec.first;
  range.last = spec.last < 0 || spec.last >= size ? size - 1 : spec.last;
  return range;
}

}  // namespace cantora
