// Escaping of client text for the index's condition fragments.
//
// Conditions are written in PostgreSQL's dialect with standard conforming
// strings: inside '...' only the quote itself is special, and a backslash is
// an ordinary character there; it is special only as the escape of LIKE and
// ILIKE patterns.
#ifndef CANTORA_PLATFORM_INDEX_ESCAPE_H
#define CANTORA_PLATFORM_INDEX_ESCAPE_H

#include <cstddef>
#include <string>
#include <string_view>

// Copies srclen bytes of src (stopping early at a NUL byte) to dst with each
// single quote doubled, so that the result can stand between single quotes,
// and terminates it. dst must hold srclen * 2 + 1 bytes. Returns the length
// written.
int ZARNDBEscapeString(char* dst, const char* src, size_t srclen);

// Copies src to dst (dstsize bytes) with a backslash put before each
// backslash, '%' and '_', so that the text matches itself literally inside a
// LIKE pattern. A buffer of strlen(src) * 3 + 1 bytes always suffices.
// Returns the length written, or -1 when the result (with its terminator)
// does not fit; dst then holds an empty string when dstsize > 0.
int ZARNDBEscapeBackslash(char* dst, size_t dstsize, const char* src);

// Returns a newly malloc'd copy of tmpl in which each of the first count
// occurrences of "@ZARN:VAR" is replaced by the next text argument, escaped
// as by ZARNDBEscapeString and put between single quotes; the caller frees
// it. Null when an argument is null or memory runs out.
char* ZARNDBEscapeStringEX3(int count, const char* tmpl, ...);

namespace cantora {

// Appends text between two quote characters, each quote inside doubled: an
// SQL string literal with '\'', an FTS5 token with '"'.
void AppendQuoted(std::string_view text, char quote, std::string* out);

}  // namespace cantora

#endif
