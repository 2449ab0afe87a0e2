#include "platform/indexer/library_roots.h"

#include "platform/index/audio_file.h"
#include "platform/index/indexed_folder.h"

namespace cantora {

bool ListLibraryRoots(sqlite::Database& db, std::vector<LibraryRoot>* roots, std::string* error) {
  roots->clear();
  sqlite::Statement users =
      db.Prepare("SELECT id, name FROM users WHERE personal = 1 ORDER BY id", error);
  if (!users.IsValid()) return false;
  int rc;
  while ((rc = users.Step()) == SQLITE_ROW) {
    std::string folder = PersonalLibraryFolder(users.Text(1));
    if (folder.empty()) continue;
    roots->push_back({users.Int(0), folder, users.Text(1)});
  }
  if (rc != SQLITE_DONE) {
    *error = db.ErrorMessage();
    return false;
  }
  std::vector<IndexedFolder> shared;
  if (!ListIndexedFolders(db, &shared, error)) return false;
  for (const IndexedFolder& f : shared) roots->push_back({0, f.path, ""});
  return true;
}

}  // namespace cantora
