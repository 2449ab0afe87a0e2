#include "platform/lib/image/image.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/lib/image/codecs.h"

namespace image {

Format FormatOf(std::string_view b) {
  if (b.size() >= 3 && static_cast<uint8_t>(b[0]) == 0xFF && static_cast<uint8_t>(b[1]) == 0xD8 &&
      static_cast<uint8_t>(b[2]) == 0xFF)
    return Format::kJpeg;
  if (b.size() >= 8 && b.substr(0, 8) == std::string_view("\x89PNG\r\n\x1a\n", 8))
    return Format::kPng;
  if (b.size() >= 12 && b.substr(0, 4) == "RIFF" && b.substr(8, 4) == "WEBP") return Format::kWebp;
  return Format::kUnknown;
}

bool Pixels::HasTransparency() const {
  if (channels != 4) return false;
  for (size_t i = 3; i < data.size(); i += 4)
    if (data[i] != 255) return true;
  return false;
}

void FitWithin(int w, int h, int max_side, int* out_w, int* out_h) {
  int longest = std::max(w, h);
  if (max_side <= 0 || longest <= max_side) {
    *out_w = w;
    *out_h = h;
    return;
  }
  double f = static_cast<double>(max_side) / longest;
  *out_w = std::max(1, static_cast<int>(std::lround(w * f)));
  *out_h = std::max(1, static_cast<int>(std::lround(h * f)));
  if (w >= h) *out_w = max_side; else *out_h = max_side;
}

bool AcceptableSize(int w, int h, std::string* error) {
  if (w <= 0 || h <= 0 || w > kMaxSide || h > kMaxSide ||
      static_cast<int64_t>(w) * h > kMaxPixels) {
    *error = "unacceptable image size " + std::to_string(w) + "x" + std::to_string(h);
    return false;
  }
  return true;
}

bool DecodeScaled(std::string_view bytes, int max_side, Pixels* out, int* source_w,
                  int* source_h, std::string* error) {
  *out = Pixels();
  switch (FormatOf(bytes)) {
    case Format::kJpeg: return DecodeJpeg(bytes, max_side, out, source_w, source_h, error);
    case Format::kPng: return DecodePng(bytes, max_side, out, source_w, source_h, error);
    case Format::kWebp: return DecodeWebp(bytes, max_side, out, source_w, source_h, error);
    case Format::kUnknown: break;
  }
  *error = "not a JPEG, PNG or WebP image";
  return false;
}

}  // namespace image
