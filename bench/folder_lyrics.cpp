#include "bench/folder_lyrics.h"

#include <fstream>

#include "platform/config/config.h"
#include "platform/config/platform_db.h"
#include "platform/media/lyrics/lyrics_cache.h"
#include "platform/file/atomic_file.h"
#include "tests/support/fixture.h"

namespace bench {
namespace {

constexpr const char* kFiftyFolder = "Fifty Shelves";

std::string StemOf(const std::string& path) { return path.substr(0, path.rfind('.')); }

bool IdOf(sqlite::Database& db, const char* table, const std::string& path, std::string* id,
          std::string* error) {
  sqlite::Statement st =
      db.Prepare(std::string("SELECT id FROM ") + table + " WHERE path = ?", error);
  if (!st.IsValid()) return false;
  st.Bind(1, path);
  if (st.Step() != SQLITE_ROW) {
    *error = "not indexed: " + path;
    return false;
  }
  *id = std::to_string(st.Int(0));
  return true;
}

}  // namespace

bool AddFolderAndLyricsCases(const std::string& music, size_t songs, std::string* error) {
  for (int i = 0; i < 50; ++i) {
    std::string n = std::to_string(i);
    fixture::Song s = fixture::Tune(std::string(kFiftyFolder) + "/Shelf " + n + "/song.mp3",
                                    "Shelf Song " + n, "Shelf " + n, "Shelf Artist");
    if (!fixture::MakeSong(music, s, error)) return false;
  }
  std::ofstream lrc(StemOf(music + "/" + fixture::SyntheticSong(0, songs).file) + ".lrc");
  lrc << "[00:00.50]the first line\n[00:04.00]the second line\n";
  if (!lrc) {
    *error = "cannot write the side lyrics of song 0";
    return false;
  }
  return true;
}

bool FolderAndLyricsQueries(const std::string& config_path, const std::string& music,
                            size_t songs, FolderLyricsQueries* q, std::string* error) {
  cantora::Config config;
  sqlite::Database db;
  if (!cantora::LoadConfigFile(config_path, &config, error) ||
      !cantora::OpenPlatformDatabase(config.database, false, &db, error))
    return false;
  std::string id;
  if (!IdOf(db, "folder", music + "/" + fixture::kSyntheticBigArtist, &id, error)) return false;
  q->big_artist_folder = "folder=" + id;
  if (!IdOf(db, "folder", music + "/" + kFiftyFolder, &id, error)) return false;
  q->fifty_folder = "folder=" + id;
  if (!IdOf(db, "song", music + "/" + fixture::SyntheticSong(0, songs).file, &id, error))
    return false;
  q->stored_lyrics = "id=" + id;
  fixture::Song cached = fixture::SyntheticSong(1, songs);
  if (!IdOf(db, "song", music + "/" + cached.file, &id, error)) return false;
  q->cached_lyrics = "id=" + id;
  return cantora::ReplaceFileAtomically(
      cantora::LyricsCacheStem(config, cached.artist, cached.title) + ".lrc",
      "[00:01.00]cached words\n", error);
}

}  // namespace bench
