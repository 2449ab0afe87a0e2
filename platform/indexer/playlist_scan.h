// The indexer's pass over playlist files.
//
// Finds the .m3u and .m3u8 files of every switched-on personal library
// (library = the owner's user id), of the shared indexed folders and of the
// shared playlist folder (library 0), and brings the table "playlist" in
// line: new files get a new id, files that stay keep theirs, rows of files
// that are gone are removed. Names beginning with '.' are skipped, and so
// are symbolic links (to folders and to files alike). A root that exists but
// cannot be read keeps its rows. The libraries' files come from the index
// run's own walk (tree_walk.h); the shared playlist folder is walked here.
#ifndef CANTORA_PLATFORM_INDEXER_PLAYLIST_SCAN_H
#define CANTORA_PLATFORM_INDEXER_PLAYLIST_SCAN_H

#include <cstdint>
#include <string>

#include <vector>

#include "platform/indexer/tree_walk.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

struct PlaylistScanSummary {
  int64_t seen = 0;
  int64_t added = 0;
  int64_t removed = 0;
};

// The playlist files of one walked library root.
struct WalkedPlaylists {
  int64_t library = 0;
  std::string root;
  bool unreadable = false;
  std::vector<std::string> files;
};

WalkedPlaylists PlaylistsOf(const LibraryTree& tree, WalkResult walk);

// libraries: the index run's roots in its order (personal libraries first);
// a file found under two roots belongs to the first. With a scope (a scoped
// run's), only files inside it are added or removed, and the shared
// playlist folder is left alone. False with *error when the database fails;
// the table is then unchanged.
bool IndexPlaylistFiles(sqlite::Database& db, std::vector<WalkedPlaylists> libraries,
                        const std::vector<ScopeFolder>* scope, PlaylistScanSummary* summary,
                        std::string* error);

}  // namespace cantora

#endif
