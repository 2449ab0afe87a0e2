// M3U and M3U8 playlist text: reading entries and writing them.
//
// Reading: a byte order mark at the start is skipped; lines end with LF or
// CR LF; "#EXTINF:<seconds>[ attributes],<artist> - <title>" describes the
// entry that follows it (without " - " the whole text is the title); other
// lines starting with '#' and blank lines are ignored. Backslashes are
// taken for Windows separators. A relative entry is resolved against the
// playlist's folder; "." and ".." are resolved as text. An entry with a
// scheme ("http://...") is kept as it is; "file://" entries lose the scheme
// and their %XX escapes.
//
// Writing: "#EXTM3U", then per song "#EXTINF:<whole seconds>,<artist> -
// <title>" and its path; UTF-8, LF line ends.
#ifndef CANTORA_PLATFORM_PLAYLIST_M3U_H
#define CANTORA_PLATFORM_PLAYLIST_M3U_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/index/media_info.h"
#include "platform/playlist/song_records.h"

namespace cantora {

// The entries [start, start + limit) of the playlist text (start < 0 counts
// as 0; limit < 0 means to the end). *total, when given, receives the
// number of entries of the whole text. folder: the playlist's folder.
std::vector<PlaylistEntry> ParseM3u(std::string_view text, const std::string& folder, long start,
                                    long limit, size_t* total = nullptr);

// An absolute path with "." and ".." components and repeated slashes
// resolved as text ("/a/./b/../c//d" -> "/a/c/d"); ".." never climbs above "/".
std::string NormalPath(std::string_view path);

// The M3U8 text of the songs of list, in list order.
std::string FormatM3u8(const MediaInfo* list);

}  // namespace cantora

#endif
