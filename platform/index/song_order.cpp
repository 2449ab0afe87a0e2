#include "platform/index/song_order.h"

#include <algorithm>
#include <cstring>

namespace cantora {
namespace {

template <typename T>
int Compare(T a, T b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

}  // namespace

uint32_t AlbumKeys::Add(std::string_view album_key) {
  if (album_starts_.empty() || Album(static_cast<uint32_t>(album_starts_.size() - 1)) != album_key) {
    album_starts_.push_back(static_cast<uint32_t>(albums_.size()));
    albums_.insert(albums_.end(), album_key.begin(), album_key.end());
  }
  return static_cast<uint32_t>(album_starts_.size() - 1);
}

std::string_view AlbumKeys::Album(uint32_t index) const {
  size_t begin = album_starts_[index];
  size_t end = index + 1 < album_starts_.size() ? album_starts_[index + 1] : albums_.size();
  return std::string_view(albums_.data() + begin, end - begin);
}

int AlbumKeys::Compare(uint32_t a, uint32_t b) const {
  // string_view compares as memcmp does, then the shorter first: BINARY.
  return a == b ? 0 : Album(a).compare(Album(b));
}

void SongSorter::Add(std::string_view album_key, int64_t disc, int64_t track, MediaInfo* record) {
  entries_.push_back({albums_.Add(album_key), disc, track, record});
}

MediaInfo* SongSorter::Sorted() {
  std::sort(entries_.begin(), entries_.end(), [this](const Entry& a, const Entry& b) {
    int c = albums_.Compare(a.album, b.album);
    if (c == 0) c = Compare(a.disc, b.disc);
    if (c == 0) c = Compare(a.track, b.track);
    if (c == 0) c = std::strcmp(a.record->path, b.record->path);
    return c < 0;
  });
  MediaInfo* head = nullptr;
  for (auto it = entries_.rbegin(); it != entries_.rend(); ++it) {
    it->record->next = head;
    head = it->record;
  }
  entries_.clear();
  albums_ = AlbumKeys();
  return head;
}

void SongSorter::MoveKeysTo(SongKeys* keys) {
  for (Entry& e : entries_) {
    keys->Add(albums_.Album(e.album), e.disc, e.track, static_cast<int64_t>(e.record->id));
    e.record->next = nullptr;
    ZARNPlaylistRecFree(e.record);
  }
  entries_.clear();
  albums_ = AlbumKeys();
}

void SongKeys::Add(std::string_view album_key, int64_t disc, int64_t track, int64_t id) {
  keys_.push_back({albums_.Add(album_key), disc, track, id});
}

int SongKeys::Compare(const Key& a, const Key& b) const {
  int c = albums_.Compare(a.album, b.album);
  if (c == 0) c = cantora::Compare(a.disc, b.disc);
  if (c == 0) c = cantora::Compare(a.track, b.track);
  return c;
}

void SongKeys::Sort() {
  std::sort(keys_.begin(), keys_.end(),
            [this](const Key& a, const Key& b) { return Compare(a, b) < 0; });
}

size_t SongKeys::RunEnd(size_t i) const {
  size_t end = i + 1;
  while (end < keys_.size() && Compare(keys_[i], keys_[end]) == 0) ++end;
  return end;
}

void SortRunByPath(MediaInfo** first, MediaInfo** last) {
  std::sort(first, last,
            [](const MediaInfo* a, const MediaInfo* b) { return std::strcmp(a->path, b->path) < 0; });
}

}  // namespace cantora
