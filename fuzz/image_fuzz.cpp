// Fuzz target: the cover scaler's decoders (JPEG, PNG, WebP) on hostile
// bytes: truncated or corrupt files, huge declared sizes, decompression
// bombs. Whatever the bytes, scaling either refuses them or yields a picture
// within the asked size whose pixels fill it exactly. The codecs are
// Debian's shared libraries, not instrumented: libFuzzer's time and memory
// limits and the sanitizers' allocator watch them, but the coverage that
// guides the mutations is this layer's, and their own reads and writes are
// not checked.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <zlib.h>

#include "platform/lib/image/image.h"
#include "platform/media/cover/scale/scale_image.h"

namespace {

// The gateway's default cover size, and a small one that takes the JPEG
// decoder's strongest DCT scaling.
constexpr int kSides[] = {600, 40};

uint32_t ReadBig32(const unsigned char* p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

// Gives every whole chunk of a PNG its right CRC, so that mutations reach
// the decoder instead of all ending at libpng's checksum test (which the
// unit tests cover).
void FixPngChecksums(std::string* png) {
  auto* p = reinterpret_cast<unsigned char*>(png->data());
  size_t at = 8;
  while (png->size() - at >= 12) {
    const uint32_t length = ReadBig32(p + at);
    if (length > png->size() - at - 12) break;
    const uLong crc = crc32(0, p + at + 4, 4 + length);
    unsigned char* out = p + at + 8 + length;
    for (int i = 0; i < 4; ++i) out[i] = static_cast<unsigned char>(crc >> (24 - 8 * i));
    at += 12 + length;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string input(reinterpret_cast<const char*>(data), size);
  if (image::FormatOf(input) == image::Format::kPng) FixPngChecksums(&input);
  const std::string_view bytes = input;
  // The side is taken from the input's length so that one file reaches both
  // without losing its leading signature bytes.
  const int side = kSides[size % 2];
  image::Pixels pixels;
  int w = 0, h = 0;
  std::string error;
  if (!image::DecodeScaled(bytes, side, &pixels, &w, &h, &error)) return 0;
  if (pixels.width < 1 || pixels.height < 1 || pixels.width > side || pixels.height > side ||
      pixels.width > w || pixels.height > h ||
      pixels.data.size() != static_cast<size_t>(pixels.width) * pixels.height * pixels.channels)
    __builtin_trap();  // a decoded picture that is not what was asked
  // A file that decodes goes on through the encoders, as the helper does.
  std::string scaled;
  if (!cantora::ScaleImage(bytes, side, &scaled, &error) ||
      image::FormatOf(scaled) == image::Format::kUnknown)
    __builtin_trap();  // decoded once, refused or garbled the second time
  return 0;
}
