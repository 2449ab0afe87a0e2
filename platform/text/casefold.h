// Unicode case mapping, one code point at a time.
//
// The mapping is the simple one of the Unicode character database, which is
// also what the C library's towlower/towupper give in a UTF-8 locale: each
// character maps to exactly one character ('ß' has no one-character upper
// case and stays 'ß'; "ÄRZTE" lowers to "ärzte"; "ΩΜΈΓΑ" to "ωμέγα";
// half-width katakana have no case). Bytes that are not well-formed UTF-8
// pass through unchanged, so folding never loses data.
//
// Per code point the length in characters is kept, which is what lets the
// substring index store folded text and match folded keys against it.
#ifndef CANTORA_PLATFORM_TEXT_CASEFOLD_H
#define CANTORA_PLATFORM_TEXT_CASEFOLD_H

#include <cstdint>
#include <string>
#include <string_view>

namespace cantora {

int32_t LowerCodePoint(int32_t cp);
int32_t UpperCodePoint(int32_t cp);

std::string FoldLower(std::string_view text);
std::string FoldUpper(std::string_view text);

// The same, replacing the contents of *out (reusing its storage).
void FoldLowerInto(std::string_view text, std::string* out);
void FoldUpperInto(std::string_view text, std::string* out);

}  // namespace cantora

#endif
