#include "platform/index/song_walk.h"

#include "platform/index/query.h"

namespace cantora {
namespace {

constexpr size_t kIdsPerChunk = 4096;
constexpr size_t kIdBytes = 8;

void PutId(int64_t id, std::string* out) {
  uint64_t v = static_cast<uint64_t>(id);
  for (size_t i = 0; i < kIdBytes; ++i) out->push_back(static_cast<char>(v >> (8 * i) & 0xFF));
}

int64_t GetId(const unsigned char* p) {
  uint64_t v = 0;
  for (size_t i = 0; i < kIdBytes; ++i) v |= static_cast<uint64_t>(p[i]) << (8 * i);
  return static_cast<int64_t>(v);
}

bool Failed(sqlite::Database& db, std::string* error) {
  *error = db.ErrorMessage();
  return false;
}

}  // namespace

bool RebuildSongWalk(sqlite::Database& db, std::string* error) {
  if (!db.Exec("DELETE FROM song_walk", error)) return false;
  // The order of the song_order index, read from the index alone.
  sqlite::Statement songs = db.Prepare(
      std::string("SELECT library, id FROM song INDEXED BY song_order ORDER BY library, ") +
          kSongListOrderColumns,
      error);
  sqlite::Statement insert =
      db.Prepare("INSERT INTO song_walk(library, chunk, ids) VALUES (?, ?, ?)", error);
  if (!songs.IsValid() || !insert.IsValid()) return false;
  int64_t library = 0, chunk = 0;
  std::string ids;
  auto flush = [&]() {
    if (ids.empty()) return true;
    insert.Bind(1, library).Bind(2, chunk).BindBlob(3, ids.data(), ids.size());
    bool ok = insert.Step() == SQLITE_DONE;
    insert.Reset();
    ids.clear();
    ++chunk;
    return ok || Failed(db, error);
  };
  int rc;
  while ((rc = songs.Step()) == SQLITE_ROW) {
    int64_t song_library = songs.Int(0);
    if (song_library != library || ids.size() == kIdsPerChunk * kIdBytes) {
      if (!flush()) return false;
      if (song_library != library) chunk = 0;
      library = song_library;
    }
    PutId(songs.Int(1), &ids);
  }
  if (rc != SQLITE_DONE) return Failed(db, error);
  return flush();
}

bool SongWalkMissing(sqlite::Database& db, const std::vector<int64_t>& libraries, bool* missing,
                     std::string* error) {
  *missing = false;
  sqlite::Statement st = db.Prepare(
      "SELECT EXISTS (SELECT 1 FROM song WHERE library = ?1) AND "
      "NOT EXISTS (SELECT 1 FROM song_walk WHERE library = ?1)",
      error);
  if (!st.IsValid()) return false;
  for (int64_t library : libraries) {
    st.Reset();
    st.Bind(1, library);
    if (st.Step() != SQLITE_ROW) return Failed(db, error);
    if (st.Int(0) != 0) *missing = true;
  }
  return true;
}

SongWalkReader::SongWalkReader(sqlite::Database& db, int64_t library)
    : chunks_(db.Prepare("SELECT ids FROM song_walk WHERE library = ? ORDER BY chunk")) {
  // An index made before the walk was kept has no table for it yet: no walk.
  if (!chunks_.IsValid()) return;
  chunks_.Bind(1, library);
  available_ = NextChunk();
}

bool SongWalkReader::NextChunk() {
  int rc = chunks_.Step();
  if (rc != SQLITE_ROW) {
    failed_ = rc != SQLITE_DONE;
    left_ = 0;
    return false;
  }
  data_ = static_cast<const unsigned char*>(sqlite3_column_blob(chunks_.get(), 0));
  size_t bytes = static_cast<size_t>(sqlite3_column_bytes(chunks_.get(), 0));
  if (data_ == nullptr || bytes == 0 || bytes % kIdBytes != 0) {
    failed_ = true;
    left_ = 0;
    return false;
  }
  left_ = bytes / kIdBytes;
  return true;
}

bool SongWalkReader::Next(int64_t* id) {
  if (left_ == 0 && (failed_ || !NextChunk())) return false;
  *id = GetId(data_);
  data_ += kIdBytes;
  --left_;
  return true;
}

}  // namespace cantora
