// WebP through libwebp, which scales while it decodes.
#include <webp/decode.h>
#include <webp/encode.h>

#include "platform/lib/image/codecs.h"

namespace image {

bool DecodeWebp(std::string_view bytes, int max_side, Pixels* out, int* w, int* h,
                std::string* error) {
  WebPDecoderConfig config;
  if (!WebPInitDecoderConfig(&config)) {
    *error = "libwebp version mismatch";
    return false;
  }
  const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
  if (WebPGetFeatures(data, bytes.size(), &config.input) != VP8_STATUS_OK) {
    *error = "corrupt WebP";
    return false;
  }
  *w = config.input.width;
  *h = config.input.height;
  if (!AcceptableSize(*w, *h, error)) return false;
  int dst_w, dst_h;
  FitWithin(*w, *h, max_side, &dst_w, &dst_h);
  const int channels = config.input.has_alpha ? 4 : 3;
  out->width = dst_w;
  out->height = dst_h;
  out->channels = channels;
  out->data.resize(static_cast<size_t>(dst_w) * dst_h * channels);
  config.options.use_scaling = dst_w != *w || dst_h != *h;
  config.options.scaled_width = dst_w;
  config.options.scaled_height = dst_h;
  config.output.colorspace = channels == 4 ? MODE_RGBA : MODE_RGB;
  config.output.is_external_memory = 1;
  config.output.u.RGBA.rgba = out->data.data();
  config.output.u.RGBA.stride = dst_w * channels;
  config.output.u.RGBA.size = out->data.size();
  VP8StatusCode status = WebPDecode(data, bytes.size(), &config);
  WebPFreeDecBuffer(&config.output);
  if (status != VP8_STATUS_OK) {
    *error = "corrupt WebP (status " + std::to_string(static_cast<int>(status)) + ")";
    *out = Pixels();
    return false;
  }
  return true;
}

bool EncodeWebp(const Pixels& pixels, int quality, std::string* out, std::string* error) {
  uint8_t* encoded = nullptr;
  const int stride = pixels.width * pixels.channels;
  size_t size = pixels.channels == 4
                    ? WebPEncodeRGBA(pixels.data.data(), pixels.width, pixels.height, stride,
                                     static_cast<float>(quality), &encoded)
                    : WebPEncodeRGB(pixels.data.data(), pixels.width, pixels.height, stride,
                                    static_cast<float>(quality), &encoded);
  if (size == 0) {
    WebPFree(encoded);
    *error = "cannot write WebP";
    return false;
  }
  out->assign(reinterpret_cast<const char*>(encoded), size);
  WebPFree(encoded);
  return true;
}

}  // namespace image
