// The playlist stores: where normal playlists live and how they are listed.
//
//   shared      .m3u/.m3u8 files found by the indexer in the shared indexed
//               folders, and those in the shared playlist folder (config key
//               shared_playlists), where new shared playlists are created.
//   personal library
//               .m3u/.m3u8 files in a user's personal library, indexed with
//               it (library = the owner's user id).
//   personal    the files <preferences>/<login name>/playlists/*.m3u, kept
//               for the user alone and never indexed; opened by name.
//
// Indexed playlists are rows of the table "playlist" (id, library, path,
// name = the file's stem). An id is never given to another file: it stays
// while the file stays, across index runs, and is never reused after.
// Personal playlists carry no id of their own (0 in their records); they are
// opened by name.
#ifndef CANTORA_PLATFORM_PLAYLIST_STORE_H
#define CANTORA_PLATFORM_PLAYLIST_STORE_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/lib/sqlite/database.h"

// One playlist of a list; a list is freed with ZARNPlayListFree.
struct PlaylistRecord {
  long id;         // the index id; 0 for a personal playlist file
  char name[256];  // the file's stem, cut at 255 bytes
  char* path;      // the file
  PlaylistRecord* next;
};

// The indexed playlists of a kind: "shared" (uid and the numbers ignored),
// or "personal": the playlists of uid's personal library followed by uid's
// personal playlist files. start and limit page the list (limit < 0 or 0
// with start 0: the whole list); the last number is unused. Returns the
// number of records (>= 0) with *list (null when none), or -1 (for another
// kind, or when the index cannot be read).
int ZARNPlaylistListAll(const char* kind, int uid, PlaylistRecord** list, int start, int limit,
                        int);

// The playlist files of a preference folder (<dir>/playlists/*.m3u, regular
// files only) by name (byte order); paging as above. -1 for an empty dir; a
// missing playlists folder gives 0.
int ZARNPersonalPlaylistListAll(const char* preference_dir, PlaylistRecord** list, int start,
                                int limit);

void ZARNPlayListFree(PlaylistRecord* list);

// Non-zero when path is one of user_name's own playlist files in the user's
// preference folder.
int ZARNPlaylistIsOriginalPersonalPlaylist(const char* path, const char* user_name);

// The file of the indexed playlist id of that kind: "shared" (library 0) or
// "personal" (uid's personal library). 0 on success, writing at most size
// bytes; non-zero for an unknown id, another kind, or a path that does not fit.
int ZARNPlaylistPathGet(const char* kind, int uid, long id, char* path, size_t size);

namespace cantora {

// True when name ends with ".m3u" or ".m3u8", in any case.
bool IsPlaylistFileName(const std::string& name);
// True when name ends with ".m3u" exactly: a user's own playlist file.
bool IsPersonalPlaylistFileName(const std::string& name);
// The name a playlist file is listed under: its last component without the
// extension.
std::string PlaylistNameOfPath(const std::string& path);

// The folder of a user's own playlist files; empty for an invalid name.
std::string PersonalPlaylistFolder(const std::string& user_name);

struct StoredPlaylist {
  int64_t id = 0;
  int64_t library = 0;
  std::string path;
  std::string name;
};

// Registers a playlist file of a library, or finds it: *id is its id either way.
bool RegisterPlaylist(sqlite::Database& db, int64_t library, const std::string& path, int64_t* id,
                      std::string* error);
// The indexed playlists of library, in name order, then path order.
bool ListStoredPlaylists(sqlite::Database& db, int64_t library,
                         std::vector<StoredPlaylist>* playlists, std::string* error);
// Every indexed playlist, whatever its library.
bool ListAllStoredPlaylists(sqlite::Database& db, std::vector<StoredPlaylist>* playlists,
                            std::string* error);
// Removes the row of that id; false when there is none.
bool ForgetPlaylist(sqlite::Database& db, int64_t id, std::string* error);

}  // namespace cantora

#endif
