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
  if (!(q.random ? RandomSongs(db, q, b, &songs) : OrderedSongs(db, q, b, &songs))) {
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
