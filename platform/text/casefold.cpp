#include "platform/text/casefold.h"

#include "platform/text/utf8.h"

namespace cantora {
namespace {

struct CaseRun {
  int32_t first;
  int32_t last;
  int32_t delta;
  int32_t step;
};

#include "platform/text/casefold_table.inc"

template <size_t N>
int32_t MapCodePoint(const CaseRun (&runs)[N], int32_t cp) {
  // Last run whose first <= cp.
  size_t lo = 0, hi = N;
  while (lo < hi) {
    size_t mid = (lo + hi) / 2;
    if (runs[mid].first <= cp) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  if (lo == 0) return cp;
  const CaseRun& r = runs[lo - 1];
  if (cp > r.last || (cp - r.first) % r.step != 0) return cp;
  return cp + r.delta;
}

enum class Direction { kLower, kUpper };

template <Direction D>
void FoldInto(std::string_view text, std::string* out) {
  out->clear();
  out->reserve(text.size());
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text.data());
  size_t n = text.size();
  size_t i = 0;
  while (i < n) {
    unsigned char c = s[i];
    if (c < 0x80) {
      if (D == Direction::kLower) {
        if (c >= 'A' && c <= 'Z') c += 'a' - 'A';
      } else {
        if (c >= 'a' && c <= 'z') c -= 'a' - 'A';
      }
      out->push_back(static_cast<char>(c));
      ++i;
      continue;
    }
    int32_t cp;
    int len = DecodeUtf8(s + i, n - i, &cp);
    int32_t mapped = cp < 0 ? cp
                     : D == Direction::kLower ? MapCodePoint(kLowerRuns, cp)
                                              : MapCodePoint(kUpperRuns, cp);
    if (mapped == cp) {
      out->append(text.data() + i, len);
    } else {
      char buf[4];
      out->append(buf, EncodeUtf8(mapped, buf));
    }
    i += len;
  }
}

}  // namespace

int32_t LowerCodePoint(int32_t cp) {
  if (cp < 0x80) return (cp >= 'A' && cp <= 'Z') ? cp + ('a' - 'A') : cp;
  return MapCodePoint(kLowerRuns, cp);
}

int32_t UpperCodePoint(int32_t cp) {
  if (cp < 0x80) return (cp >= 'a' && cp <= 'z') ? cp - ('a' - 'A') : cp;
  return MapCodePoint(kUpperRuns, cp);
}

void FoldLowerInto(std::string_view text, std::string* out) {
  FoldInto<Direction::kLower>(text, out);
}

void FoldUpperInto(std::string_view text, std::string* out) {
  FoldInto<Direction::kUpper>(text, out);
}

std::string FoldLower(std::string_view text) {
  std::string out;
  FoldLowerInto(text, &out);
  return out;
}

std::string FoldUpper(std::string_view text) {
  std::string out;
  FoldUpperInto(text, &out);
  return out;
}

}  // namespace cantora
