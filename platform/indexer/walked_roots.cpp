#include "platform/indexer/walked_roots.h"

#include <utility>

#include "platform/index/indexed_folder.h"
#include "platform/indexer/library_roots.h"

namespace cantora {

bool LoadWalkedRoots(sqlite::Database& db, std::vector<WalkedRoot>* roots, std::string* error) {
  std::vector<LibraryRoot> found;
  if (!ListLibraryRoots(db, &found, error)) return false;
  for (LibraryRoot& root : found) {
    WalkedRoot r;
    r.tree.library = root.library;
    r.tree.root = std::move(root.path);
    r.root_title = std::move(root.owner);
    roots->push_back(std::move(r));
  }
  return true;
}

void WalkRoots(std::vector<WalkedRoot>* roots, const std::vector<ScopeFolder>* scope,
               const std::function<void(const std::string&)>& report) {
  for (size_t i = 0; i < roots->size(); ++i) {
    WalkedRoot& r = (*roots)[i];
    std::vector<std::string> warnings;
    r.walk = scope != nullptr ? WalkScope(&r.tree, *scope, &warnings)
                              : WalkLibrary(&r.tree, &warnings);
    for (const std::string& w : warnings) report(w);
    r.skipped.assign(r.tree.folders.size(), false);
    r.folder_ids.assign(r.tree.folders.size(), 0);
    for (size_t earlier = 0; earlier < i; ++earlier)
      for (size_t f = 0; f < r.tree.folders.size(); ++f)
        if (IsSameOrBelow(r.tree.folders[f].path, (*roots)[earlier].tree.root))
          r.skipped[f] = true;
  }
}

}  // namespace cantora
