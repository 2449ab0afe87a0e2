// Making the scaled copy of a cover image (the work of cantora-cover-scale).
#ifndef CANTORA_PLATFORM_MEDIA_COVER_SCALE_SCALE_IMAGE_H
#define CANTORA_PLATFORM_MEDIA_COVER_SCALE_SCALE_IMAGE_H

#include <string>
#include <string_view>

namespace cantora {

// Quality of the JPEG copies.
constexpr int kScaledJpegQuality = 85;

// The copy of source (JPEG, PNG or WebP bytes) at most max_side pixels on
// its longest side, never enlarged: a JPEG or PNG already that small is
// copied unchanged (once it decoded cleanly); anything else is encoded as
// PNG when it has transparency and as JPEG when not. False with one line in
// *error when the source does not decode.
bool ScaleImage(std::string_view source, int max_side, std::string* out, std::string* error);

}  // namespace cantora

#endif
