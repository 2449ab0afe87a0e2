// The folders the indexer walks, and the watcher watches: every personal
// library whose owner has the personal switch on (library = the owner's
// user id), then the shared indexed folders (library 0).
#ifndef CANTORA_PLATFORM_INDEXER_LIBRARY_ROOTS_H
#define CANTORA_PLATFORM_INDEXER_LIBRARY_ROOTS_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/lib/sqlite/database.h"

namespace cantora {

struct LibraryRoot {
  int64_t library = 0;
  std::string path;
  // A personal library's owner (its root record's title); empty for a
  // shared folder, whose record is titled by the folder's own name.
  std::string owner;

  bool operator==(const LibraryRoot& o) const {
    return library == o.library && path == o.path && owner == o.owner;
  }
};

// The roots in that order. False with *error when the database fails.
bool ListLibraryRoots(sqlite::Database& db, std::vector<LibraryRoot>* roots, std::string* error);

}  // namespace cantora

#endif
