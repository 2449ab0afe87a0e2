// The Range header of a GET, for one file of a known size.
//
// Only the "bytes" unit is understood; a header in another unit is ignored
// (the whole file is answered), as HTTP allows. Of several ranges only the
// answer "the whole file" is given: a client asking for several pieces gets
// them all, in a form every client reads (no multipart answer).
//
//   bytes=a-b   bytes a to b (b past the end: to the end)
//   bytes=a-    from a to the end
//   bytes=-n    the last n bytes (all of them when n >= size)
//
// A range starting at or past the end, or "-0", cannot be satisfied (416).
// Text that is not such a list (letters, signs, numbers past 2^63 - 1, a > b,
// an empty list) is malformed (400): a player never sends it.
#ifndef CANTORA_PLATFORM_CGI_BYTE_RANGE_H
#define CANTORA_PLATFORM_CGI_BYTE_RANGE_H

#include <cstdint>

namespace cantora {

struct ByteRange {
  enum Kind { kWhole, kPart, kUnsatisfiable, kMalformed };
  Kind kind = kWhole;
  int64_t first = 0;  // kPart: first and last byte, inclusive
  int64_t last = -1;
};

// header: the Range header's value, or null when absent.
ByteRange ParseByteRange(const char* header, int64_t size);

}  // namespace cantora

#endif
