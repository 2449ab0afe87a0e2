#include "platform/playlist/smart/songs.h"

#include <syslog.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <unordered_map>
#include <vector>

#include "platform/auth/account.h"
#include "platform/index/browse.h"
#include "platform/index/fragment.h"
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
  b.order = q.order.c_str();
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
  static const struct {
    const char* column;
    const char* MediaInfo::*member;
  } kTexts[] = {{"title", &MediaInfo::title},     {"artist", &MediaInfo::artist},
                {"album", &MediaInfo::album},     {"album_artist", &MediaInfo::album_artist},
                {"genre", &MediaInfo::genre},     {"composer", &MediaInfo::composer},
                {"comment", &MediaInfo::comment}, {"path", &MediaInfo::path}};
  static const struct {
    const char* column;
    int64_t (*get)(const MediaInfo&);
  } kNumbers[] = {
      {"id", [](const MediaInfo& m) { return static_cast<int64_t>(m.id); }},
      {"year", [](const MediaInfo& m) { return static_cast<int64_t>(m.year); }},
      {"track", [](const MediaInfo& m) { return static_cast<int64_t>(m.track); }},
      {"disc", [](const MediaInfo& m) { return static_cast<int64_t>(m.disc); }},
      {"bitrate", [](const MediaInfo& m) { return static_cast<int64_t>(m.bitrate); }},
      {"filesize", [](const MediaInfo& m) { return static_cast<int64_t>(m.filesize); }},
      {"covercount", [](const MediaInfo& m) { return static_cast<int64_t>(m.covercount); }}};
  *reader = KeyReader();
  reader->lowered = key.lowered;
  reader->descending = key.descending;
  for (const auto& t : kTexts)
    if (std::strcmp(key.column, t.column) == 0) reader->text = t.member;
  for (const auto& n : kNumbers)
    if (std::strcmp(key.column, n.column) == 0) reader->number = n.get;
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

// The ids of the selection, shuffled; then their records, read a few hundred
// at a time, until the limit is filled: reading every record first would
// cost a whole library's worth for a playlist of fifty.
bool RandomSongs(sqlite::Database& db, const SmartQuery& q, BrowseQuery b, SongList* songs) {
  b.columns = "id";
  MediaInfo* list = nullptr;
  if (MusicBrowse(db, b, &list) < 0) return false;
  std::vector<unsigned long> ids;
  for (const MediaInfo* r = list; r != nullptr; r = r->next) ids.push_back(r->id);
  ZARNPlaylistRecFree(list);
  std::shuffle(ids.begin(), ids.end(), std::mt19937_64(std::random_device()()));

  b.columns = "*";
  b.condition = nullptr;
  for (size_t first = 0; first < ids.size() && !Full(q, *songs); first += kIdsPerRead) {
    size_t end = std::min(ids.size(), first + kIdsPerRead);
    std::string condition = "id in (";
    for (size_t i = first; i < end; ++i) {
      if (i > first) condition += ", ";
      condition += std::to_string(ids[i]);
    }
    condition += ')';
    b.condition = condition.c_str();
    if (MusicBrowse(db, b, &list) < 0) return false;
    std::unordered_map<unsigned long, MediaInfo*> by_id;
    for (MediaInfo* r = list; r != nullptr; r = r->next) by_id[r->id] = r;
    // Unlinked first, so that each record is offered or freed on its own.
    for (auto& entry : by_id) entry.second->next = nullptr;
    for (size_t i = first; i < end; ++i) {
      auto found = by_id.find(ids[i]);
      if (found == by_id.end()) continue;  // removed from the index meanwhile
      MediaInfo* record = found->second;
      by_id.erase(found);
      if (Full(q, *songs)) {
        ZARNPlaylistRecFree(record);
      } else {
        songs->Offer(record);
      }
    }
    for (auto& entry : by_id) ZARNPlaylistRecFree(entry.second);
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
  b.condition = q.condition.empty() ? nullptr : q.condition.c_str();
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
