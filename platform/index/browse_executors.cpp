#include "platform/index/browse_executors.h"

#include <optional>

#include "platform/index/confinement.h"
#include "platform/index/heap_vector.h"
#include "platform/index/record_reader.h"
#include "platform/index/song_order.h"
#include "platform/index/song_walk.h"

namespace cantora {
namespace {

MediaInfo* ReadRecord(sqlite3_stmt* stmt, const Plan& plan, MediaInfoAllocator* records) {
  return ReadRecord(stmt, plan.outputs, plan.folders, records);
}

// Prepares the plan's statement under the confinement and hands each row
// to row until it returns false. SQLITE_DONE when every row was read or row
// stopped, else the failing code.
template <typename RowFn>
int StepRows(sqlite::Database& db, const Plan& plan, RowFn&& row) {
  Confinement confinement(db, plan.UsesTrigrams());
  sqlite::Statement stmt;
  if (!PrepareConfined(db, plan.statement, &stmt)) return SQLITE_ERROR;
  int rc;
  while ((rc = stmt.Step()) == SQLITE_ROW) {
    if (!row(stmt.get())) return SQLITE_DONE;
  }
  return rc;
}

// Records read under the confinement and not yet handed out.
constexpr size_t kBatchRecords = 256;

class RecordBatch {
 public:
  RecordBatch() {
    records_.reserve(kBatchRecords);
    allocator_.emplace();
  }
  ~RecordBatch() { Clear(); }
  RecordBatch(const RecordBatch&) = delete;
  RecordBatch& operator=(const RecordBatch&) = delete;

  bool full() const { return records_.size() >= kBatchRecords; }
  size_t size() const { return records_.size(); }
  // Reads the statement's row; false when memory runs out.
  bool Add(sqlite3_stmt* stmt, const Plan& plan) {
    MediaInfo* info = ReadRecord(stmt, plan, &*allocator_);
    if (info != nullptr) records_.push_back(info);
    return info != nullptr;
  }
  MediaInfo** at(size_t i) { return records_.data() + i; }

  // Hands the records to each, in order, and frees them; false when each
  // stopped. *handed counts the records handed out.
  bool HandOut(const RecordSink& each, int* handed) {
    // Linked in the order handed out, as a list's records are: a sink may
    // look at what follows (the song file test does, to choose its way).
    for (size_t i = 0; i + 1 < records_.size(); ++i) records_[i]->next = records_[i + 1];
    bool go_on = true;
    for (MediaInfo* info : records_) {
      if (!go_on) break;
      ++*handed;
      go_on = each(*info);
    }
    Clear();
    return go_on;
  }

 private:
  void Clear() {
    for (MediaInfo* info : records_) {
      info->next = nullptr;
      ZARNPlaylistRecFree(info);
    }
    records_.clear();
    // A new allocator for the next batch: the blocks of this one go back
    // with its last record, and the next starts again with small ones.
    allocator_.emplace();
  }
  // Records are unlinked (next is null), so each is freed alone.
  std::optional<MediaInfoAllocator> allocator_;
  HeapVector<MediaInfo*> records_;
};

// A whole song list of up to this many songs is read in one pass and its
// records sorted (SongSorter), the fastest way; a longer one keeps only the
// keys of its songs (SongKeys) and reads the records again by id, so that
// a genre of a fifth of the library holds a few megabytes, not hundreds.
constexpr int kHeldRecords = 8192;

}  // namespace

int ListRows(sqlite::Database& db, const Plan& plan, MediaInfo** head) {
  MediaInfo** link = head;
  MediaInfoAllocator records;
  SongSorter order;
  const bool sort = plan.shape == Shape::kSortKeys;
  const int key = static_cast<int>(plan.outputs.size());  // the sort key's first column
  int count = 0;
  bool no_memory = false;
  int rc = StepRows(db, plan, [&](sqlite3_stmt* raw) {
    MediaInfo* info = ReadRecord(raw, plan, &records);
    if (info == nullptr) {
      no_memory = true;
      return false;
    }
    if (sort) {
      order.Add(TextColumn(raw, key), sqlite3_column_int64(raw, key + 1),
                sqlite3_column_int64(raw, key + 2), info);
    } else {
      *link = info;
      link = &info->next;
    }
    ++count;
    return true;
  });
  if (sort) *head = order.Sorted();
  if (rc != SQLITE_DONE || no_memory) {
    ZARNPlaylistRecFree(*head);
    *head = nullptr;
    return -1;
  }
  return count;
}

int EachRow(sqlite::Database& db, const Plan& plan, const RecordSink& each) {
  sqlite::Statement stmt;
  {
    Confinement confinement(db, plan.UsesTrigrams());
    if (!PrepareConfined(db, plan.statement, &stmt)) return -1;
  }
  int handed = 0;
  RecordBatch batch;
  for (;;) {
    int rc;
    {
      Confinement confinement(db, plan.UsesTrigrams());
      while ((rc = stmt.Step()) == SQLITE_ROW) {
        if (!batch.Add(stmt.get(), plan)) return -1;
        if (batch.full()) break;
      }
    }
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) return -1;
    if (!batch.HandOut(each, &handed) || rc == SQLITE_DONE) return handed;
  }
}

int EachInSongOrder(sqlite::Database& db, const BrowseQuery& q, const Fragments& f,
                    const Plan& plan, const RecordSink& each) {
  MediaInfoAllocator records;
  SongSorter held;
  SongKeys keys;
  const int key = static_cast<int>(plan.outputs.size());  // the sort key's first column
  int count = 0;
  bool no_memory = false;
  int rc = StepRows(db, plan, [&](sqlite3_stmt* raw) {
    std::string_view album = TextColumn(raw, key);
    int64_t disc = sqlite3_column_int64(raw, key + 1);
    int64_t track = sqlite3_column_int64(raw, key + 2);
    if (count < kHeldRecords) {
      MediaInfo* info = ReadRecord(raw, plan, &records);
      if (info == nullptr) {
        no_memory = true;
        return false;
      }
      held.Add(album, disc, track, info);
    } else {
      if (count == kHeldRecords) held.MoveKeysTo(&keys);
      keys.Add(album, disc, track, sqlite3_column_int64(raw, 0));
    }
    ++count;
    return true;
  });
  MediaInfo* list = held.Sorted();
  if (rc != SQLITE_DONE || no_memory) {
    ZARNPlaylistRecFree(list);
    return -1;
  }
  if (count <= kHeldRecords) {
    int handed = 0;
    for (const MediaInfo* info = list; info != nullptr; info = info->next) {
      ++handed;
      if (!each(*info)) break;
    }
    ZARNPlaylistRecFree(list);
    return handed;
  }
  keys.Sort();

  // The scope and condition are asked again of each song: the same rows in
  // this transaction, and no more whatever the ids.
  Plan probe = ProbePlan(q, f);
  sqlite::Statement stmt;
  {
    Confinement confinement(db, false);
    if (!PrepareConfined(db, probe.statement, &stmt)) return -1;
  }
  int handed = 0;
  RecordBatch batch;
  for (size_t next = 0; next < keys.size();) {
    {
      Confinement confinement(db, false);
      while (next < keys.size() && !batch.full()) {
        size_t run = batch.size();
        size_t end = keys.RunEnd(next);
        for (; next < end; ++next) {
          stmt.Rewind();
          stmt.Bind(1, keys.id(next));
          rc = stmt.Step();
          if (rc == SQLITE_DONE) continue;
          if (rc != SQLITE_ROW || !batch.Add(stmt.get(), probe)) return -1;
        }
        if (batch.size() - run > 1) SortRunByPath(batch.at(run), batch.at(batch.size()));
      }
    }
    if (!batch.HandOut(each, &handed)) return handed;
  }
  return handed;
}

namespace {

constexpr int kNoSongWalk = -2;

// The first matches of a limited song list of one library, along its song
// walk: each id in order is tested against the candidates, and only those
// are read. kNoSongWalk when the library has no walk.
int ListAlongSongWalk(sqlite::Database& db, const BrowseQuery& q, const Fragments& f,
                      const Candidates& candidates, MediaInfo** head) {
  Plan plan = ProbePlan(q, f);
  Confinement confinement(db, false);
  sqlite::Statement stmt;
  if (!PrepareConfined(db, plan.statement, &stmt)) return -1;
  // Opened before the first song is read and kept running: the walk and the
  // rows are read in one transaction.
  SongWalkReader walk(db, f.libraries[0]);
  if (!walk.available()) return walk.failed() ? -1 : kNoSongWalk;
  MediaInfo** link = head;
  MediaInfoAllocator records;
  auto fail = [head]() {
    ZARNPlaylistRecFree(*head);
    *head = nullptr;
    return -1;
  };
  const int offset = q.offset < 0 ? 0 : q.offset;
  int skipped = 0, count = 0;
  int64_t id;
  while (count < q.limit && walk.Next(&id)) {
    if (!candidates.Contains(id)) continue;
    stmt.Rewind();
    stmt.Bind(1, id);
    int rc = stmt.Step();
    if (rc == SQLITE_DONE) continue;
    if (rc != SQLITE_ROW) return fail();
    if (skipped < offset) {
      ++skipped;
      continue;
    }
    MediaInfo* info = ReadRecord(stmt.get(), plan, &records);
    if (info == nullptr) return fail();
    *link = info;
    link = &info->next;
    ++count;
  }
  if (walk.failed()) return fail();
  return count;
}

}  // namespace

int ListWalkingOrder(sqlite::Database& db, const BrowseQuery& q, const Fragments& f,
                     const Candidates& candidates, MediaInfo** head) {
  int walked = ListAlongSongWalk(db, q, f, candidates, head);
  if (walked != kNoSongWalk) return walked;
  CandidateFunction function(db.get(), &candidates);
  if (!function.ok()) return -1;
  return ListRows(db, IndexWalkPlan(q, f), head);
}

int EachRowId(sqlite::Database& db, const Plan& plan, const std::function<void(int64_t)>& each) {
  int count = 0;
  int rc = StepRows(db, plan, [&](sqlite3_stmt* raw) {
    each(sqlite3_column_int64(raw, 0));
    ++count;
    return true;
  });
  return rc == SQLITE_DONE ? count : -1;
}

int EachRowText(sqlite::Database& db, const Plan& plan, RecordField field, const TextSink& each) {
  // The last output that fills field is the one a record keeps.
  int column = -1;
  for (size_t i = 0; i < plan.outputs.size(); ++i)
    if (plan.outputs[i].field == field) column = static_cast<int>(i);
  int count = 0;
  int rc = StepRows(db, plan, [&](sqlite3_stmt* raw) {
    std::string_view text = column < 0 ? std::string_view("") : TextColumn(raw, column);
    each(text.substr(0, text.find('\0')));
    ++count;
    return true;
  });
  return rc == SQLITE_DONE ? count : -1;
}

}  // namespace cantora
