// The song lists' order, applied to records already read.
//
// Every song list asks for the song lists' order (SongOrder::kSongList, query.h). A
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

#include "platform/index/heap_vector.h"
#include "platform/index/media_info.h"

namespace cantora {

// The album keys of a list's songs, each stored once for a stretch of songs
// of one album (a query reads an album's songs one after another, as they
// were indexed), back to back in one buffer: no allocation a song.
class AlbumKeys {
 public:
  // The index of album_key: the last one added when it is the same.
  uint32_t Add(std::string_view album_key);
  std::string_view Album(uint32_t index) const;
  // Compares two keys as SQLite's BINARY collation does (memcmp, then the
  // shorter first); equal indexes need no comparing.
  int Compare(uint32_t a, uint32_t b) const;

 private:
  HeapVector<char> albums_;            // the album keys, back to back
  HeapVector<uint32_t> album_starts_;  // where each begins in albums_
};

class SongSorter {
 public:
  // Adds a record with its sort key as the query read it: album_key is
  // lower(album) as the index's SQL function gives it, compared byte by byte
  // as SQLite's BINARY collation does; disc and track are the integers the
  // index stores; the path is the record's.
  void Add(std::string_view album_key, int64_t disc, int64_t track, MediaInfo* record);

  // Links the records added, in order, and returns the first (null when
  // none). Ties cannot remain: paths are unique.
  MediaInfo* Sorted();

  // Adds the keys and id of every record added to keys, in the order they
  // were added, and frees the records.
  void MoveKeysTo(class SongKeys* keys);

 private:
  struct Entry {
    uint32_t album;  // in albums_
    int64_t disc;
    int64_t track;
    MediaInfo* record;
  };
  AlbumKeys albums_;
  HeapVector<Entry> entries_;
};

// The same order over song ids, for a list too long to hold its records:
// its sort keys are read first and put in order, then its records one run at
// a time. About 32 bytes a song (the album keys in AlbumKeys, the path left
// to the records).
class SongKeys {
 public:
  // Adds a song with its keys, as SongSorter::Add takes them.
  void Add(std::string_view album_key, int64_t disc, int64_t track, int64_t id);

  // Puts the songs in order of album key, disc and track. Songs equal in all
  // three (a run) are left in no particular order: their paths decide, once
  // their records are read (SortRunByPath).
  void Sort();

  size_t size() const { return keys_.size(); }
  int64_t id(size_t i) const { return keys_[i].id; }
  // The end of the run that starts at i (after Sort).
  size_t RunEnd(size_t i) const;

 private:
  struct Key {
    uint32_t album;  // in albums_
    int64_t disc;
    int64_t track;
    int64_t id;
  };
  int Compare(const Key& a, const Key& b) const;

  HeapVector<Key> keys_;
  AlbumKeys albums_;
};

// Puts records [first, last) of one run in order of path, as SongSorter
// breaks the ties of its keys.
void SortRunByPath(MediaInfo** first, MediaInfo** last);

}  // namespace cantora

#endif
