// Pattern matching with the meaning of PostgreSQL's LIKE.
//
// '%' matches any run of characters (also none), '_' exactly one character,
// and a backslash makes the next character literal. Matching is
// case-sensitive and by character: a multi-byte UTF-8 sequence is one
// character; a byte that is not well-formed UTF-8 is a character on its own.
// A pattern that ends in a lone backslash is an error, not a mismatch.
#ifndef CANTORA_PLATFORM_INDEX_LIKE_H
#define CANTORA_PLATFORM_INDEX_LIKE_H

#include <string_view>

namespace cantora {

enum class LikeResult { kMatch, kNoMatch, kBadPattern };

LikeResult LikeMatch(std::string_view text, std::string_view pattern);

}  // namespace cantora

#endif
