// What an index run reads from the index before it walks the libraries:
// the song rows and the folder records the walk's findings are matched
// against, by path.
//
// A whole run loads every row; a scoped run (tree_walk.h) only the songs
// its walk may find again: a shallow folder's own, everything below a deep
// one. Folder records are always loaded whole: they are few.
#ifndef CANTORA_PLATFORM_INDEXER_EXISTING_ROWS_H
#define CANTORA_PLATFORM_INDEXER_EXISTING_ROWS_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/indexer/existing_songs.h"
#include "platform/indexer/tree_walk.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

// The songs of the whole index, or of scope when it is given. False with
// *error when the database fails.
bool LoadExistingSongs(sqlite::Database& db, const std::vector<ScopeFolder>* scope,
                       ExistingSongs* songs, std::string* error);

struct ExistingFolder {
  int64_t id = 0;
  int64_t library = 0;
  int64_t parent_id = 0;
  std::string title;
  int covercount = 0;
  bool seen = false;  // found by the run (or out of its reach): the record stays
};
using ExistingFolders = std::unordered_map<std::string, ExistingFolder>;

// Every folder record, by path. False with *error when the database fails.
bool LoadExistingFolders(sqlite::Database& db, ExistingFolders* folders, std::string* error);

}  // namespace cantora

#endif
