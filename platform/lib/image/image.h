// Decoding and encoding of cover images: JPEG (libjpeg-turbo), PNG (libpng)
// and WebP (libwebp), behind one small layer.
//
// Decoding always makes the image smaller on the way in, never larger: a
// JPEG is decoded at 1/2, 1/4 or 1/8 of its size by libjpeg-turbo's DCT
// scaling, a WebP by libwebp's own scaler, and what is left is averaged down
// row by row (area averaging, alpha premultiplied), so that a 3000x3000
// picture never occupies more memory than a few of its rows and the result.
//
// Every decoder is strict: a truncated or corrupt file, which the libraries
// would otherwise patch up with grey and a warning, is an error.
#ifndef CANTORA_PLATFORM_LIB_IMAGE_IMAGE_H
#define CANTORA_PLATFORM_LIB_IMAGE_IMAGE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace image {

enum class Format { kUnknown, kJpeg, kPng, kWebp };

// The format of encoded bytes, from their signature.
Format FormatOf(std::string_view bytes);

// Decoded pixels: rows of width * channels bytes, RGB (3) or RGBA (4, not
// premultiplied).
struct Pixels {
  int width = 0;
  int height = 0;
  int channels = 3;
  std::vector<uint8_t> data;

  // True when some pixel is not fully opaque.
  bool HasTransparency() const;
};

// Images wider or taller than this, or of more pixels, are refused from
// their header, before decoding: a cover needs no more, and some decoders
// hold a whole picture (libwebp a lossless one, 4 bytes a pixel), so that a
// file of a few bytes declaring a huge picture of one colour would otherwise
// be a decompression bomb.
constexpr int kMaxSide = 30000;
constexpr int64_t kMaxPixels = int64_t{48} << 20;
// A progressive JPEG is held whole (2 bytes a coefficient) until its last
// scan; one that needs more memory than this to decode is refused before
// it is allocated, and so is one of more scans than kMaxJpegScans (each
// scan passes over the whole picture).
constexpr long kMaxJpegMemory = 128L << 20;
constexpr int kMaxJpegScans = 500;

// The size of a w x h picture whose longest side is brought down to
// max_side, keeping its proportions (at least 1 x 1); never enlarged.
void FitWithin(int w, int h, int max_side, int* out_w, int* out_h);

// Decodes bytes (any Format) to at most max_side on its longest side. The
// width and height the file declares are put in *source_w, *source_h.
// False with one line in *error for an unknown format, a corrupt or
// truncated file, or one too large.
bool DecodeScaled(std::string_view bytes, int max_side, Pixels* out, int* source_w,
                  int* source_h, std::string* error);

// Encodes pixels (RGB, or RGBA whose alpha is dropped) as a baseline JPEG.
bool EncodeJpeg(const Pixels& pixels, int quality, std::string* out, std::string* error);
// Encodes pixels as PNG, keeping an alpha channel.
bool EncodePng(const Pixels& pixels, std::string* out, std::string* error);
// Encodes pixels as lossy WebP, keeping an alpha channel.
bool EncodeWebp(const Pixels& pixels, int quality, std::string* out, std::string* error);

}  // namespace image

#endif
