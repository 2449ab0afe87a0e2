// The lyrics search by artist and title (LyricSearchLyricByArtistAndTitle).
//
// 1. The local lyrics folder (Config::lyrics_folder): a file named
//    "<artist> - <title>.lrc", else ".txt", names compared without regard to
//    case. A plain file only (no symbolic link), at most 1 MiB.
// 2. The cache of the service's answers (lyrics_cache.h).
// 3. When Config::lyrics_url is set: the service, asked by the helper
//    program cantora-lyrics-fetch (run without a shell; the gateway links no
//    network library), which stores its answer in the cache; the cache is
//    then read again. Without lyrics_url nothing leaves the machine.
//
// An artist and title that are both empty are not searched.
#ifndef CANTORA_PLATFORM_MEDIA_LYRICS_LYRICS_SEARCH_H
#define CANTORA_PLATFORM_MEDIA_LYRICS_LYRICS_SEARCH_H

#include <string>

#include "platform/config/config.h"

namespace cantora {

// Name of the helper program.
extern const char* const kLyricsFetchProgram;

// Step 1 alone: true with *text when the folder holds lyrics for them.
bool FindFolderLyrics(const std::string& folder, const std::string& artist,
                      const std::string& title, std::string* text);

}  // namespace cantora

#endif
