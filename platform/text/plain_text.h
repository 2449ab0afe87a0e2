// Text files written by people (lyrics files, notes): their bytes as UTF-8.
#ifndef CANTORA_PLATFORM_TEXT_PLAIN_TEXT_H
#define CANTORA_PLATFORM_TEXT_PLAIN_TEXT_H

#include <string>

namespace cantora {

// bytes as UTF-8 text: a UTF-8 byte order mark is dropped, text that is
// well-formed UTF-8 stays as it is, anything else is read as Latin-1 (the
// other encoding such files come in) and converted. NUL bytes are dropped.
std::string PlainTextToUtf8(const std::string& bytes);

// Reads at most max_bytes of the regular file at path, refusing a symbolic
// link (O_NOFOLLOW), as PlainTextToUtf8 text. False when the file cannot be
// opened, is not a regular file, or is larger than max_bytes.
bool ReadPlainTextFile(const std::string& path, size_t max_bytes, std::string* text);

}  // namespace cantora

#endif
