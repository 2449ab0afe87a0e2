#include "platform/indexer/index_summary.h"

#include <string_view>

namespace cantora {

std::string FormatIndexJson(const char* event, const IndexSummary& s) {
  char line[320];
  int n = std::snprintf(line, sizeof line,
                        "{\"event\":\"%s\",\"seen\":%lld,\"added\":%lld,\"updated\":%lld,"
                        "\"removed\":%lld,\"failed\":%lld",
                        event, static_cast<long long>(s.seen), static_cast<long long>(s.added),
                        static_cast<long long>(s.updated), static_cast<long long>(s.removed),
                        static_cast<long long>(s.failed));
  std::string json(line, static_cast<size_t>(n));
  if (std::string_view(event) == "summary") {
    std::snprintf(line, sizeof line, ",\"seconds\":%.3f", s.seconds);
    json += line;
  }
  return json + "}";
}

std::string FormatIndexSummary(const IndexSummary& s) {
  char line[256];
  std::snprintf(line, sizeof line,
                "%lld files seen, %lld added, %lld updated, %lld removed, %lld failed, %.2f s",
                static_cast<long long>(s.seen), static_cast<long long>(s.added),
                static_cast<long long>(s.updated), static_cast<long long>(s.removed),
                static_cast<long long>(s.failed), s.seconds);
  return line;
}

void IndexJsonLines::Write(const char* event) {
  if (out_ == nullptr) return;
  std::fprintf(out_, "%s\n", FormatIndexJson(event, summary_).c_str());
  std::fflush(out_);
  last_ = std::chrono::steady_clock::now();
}

void IndexJsonLines::ProgressNow() {
  if (out_ != nullptr &&
      std::chrono::steady_clock::now() - last_ >= std::chrono::milliseconds(500))
    Write("progress");
}

}  // namespace cantora
