// The song lists' order, applied to records already read.
//
// Every song list asks for "lower(album), disc, track, path", ascending. A
// list without paging is sorted here rather than by SQLite: SQLite's sorter
// copies every selected column of every row into its sort records, which for
// a list of thousands of songs is megabytes of memory written once and
// thrown away. Here the records themselves are put in order.
#ifndef CANTORA_PLATFORM_INDEX_SONG_ORDER_H
#define CANTORA_PLATFORM_INDEX_SONG_ORDER_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/index/media_info.h"

namespace cantora {

class SongOrder {
 public:
  // Adds a record with its sort key as the query read it: album_key is
  // lower(album) as the index's SQL function gives it, compared byte by byte
  // as SQLite's BINARY collation does; disc and track are the integers the
  // index stores; the path is the record's.
  void Add(std::string_view album_key, int64_t disc, int64_t track, MediaInfo* record);

  // Links the records added, in order, and returns the first (null when
  // none). Ties cannot remain: paths are unique.
  MediaInfo* Sorted();

 private:
  struct Entry {
    std::string album_key;
    int64_t disc;
    int64_t track;
    MediaInfo* record;
  };
  std::vector<Entry> entries_;
};

}  // namespace cantora

#endif
