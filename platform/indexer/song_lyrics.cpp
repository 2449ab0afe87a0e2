#include "platform/indexer/song_lyrics.h"

#include <map>
#include <utility>

#include "platform/index/indexed_folder.h"
#include "platform/text/plain_text.h"

namespace cantora {
namespace {

enum Source { kTags = 0, kLrc = 1, kTxt = 2 };

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

// The side files of one folder: (stem, kind) -> the file.
using SideFiles = std::map<std::pair<std::string, int>, const SideLyricsFile*>;

void IndexSideFiles(const std::vector<SideLyricsFile>& walked, SideFiles* files) {
  files->clear();
  for (const SideLyricsFile& f : walked) {
    std::string stem;
    Source kind = SideKind(f.name, &stem);
    // Of "a.LRC" and "a.lrc" the first in byte order, so that runs agree.
    auto key = std::make_pair(stem, static_cast<int>(kind));
    auto it = files->find(key);
    if (it == files->end() || f.name < it->second->name) (*files)[key] = &f;
  }
}

int64_t Stamp(const SideLyricsFile& f) {
  // Unsigned: the mixing wraps by design.
  return static_cast<int64_t>(static_cast<uint64_t>(f.mtime) ^
                              (static_cast<uint64_t>(f.size) * 0x9E3779B97F4A7C15u));
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
    return replace_.RunToEnd(error);
  }
  if (!had_row) return true;
  remove_.Bind(1, song_id);
  return remove_.RunToEnd(error);
}

bool IsSideLyricsFileName(const std::string& name) {
  std::string stem;
  return !name.empty() && name[0] != '.' && SideKind(name, &stem) != kTags;
}

namespace {

// Brings the side lyrics rows of one folder's songs in line with its files.
class FolderSync {
 public:
  FolderSync(sqlite::Database& db, std::string* error)
      : db_(db),
        error_(error),
        songs_(db.Prepare("SELECT s.id, s.path, l.source, l.side_stamp FROM song s "
                          "LEFT JOIN song_lyrics l ON l.song_id = s.id "
                          "WHERE s.folder_id = ? AND (l.source IS NULL OR l.source <> 0)",
                          error)),
        replace_(db.Prepare("INSERT OR REPLACE INTO song_lyrics(song_id, source, side_stamp, "
                            "text) VALUES (?, ?, ?, ?)",
                            error)),
        remove_(db.Prepare("DELETE FROM song_lyrics WHERE song_id = ?", error)) {}

  bool ok() const { return songs_.IsValid() && replace_.IsValid() && remove_.IsValid(); }

  bool Folder(int64_t folder_id, const std::vector<SideLyricsFile>& walked) {
    SideFiles files;
    IndexSideFiles(walked, &files);
    songs_.Reset();
    songs_.Bind(1, folder_id);
    int rc;
    while ((rc = songs_.Step()) == SQLITE_ROW) {
      bool had_row = sqlite3_column_type(songs_.get(), 2) != SQLITE_NULL;
      if (!Song(songs_.Int(0), songs_.Text(1), files, had_row, songs_.Int(2), songs_.Int(3)))
        return false;
    }
    return rc == SQLITE_DONE || db_.Fail(error_);
  }

  bool Remove(int64_t song_id) {
    remove_.Bind(1, song_id);
    return remove_.RunToEnd(error_);
  }

 private:
  bool Song(int64_t id, const std::string& path, const SideFiles& files, bool had_row,
            int64_t old_source, int64_t old_stamp) {
    const std::string folder = FolderOf(path);
    for (int kind : {kLrc, kTxt}) {
      auto it = files.find({StemOf(path), kind});
      if (it == files.end()) continue;
      const SideLyricsFile& side = *it->second;
      if (had_row && old_source == kind && old_stamp == Stamp(side)) return true;
      std::string text;
      if (!ReadPlainTextFile(folder + "/" + side.name, kMaxSideLyricsBytes, &text) ||
          text.empty())
        continue;
      replace_.Bind(1, id).Bind(2, kind).Bind(3, Stamp(side)).Bind(4, text);
      return replace_.RunToEnd(error_);
    }
    return !had_row || Remove(id);
  }

  sqlite::Database& db_;
  std::string* error_;
  sqlite::Statement songs_, replace_, remove_;
};

bool BelowAny(const std::string& path, const std::vector<std::string>& roots) {
  for (const std::string& root : roots)
    if (IsSameOrBelow(path, root)) return true;
  return false;
}

}  // namespace

bool SyncSideLyrics(sqlite::Database& db, const SideLyricsFolders& walked,
                    const std::vector<std::string>& unknown_roots,
                    const std::unordered_set<int64_t>* only_folders, std::string* error) {
  FolderSync sync(db, error);
  if (!sync.ok()) return false;
  for (const auto& folder : walked)
    if (!sync.Folder(folder.first, folder.second)) return false;
  // Rows whose side file is gone: their folder holds no side file any more.
  sqlite::Statement rows = db.Prepare(
      "SELECT l.song_id, s.folder_id, s.path FROM song_lyrics l "
      "JOIN song s ON s.id = l.song_id WHERE l.source <> 0",
      error);
  if (!rows.IsValid()) return false;
  std::vector<int64_t> gone;
  int rc;
  while ((rc = rows.Step()) == SQLITE_ROW) {
    if (walked.count(rows.Int(1)) != 0 || BelowAny(rows.Text(2), unknown_roots)) continue;
    if (only_folders != nullptr && only_folders->count(rows.Int(1)) == 0) continue;
    gone.push_back(rows.Int(0));
  }
  if (rc != SQLITE_DONE) return db.Fail(error);
  rows.Reset();
  for (int64_t id : gone)
    if (!sync.Remove(id)) return false;
  return true;
}

}  // namespace cantora
