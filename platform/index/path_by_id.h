// ZARNMusicGetPathById: the path of a folder record of the music index.
#ifndef CANTORA_PLATFORM_INDEX_PATH_BY_ID_H
#define CANTORA_PLATFORM_INDEX_PATH_BY_ID_H

#include <cstddef>

// Writes the path of folder id (decimal text) into dest (size bytes) and
// returns 0, when the folder lies in the library (library.h names: "shared",
// "personal", "all", ...) as seen by user uid. Non-zero for an id that is not
// a plain decimal number, an unknown folder, one outside that library, or a
// path longer than dest. mode 0 writes the plain file system path; any other
// mode writes it too (callers that compose conditions escape it themselves).
int ZARNMusicGetPathById(const char* library, int uid, char* dest, size_t size, const char* id,
                         int mode);

#endif
