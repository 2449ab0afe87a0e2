#include "platform/indexer/playlist_scan.h"

#include <map>
#include <set>
#include <vector>

#include "platform/config/config.h"
#include "platform/index/audio_file.h"
#include "platform/index/indexed_folder.h"
#include "platform/playlist/store.h"

namespace cantora {
namespace {

WalkedPlaylists SharedPlaylistFolder() {
  LibraryTree tree;
  tree.root = GetConfig().shared_playlists;
  std::vector<std::string> warnings;
  WalkResult walk = WalkLibrary(&tree, &warnings);
  return PlaylistsOf(tree, walk);
}

}  // namespace

WalkedPlaylists PlaylistsOf(const LibraryTree& tree, WalkResult walk) {
  WalkedPlaylists p;
  p.library = tree.library;
  p.root = tree.root;
  p.unreadable = walk == WalkResult::kUnreadable;
  for (const FoundSideFile& f : tree.playlist_files) p.files.push_back(tree.PathOf(f));
  return p;
}

bool IndexPlaylistFiles(sqlite::Database& db, std::vector<WalkedPlaylists> roots,
                        const std::vector<ScopeFolder>* scope, PlaylistScanSummary* summary,
                        std::string* error) {
  *summary = PlaylistScanSummary();
  if (scope == nullptr) roots.push_back(SharedPlaylistFolder());
  // path -> library; a file found twice belongs to the first root.
  std::map<std::string, int64_t> found;
  for (WalkedPlaylists& root : roots)
    for (std::string& f : root.files) found.emplace(std::move(f), root.library);
  summary->seen = static_cast<int64_t>(found.size());

  std::vector<StoredPlaylist> stored;
  if (!ListAllStoredPlaylists(db, &stored, error)) return false;
  sqlite::Transaction transaction(db);
  if (!transaction.ok()) return db.Fail(error);
  sqlite::Statement relink = db.Prepare("UPDATE playlist SET library = ? WHERE id = ?", error);
  if (!relink.IsValid()) return false;
  std::set<std::string> known;
  for (const StoredPlaylist& p : stored) {
    known.insert(p.path);
    auto it = found.find(p.path);
    if (it == found.end()) {
      bool keep = scope != nullptr && !InScope(p.path, false, *scope);
      for (const WalkedPlaylists& root : roots)
        keep = keep || (root.unreadable && IsSameOrBelow(p.path, root.root));
      if (keep) continue;
      if (!ForgetPlaylist(db, p.id, error)) return false;
      ++summary->removed;
    } else if (it->second != p.library) {
      relink.Reset();
      relink.Bind(1, it->second).Bind(2, p.id);
      if (!relink.Run()) return db.Fail(error);
    }
  }
  for (const auto& f : found) {
    if (known.count(f.first) != 0) continue;
    int64_t id = 0;
    if (!RegisterPlaylist(db, f.second, f.first, &id, error)) return false;
    ++summary->added;
  }
  if (!transaction.Commit()) return db.Fail(error);
  return true;
}

}  // namespace cantora
