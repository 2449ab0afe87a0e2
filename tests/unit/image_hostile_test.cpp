// The decoders against hostile files: sizes declared far beyond what a cover
// needs, decompression bombs, progressive JPEGs that would hold their whole
// picture in memory or make it pass through thousands of scans. Each is
// refused from what its header and scan markers say, before the memory or
// time it asks for is spent.
#include <gtest/gtest.h>
#include <jpeglib.h>
#include <webp/encode.h>
#include <zlib.h>

#include <cstdio>
#include <string>

#include "platform/lib/image/image.h"

namespace {

void PutBig32(std::string* out, uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8) out->push_back(static_cast<char>(v >> shift));
}

void PngChunk(std::string* png, const char* type, const std::string& data) {
  PutBig32(png, static_cast<uint32_t>(data.size()));
  std::string body = std::string(type, 4) + data;
  *png += body;
  PutBig32(png, static_cast<uint32_t>(
                    crc32(0, reinterpret_cast<const Bytef*>(body.data()), body.size())));
}

// A well-formed 8-bit grey PNG of w x h whose rows (filter byte 0, pixels
// 0) take rows of the IDAT: all of them, or only the first few, for a
// header whose picture is mostly missing.
std::string GreyPng(uint32_t w, uint32_t h, uint32_t rows) {
  std::string png("\x89PNG\r\n\x1a\n", 8), ihdr;
  PutBig32(&ihdr, w);
  PutBig32(&ihdr, h);
  ihdr += std::string("\x08\x00\x00\x00\x00", 5);
  PngChunk(&png, "IHDR", ihdr);
  const std::string raw(static_cast<size_t>(w + 1) * rows, '\0');
  uLongf size = compressBound(raw.size());
  std::string idat(size, '\0');
  compress2(reinterpret_cast<Bytef*>(&idat[0]), &size, reinterpret_cast<const Bytef*>(raw.data()),
            raw.size(), 9);
  idat.resize(size);
  PngChunk(&png, "IDAT", idat);
  PngChunk(&png, "IEND", "");
  return png;
}

// A small RGB JPEG, baseline or progressive.
std::string SmallJpeg(bool progressive, int w = 32, int h = 32) {
  jpeg_compress_struct c;
  jpeg_error_mgr e;
  c.err = jpeg_std_error(&e);
  jpeg_create_compress(&c);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &buffer, &size);
  c.image_width = w;
  c.image_height = h;
  c.input_components = 3;
  c.in_color_space = JCS_RGB;
  jpeg_set_defaults(&c);
  // 4:4:4, so that the coefficients of a picture are 6 bytes a pixel.
  for (int i = 0; i < 3; ++i) c.comp_info[i].h_samp_factor = c.comp_info[i].v_samp_factor = 1;
  if (progressive) jpeg_simple_progression(&c);
  jpeg_start_compress(&c, TRUE);
  std::string row(static_cast<size_t>(w) * 3, '\x80');
  while (c.next_scanline < c.image_height) {
    JSAMPROW r = reinterpret_cast<JSAMPROW>(&row[0]);
    jpeg_write_scanlines(&c, &r, 1);
  }
  jpeg_finish_compress(&c);
  jpeg_destroy_compress(&c);
  std::string out(reinterpret_cast<char*>(buffer), size);
  free(buffer);
  return out;
}

// jpeg with the size in its frame header replaced by w x h.
std::string WithJpegSize(std::string jpeg, int w, int h) {
  for (size_t i = 0; i + 9 < jpeg.size(); ++i) {
    const unsigned char m = static_cast<unsigned char>(jpeg[i + 1]);
    if (static_cast<unsigned char>(jpeg[i]) == 0xFF && (m == 0xC0 || m == 0xC2)) {
      jpeg[i + 5] = static_cast<char>(h >> 8);
      jpeg[i + 6] = static_cast<char>(h);
      jpeg[i + 7] = static_cast<char>(w >> 8);
      jpeg[i + 8] = static_cast<char>(w);
      return jpeg;
    }
  }
  ADD_FAILURE() << "no frame header";
  return jpeg;
}

// A lossless WebP (which libwebp decodes into a buffer of the whole
// picture) whose header says w x h.
std::string WithWebpLosslessSize(uint32_t w, uint32_t h) {
  image::Pixels one;
  one.width = one.height = 1;
  one.data.assign(3, 0);
  uint8_t* encoded = nullptr;
  size_t size = WebPEncodeLosslessRGB(one.data.data(), 1, 1, 3, &encoded);
  std::string webp(reinterpret_cast<char*>(encoded), size);
  WebPFree(encoded);
  // "RIFF" size "WEBP" "VP8L" size, the signature byte 0x2F, then 14 bits of
  // width - 1, 14 bits of height - 1, alpha and version, little-endian.
  if (webp.size() < 25 || webp.compare(12, 4, "VP8L") != 0) {
    ADD_FAILURE() << "not a lossless WebP";
    return webp;
  }
  uint32_t bits = (w - 1) | (h - 1) << 14;
  for (int i = 0; i < 4; ++i)
    webp[21 + i] = static_cast<char>((static_cast<unsigned char>(webp[21 + i]) &
                                      (i == 3 ? 0xF0 : 0x00)) |
                                     ((bits >> (8 * i)) & (i == 3 ? 0x0F : 0xFF)));
  return webp;
}

struct Decoded {
  bool ok = false;
  std::string error;
  int width = 0, height = 0;
};

Decoded Decode(const std::string& bytes) {
  Decoded d;
  image::Pixels pixels;
  d.ok = image::DecodeScaled(bytes, 600, &pixels, &d.width, &d.height, &d.error);
  return d;
}

TEST(HostileImage, APngClaimingAHundredThousandSquareIsRefusedAtItsHeader) {
  Decoded d = Decode(GreyPng(100000, 100000, 1));
  EXPECT_FALSE(d.ok);
  EXPECT_NE(std::string::npos, d.error.find("unacceptable image size 100000x100000")) << d.error;
}

// Within the longest side allowed, but more pixels than a cover needs: the
// header alone decides, before a row is read.
TEST(HostileImage, MorePixelsThanTheLimitAreRefusedAtTheHeader) {
  const int side = 8000;  // 64 million pixels
  ASSERT_GT(static_cast<int64_t>(side) * side, image::kMaxPixels);
  ASSERT_LE(side, image::kMaxSide);
  Decoded png = Decode(GreyPng(side, side, 1));
  EXPECT_FALSE(png.ok);
  EXPECT_NE(std::string::npos, png.error.find("unacceptable image size 8000x8000")) << png.error;
  Decoded jpeg = Decode(WithJpegSize(SmallJpeg(false), side, side));
  EXPECT_FALSE(jpeg.ok);
  EXPECT_NE(std::string::npos, jpeg.error.find("unacceptable image size 8000x8000")) << jpeg.error;
  Decoded webp = Decode(WithWebpLosslessSize(16383, 16383));
  EXPECT_FALSE(webp.ok);
  EXPECT_NE(std::string::npos, webp.error.find("unacceptable image size 16383x16383")) << webp.error;
  Decoded wide = Decode(GreyPng(30000, 2000, 1));
  EXPECT_FALSE(wide.ok);
  EXPECT_NE(std::string::npos, wide.error.find("unacceptable image size")) << wide.error;
}

// A real bomb within the limit: a few KiB inflating to 9 million pixels
// decodes, row by row, to the small picture asked for.
TEST(HostileImage, AnInflatingPngWithinTheLimitDecodesToTheSizeAsked) {
  const std::string png = GreyPng(3000, 3000, 3000);
  EXPECT_LT(png.size(), 64u << 10);
  image::Pixels pixels;
  int w = 0, h = 0;
  std::string error;
  ASSERT_TRUE(image::DecodeScaled(png, 600, &pixels, &w, &h, &error)) << error;
  EXPECT_EQ(600, pixels.width);
  EXPECT_EQ(600u * 600 * 3, pixels.data.size());
}

// A progressive JPEG is held whole (its coefficients) until its last scan:
// one whose coefficients pass the decoder's memory budget is refused when
// the decoder would allocate them, not after.
TEST(HostileImage, AProgressiveJpegPastTheMemoryBudgetIsRefused) {
  // 6000 x 6000 at 4:4:4: 216 MB of coefficients, under the pixel limit.
  Decoded d = Decode(WithJpegSize(SmallJpeg(true), 6000, 6000));
  EXPECT_FALSE(d.ok);
  EXPECT_NE(std::string::npos, d.error.find("more memory than")) << d.error;
  // Baseline pictures are decoded row by row and need no such memory: this
  // one fails only for the picture data it lacks.
  Decoded baseline = Decode(WithJpegSize(SmallJpeg(false), 6000, 6000));
  EXPECT_FALSE(baseline.ok);
  EXPECT_EQ(std::string::npos, baseline.error.find("more memory than")) << baseline.error;
}

// Every scan of a progressive JPEG passes over the whole picture: a file of
// thousands of (repeated) scans would cost thousands of passes.
TEST(HostileImage, AProgressiveJpegOfTooManyScansIsRefused) {
  const std::string jpeg = SmallJpeg(true);
  // The last scan, from its marker to the end of the file's data.
  const size_t eoi = jpeg.rfind("\xFF\xD9");
  const size_t last_scan = jpeg.rfind("\xFF\xDA", eoi);
  ASSERT_NE(std::string::npos, last_scan);
  std::string many = jpeg.substr(0, eoi);
  for (int i = 0; i < 1000; ++i) many += jpeg.substr(last_scan, eoi - last_scan);
  many += "\xFF\xD9";
  Decoded d = Decode(many);
  EXPECT_FALSE(d.ok);
  EXPECT_NE(std::string::npos, d.error.find("scans")) << d.error;
  EXPECT_TRUE(Decode(jpeg).ok) << Decode(jpeg).error;
}

}  // namespace
