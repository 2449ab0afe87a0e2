// PNG through libpng: read row by row (an interlaced file whole, within a
// bound), palette, grey and 16-bit images expanded to 8-bit RGB or RGBA.
#include <png.h>

#include <csetjmp>
#include <cstring>
#include <optional>

#include "platform/lib/image/codecs.h"
#include "platform/lib/image/row_scaler.h"

namespace image {
namespace {

// An interlaced picture must be held whole before it can be scaled.
constexpr size_t kMaxInterlacedBytes = 48u << 20;
// What libpng may allocate for one chunk, and how many ancillary chunks it
// keeps.
constexpr png_alloc_size_t kMaxChunkBytes = 4u << 20;
constexpr png_uint_32 kMaxChunks = 64;

struct Reader {
  std::string_view bytes;
  size_t offset = 0;
};

void ReadData(png_structp png, png_bytep data, png_size_t length) {
  auto* r = static_cast<Reader*>(png_get_io_ptr(png));
  if (r->bytes.size() - r->offset < length) png_error(png, "truncated file");
  std::memcpy(data, r->bytes.data() + r->offset, length);
  r->offset += length;
}

void OnError(png_structp png, png_const_charp message) {
  auto* text = static_cast<std::string*>(png_get_error_ptr(png));
  *text = message;
  png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

struct Writer {
  std::string* out;
};

void WriteData(png_structp png, png_bytep data, png_size_t length) {
  static_cast<Writer*>(png_get_io_ptr(png))->out->append(reinterpret_cast<char*>(data), length);
}

void Flush(png_structp) {}

// Only the pixels are wanted. Text, colour profiles and the like are
// skipped unread rather than handed to libpng's decoders: a compressed text
// chunk or profile can claim gigabytes when inflated, and a cover has no use
// for either. Whatever chunk libpng still allocates for is held to a few MB.
void IgnoreMetadataChunks(png_structp png) {
  static const png_byte kSkipped[] = "iTXt\0zTXt\0tEXt\0iCCP\0eXIf\0sPLT\0pCAL\0sCAL\0hIST";
  png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, kSkipped, 9);
  png_set_chunk_malloc_max(png, kMaxChunkBytes);
  png_set_chunk_cache_max(png, kMaxChunks);
}

}  // namespace

bool DecodePng(std::string_view bytes, int max_side, Pixels* out, int* w, int* h,
               std::string* error) {
  Reader reader{bytes, 0};
  std::string message;
  std::vector<uint8_t> buffer;
  std::optional<RowScaler> scaler;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &message, OnError, OnWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (info == nullptr) {
    png_destroy_read_struct(&png, nullptr, nullptr);
    *error = "out of memory";
    return false;
  }
  if (setjmp(png_jmpbuf(png)) != 0) {
    png_destroy_read_struct(&png, &info, nullptr);
    *error = "corrupt PNG: " + message;
    return false;
  }
  png_set_read_fn(png, &reader, ReadData);
  IgnoreMetadataChunks(png);
  png_read_info(png, info);
  *w = static_cast<int>(png_get_image_width(png, info));
  *h = static_cast<int>(png_get_image_height(png, info));
  if (!AcceptableSize(*w, *h, &message)) png_error(png, message.c_str());
  png_set_expand(png);
  png_set_strip_16(png);
  png_set_gray_to_rgb(png);
  const int passes = png_set_interlace_handling(png);
  png_read_update_info(png, info);
  const int channels = png_get_channels(png, info);
  if (channels != 3 && channels != 4) png_error(png, "unexpected channel count");
  const size_t stride = static_cast<size_t>(*w) * channels;
  int dst_w, dst_h;
  FitWithin(*w, *h, max_side, &dst_w, &dst_h);
  scaler.emplace(*w, *h, dst_w, dst_h, channels, out);
  if (passes > 1) {
    if (stride * static_cast<size_t>(*h) > kMaxInterlacedBytes)
      png_error(png, "interlaced image too large");
    buffer.resize(stride * static_cast<size_t>(*h));
    for (int pass = 0; pass < passes; ++pass)
      for (int y = 0; y < *h; ++y) png_read_row(png, &buffer[y * stride], nullptr);
    for (int y = 0; y < *h; ++y) scaler->AddRow(&buffer[y * stride]);
  } else {
    buffer.resize(stride);
    for (int y = 0; y < *h; ++y) {
      png_read_row(png, buffer.data(), nullptr);
      scaler->AddRow(buffer.data());
    }
  }
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  return true;
}

bool EncodePng(const Pixels& pixels, std::string* out, std::string* error) {
  std::string message;
  Writer writer{out};
  out->clear();
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &message, OnError, OnWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (info == nullptr) {
    png_destroy_write_struct(&png, nullptr);
    *error = "out of memory";
    return false;
  }
  if (setjmp(png_jmpbuf(png)) != 0) {
    png_destroy_write_struct(&png, &info);
    *error = "cannot write PNG: " + message;
    return false;
  }
  png_set_write_fn(png, &writer, WriteData, Flush);
  png_set_IHDR(png, info, static_cast<png_uint_32>(pixels.width),
               static_cast<png_uint_32>(pixels.height), 8,
               pixels.channels == 4 ? PNG_COLOR_TYPE_RGBA : PNG_COLOR_TYPE_RGB,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  const size_t stride = static_cast<size_t>(pixels.width) * pixels.channels;
  for (int y = 0; y < pixels.height; ++y)
    png_write_row(png, const_cast<png_bytep>(&pixels.data[y * stride]));
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

}  // namespace image
