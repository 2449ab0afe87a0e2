#include "platform/indexer/index_writer.h"

#include "platform/text/casefold.h"

namespace cantora {
namespace {

// Column order shared by the insert and the update; the update's id follows.
constexpr const char* kSongColumns[] = {"library",     "folder_id",     "title",
                                        "album",       "artist",        "album_artist",
                                        "genre",       "composer",      "comment",
                                        "track",       "disc",          "year",
                                        "duration",    "bitrate",       "frequency",
                                        "channel",     "filesize",      "covercount",
                                        "artist_sort", "artist_search", "album_artist_search",
                                        "mtime"};
constexpr int kSongColumnCount = sizeof kSongColumns / sizeof kSongColumns[0];

std::string InsertSongSql() {
  std::string names, marks;
  for (const char* c : kSongColumns) {
    names += std::string(c) + ", ";
    marks += "?, ";
  }
  return "INSERT INTO song(" + names + "path, create_date) VALUES (" + marks + "?, ?)";
}

std::string UpdateSongSql() {
  std::string sets;
  for (int i = 0; i < kSongColumnCount; ++i) {
    if (i > 0) sets += ", ";
    sets += std::string(kSongColumns[i]) + " = ?";
  }
  return "UPDATE song SET " + sets + " WHERE id = ?";
}

}  // namespace

bool IndexWriter::Prepare(sqlite::Database& db, std::string* error) {
  db_ = &db;
  insert_song_ = db.Prepare(InsertSongSql(), error);
  update_song_ = db.Prepare(UpdateSongSql(), error);
  relink_song_ = db.Prepare("UPDATE song SET library = ?, folder_id = ? WHERE id = ?", error);
  delete_song_ = db.Prepare("DELETE FROM song WHERE id = ?", error);
  insert_folder_ = db.Prepare(
      "INSERT INTO folder(library, parent_id, title, covercount, path, create_date) "
      "VALUES (?, ?, ?, ?, ?, ?)",
      error);
  update_folder_ = db.Prepare(
      "UPDATE folder SET library = ?, parent_id = ?, title = ?, covercount = ? WHERE id = ?",
      error);
  delete_folder_ = db.Prepare("DELETE FROM folder WHERE id = ?", error);
  return covers_.Prepare(db, error) && insert_song_.IsValid() && update_song_.IsValid() &&
         relink_song_.IsValid() &&
         delete_song_.IsValid() && insert_folder_.IsValid() && update_folder_.IsValid() &&
         delete_folder_.IsValid();
}

void IndexWriter::BindSong(sqlite::Statement& st, const SongRow& row) {
  const SongTags& t = row.tags;
  // In the order of kSongColumns.
  const std::string* texts[] = {&t.title, &t.album,    &t.artist, &t.album_artist,
                                &t.genre, &t.composer, &t.comment};
  const int numbers[] = {t.track, t.disc, t.year};
  const int properties[] = {t.bitrate, t.frequency, t.channel};
  int i = 1;
  st.Bind(i++, row.library);
  st.Bind(i++, row.folder_id);
  for (const std::string* text : texts) st.Bind(i++, *text);
  for (int n : numbers) st.Bind(i++, n);
  st.Bind(i++, t.duration);
  for (int n : properties) st.Bind(i++, n);
  st.Bind(i++, row.filesize);
  st.Bind(i++, t.covercount);
  st.Bind(i++, t.artist_sort);
  st.Bind(i++, FoldUpper(t.artist));
  st.Bind(i++, FoldUpper(t.album_artist));
  st.Bind(i++, row.mtime);
}

bool IndexWriter::InsertSong(const SongRow& row, int64_t* id, std::string* error) {
  BindSong(insert_song_, row);
  insert_song_.Bind(kSongColumnCount + 1, row.path).Bind(kSongColumnCount + 2, row.create_date);
  if (!insert_song_.RunToEnd(error)) return false;
  *id = db_->LastInsertId();
  return covers_.Store(*id, row.tags.embedded_cover, error);
}

bool IndexWriter::UpdateSong(int64_t id, const SongRow& row, std::string* error) {
  BindSong(update_song_, row);
  update_song_.Bind(kSongColumnCount + 1, id);
  return update_song_.RunToEnd(error) && covers_.Store(id, row.tags.embedded_cover, error);
}

bool IndexWriter::RelinkSong(int64_t id, int64_t library, int64_t folder_id, std::string* error) {
  relink_song_.Bind(1, library).Bind(2, folder_id).Bind(3, id);
  return relink_song_.RunToEnd(error);
}

bool IndexWriter::DeleteSong(int64_t id, std::string* error) {
  delete_song_.Bind(1, id);
  return delete_song_.RunToEnd(error);
}

bool IndexWriter::InsertFolder(const FolderRow& row, int64_t* id, std::string* error) {
  insert_folder_.Bind(1, row.library).Bind(2, row.parent_id).Bind(3, row.title);
  insert_folder_.Bind(4, row.covercount).Bind(5, row.path).Bind(6, row.create_date);
  if (!insert_folder_.RunToEnd(error)) return false;
  *id = db_->LastInsertId();
  return true;
}

bool IndexWriter::UpdateFolder(int64_t id, const FolderRow& row, std::string* error) {
  update_folder_.Bind(1, row.library).Bind(2, row.parent_id).Bind(3, row.title);
  update_folder_.Bind(4, row.covercount).Bind(5, id);
  return update_folder_.RunToEnd(error);
}

bool IndexWriter::DeleteFolder(int64_t id, std::string* error) {
  delete_folder_.Bind(1, id);
  return delete_folder_.RunToEnd(error);
}

}  // namespace cantora
