// The indexer's writes to the music index: prepared once, run many times.
//
// Each call is one statement; the caller groups them into transactions.
#ifndef CANTORA_PLATFORM_INDEXER_INDEX_WRITER_H
#define CANTORA_PLATFORM_INDEXER_INDEX_WRITER_H

#include <cstdint>
#include <string>

#include "platform/indexer/embedded_cover.h"
#include "platform/indexer/tag_reader.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

struct SongRow {
  int64_t library = 0;
  std::string path;
  int64_t folder_id = 0;
  SongTags tags;
  int64_t filesize = 0;
  int64_t create_date = 0;  // seconds since the epoch
  int64_t mtime = 0;        // nanoseconds since the epoch
};

struct FolderRow {
  int64_t library = 0;
  std::string path;
  int64_t parent_id = 0;  // 0 for a library root
  std::string title;
  int covercount = 0;
  int64_t create_date = 0;
};

class IndexWriter {
 public:
  // Prepares the statements on db. False with *error on failure.
  bool Prepare(sqlite::Database& db, std::string* error);

  // Each returns false with the database's message in *error.
  bool InsertSong(const SongRow& row, int64_t* id, std::string* error);
  bool UpdateSong(int64_t id, const SongRow& row, std::string* error);
  // Moves an unchanged song to another library or folder record.
  bool RelinkSong(int64_t id, int64_t library, int64_t folder_id, std::string* error);
  bool DeleteSong(int64_t id, std::string* error);
  bool InsertFolder(const FolderRow& row, int64_t* id, std::string* error);
  // Updates everything but the path and create_date.
  bool UpdateFolder(int64_t id, const FolderRow& row, std::string* error);
  bool DeleteFolder(int64_t id, std::string* error);

 private:
  void BindSong(sqlite::Statement& st, const SongRow& row);

  sqlite::Database* db_ = nullptr;
  sqlite::Statement insert_song_, update_song_, relink_song_, delete_song_;
  sqlite::Statement insert_folder_, update_folder_, delete_folder_;
  EmbeddedCoverRows covers_;
};

}  // namespace cantora

#endif
