#include "platform/playlist/smart/songs.h"

#include <syslog.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "platform/auth/account.h"
#include "platform/index/browse.h"
#include "platform/index/fragment.h"
#include "platform/index/heap_vector.h"
#include "platform/index/query.h"
#include "platform/index/record_reader.h"
#include "platform/playlist/smart/rules.h"
#include "platform/text/casefold.h"

namespace cantora {
namespace {

// The songs handed out, in order.
class SongList {
 public:
  SongList() = default;
  SongList(const SongList&) = delete;
  SongList& operator=(const SongList&) = delete;
  ~SongList() { ZARNPlaylistRecFree(head_); }

  // Takes record if a smart playlist may hand it out, else frees it.
  void Offer(MediaInfo* record) {
    record->next = nullptr;
    if (record->id == 0 || !MediaInfoIsValidUtf8(record)) {
      ZARNPlaylistRecFree(record);
      return;
    }
    *tail_ = record;
    tail_ = &record->next;
    ++count_;
  }

  // Offers every record of list, in order.
  void OfferAll(MediaInfo* list) {
    while (list != nullptr) {
      MediaInfo* next = list->next;
      Offer(list);
      list = next;
    }
  }

  int count() const { return count_; }
  MediaInfo* Release() {
    MediaInfo* head = head_;
    head_ = nullptr;
    tail_ = &head_;
    count_ = 0;
    return head;
  }

 private:
  MediaInfo* head_ = nullptr;
  MediaInfo** tail_ = &head_;
  int count_ = 0;
};

bool Full(const SmartQuery& q, const SongList& songs) {
  return q.limit >= 0 && songs.count() >= q.limit;
}

// Pages through the ordered selection until the limit is filled with songs
// that may be handed out (or the selection ends).
bool OrderedSongs(sqlite::Database& db, const SmartQuery& q, BrowseQuery b, SongList* songs) {
  b.order_by = q.order_by.get();
  int offset = 0;
  while (!Full(q, *songs)) {
    int want = q.limit < 0 ? -1 : q.limit - songs->count();
    b.offset = offset;
    b.limit = want;
    MediaInfo* list = nullptr;
    int n = MusicBrowse(db, b, &list);
    if (n < 0) return false;
    songs->OfferAll(list);
    if (want < 0 || n < want) break;
    offset += n;
  }
  return true;
}

// ---- Both libraries, merged ----
//
// SQLite walks an index in order only within one library value: with the
// shared and a personal library it sorts every match instead. So a limited
// list over both is read from each library alone, each a walk that stops at
// the limit, and the two lists are merged here by the same keys.

// How the merge reads one key of a record: a text member, or a number.
struct KeyReader {
  const char* MediaInfo::*text = nullptr;
  int64_t (*number)(const MediaInfo&) = nullptr;
  bool lowered = false;
  bool descending = false;
};

// False for a column a record does not hold exactly: the date a song was
// added (not in the record), the duration (kept there as a float).
bool ReaderOf(const SmartSortKey& key, KeyReader* reader) {
  *reader = KeyReader();
  reader->lowered = key.lowered;
  reader->descending = key.descending;
  Column column;
  if (!ColumnOfName(IndexTable::kSong, key.column, &column)) return false;
  RecordField field = SpecOf(column).field;
  reader->text = TextMember(field);
  if (reader->text == nullptr && field != RecordField::kDuration) reader->number = NumberMember(field);
  return reader->text != nullptr || reader->number != nullptr;
}

// The readers of every key; false when one cannot be read from records.
bool ReadersOf(const std::vector<SmartSortKey>& keys, std::vector<KeyReader>* readers) {
  readers->resize(keys.size());
  for (size_t i = 0; i < keys.size(); ++i)
    if (!ReaderOf(keys[i], &(*readers)[i])) return false;
  return true;
}

// A record with the values of its keys, text lowered as the index lowers it.
struct Keyed {
  MediaInfo* record;
  std::vector<std::string> texts;   // one per text key, in key order
  std::vector<int64_t> numbers;     // one per number key, in key order
};

// Unlinks the records of list, each with its keys.
std::vector<Keyed> WithKeys(MediaInfo* list, const std::vector<KeyReader>& readers) {
  std::vector<Keyed> out;
  while (list != nullptr) {
    Keyed k{list, {}, {}};
    for (const KeyReader& r : readers) {
      if (r.text != nullptr) {
        const char* text = list->*r.text;
        k.texts.push_back(r.lowered ? FoldLower(text) : std::string(text));
      } else {
        k.numbers.push_back(r.number(*list));
      }
    }
    list = list->next;
    k.record->next = nullptr;
    out.push_back(std::move(k));
  }
  return out;
}

// Whether a comes before b in the index's order (text compared byte by byte).
bool Before(const Keyed& a, const Keyed& b, const std::vector<KeyReader>& readers) {
  size_t text = 0, number = 0;
  for (const KeyReader& r : readers) {
    int c;
    if (r.text != nullptr) {
      c = a.texts[text].compare(b.texts[text]);
      ++text;
    } else {
      c = (a.numbers[number] > b.numbers[number]) - (a.numbers[number] < b.numbers[number]);
      ++number;
    }
    if (c != 0) return r.descending ? c > 0 : c < 0;
  }
  return false;
}

bool MergedSongs(sqlite::Database& db, const SmartQuery& q, const std::vector<KeyReader>& readers,
                 BrowseQuery b, SongList* songs) {
  SongList shared, personal;
  b.library = "shared";
  if (!OrderedSongs(db, q, b, &shared)) return false;
  b.library = "personal";
  if (!OrderedSongs(db, q, b, &personal)) return false;
  std::vector<Keyed> x = WithKeys(shared.Release(), readers);
  std::vector<Keyed> y = WithKeys(personal.Release(), readers);
  size_t i = 0, j = 0;
  while (i < x.size() || j < y.size()) {
    bool from_x = j == y.size() || (i < x.size() && !Before(y[j], x[i], readers));
    MediaInfo* next = from_x ? x[i++].record : y[j++].record;
    if (Full(q, *songs)) {
      ZARNPlaylistRecFree(next);
    } else {
      songs->Offer(next);
    }
  }
  return true;
}

// Bound parameters of one read of records by id; SQLite allows far more.
constexpr size_t kIdsPerRead = 500;

// A random order of the selection's ids: an id's place is a keyed mix of
// the id (a bijection of 64-bit numbers), so that no two ids share a place
// and one random key orders the whole selection, without holding it.
uint64_t PlaceOf(uint64_t key, int64_t id) {
  uint64_t x = static_cast<uint64_t>(id) + key;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
  return x ^ (x >> 31);
}

struct Placed {
  uint64_t place;
  int64_t id;
  bool operator<(const Placed& other) const { return place < other.place; }
};

// The `keep` ids of the selection placed first after `after` (all ids when
// first), in order of place; false when the query fails. The ids are read,
// not the records, and only `keep` of them are held: the selection may be
// the whole library.
bool FirstPlaced(sqlite::Database& db, const BrowseQuery& b, uint64_t key, bool first,
                 uint64_t after, size_t keep, HeapVector<Placed>* out) {
  out->clear();
  const bool all = keep == static_cast<size_t>(-1);
  int n = MusicBrowseIds(db, b, [&](int64_t id) {
    Placed p{PlaceOf(key, id), id};
    if (!first && p.place <= after) return;
    if (all || out->size() < keep) {
      out->push_back(p);
      if (!all) std::push_heap(out->begin(), out->end());
    } else if (p < out->front()) {
      std::pop_heap(out->begin(), out->end());
      out->back() = p;
      std::push_heap(out->begin(), out->end());
    }
  });
  if (n < 0) return false;
  if (all) {
    std::sort(out->begin(), out->end());
  } else {
    std::sort_heap(out->begin(), out->end());
  }
  return true;
}

// Offers the records of ids [first, end), in that order, until the limit is
// filled.
bool OfferByIds(sqlite::Database& db, const SmartQuery& q, BrowseQuery b, const Placed* first,
                const Placed* end, HeapVector<int64_t>* ids, HeapVector<MediaInfo*>* by_id,
                SongList* songs) {
  ids->clear();
  for (const Placed* p = first; p != end; ++p) ids->push_back(p->id);
  // The ids were chosen from the selection: they alone decide.
  ExprPtr chosen = query::IdIn(ids->data(), ids->size());
  b.columns = "*";
  b.where = chosen.get();
  MediaInfo* list = nullptr;
  if (MusicBrowse(db, b, &list) < 0) return false;
  // Unlinked first, so that each record is offered or freed on its own.
  by_id->clear();
  while (list != nullptr) {
    by_id->push_back(list);
    list = list->next;
    by_id->back()->next = nullptr;
  }
  auto less = [](const MediaInfo* a, const MediaInfo* b) { return a->id < b->id; };
  std::sort(by_id->begin(), by_id->end(), less);
  MediaInfo probe{};
  for (const Placed* p = first; p != end; ++p) {
    probe.id = static_cast<unsigned long>(p->id);
    auto found = std::lower_bound(by_id->begin(), by_id->end(), &probe, less);
    // Not found: removed from the index meanwhile.
    if (found == by_id->end() || (*found)->id != probe.id) continue;
    // Taken out of by_id: ids are distinct, and what is left is freed below.
    MediaInfo* record = *found;
    by_id->erase(found);
    if (Full(q, *songs)) {
      ZARNPlaylistRecFree(record);
    } else {
      songs->Offer(record);
    }
  }
  for (MediaInfo* record : *by_id) ZARNPlaylistRecFree(record);
  return true;
}

// The selection in a random order, until the limit is filled: the ids
// placed first (a few more than the limit asks), then their records, a few
// hundred at a time; when songs had to be left out, the ids placed next.
// Neither the selection's records nor all its ids are held for a limited
// playlist: a playlist of fifty costs the same memory in any library.
bool RandomSongs(sqlite::Database& db, const SmartQuery& q, const BrowseQuery& b,
                 SongList* songs) {
  std::random_device random;
  const uint64_t key = (static_cast<uint64_t>(random()) << 32) ^ random();
  HeapVector<Placed> placed;
  HeapVector<MediaInfo*> by_id;
  HeapVector<int64_t> ids;
  bool first = true;
  uint64_t after = 0;
  while (!Full(q, *songs)) {
    size_t keep = static_cast<size_t>(-1);
    if (q.limit >= 0) {
      size_t wanted = static_cast<size_t>(q.limit - songs->count());
      keep = wanted + wanted / 8 + 8;  // room for a few songs left out
    }
    if (!FirstPlaced(db, b, key, first, after, keep, &placed)) return false;
    for (size_t at = 0; at < placed.size() && !Full(q, *songs);) {
      size_t n = kIdsPerRead;
      if (q.limit >= 0) n = std::min(n, static_cast<size_t>(q.limit - songs->count()));
      size_t end = std::min(placed.size(), at + n);
      if (!OfferByIds(db, q, b, placed.data() + at, placed.data() + end, &ids, &by_id,
                      songs)) {
        return false;
      }
      at = end;
    }
    if (placed.size() < keep) break;  // the selection has no more
    first = false;
    after = placed.back().place;
  }
  return true;
}

}  // namespace

int SelectSmartPlaylistSongs(sqlite::Database& db, int uid, std::string_view rules,
                             const char* library, time_t now, MediaInfo** head,
                             std::string* error) {
  *head = nullptr;
  if (IsBlankFragment(rules)) return 0;
  SmartPlaylist playlist;
  if (!ParseSmartPlaylist(rules, &playlist, error)) return -1;
  SmartQuery q = CompileSmartPlaylist(playlist, now);

  BrowseQuery b;
  bool personal = library != nullptr && std::strcmp(library, "actual") == 0 && uid > 0 &&
                  IsPersonalLibraryOn(db, uid);
  b.library = personal ? "all" : "shared";
  b.uid = uid;
  b.columns = "*";
  b.where = q.where.get();
  SongList songs;
  std::vector<KeyReader> readers;
  bool merge = personal && q.limit >= 0 && ReadersOf(q.keys, &readers);
  bool ok = q.random ? RandomSongs(db, q, b, &songs)
            : merge  ? MergedSongs(db, q, readers, b, &songs)
                     : OrderedSongs(db, q, b, &songs);
  if (!ok) {
    *error = "smart playlist \"" + playlist.name + "\": the music index refused the query";
    return -1;
  }
  int count = songs.count();
  *head = songs.Release();
  return count;
}

}  // namespace cantora

MediaInfo* ZARNPlaylistSmartListSongs(int uid, MediaInfo** list, int, const char* rules,
                                      int* count, int, int, const char* library) {
  MediaInfo* head = nullptr;
  int n = -1;
  sqlite::Database* db = cantora::IndexDatabase();
  if (db == nullptr) {
    syslog(LOG_ERR, "smart playlist: the music index cannot be opened");
  } else {
    std::string error;
    n = cantora::SelectSmartPlaylistSongs(*db, uid, rules != nullptr ? rules : "", library,
                                          time(nullptr), &head, &error);
    if (n < 0) syslog(LOG_ERR, "%s", error.c_str());
  }
  if (list != nullptr) *list = head;
  if (count != nullptr) *count = n;
  return head;
}
