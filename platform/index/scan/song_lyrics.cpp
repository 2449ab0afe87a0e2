#include "platform/index/scan/song_lyrics.h"

#include <dirent.h>
#include <sys/stat.h>

#include <map>
#include <utility>

#include "platform/text/plain_text.h"

namespace cantora {
namespace {

enum Source { kTags = 0, kLrc = 1, kTxt = 2 };

bool Failed(sqlite::Database& db, std::string* error) {
  *error = db.ErrorMessage();
  return false;
}

bool Done(sqlite::Statement& st, sqlite::Database& db, std::string* error) {
  int rc = st.Step();
  st.Reset();
  return rc == SQLITE_DONE || Failed(db, error);
}

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The side-file kind of a file name, and its stem.
Source SideKind(const std::string& name, std::string* stem) {
  if (name.size() < 5 || name[name.size() - 4] != '.') return kTags;
  std::string ext;
  for (size_t i = name.size() - 3; i < name.size(); ++i) ext += Lower(name[i]);
  *stem = name.substr(0, name.size() - 4);
  if (ext == "lrc") return kLrc;
  if (ext == "txt") return kTxt;
  return kTags;
}

// The side files of one folder: (stem, kind) -> file name.
using SideFiles = std::map<std::pair<std::string, int>, std::string>;

bool ListSideFiles(const std::string& folder, SideFiles* files) {
  files->clear();
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return false;
  while (struct dirent* entry = readdir(dir)) {
    std::string name = entry->d_name, stem;
    Source kind = SideKind(name, &stem);
    if (kind == kTags || name[0] == '.') continue;
    // Of "a.LRC" and "a.lrc" the first in byte order, so that runs agree.
    auto key = std::make_pair(stem, static_cast<int>(kind));
    auto it = files->find(key);
    if (it == files->end() || name < it->second) (*files)[key] = name;
  }
  closedir(dir);
  return true;
}

int64_t Stamp(const struct stat& st) {
  // Unsigned: the mixing wraps by design.
  uint64_t mtime = static_cast<uint64_t>(st.st_mtim.tv_sec) * 1000000000u +
                   static_cast<uint64_t>(st.st_mtim.tv_nsec);
  return static_cast<int64_t>(mtime ^ (static_cast<uint64_t>(st.st_size) * 0x9E3779B97F4A7C15u));
}

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

std::string StemOf(const std::string& path) {
  size_t slash = path.rfind('/');
  std::string name = path.substr(slash + 1);
  size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

}  // namespace

bool LyricsWriter::Prepare(sqlite::Database& db, std::string* error) {
  db_ = &db;
  replace_ = db.Prepare(
      "INSERT OR REPLACE INTO song_lyrics(song_id, source, side_stamp, text) VALUES (?, 0, 0, ?)",
      error);
  remove_ = db.Prepare("DELETE FROM song_lyrics WHERE song_id = ? AND source = 0", error);
  return replace_.IsValid() && remove_.IsValid();
}

bool LyricsWriter::StoreTagLyrics(int64_t song_id, const std::string& text, bool had_row,
                                  std::string* error) {
  if (!text.empty()) {
    replace_.Bind(1, song_id).Bind(2, text);
    return Done(replace_, *db_, error);
  }
  if (!had_row) return true;
  remove_.Bind(1, song_id);
  return Done(remove_, *db_, error);
}

bool SyncSideLyrics(sqlite::Database& db, std::string* error) {
  sqlite::Statement songs = db.Prepare(
      "SELECT s.id, s.path, l.source, l.side_stamp FROM song s "
      "LEFT JOIN song_lyrics l ON l.song_id = s.id "
      "WHERE l.source IS NULL OR l.source <> 0 ORDER BY s.folder_id",
      error);
  sqlite::Statement replace = db.Prepare(
      "INSERT OR REPLACE INTO song_lyrics(song_id, source, side_stamp, text) VALUES (?, ?, ?, ?)",
      error);
  sqlite::Statement remove = db.Prepare("DELETE FROM song_lyrics WHERE song_id = ?", error);
  if (!songs.IsValid() || !replace.IsValid() || !remove.IsValid()) return false;
  std::string folder;
  bool listed = false;
  SideFiles files;
  int rc;
  while ((rc = songs.Step()) == SQLITE_ROW) {
    int64_t id = songs.Int(0);
    std::string path = songs.Text(1);
    bool had_row = sqlite3_column_type(songs.get(), 2) != SQLITE_NULL;
    int64_t old_source = songs.Int(2), old_stamp = songs.Int(3);
    if (FolderOf(path) != folder || folder.empty()) {
      folder = FolderOf(path);
      listed = ListSideFiles(folder, &files);
    }
    if (!listed) continue;  // unknown: keep what is there
    bool found = false;
    for (int kind : {kLrc, kTxt}) {
      auto it = files.find({StemOf(path), kind});
      if (it == files.end()) continue;
      std::string side = folder + "/" + it->second;
      struct stat st;
      if (lstat(side.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) continue;
      found = true;
      if (had_row && old_source == kind && old_stamp == Stamp(st)) break;
      std::string text;
      if (!ReadPlainTextFile(side, kMaxSideLyricsBytes, &text) || text.empty()) {
        found = false;
        continue;
      }
      replace.Bind(1, id).Bind(2, kind).Bind(3, Stamp(st)).Bind(4, text);
      if (!Done(replace, db, error)) return false;
      break;
    }
    if (!found && had_row) {
      remove.Bind(1, id);
      if (!Done(remove, db, error)) return false;
    }
  }
  return rc == SQLITE_DONE || Failed(db, error);
}

}  // namespace cantora
