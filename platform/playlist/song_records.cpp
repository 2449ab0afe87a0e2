#include "platform/playlist/song_records.h"

#include <unordered_map>

#include "platform/config/platform_db.h"

namespace cantora {
namespace {

// Every field of a song record, in the order Read() takes them.
constexpr const char* kSongColumns =
    "SELECT id, library, path, track, disc, year, title, album, artist, album_artist, genre, "
    "composer, comment, duration, bitrate, frequency, channel, filesize, covercount FROM song ";

std::string_view ColumnText(sqlite::Statement& st, int col) {
  return std::string_view(st.Text(col), static_cast<size_t>(st.Bytes(col)));
}

}  // namespace

void MediaInfoList::Append(MediaInfo* record) {
  if (record == nullptr) return;
  record->next = nullptr;
  *tail_ = record;
  tail_ = &record->next;
  ++size_;
}

MediaInfo* MediaInfoList::Release() {
  MediaInfo* head = head_;
  head_ = nullptr;
  tail_ = &head_;
  size_ = 0;
  return head;
}

SongLookup::SongLookup(int uid) : SongLookup(PlatformDatabase(), uid) {}

ReadSnapshot::ReadSnapshot(sqlite::Database* db) {
  if (db != nullptr && sqlite3_get_autocommit(db->get()) != 0 && db->Exec("BEGIN")) db_ = db;
}

ReadSnapshot::~ReadSnapshot() {
  if (db_ != nullptr) db_->Exec("COMMIT");
}

SongLookup::SongLookup(sqlite::Database* db, int uid) : uid_(uid), snapshot_(db) {
  if (db == nullptr) return;
  // A user id of 0 or less owns no personal library: -1 matches no row.
  // "+library" keeps the lookup on the id or the path, never on an index of
  // the library, which would read the whole library.
  const std::string scope = "AND +library IN (0, ?2)";
  by_path_ = db->Prepare(std::string(kSongColumns) + "WHERE path = ?1 " + scope);
  by_id_ = db->Prepare(std::string(kSongColumns) + "WHERE id = ?1 " + scope);
  if (by_path_.IsValid() && by_id_.IsValid()) db_ = db;
}

namespace {

// Path -> song id of the songs last written to a playlist by this process.
std::unordered_map<std::string, unsigned long>& RememberedPaths() {
  static std::unordered_map<std::string, unsigned long> paths;
  return paths;
}

}  // namespace

void SongLookup::RememberPaths(const MediaInfo* list) {
  std::unordered_map<std::string, unsigned long>& paths = RememberedPaths();
  paths.clear();
  for (const MediaInfo* m = list; m != nullptr; m = m->next)
    if (m->id != 0) paths.emplace(m->path, m->id);
}

MediaInfo* SongLookup::ByPath(std::string_view path) {
  if (db_ == nullptr) return nullptr;
  const std::unordered_map<std::string, unsigned long>& paths = RememberedPaths();
  if (!paths.empty()) {
    auto hint = paths.find(std::string(path));
    if (hint != paths.end()) {
      // The same song still, and one this user may see: ById checks the scope.
      MediaInfo* found = ById(hint->second);
      if (found != nullptr && path == found->path) return found;
      ZARNPlaylistRecFree(found);
    }
  }
  by_path_.Reset();
  by_path_.Bind(1, std::string(path)).Bind(2, uid_ > 0 ? uid_ : -1);
  return Read(by_path_);
}

MediaInfo* SongLookup::ById(unsigned long id) {
  if (db_ == nullptr || id == 0) return nullptr;
  by_id_.Reset();
  by_id_.Bind(1, static_cast<int64_t>(id)).Bind(2, uid_ > 0 ? uid_ : -1);
  return Read(by_id_);
}

MediaInfo* SongLookup::Read(sqlite::Statement& st) {
  if (st.Step() != SQLITE_ROW) return nullptr;
  MediaInfoTexts texts;
  texts.path = ColumnText(st, 2);
  texts.title = ColumnText(st, 6);
  texts.album = ColumnText(st, 7);
  texts.artist = ColumnText(st, 8);
  texts.album_artist = ColumnText(st, 9);
  texts.genre = ColumnText(st, 10);
  texts.composer = ColumnText(st, 11);
  texts.comment = ColumnText(st, 12);
  MediaInfo* info = records_.New(texts);
  if (info == nullptr) return nullptr;
  info->id = static_cast<unsigned long>(st.Int(0));
  info->library = static_cast<int>(st.Int(1));
  info->track = static_cast<int>(st.Int(3));
  info->disc = static_cast<int>(st.Int(4));
  info->year = static_cast<int>(st.Int(5));
  info->duration = static_cast<float>(st.Double(13));
  info->bitrate = static_cast<int>(st.Int(14));
  info->frequency = static_cast<int>(st.Int(15));
  info->channel = static_cast<int>(st.Int(16));
  info->filesize = static_cast<uint64_t>(st.Int(17));
  info->covercount = static_cast<int>(st.Int(18));
  return info;
}

MediaInfo* UnindexedEntryRecord(const PlaylistEntry& entry) {
  MediaInfoTexts texts;
  texts.path = entry.path;
  texts.title = entry.title;
  texts.artist = entry.artist;
  MediaInfo* info = NewMediaInfo(texts);
  if (info != nullptr) info->duration = entry.duration > 0 ? entry.duration : 0;
  return info;
}

MediaInfo* EntryRecord(SongLookup* lookup, const PlaylistEntry& entry) {
  MediaInfo* indexed = lookup->ByPath(entry.path);
  return indexed != nullptr ? indexed : UnindexedEntryRecord(entry);
}

}  // namespace cantora
