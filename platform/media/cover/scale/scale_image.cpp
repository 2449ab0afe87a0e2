#include "platform/media/cover/scale/scale_image.h"

#include "platform/lib/image/image.h"

namespace cantora {

bool ScaleImage(std::string_view source, int max_side, std::string* out, std::string* error) {
  image::Pixels pixels;
  int width = 0, height = 0;
  if (!image::DecodeScaled(source, max_side, &pixels, &width, &height, error)) return false;
  const image::Format format = image::FormatOf(source);
  const bool reduced = pixels.width != width || pixels.height != height;
  if (!reduced && (format == image::Format::kJpeg || format == image::Format::kPng)) {
    out->assign(source.data(), source.size());
    return true;
  }
  if (pixels.HasTransparency()) return image::EncodePng(pixels, out, error);
  return image::EncodeJpeg(pixels, kScaledJpegQuality, out, error);
}

}  // namespace cantora
