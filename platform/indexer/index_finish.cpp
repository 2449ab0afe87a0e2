#include "platform/indexer/index_finish.h"

#include <cstdint>
#include <unordered_set>

#include "platform/index/facets.h"
#include "platform/index/song_walk.h"
#include "platform/indexer/song_lyrics.h"

namespace cantora {
namespace {

bool KeepSongWalk(sqlite::Database& db, const std::vector<WalkedRoot>& roots, std::string* error) {
  std::vector<int64_t> libraries = {0};
  for (const WalkedRoot& r : roots) libraries.push_back(r.tree.library);
  bool missing = false;
  if (!SongWalkMissing(db, libraries, &missing, error)) return false;
  return !missing || RebuildSongWalk(db, error);
}

}  // namespace

bool SyncWalkedSideLyrics(sqlite::Database& db, const std::vector<WalkedRoot>& roots,
                          const std::vector<ScopeFolder>* scope, std::string* error) {
  SideLyricsFolders walked;
  std::vector<std::string> unknown_roots;
  std::unordered_set<int64_t> scope_folders;
  for (const WalkedRoot& r : roots) {
    if (r.walk == WalkResult::kUnreadable) unknown_roots.push_back(r.tree.root);
    for (size_t i = 0; i < r.tree.folders.size(); ++i)
      if (!r.tree.folders[i].placeholder && r.folder_ids[i] != 0)
        scope_folders.insert(r.folder_ids[i]);
    for (const FoundSideFile& f : r.tree.lyrics_files) {
      int64_t folder_id = r.folder_ids[f.folder];
      if (r.skipped[f.folder] || folder_id == 0) continue;
      walked[folder_id].push_back({f.name, f.mtime, f.size});
    }
  }
  return SyncSideLyrics(db, walked, unknown_roots, scope != nullptr ? &scope_folders : nullptr,
                        error);
}

bool SyncSideLyricsAlone(sqlite::Database& db, const std::vector<WalkedRoot>& roots,
                         const std::vector<ScopeFolder>* scope, std::string* error) {
  if (!db.Exec("BEGIN IMMEDIATE", error)) return false;
  if (SyncWalkedSideLyrics(db, roots, scope, error) && KeepSongWalk(db, roots, error) &&
      db.Exec("COMMIT", error))
    return true;
  db.Exec("ROLLBACK");
  return false;
}

bool RebuildSummaries(sqlite::Database& db, std::string* error) {
  if (!RebuildFacets(db)) {
    *error = std::string("cannot rebuild the artist, album and genre lists: ") + db.ErrorMessage();
    return false;
  }
  return RebuildSongWalk(db, error);
}

// Songs written batch after batch leave each index's pages spread over the
// file, and a song list, which walks an index in order, then touches a page
// for nearly every entry. VACUUM writes every table and index again in
// order; readers keep the snapshot they started with.
void Compact(sqlite::Database& db, const std::function<void(const std::string&)>& report) {
  std::string error;
  if (!db.Exec("VACUUM", &error)) report("cannot compact the database: " + error);
}

}  // namespace cantora
