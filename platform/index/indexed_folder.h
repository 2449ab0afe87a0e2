// The shared indexed folders: the roots of the shared library (library 0),
// each with the display name that folder browsing shows for it.
//
// Paths are stored canonical (absolute, symbolic links resolved, no trailing
// slash), so that a song's path always starts with its root's path plus '/'.
// Roots never nest: a folder inside another root, or holding one, is refused,
// because a file must belong to exactly one root.
#ifndef CANTORA_PLATFORM_INDEX_INDEXED_FOLDER_H
#define CANTORA_PLATFORM_INDEX_INDEXED_FOLDER_H

#include <string>
#include <string_view>
#include <vector>

#include "platform/lib/sqlite/database.h"

namespace cantora {

struct IndexedFolder {
  std::string path;
  std::string name;
};

// All roots in path order. False (with *error) when the table cannot be read.
bool ListIndexedFolders(sqlite::Database& db, std::vector<IndexedFolder>* folders,
                        std::string* error);

// Adds a root. path must name an existing folder; it is made canonical first.
// An empty name means the folder's own name. False with one line in *error
// for a missing folder, a root already present, or one nesting with another.
bool AddIndexedFolder(sqlite::Database& db, const std::string& path, const std::string& name,
                      std::string* error);

// Removes the root named by path (as given, or canonical). The songs below it
// leave the index at the next indexing run. False when it is not a root.
bool RemoveIndexedFolder(sqlite::Database& db, const std::string& path, std::string* error);

// True when path is root itself or lies below it.
bool IsSameOrBelow(std::string_view path, std::string_view root);

// The last component of a path ("/a/b" -> "b"; "/" -> "/").
std::string BaseName(const std::string& path);

}  // namespace cantora

#endif
