// UTF-8 validation and decoding shared by the index and the handlers.
#ifndef CANTORA_PLATFORM_TEXT_UTF8_H
#define CANTORA_PLATFORM_TEXT_UTF8_H

#include <cstddef>
#include <cstdint>

// True when text is well-formed UTF-8 that converts to UTF-16: shortest
// forms only, no surrogate code points, nothing above U+10FFFF. A null
// pointer is not text and is refused; the empty string is accepted.
bool TryUTF8ToUTF16(const char* text);

namespace cantora {

// Decodes the code point that starts at s[0] (n > 0 bytes available).
// Returns its length in bytes and stores it in *cp; a byte that does not
// start a well-formed sequence counts as one character of length 1 and
// *cp is set to -1, so that callers can pass such bytes through unchanged.
int DecodeUtf8(const unsigned char* s, size_t n, int32_t* cp);

// Writes the UTF-8 form of cp (at most 4 bytes) to out; returns its length.
int EncodeUtf8(int32_t cp, char* out);

}  // namespace cantora

#endif
