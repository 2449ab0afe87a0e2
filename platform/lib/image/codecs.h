// The decoders and encoders behind image.h, one file per library.
#ifndef CANTORA_PLATFORM_LIB_IMAGE_CODECS_H
#define CANTORA_PLATFORM_LIB_IMAGE_CODECS_H

#include <string>
#include <string_view>

#include "platform/lib/image/image.h"

namespace image {

bool DecodeJpeg(std::string_view bytes, int max_side, Pixels* out, int* w, int* h,
                std::string* error);
bool DecodePng(std::string_view bytes, int max_side, Pixels* out, int* w, int* h,
               std::string* error);
bool DecodeWebp(std::string_view bytes, int max_side, Pixels* out, int* w, int* h,
                std::string* error);

// True when a w x h picture may be decoded at all.
bool AcceptableSize(int w, int h, std::string* error);

}  // namespace image

#endif
