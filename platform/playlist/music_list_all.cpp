// ZARNMusicListAll: songs of a library, in random order or an order of the
// caller's.
#include <algorithm>
#include <cstring>
#include <random>

#include "platform/config/platform_db.h"
#include "platform/index/library.h"
#include "platform/index/music_browse.h"
#include "platform/playlist/playlist.h"
#include "platform/playlist/random_songs.h"
#include "platform/playlist/song_records.h"

namespace {

constexpr int kSongKind = 8;

bool IsBlank(const char* text) {
  if (text == nullptr) return true;
  for (const char* p = text; *p != '\0'; ++p)
    if (*p != ' ' && *p != '\t' && *p != '\r' && *p != '\n') return false;
  return true;
}

// The index libraries a library name reaches for uid.
std::vector<int64_t> LibrariesOf(const char* library, int uid) {
  switch (cantora::ScopeOfLibrary(library)) {
    case cantora::LibraryScope::kPersonal:
      return uid > 0 ? std::vector<int64_t>{uid} : std::vector<int64_t>{};
    case cantora::LibraryScope::kAll:
      return uid > 0 ? std::vector<int64_t>{0, uid} : std::vector<int64_t>{0};
    case cantora::LibraryScope::kShared:
      break;
  }
  return {0};
}

int RandomSongs(const char* library, int uid, int limit, MediaInfo** list) {
  sqlite::Database* db = cantora::PlatformDatabase();
  if (db == nullptr) return -1;
  cantora::ReadSnapshot snapshot(db);
  std::vector<int64_t> ids;
  size_t count = limit < 0 ? cantora::kExactScope : static_cast<size_t>(limit);
  if (!cantora::RandomSongIds(*db, LibrariesOf(library, uid), count, &ids)) return -1;
  cantora::SongLookup lookup(db, uid);
  cantora::MediaInfoList songs;
  for (int64_t id : ids) songs.Append(lookup.ById(static_cast<unsigned long>(id)));
  int n = static_cast<int>(songs.size());
  *list = songs.Release();
  return n;
}

// A condition with a random order: the matching songs, shuffled, cut at limit.
int ShuffledSongs(const char* library, int uid, const char* condition, int limit,
                  MediaInfo** list) {
  MediaInfo* all = nullptr;
  if (ZARNMusicBrowse(library, uid, 0, &all, 0, "*", condition, nullptr, nullptr, 0, -1, 0, 0) < 0)
    return -1;
  std::vector<MediaInfo*> records;
  for (MediaInfo* m = all; m != nullptr; m = m->next) records.push_back(m);
  std::shuffle(records.begin(), records.end(), std::mt19937_64{std::random_device{}()});
  size_t keep = limit < 0 ? records.size() : std::min(records.size(), static_cast<size_t>(limit));
  cantora::MediaInfoList songs;
  for (size_t i = 0; i < records.size(); ++i) {
    if (i < keep) {
      songs.Append(records[i]);
    } else {
      records[i]->next = nullptr;
      ZARNPlaylistRecFree(records[i]);
    }
  }
  *list = songs.Release();
  return static_cast<int>(keep);
}

}  // namespace

int ZARNMusicListAll(const char* library, int uid, MediaInfo** list, int kind,
                     const char* condition, const char* order, int full, int offset, int limit) {
  if (list == nullptr) return -1;
  *list = nullptr;
  if (kind != kSongKind || full != 1) return -1;
  if (order != nullptr && std::strcmp(order, "random") == 0) {
    if (IsBlank(condition)) return RandomSongs(library, uid, limit, list);
    return ShuffledSongs(library, uid, condition, limit, list);
  }
  return ZARNMusicBrowse(library, uid, 0, list, 0, "*", condition, nullptr, order, offset, limit, 0,
                         0);
}
