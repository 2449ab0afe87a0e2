// The folder of the running program (/proc/self/exe): where the programs
// built or installed beside it are found.
#ifndef CANTORA_PLATFORM_PROCESS_OWN_FOLDER_H
#define CANTORA_PLATFORM_PROCESS_OWN_FOLDER_H

#include <string>

namespace cantora {

// The absolute path of the folder, without a trailing '/'; empty when it
// cannot be read (each caller knows its own fallback).
std::string OwnProgramFolder();

}  // namespace cantora

#endif
