#include "platform/playlist/song_records.h"

#include <unordered_map>

#include "platform/config/platform_db.h"
#include "platform/index/record_reader.h"

namespace cantora {
namespace {

// Every field of a song record, in the order of the record.
const std::vector<Output>& RecordOutputs() {
  static const std::vector<Output> outputs = SongRecordOutputs();
  return outputs;
}

std::string SelectRecords() {
  return std::string("SELECT ") + SongRecordColumnList() + " FROM song ";
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
  if (db != nullptr) transaction_.emplace(db->get());
}

SongLookup::SongLookup(sqlite::Database* db, int uid) : uid_(uid), snapshot_(db) {
  if (db == nullptr) return;
  // A user id of 0 or less owns no personal library: -1 matches no row.
  // "+library" keeps the lookup on the id or the path, never on an index of
  // the library, which would read the whole library.
  const std::string scope = "AND +library IN (0, ?2)";
  by_path_ = db->Prepare(SelectRecords() + "WHERE path = ?1 " + scope);
  by_id_ = db->Prepare(SelectRecords() + "WHERE id = ?1 " + scope);
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
  return ReadRecord(st.get(), RecordOutputs(), false, &records_);
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
