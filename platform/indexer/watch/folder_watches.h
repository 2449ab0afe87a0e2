// The inotify watches of the libraries' folders. inotify reports the
// entries of a watched folder, not of the folders below it, so every folder
// has a watch of its own: 25,000 folders are 25,000 watches (about 1 KiB of
// kernel memory each, and a path here). Folders are found as the indexer's
// walk finds them: names beginning with '.' and links are skipped.
//
// The kernel caps the watches of a user (fs.inotify.max_user_watches); a
// cap of the project's own (the tests') may be lower. A folder that cannot
// be watched for that reason is remembered, with everything below it, for
// the watcher's periodic scan.
#ifndef CANTORA_PLATFORM_INDEXER_WATCH_FOLDER_WATCHES_H
#define CANTORA_PLATFORM_INDEXER_WATCH_FOLDER_WATCHES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

namespace cantora {

class FolderWatches {
 public:
  // limit: at most this many watches (0: as many as the kernel allows).
  explicit FolderWatches(size_t limit);
  ~FolderWatches();
  FolderWatches(const FolderWatches&) = delete;
  FolderWatches& operator=(const FolderWatches&) = delete;

  // The inotify descriptor (non-blocking), -1 when inotify is unavailable.
  int fd() const { return fd_; }

  // Watches path and every folder below it. A folder already watched keeps
  // its watch (under its present path).
  void AddTree(const std::string& path);
  // Drops the watches at and below path, and forgets unwatched folders there.
  void RemoveTree(const std::string& path);
  // The kernel dropped wd (IN_IGNORED: its folder is gone).
  void Dropped(int wd);
  // The folder of a watch; null when unknown.
  const std::string* PathOf(int wd) const;

  size_t size() const { return by_wd_.size(); }
  // The top-most folders left unwatched for lack of watches, and how many
  // folders lie in them (themselves included).
  const std::vector<std::string>& unwatched() const { return unwatched_; }
  size_t unwatched_folders() const { return unwatched_folders_; }
  // Tries them again (the limit may have been raised).
  void RetryUnwatched();
  // The kernel's limit, as /proc says (0 when unknown).
  static size_t KernelLimit();

 private:
  // Watches one folder: 1 done, 0 out of watches, -1 another failure.
  int Watch(const std::string& path);

  int fd_ = -1;
  size_t limit_;
  std::unordered_map<int, std::string> by_wd_;
  std::map<std::string, int> by_path_;
  std::vector<std::string> unwatched_;
  size_t unwatched_folders_ = 0;
};

}  // namespace cantora

#endif
