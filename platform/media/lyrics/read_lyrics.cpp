#include <sys/stat.h>

#include <cerrno>

#include "platform/config/platform_db.h"
#include "platform/media/lyrics/lyrics.h"

int ReadLyrics(const std::string& path, std::string& lyrics) {
  // A private folder may hide the file from us (EACCES): the index knows it.
  struct stat st;
  if (stat(path.c_str(), &st) != 0 && (errno == ENOENT || errno == ENOTDIR)) return -1;
  sqlite::Database* db = cantora::PlatformDatabase();
  if (db == nullptr) return -1;
  sqlite::Statement st_lyrics = db->Prepare(
      "SELECT l.text FROM song s LEFT JOIN song_lyrics l ON l.song_id = s.id WHERE s.path = ?");
  if (!st_lyrics.IsValid()) return -1;
  st_lyrics.Bind(1, path);
  int rc = st_lyrics.Step();
  if (rc != SQLITE_ROW) return -1;
  if (sqlite3_column_type(st_lyrics.get(), 0) == SQLITE_NULL) return 0;
  lyrics = st_lyrics.Text(0);
  return lyrics.empty() ? 0 : 1;
}
