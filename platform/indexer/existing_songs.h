// The songs an index run finds in the index before it walks the libraries,
// by path: what the walk's files are matched against.
//
// An unchanged run of a large library loads a million of them and looks
// each up once, so the table is flat: the songs in one array, the paths in
// large blocks, a power-of-two array of slots probed in order. Its memory is
// asked for in few, large pieces, mapped in up front: a first touch of a
// page is a fault of about 11 us on the virtual machines this runs on.
#ifndef CANTORA_PLATFORM_INDEXER_EXISTING_SONGS_H
#define CANTORA_PLATFORM_INDEXER_EXISTING_SONGS_H

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace cantora {

struct ExistingSong {
  int64_t id = 0;
  int64_t library = 0;
  int64_t folder_id = 0;
  int64_t mtime = 0;
  int64_t filesize = 0;
  int64_t create_date = 0;
  bool seen = false;
  // Found but no longer readable: the row goes, counted as failed, not removed.
  bool unreadable = false;
};

class ExistingSongs {
 public:
  struct Entry {
    std::string_view path;  // into the table's own blocks
    ExistingSong song;
  };

  // Makes room for n songs; adding more still works.
  void Reserve(size_t n);
  // The song of path, added (zeroed) when it is not there yet. Adding may
  // move the songs: pointers are good from the last Add on.
  ExistingSong& Add(std::string_view path);
  // The song of path, or null.
  ExistingSong* Find(std::string_view path);

  size_t size() const { return entries_.size(); }
  std::vector<Entry>::iterator begin() { return entries_.begin(); }
  std::vector<Entry>::iterator end() { return entries_.end(); }

 private:
  // The slot that holds path, or the empty slot where it would go.
  uint32_t& SlotOf(std::string_view path);
  void Rehash(size_t slots);
  std::string_view Keep(std::string_view path);

  std::vector<Entry> entries_;
  std::vector<uint32_t> slots_;  // 0 empty, else an index into entries_ plus one
  std::vector<std::unique_ptr<char[]>> blocks_;
  char* next_ = nullptr;
  size_t left_ = 0;
};

}  // namespace cantora

#endif
