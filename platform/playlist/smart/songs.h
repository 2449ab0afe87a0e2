// The songs a smart playlist selects.
//
//   list = ZARNPlaylistSmartListSongs(uid, &list, 0, rules, &count, 0, 0, "actual")
//
// rules is the JSON text of one playlist (rules.h), as the smart playlist
// stores hand it out. It is parsed and compiled into a condition, an order
// and a limit that the music index evaluates like any browse (browse.h): the
// rule values are bound parameters, the query is confined to the scope's
// rows, read-only, under the index's authorizer. Nothing of the rule text
// becomes SQL but through the fragment grammar.
//
// The scope: with library "actual", the shared libraries plus the personal
// library of uid when that user has it switched on; with any other name, the
// shared libraries alone. Never another user's personal library.
//
// No record with id 0, and none whose title, album, artist or genre is not
// valid UTF-8, is ever handed out: such songs are left out, and a limit is
// filled with the songs that follow them.
//
// Returns the list (also stored in *list when list is not null; free it with
// ZARNPlaylistRecFree) and sets *count to its length. Empty rules select no
// songs. Rules that are refused select no songs, set *count to -1 and log
// the refusal (one line naming the playlist and the rule) at LOG_ERR; so
// does a failing query.
#ifndef CANTORA_PLATFORM_PLAYLIST_SMART_SONGS_H
#define CANTORA_PLATFORM_PLAYLIST_SMART_SONGS_H

#include <ctime>
#include <string>
#include <string_view>

#include "platform/index/media_info.h"
#include "platform/lib/sqlite/database.h"

MediaInfo* ZARNPlaylistSmartListSongs(int uid, MediaInfo** list, int, const char* rules,
                                      int* count, int, int, const char* library);

namespace cantora {

// The same on a given connection (prepared as IndexDatabase prepares it),
// with now anchoring "in the last days". Returns the number of songs, or -1
// with *error set to one line (the refusal, or the failing query).
int SelectSmartPlaylistSongs(sqlite::Database& db, int uid, std::string_view rules,
                             const char* library, time_t now, MediaInfo** head,
                             std::string* error);

}  // namespace cantora

#endif
