// JPEG through libjpeg-turbo: DCT-domain scaling on decode, strict about
// damage (any warning, such as a premature end of data, fails the decode).
// jpeglib.h needs size_t and FILE declared before it.
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>
#include <jerror.h>

#include <csetjmp>
#include <memory>
#include <optional>

#include "platform/lib/image/codecs.h"
#include "platform/lib/image/row_scaler.h"

namespace image {
namespace {

struct ErrorManager {
  jpeg_error_mgr pub;
  jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

void ErrorExit(j_common_ptr cinfo) {
  auto* e = reinterpret_cast<ErrorManager*>(cinfo->err);
  if (cinfo->err->msg_code == JERR_NO_BACKING_STORE) {
    // The memory manager found the picture's arrays over max_memory_to_use.
    std::snprintf(e->message, sizeof e->message, "needs more memory than %ld MiB to decode",
                  kMaxJpegMemory >> 20);
  } else {
    (*cinfo->err->format_message)(cinfo, e->message);
  }
  longjmp(e->jump, 1);
}

// Called as the decoder goes, also at the start of each scan.
void LimitScans(j_common_ptr cinfo) {
  auto* d = reinterpret_cast<j_decompress_ptr>(cinfo);
  if (d->input_scan_number <= kMaxJpegScans) return;
  auto* e = reinterpret_cast<ErrorManager*>(cinfo->err);
  std::snprintf(e->message, sizeof e->message, "more than %d scans", kMaxJpegScans);
  longjmp(e->jump, 1);
}

// Warnings are counted (num_warnings) and judged by the caller; nothing is printed.
void Silent(j_common_ptr cinfo, int level) {
  if (level < 0) {
    auto* e = reinterpret_cast<ErrorManager*>(cinfo->err);
    if (cinfo->err->num_warnings++ == 0) (*cinfo->err->format_message)(cinfo, e->message);
  }
}

// Adobe CMYK is stored inverted: the ink amounts are 255 - value.
void CmykToRgb(const uint8_t* in, uint8_t* out, int width) {
  for (int x = 0; x < width; ++x, in += 4, out += 3) {
    unsigned k = in[3];
    out[0] = static_cast<uint8_t>(in[0] * k / 255);
    out[1] = static_cast<uint8_t>(in[1] * k / 255);
    out[2] = static_cast<uint8_t>(in[2] * k / 255);
  }
}

}  // namespace

bool DecodeJpeg(std::string_view bytes, int max_side, Pixels* out, int* w, int* h,
                std::string* error) {
  jpeg_decompress_struct cinfo;
  ErrorManager err;
  std::vector<uint8_t> row;
  std::vector<uint8_t> rgb;
  std::optional<RowScaler> scaler;
  cinfo.err = jpeg_std_error(&err.pub);
  err.pub.error_exit = ErrorExit;
  err.pub.emit_message = Silent;
  err.message[0] = '\0';
  if (setjmp(err.jump) != 0) {
    jpeg_destroy_decompress(&cinfo);
    *error = std::string("corrupt JPEG: ") + err.message;
    return false;
  }
  jpeg_create_decompress(&cinfo);
  cinfo.mem->max_memory_to_use = kMaxJpegMemory;
  jpeg_progress_mgr progress{};
  progress.progress_monitor = LimitScans;
  cinfo.progress = &progress;
  jpeg_mem_src(&cinfo, reinterpret_cast<const unsigned char*>(bytes.data()),
               static_cast<unsigned long>(bytes.size()));
  jpeg_read_header(&cinfo, TRUE);
  *w = static_cast<int>(cinfo.image_width);
  *h = static_cast<int>(cinfo.image_height);
  if (!AcceptableSize(*w, *h, error)) {
    jpeg_destroy_decompress(&cinfo);
    return false;
  }
  int dst_w, dst_h;
  FitWithin(*w, *h, max_side, &dst_w, &dst_h);
  // The smallest DCT scale (in eighths) that still gives at least the target.
  const bool cmyk = cinfo.jpeg_color_space == JCS_CMYK || cinfo.jpeg_color_space == JCS_YCCK;
  cinfo.out_color_space = cmyk ? JCS_CMYK : JCS_RGB;
  cinfo.scale_denom = 8;
  for (unsigned num = 1; num <= 8; ++num) {
    cinfo.scale_num = num;
    jpeg_calc_output_dimensions(&cinfo);
    if (static_cast<int>(cinfo.output_width) >= dst_w &&
        static_cast<int>(cinfo.output_height) >= dst_h)
      break;
  }
  jpeg_start_decompress(&cinfo);
  const int ow = static_cast<int>(cinfo.output_width), oh = static_cast<int>(cinfo.output_height);
  if (dst_w > ow) dst_w = ow;
  if (dst_h > oh) dst_h = oh;
  scaler.emplace(ow, oh, dst_w, dst_h, 3, out);
  row.resize(static_cast<size_t>(ow) * cinfo.output_components);
  rgb.resize(static_cast<size_t>(ow) * 3);
  // A damaged file is refused at its first warning: libjpeg would go on
  // making up the rest of a picture (of up to kMaxPixels) from nothing.
  while (cinfo.output_scanline < cinfo.output_height && cinfo.err->num_warnings == 0) {
    JSAMPROW rows[1] = {row.data()};
    if (jpeg_read_scanlines(&cinfo, rows, 1) != 1) break;
    if (cmyk) {
      CmykToRgb(row.data(), rgb.data(), ow);
      scaler->AddRow(rgb.data());
    } else {
      scaler->AddRow(row.data());
    }
  }
  if (scaler->Done() && cinfo.err->num_warnings == 0) jpeg_finish_decompress(&cinfo);
  const bool damaged = cinfo.err->num_warnings > 0 || !scaler->Done();
  jpeg_destroy_decompress(&cinfo);
  if (damaged) {
    *error = std::string("damaged JPEG: ") + err.message;
    return false;
  }
  return true;
}

bool EncodeJpeg(const Pixels& pixels, int quality, std::string* out, std::string* error) {
  jpeg_compress_struct cinfo;
  ErrorManager err;
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  std::vector<uint8_t> rgb;
  cinfo.err = jpeg_std_error(&err.pub);
  err.pub.error_exit = ErrorExit;
  err.pub.emit_message = Silent;
  if (setjmp(err.jump) != 0) {
    jpeg_destroy_compress(&cinfo);
    std::free(buffer);
    *error = std::string("cannot write JPEG: ") + err.message;
    return false;
  }
  jpeg_create_compress(&cinfo);
  jpeg_mem_dest(&cinfo, &buffer, &size);
  cinfo.image_width = static_cast<JDIMENSION>(pixels.width);
  cinfo.image_height = static_cast<JDIMENSION>(pixels.height);
  cinfo.input_components = 3;
  cinfo.in_color_space = JCS_RGB;
  jpeg_set_defaults(&cinfo);
  jpeg_set_quality(&cinfo, quality, TRUE);
  cinfo.optimize_coding = TRUE;
  jpeg_start_compress(&cinfo, TRUE);
  rgb.resize(static_cast<size_t>(pixels.width) * 3);
  const size_t stride = static_cast<size_t>(pixels.width) * pixels.channels;
  while (cinfo.next_scanline < cinfo.image_height) {
    const uint8_t* src = &pixels.data[cinfo.next_scanline * stride];
    if (pixels.channels == 4) {
      for (int x = 0; x < pixels.width; ++x)
        for (int k = 0; k < 3; ++k) rgb[x * 3 + k] = src[x * 4 + k];
      src = rgb.data();
    }
    JSAMPROW rows[1] = {const_cast<JSAMPROW>(src)};
    jpeg_write_scanlines(&cinfo, rows, 1);
  }
  jpeg_finish_compress(&cinfo);
  jpeg_destroy_compress(&cinfo);
  out->assign(reinterpret_cast<const char*>(buffer), size);
  std::free(buffer);
  return true;
}

}  // namespace image
