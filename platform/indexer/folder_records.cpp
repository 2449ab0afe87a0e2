#include "platform/indexer/folder_records.h"

#include "platform/index/indexed_folder.h"

namespace cantora {

void MarkPlaceholdersHoldingAudio(std::vector<WalkedRoot>* roots, const ExistingFolders& existing) {
  for (WalkedRoot& r : *roots) {
    std::vector<FoundFolder>& folders = r.tree.folders;
    for (size_t i = folders.size(); i-- > 1;) {
      if (folders[i].placeholder && existing.count(folders[i].path) != 0)
        folders[i].holds_audio = true;
      if (folders[i].holds_audio && folders[i].parent >= 0)
        folders[folders[i].parent].holds_audio = true;
    }
  }
}

bool StoreFolderRecords(std::vector<WalkedRoot>* roots, ExistingFolders* existing,
                        WriteBatch* batch, IndexWriter* writer, int64_t now, std::string* error) {
  for (WalkedRoot& r : *roots) {
    for (size_t i = 0; i < r.tree.folders.size(); ++i) {
      const FoundFolder& found = r.tree.folders[i];
      if (r.skipped[i] || (found.parent >= 0 && !found.holds_audio)) continue;
      FolderRow row;
      row.library = r.tree.library;
      row.path = found.path;
      row.parent_id = found.parent >= 0 ? r.folder_ids[found.parent] : 0;
      row.title = found.parent < 0 && !r.root_title.empty() ? r.root_title : BaseName(found.path);
      row.covercount = found.covercount;
      row.create_date = now;
      auto it = existing->find(found.path);
      if (found.placeholder && it == existing->end())
        row.covercount = CountCoverImages(found.path);
      if (it != existing->end()) {
        ExistingFolder& old = it->second;
        old.seen = true;
        r.folder_ids[i] = old.id;
        // A placeholder's images were not counted: its record stays.
        if (found.placeholder) continue;
        if (old.library == row.library && old.parent_id == row.parent_id &&
            old.title == row.title && old.covercount == row.covercount)
          continue;
        if (!batch->Write(error, [&] { return writer->UpdateFolder(old.id, row, error); }))
          return false;
      } else {
        if (!batch->Write(error,
                          [&] { return writer->InsertFolder(row, &r.folder_ids[i], error); }))
          return false;
      }
    }
  }
  return true;
}

bool RemoveEmptiedFolders(sqlite::Database& db, const std::vector<WalkedRoot>& roots,
                          std::string* error) {
  sqlite::Statement del = db.Prepare(
      "DELETE FROM folder WHERE id = ?1 AND parent_id <> 0 "
      "AND NOT EXISTS (SELECT 1 FROM song WHERE folder_id = ?1) "
      "AND NOT EXISTS (SELECT 1 FROM folder c WHERE c.library = ?2 AND c.parent_id = ?1)",
      error);
  if (!del.IsValid()) return false;
  for (const WalkedRoot& r : roots) {
    for (size_t i = r.tree.folders.size(); i-- > 1;) {
      if (!r.tree.folders[i].placeholder || r.folder_ids[i] == 0) continue;
      del.Reset();
      del.Bind(1, r.folder_ids[i]).Bind(2, r.tree.library);
      if (!del.Run()) return db.Fail(error);
    }
  }
  return true;
}

}  // namespace cantora
