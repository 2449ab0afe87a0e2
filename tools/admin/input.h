// What cantora-admin reads whole: a file named on its command line, or its
// standard input where the command takes "-" for it.
#ifndef CANTORA_TOOLS_ADMIN_INPUT_H
#define CANTORA_TOOLS_ADMIN_INPUT_H

#include <string>

// The bytes of the file at path, as they are. False when it cannot be
// opened or read.
bool ReadWholeFile(const std::string& path, std::string* text);

// ReadWholeFile, or all of stdin when source is "-".
bool ReadAdminInput(const std::string& source, std::string* text);

#endif
