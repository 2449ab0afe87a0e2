// The folder records an index run writes from its walk (table folder): one
// per folder that holds audio, in it or anywhere below it, and one per
// library root. A record keeps its id while its folder stays, so that the
// ids clients hold survive re-indexing.
#ifndef CANTORA_PLATFORM_INDEXER_FOLDER_RECORDS_H
#define CANTORA_PLATFORM_INDEXER_FOLDER_RECORDS_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/indexer/existing_rows.h"
#include "platform/indexer/index_writer.h"
#include "platform/indexer/walked_roots.h"
#include "platform/indexer/write_batch.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

// A scoped run: a placeholder folder (listed, not walked) holds audio when
// its record (in existing) says so or a folder walked below it does.
void MarkPlaceholdersHoldingAudio(std::vector<WalkedRoot>* roots, const ExistingFolders& existing);

// Inserts the records of new folders and updates those that changed (but
// a placeholder's, whose images were not counted), filling each root's
// folder_ids and marking the records found in existing seen; new records
// are dated now. False with *error when the database fails.
bool StoreFolderRecords(std::vector<WalkedRoot>* roots, ExistingFolders* existing,
                        WriteBatch* batch, IndexWriter* writer, int64_t now, std::string* error);

// A scoped run: removes the records of placeholder folders (above or beside
// the scope) that no song and no folder lies in any more, deepest first.
bool RemoveEmptiedFolders(sqlite::Database& db, const std::vector<WalkedRoot>& roots,
                          std::string* error);

}  // namespace cantora

#endif
