// Replacing a file so that readers see either the old or the new content.
#ifndef CANTORA_PLATFORM_FILE_ATOMIC_FILE_H
#define CANTORA_PLATFORM_FILE_ATOMIC_FILE_H

#include <string>

namespace cantora {

// Writes text to a temporary file beside path, flushes it to disk, gives it
// mode 0644 and renames it over path. The folder of path is created (one
// level, mode 0755) when missing. On failure path is untouched, the
// temporary file is removed, and *error holds one line.
bool ReplaceFileAtomically(const std::string& path, const std::string& text, std::string* error);

}  // namespace cantora

#endif
