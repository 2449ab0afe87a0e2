#include "platform/index/scan/tree_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <utility>
#include <cerrno>
#include <cstring>

#include "platform/index/indexed_folder.h"
#include "platform/index/scan/song_lyrics.h"
#include "platform/index/scan/tag_reader.h"
#include "platform/playlist/store.h"

namespace cantora {
namespace {

bool IsImageName(const std::string& name) {
  size_t dot = name.rfind('.');
  if (dot == std::string::npos) return false;
  std::string ext = name.substr(dot + 1);
  for (char& c : ext)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return ext == "jpg" || ext == "jpeg" || ext == "png";
}

int64_t NanoTime(const struct stat& st) {
  return static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
}

struct Entry {
  std::string name;
  unsigned char type;
};

class Walker {
 public:
  Walker(LibraryTree* tree, std::string real_root, std::vector<std::string>* warnings)
      : tree_(tree), real_root_(std::move(real_root)), warnings_(warnings) {}

  // Walks the folder open as fd (taken over), whose record is folders[index].
  // Returns whether audio lies in it or below.
  bool Visit(int fd, int index) {
    DIR* dir = fdopendir(fd);
    if (dir == nullptr) {
      close(fd);
      return false;
    }
    std::vector<Entry> entries;
    while (dirent* d = readdir(dir)) {
      if (d->d_name[0] == '.') continue;
      entries.push_back({d->d_name, d->d_type});
    }
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    bool audio = false;
    int covers = 0;
    for (const Entry& e : entries) {
      unsigned char type = e.type;
      struct stat st;
      bool have_stat = false;
      if (type == DT_UNKNOWN) {
        if (fstatat(dirfd(dir), e.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
        have_stat = true;
        type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISLNK(st.st_mode) ? DT_LNK : DT_REG;
      }
      if (type == DT_DIR) {
        audio = VisitChild(dirfd(dir), e.name, index) || audio;
        continue;
      }
      if (type != DT_REG && type != DT_LNK) continue;
      if (IsImageName(e.name)) {
        ++covers;
        continue;
      }
      if (IsSideLyricsFileName(e.name) || IsPlaylistFileName(e.name)) {
        if (type == DT_LNK) continue;
        if (!have_stat && fstatat(dirfd(dir), e.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
          continue;
        if (!S_ISREG(st.st_mode)) continue;
        FoundSideFile f{e.name, index, NanoTime(st), static_cast<int64_t>(st.st_size)};
        (IsPlaylistFileName(e.name) ? tree_->playlist_files : tree_->lyrics_files)
            .push_back(std::move(f));
        continue;
      }
      if (!IsAudioFileName(e.name)) continue;
      if (type == DT_LNK && !LeadsInside(index, e.name)) continue;
      if ((type == DT_LNK || !have_stat) && fstatat(dirfd(dir), e.name.c_str(), &st, 0) != 0)
        continue;
      if (!S_ISREG(st.st_mode)) continue;
      FoundFile f;
      f.name = e.name;
      f.folder = index;
      f.mtime = NanoTime(st);
      f.size = static_cast<int64_t>(st.st_size);
      tree_->files.push_back(std::move(f));
      audio = true;
    }
    closedir(dir);
    tree_->folders[index].covercount = covers;
    tree_->folders[index].holds_audio = audio;
    return audio;
  }

 private:
  // A link to a file is followed only when its target lies inside the root:
  // the indexer runs as root, and a link in a folder its owner can write
  // must not bring a file from elsewhere into the index.
  bool LeadsInside(int folder, const std::string& name) const {
    std::string path = tree_->folders[folder].path + "/" + name;
    char target[PATH_MAX];
    return !real_root_.empty() && realpath(path.c_str(), target) != nullptr &&
           IsSameOrBelow(target, real_root_);
  }

  bool VisitChild(int parent_fd, const std::string& name, int parent) {
    int fd = openat(parent_fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    const std::string path = tree_->folders[parent].path + "/" + name;
    if (fd < 0) {
      warnings_->push_back("cannot read folder " + path + ": " + std::strerror(errno));
      return false;
    }
    FoundFolder f;
    f.path = path;
    f.parent = parent;
    tree_->folders.push_back(std::move(f));
    return Visit(fd, static_cast<int>(tree_->folders.size() - 1));
  }

  LibraryTree* tree_;
  const std::string real_root_;  // the root, links resolved
  std::vector<std::string>* warnings_;
};

}  // namespace

WalkResult WalkLibrary(LibraryTree* tree, std::vector<std::string>* warnings) {
  tree->folders.clear();
  tree->files.clear();
  tree->lyrics_files.clear();
  tree->playlist_files.clear();
  // A root that is itself a link is not followed: a personal library lies
  // in its owner's home, where the owner could point it anywhere.
  int fd = open(tree->root.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT || errno == ELOOP || errno == ENOTDIR) return WalkResult::kMissing;
    warnings->push_back("cannot read " + tree->root + ": " + std::strerror(errno));
    return WalkResult::kUnreadable;
  }
  FoundFolder root;
  root.path = tree->root;
  tree->folders.push_back(std::move(root));
  char real_root[PATH_MAX];
  Walker(tree, realpath(tree->root.c_str(), real_root) ? real_root : "", warnings).Visit(fd, 0);
  return WalkResult::kOk;
}

}  // namespace cantora
