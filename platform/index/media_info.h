// MediaInfo: one record of the music index (a song, or a folder for the
// folder browse), delivered as a singly linked list.
//
// Each record is the struct followed by its texts, so a record costs what its
// text costs and a long list stays small. The text fields point into the
// record and are never null (absent text is ""). A list is freed with
// ZARNPlaylistRecFree, which frees each record, whatever made it.
#ifndef CANTORA_PLATFORM_INDEX_MEDIA_INFO_H
#define CANTORA_PLATFORM_INDEX_MEDIA_INFO_H

#include <cstdint>
#include <string_view>

struct MediaInfo {
  unsigned long id;
  const char* path;
  int track;
  int disc;
  int year;
  const char* title;
  const char* album;
  const char* artist;
  const char* album_artist;
  const char* genre;
  const char* composer;
  const char* comment;
  float duration;
  int bitrate;
  int frequency;
  int channel;
  uint64_t filesize;
  int covercount;
  // The library the record belongs to: 0 for the shared libraries, else the
  // user id of the personal library's owner.
  int library;
  MediaInfo* next;
};

// Frees every record of the list; null is allowed.
void ZARNPlaylistRecFree(MediaInfo* head);

// True when info is not null and its album, artist, title and genre, tested
// in that order, are all valid UTF-8 (TryUTF8ToUTF16). Logs nothing.
bool MediaInfoIsValidUtf8(const MediaInfo* info);

namespace cantora {

// The texts of a new record, in the order of the struct.
struct MediaInfoTexts {
  std::string_view path;
  std::string_view title;
  std::string_view album;
  std::string_view artist;
  std::string_view album_artist;
  std::string_view genre;
  std::string_view composer;
  std::string_view comment;
};

// A new record holding copies of texts (each cut at an embedded NUL, as C
// readers would see it), all numbers 0 and next null. Null when memory runs out.
MediaInfo* NewMediaInfo(const MediaInfoTexts& texts);

// Makes the records of one long list, packed into shared blocks. A block is
// given back when the last of its records is freed and its allocator is
// gone. After the first few small blocks, blocks are 2 MiB regions that ask
// for huge pages: on a virtual machine a page fault costs about 10 us, and
// a list of thousands of songs would otherwise take one for every 4 KiB it
// fills, more time than reading the songs.
class MediaInfoAllocator {
 public:
  MediaInfoAllocator() = default;
  ~MediaInfoAllocator();
  MediaInfoAllocator(const MediaInfoAllocator&) = delete;
  MediaInfoAllocator& operator=(const MediaInfoAllocator&) = delete;

  // As NewMediaInfo.
  MediaInfo* New(const MediaInfoTexts& texts);

  struct Block;

 private:
  Block* current_ = nullptr;
  size_t allocated_ = 0;  // bytes of every block taken so far
};

// A process that answers many requests keeps up to count of the 2 MiB
// blocks that lists give back, and hands them to the next lists before
// mapping new ones: their pages are in place, where a new mapping costs a
// fault and the zeroing of a huge page each. A block is reused as it is
// (a record never reads what a slot held before), and what is kept is at
// most count blocks whatever the number of requests. By default (0) every
// block is unmapped when its last record goes. Not thread-safe: for a
// process whose lists are made by one thread.
void KeepFreedRecordBlocks(int count);

}  // namespace cantora

#endif
