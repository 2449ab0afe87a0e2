#include "stream/stream_request.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/index/library.h"

namespace cantora {
namespace {

// 1 to digits decimal digits and nothing else.
bool IsDigits(const char* text, size_t digits) {
  size_t n = std::strlen(text);
  if (n == 0 || n > digits) return false;
  for (size_t i = 0; i < n; ++i)
    if (text[i] < '0' || text[i] > '9') return false;
  return true;
}

bool ParseId(const char* text, StreamRequest* request) {
  if (text == nullptr) return false;
  if (IsPersonalLibraryID(text)) {
    text = RemovePersonalLibraryPrefix(text);
    if (text == nullptr) return false;
    request->personal = true;
  }
  // Ids are SQLite row ids: at most 2^63 - 1, 19 digits.
  if (!IsDigits(text, 19)) return false;
  errno = 0;
  unsigned long long id = std::strtoull(text, nullptr, 10);
  if (errno != 0 || id > static_cast<unsigned long long>(INT64_MAX)) return false;
  request->id = static_cast<int64_t>(id);
  return true;
}

// Digits with at most one decimal point among them ("90", "12.5").
bool ParseSeconds(const char* text, double* seconds) {
  size_t n = std::strlen(text), points = 0, digits = 0;
  if (n == 0 || n > 20) return false;
  for (size_t i = 0; i < n; ++i) {
    if (text[i] == '.') ++points;
    else if (text[i] >= '0' && text[i] <= '9') ++digits;
    else return false;
  }
  if (points > 1 || digits == 0) return false;
  *seconds = std::strtod(text, nullptr);
  return *seconds <= 1e7;
}

}  // namespace

bool ParseStreamRequest(const WebMan& web, long default_bitrate, long max_bitrate,
                        StreamRequest* request) {
  if (!ParseId(web.In("id"), request)) return false;
  request->bitrate = default_bitrate;
  if (const char* format = web.In("format")) {
    if (std::strcmp(format, "mp3") == 0) request->format = TranscodeFormat::kMp3;
    else if (std::strcmp(format, "opus") == 0) request->format = TranscodeFormat::kOpus;
    else if (std::strcmp(format, "aac") == 0) request->format = TranscodeFormat::kAac;
    else return false;
    request->transcode = true;
  }
  if (const char* bitrate = web.In("bitrate")) {
    if (!IsDigits(bitrate, 6)) return false;
    request->bitrate = std::atol(bitrate);
    if (request->bitrate < 8) return false;
    request->transcode = true;
  }
  if (request->bitrate > max_bitrate) request->bitrate = max_bitrate;
  if (const char* offset = web.In("offset")) {
    if (!ParseSeconds(offset, &request->offset)) return false;
    if (request->offset > 0) request->transcode = true;
  }
  return true;
}

}  // namespace cantora
