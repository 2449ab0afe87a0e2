// The entries of one folder, read at once: the names and types a
// directory read gives, looked up by name afterwards.
//
// Testing many names of one folder costs one stat each, a whole lookup in
// the kernel per name; reading the folder's entries costs a couple of
// system calls for all of them. A listing is a snapshot: what it says of a
// name is what a stat at the time of the read would have said of the
// entry's existence and kind (for file systems that report kinds; see
// Kind::kUnknown), and nothing more.
#ifndef CANTORA_PLATFORM_FILE_FOLDER_LISTING_H
#define CANTORA_PLATFORM_FILE_FOLDER_LISTING_H

#include <string>
#include <string_view>
#include <vector>

namespace cantora {

class FolderListing {
 public:
  enum class Kind {
    kAbsent,     // no entry of that name
    kRegular,    // a regular file
    kLink,       // a symbolic link (not followed)
    kOther,      // a folder, device, FIFO or socket
    kUnknown,    // the file system did not say: ask stat
  };

  // Reads the entries of the folder open for reading as folder_fd, from its
  // start (the descriptor's position moves). False when it cannot be read
  // (an O_PATH handle cannot); the listing is then empty.
  bool Read(int folder_fd);

  // What the entry called name was when the folder was read.
  Kind KindOf(std::string_view name) const;

  void Clear();

 private:
  struct Entry {
    size_t offset;  // into names_
    size_t size;
    Kind kind;
  };
  std::string_view NameOf(const Entry& e) const { return {names_.data() + e.offset, e.size}; }

  std::string names_;
  std::vector<Entry> entries_;  // sorted by name
};

}  // namespace cantora

#endif
