// The library roots of an index run as its walk found them (tree_walk.h):
// each root's tree, whether it could be read, which of its folders an
// earlier root already holds, and the records the run gives its folders.
//
// The roots come in ListLibraryRoots' order (library_roots.h); a folder
// found below two roots (a home inside a shared folder) belongs to the
// first, and the later root skips it with all its files.
#ifndef CANTORA_PLATFORM_INDEXER_WALKED_ROOTS_H
#define CANTORA_PLATFORM_INDEXER_WALKED_ROOTS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/indexer/tree_walk.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

struct WalkedRoot {
  LibraryTree tree;
  WalkResult walk = WalkResult::kOk;
  std::vector<bool> skipped;        // per folder: claimed by an earlier root
  std::vector<int64_t> folder_ids;  // per folder: its record, 0 when none
  // The title of the root's record: a personal library's is its owner's
  // name (the folder browse shows it as "<name> (home)"); empty means the
  // folder's own name.
  std::string root_title;
};

// The roots to walk, not walked yet. False with *error when the database
// fails.
bool LoadWalkedRoots(sqlite::Database& db, std::vector<WalkedRoot>* roots, std::string* error);

// Walks every root (only scope's folders when scope is given, else all of
// it), passing each warning to report, and marks the folders an earlier
// root holds.
void WalkRoots(std::vector<WalkedRoot>* roots, const std::vector<ScopeFolder>* scope,
               const std::function<void(const std::string&)>& report);

}  // namespace cantora

#endif
