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

void SongOrder::Add(std::string_view album_key, int64_t disc, int64_t track, MediaInfo* record) {
  entries_.push_back({std::string(album_key), disc, track, record});
}

MediaInfo* SongOrder::Sorted() {
  // std::string compares as memcmp does, then the shorter first: BINARY.
  std::sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) {
    int c = a.album_key.compare(b.album_key);
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
  return head;
}

}  // namespace cantora
