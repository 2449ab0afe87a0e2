#include "platform/indexer/library_roots.h"

#include "platform/auth/users/users_table.h"
#include "platform/index/audio_file.h"
#include "platform/index/indexed_folder.h"

namespace cantora {

bool ListLibraryRoots(sqlite::Database& db, std::vector<LibraryRoot>* roots, std::string* error) {
  roots->clear();
  std::vector<LibraryOwner> owners;
  if (!ListPersonalLibraryOwners(db, &owners, error)) return false;
  for (const LibraryOwner& owner : owners) {
    std::string folder = PersonalLibraryFolder(owner.name);
    if (folder.empty()) continue;
    roots->push_back({owner.id, folder, owner.name});
  }
  std::vector<IndexedFolder> shared;
  if (!ListIndexedFolders(db, &shared, error)) return false;
  for (const IndexedFolder& f : shared) roots->push_back({0, f.path, ""});
  return true;
}

}  // namespace cantora
