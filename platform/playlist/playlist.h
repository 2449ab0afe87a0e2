// The playlist functions the gateway calls: reading a playlist's songs,
// writing a playlist, listing songs for the random playlist, creating a
// playlist and turning a client's id list into songs.
//
// Stores and their files: store.h. Where files may be read and written:
// playlist_files.h. How entries become song records: song_records.h.
#ifndef CANTORA_PLATFORM_PLAYLIST_PLAYLIST_H
#define CANTORA_PLATFORM_PLAYLIST_PLAYLIST_H

#include <string>

#include "platform/index/media_info.h"
#include "platform/playlist/playlist_files.h"

// The songs of the entries [start, start + limit) of the playlist at path, as
// user uid sees them (song_records.h): the index record of each entry's file,
// or an unindexed record (id 0). start < 0 counts as 0; limit < 0 means to
// the end; limit 0 gives nothing. *count, when given, receives the number of
// entries of the whole playlist. The file must be one uid may read
// (playlist_files.h). kind must be 0, columns "*" or null, and the last
// number 1 (full records); these are the only forms there are.
// Null when the file may not be read, when nothing is in the page, or for
// another form. Free the list with ZARNPlaylistRecFree.
MediaInfo* ZARNPlaylistParseByPath(int uid, const char* path, int kind, int* count, int start,
                                   int limit, const char* columns, int full);

// Writes the songs of list (null: none) as an M3U8 playlist at path for
// writer, replacing it as a whole (playlist_files.h). 0 on success, -1 when
// path is not a place for writer's playlists or the file cannot be written.
int ZARNWriteMusicPlaylist(const MediaInfo* list, const char* path,
                           const cantora::PlaylistWriter& writer);

// Songs of a library (library.h) for user uid, as full records.
//   kind 8 (songs; the only kind), condition (a fragment as ZARNMusicBrowse
//   takes it; null or "" for none), order: "random" or an order fragment,
//   1 (full records; the only form), offset, limit (< 0: no limit).
// With "random" and no condition, limit songs of the scope are drawn at
// random without reading or sorting the whole library: a small scope (at
// most a few thousand songs) is sampled exactly; a larger one by probing
// random ids. offset is not applied to a random order. Returns the number of
// records (>= 0) with *list, or -1.
int ZARNMusicListAll(const char* library, int uid, MediaInfo** list, int kind,
                     const char* condition, const char* order, int full, int offset, int limit);

namespace cantora {
// Creates an empty playlist called name: shared (<name>.m3u8 in the shared
// playlist folder, registered in the index with an id at once) or personal
// (<preferences>/<owner>/playlists/<name>.m3u; owner a login name). *path
// receives its file. False (nothing created) for a name that is empty,
// longer than 250 bytes, starts with '.', or holds '/', '\\' or a control
// character; for a name an existing playlist of that store already has (in
// any case and either extension); for a personal playlist of an owner whose
// name cannot be a user's; or when the file cannot be made. Whether owner
// has an account is the caller's question (legacy_create_playlist.h asks it;
// administrators need not).
bool CreateEmptyPlaylist(const std::string& name, const std::string& owner, bool shared,
                         std::string* path);
}  // namespace cantora

// The songs of a client's id list: a JSON array whose elements are
//   - song ids: a number, or its decimal text ("42");
//   - personal song ids: "personal_42";
//   - playlist entry ids (entry_id.h), as playlist_song_enum hands them
//     out: the same page of the same playlist is read again, as owner, and
//     the entry at that position taken.
// Songs are kept in list order, duplicates included. Ids that owner may not
// see (another user's personal songs, unknown ids, entries of playlists
// owner may not read, malformed ids) are left out. *list receives the
// records (null when none are left). Non-zero on success; 0 when the text is
// not a JSON array or owner is not a user.
int GetMediaListFromMixedIDList(const char* owner, const char* id_list, MediaInfo** list);

#endif
