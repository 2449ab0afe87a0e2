#include "platform/indexer/tree_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/file/beneath.h"
#include "platform/index/indexed_folder.h"
#include "platform/indexer/song_lyrics.h"
#include "platform/indexer/tag_reader.h"
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

// How many files of each kind a tree lists.
struct Counts {
  size_t files = 0, lyrics_files = 0, playlist_files = 0;
};

Counts CountsOf(const LibraryTree& tree) {
  return {tree.files.size(), tree.lyrics_files.size(), tree.playlist_files.size()};
}

// A folder of the root that is walked on its own (by another thread), and
// where its part goes among the root's own files: how many the root had
// listed before it.
struct DeferredFolder {
  std::string name;
  Counts before;
};

// The entries of the folder open as fd, but those whose names begin with
// '.'. Read straight into a buffer of the thread's: readdir would allocate
// its own for every folder, and ask for the folder's flags first.
std::vector<Entry> ListFolder(int fd) {
  alignas(struct dirent64) static thread_local char buffer[32768];
  std::vector<Entry> entries;
  ssize_t n;
  while ((n = getdents64(fd, buffer, sizeof buffer)) > 0) {
    for (ssize_t at = 0; at < n;) {
      const auto* d = reinterpret_cast<const struct dirent64*>(buffer + at);
      at += d->d_reclen;
      if (d->d_name[0] != '.') entries.push_back({d->d_name, d->d_type});
    }
  }
  return entries;
}

// The root of a walk as links are judged: its handle (-1: no link is
// followed) and its names.
struct LinkRoot {
  int fd = -1;
  std::string path;
  std::string real;  // links resolved
};

class Walker {
 public:
  Walker(LibraryTree* tree, const LinkRoot& root, std::vector<std::string>* warnings)
      : tree_(tree), root_(root), warnings_(warnings) {}

  // While the root (folders[0]) is visited, its sub-folders are not entered
  // but listed in *deferred, in order.
  void DeferRootFolders(std::vector<DeferredFolder>* deferred) { deferred_ = deferred; }
  // Sub-folders are listed as placeholders instead of entered.
  void Shallow(bool shallow) { shallow_ = shallow; }

  // Walks the folder name of parent_fd, whose path is parent_path, as the
  // first folder of this walker's tree (its parent left at -1).
  bool VisitTop(int parent_fd, const std::string& parent_path, const std::string& name) {
    return VisitChild(parent_fd, parent_path, name, -1);
  }

  // Walks the folder open as fd (taken over), whose record is folders[index].
  // Returns whether audio lies in it or below.
  bool Visit(int fd, int index) {
    std::vector<Entry> entries = ListFolder(fd);
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    bool audio = false;
    int covers = 0;
    for (Entry& e : entries) {
      unsigned char type = e.type;
      struct stat st;
      bool have_stat = false;
      if (type == DT_UNKNOWN) {
        if (fstatat(fd, e.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
        have_stat = true;
        type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISLNK(st.st_mode) ? DT_LNK : DT_REG;
      }
      if (type == DT_DIR) {
        if (shallow_) {
          FoundFolder sub;
          sub.path = tree_->folders[index].path + "/" + e.name;
          sub.parent = index;
          sub.placeholder = true;
          tree_->folders.push_back(std::move(sub));
          continue;
        }
        if (deferred_ != nullptr && index == 0) {
          deferred_->push_back({e.name, CountsOf(*tree_)});
          continue;
        }
        audio = VisitChild(fd, tree_->folders[index].path, e.name, index) || audio;
        continue;
      }
      if (type != DT_REG && type != DT_LNK) continue;
      if (IsImageName(e.name)) {
        ++covers;
        continue;
      }
      if (IsSideLyricsFileName(e.name) || IsPlaylistFileName(e.name)) {
        if (type == DT_LNK) continue;
        if (!have_stat && fstatat(fd, e.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (!S_ISREG(st.st_mode)) continue;
        FoundSideFile f{e.name, index, NanoTime(st), static_cast<int64_t>(st.st_size)};
        (IsPlaylistFileName(e.name) ? tree_->playlist_files : tree_->lyrics_files)
            .push_back(std::move(f));
        continue;
      }
      if (!IsAudioFileName(e.name)) continue;
      if (type == DT_LNK) {
        if (!LeadsInside(fd, index, e.name, &st)) continue;
      } else if (!have_stat && fstatat(fd, e.name.c_str(), &st, 0) != 0) {
        continue;
      }
      if (!S_ISREG(st.st_mode)) continue;
      FoundFile f;
      f.name = std::move(e.name);
      f.folder = index;
      f.mtime = NanoTime(st);
      f.size = static_cast<int64_t>(st.st_size);
      tree_->files.push_back(std::move(f));
      audio = true;
    }
    close(fd);
    tree_->folders[index].covercount = covers;
    tree_->folders[index].holds_audio = audio;
    tree_->folders[index].placeholder = false;
    return audio;
  }

 private:
  // A link to a file is followed only when its target lies inside the root,
  // judged by its text and looked up beneath the root: the indexer runs as
  // root, and a link in a folder its owner can write must neither bring a
  // file from elsewhere into the index nor tell what exists outside.
  bool LeadsInside(int folder_fd, int folder, const std::string& name, struct stat* st) const {
    if (root_.fd < 0) return false;
    std::string_view path = tree_->folders[folder].path;
    std::string_view below = path.size() > root_.path.size() ? path.substr(root_.path.size() + 1)
                                                             : std::string_view();
    return LinkedFileBeneath(root_.fd, {root_.path, root_.real}, folder_fd, below, name.c_str(), st);
  }

  bool VisitChild(int parent_fd, const std::string& parent_path, const std::string& name,
                  int parent) {
    int fd = openat(parent_fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    const std::string path = parent_path + "/" + name;
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
  const LinkRoot& root_;
  std::vector<std::string>* warnings_;
  std::vector<DeferredFolder>* deferred_ = nullptr;
  bool shallow_ = false;
};

// One folder of the root, walked on its own: its part of the tree, with
// indices of its own (its top folder first), and its warnings.
struct Part {
  LibraryTree tree;
  std::vector<std::string> warnings;
  bool audio = false;
};

// Moves from[begin, end) to the end of *to, each entry's folder shifted by offset.
template <typename T>
void AppendShifted(std::vector<T>& from, size_t begin, size_t end, int offset, std::vector<T>* to) {
  for (size_t i = begin; i < end; ++i) {
    to->push_back(std::move(from[i]));
    to->back().folder += offset;
  }
}

// Moves the files of each kind of from, between the counts begin and end, to
// the end of *to, their folders shifted by offset.
void AppendFiles(LibraryTree& from, const Counts& begin, const Counts& end, int offset,
                 LibraryTree* to) {
  AppendShifted(from.files, begin.files, end.files, offset, &to->files);
  AppendShifted(from.lyrics_files, begin.lyrics_files, end.lyrics_files, offset, &to->lyrics_files);
  AppendShifted(from.playlist_files, begin.playlist_files, end.playlist_files, offset,
                &to->playlist_files);
}

// Puts the root's own entries and the parts of its folders together in the
// order a walk of one thread lists them: a folder's part goes where the
// root's listing reached it, its folders follow those of the parts before.
void Merge(const std::vector<DeferredFolder>& deferred, std::vector<Part>* parts, LibraryTree* tree,
           std::vector<std::string>* warnings) {
  LibraryTree root_only;
  root_only.files.swap(tree->files);
  root_only.lyrics_files.swap(tree->lyrics_files);
  root_only.playlist_files.swap(tree->playlist_files);
  Counts done;  // how far the root's own entries are moved
  for (size_t i = 0; i < deferred.size(); ++i) {
    AppendFiles(root_only, done, deferred[i].before, 0, tree);
    done = deferred[i].before;
    Part& part = (*parts)[i];
    const int offset = static_cast<int>(tree->folders.size());
    for (FoundFolder& f : part.tree.folders) {
      f.parent = f.parent < 0 ? 0 : f.parent + offset;
      tree->folders.push_back(std::move(f));
    }
    AppendFiles(part.tree, Counts(), CountsOf(part.tree), offset, tree);
    for (std::string& w : part.warnings) warnings->push_back(std::move(w));
    if (part.audio) tree->folders[0].holds_audio = true;
  }
  AppendFiles(root_only, done, CountsOf(root_only), 0, tree);
}

// Walks the deferred folders of the root on up to one thread per processor
// (the calling thread among them), each taking the next folder not yet
// taken.
void WalkDeferred(const LinkRoot& root, const std::vector<DeferredFolder>& deferred,
                  std::vector<Part>* parts) {
  parts->resize(deferred.size());
  std::atomic<size_t> next{0};
  auto work = [&] {
    for (size_t i; (i = next.fetch_add(1)) < deferred.size();) {
      Part& part = (*parts)[i];
      part.audio =
          Walker(&part.tree, root, &part.warnings).VisitTop(root.fd, root.path, deferred[i].name);
    }
  };
  const size_t threads =
      std::min<size_t>({std::max(1u, std::thread::hardware_concurrency()), deferred.size(), 4});
  std::vector<std::thread> helpers;
  for (size_t t = 1; t < threads; ++t) {
    try {
      helpers.emplace_back(work);
    } catch (const std::system_error&) {
      break;  // fewer threads: the ones running take the rest
    }
  }
  work();
  for (std::thread& h : helpers) h.join();
}

// Empties tree and opens its root (-1 with *result set when it cannot be
// walked), listing the root as its first folder.
int OpenRoot(LibraryTree* tree, WalkResult* result, std::vector<std::string>* warnings) {
  tree->folders.clear();
  tree->files.clear();
  tree->lyrics_files.clear();
  tree->playlist_files.clear();
  // A root that is itself a link is not followed: a personal library lies
  // in its owner's home, where the owner could point it anywhere.
  int fd = open(tree->root.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT || errno == ELOOP || errno == ENOTDIR) {
      *result = WalkResult::kMissing;
    } else {
      warnings->push_back("cannot read " + tree->root + ": " + std::strerror(errno));
      *result = WalkResult::kUnreadable;
    }
    return -1;
  }
  FoundFolder root;
  root.path = tree->root;
  tree->folders.push_back(std::move(root));
  return fd;
}

LinkRoot LinkRootOf(const LibraryTree& tree) {
  char resolved[PATH_MAX];
  LinkRoot link_root;
  link_root.path = tree.root;
  link_root.real = realpath(tree.root.c_str(), resolved) ? resolved : "";
  return link_root;
}

}  // namespace

bool InScope(const std::string& path, bool is_folder, const ScopeFolder& folder) {
  if (folder.deep) return IsSameOrBelow(path, folder.path);
  if (is_folder) return path == folder.path;
  size_t slash = path.rfind('/');
  return slash != std::string::npos && path.compare(0, slash, folder.path) == 0 &&
         slash == folder.path.size();
}

bool InScope(const std::string& path, bool is_folder, const std::vector<ScopeFolder>& scope) {
  for (const ScopeFolder& f : scope)
    if (InScope(path, is_folder, f)) return true;
  return false;
}

int CountCoverImages(const std::string& folder) {
  int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return 0;
  int covers = 0;
  for (const Entry& e : ListFolder(fd))
    if (e.type != DT_DIR && IsImageName(e.name)) ++covers;
  close(fd);
  return covers;
}

WalkResult WalkScope(LibraryTree* tree, const std::vector<ScopeFolder>& scope,
                     std::vector<std::string>* warnings) {
  WalkResult result = WalkResult::kOk;
  int root_fd = OpenRoot(tree, &result, warnings);
  if (root_fd < 0) return result;
  tree->folders[0].placeholder = true;
  LinkRoot link_root = LinkRootOf(*tree);
  link_root.fd = root_fd;
  std::vector<ScopeFolder> sorted = scope;
  std::sort(sorted.begin(), sorted.end(), [](const ScopeFolder& a, const ScopeFolder& b) {
    return a.path != b.path ? a.path < b.path : a.deep > b.deep;
  });
  std::vector<std::string> walked_deep;
  const std::string* previous = nullptr;
  for (const ScopeFolder& entry : sorted) {
    if (!IsSameOrBelow(entry.path, tree->root)) continue;
    if (previous != nullptr && *previous == entry.path) continue;  // the deep one went first
    previous = &entry.path;
    bool covered = false;
    for (const std::string& d : walked_deep) covered = covered || IsSameOrBelow(entry.path, d);
    if (covered) continue;
    // Down from the root, a folder at a time, never through a link.
    int index = 0;
    int fd = fcntl(root_fd, F_DUPFD_CLOEXEC, 0);
    std::string rest = entry.path.substr(tree->root.size());
    size_t at = 0;
    while (fd >= 0 && at < rest.size()) {
      size_t next = rest.find('/', at + 1);
      if (next == std::string::npos) next = rest.size();
      std::string name = rest.substr(at + 1, next - at - 1);
      at = next;
      int child = name.empty() || name[0] == '.'
                      ? -1
                      : openat(fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
      close(fd);
      fd = child;
      if (fd < 0) break;
      std::string path = tree->folders[index].path + "/" + name;
      int found = -1;
      for (size_t i = static_cast<size_t>(index) + 1; i < tree->folders.size() && found < 0; ++i)
        if (tree->folders[i].parent == index && tree->folders[i].path == path)
          found = static_cast<int>(i);
      if (found < 0) {
        FoundFolder f;
        f.path = path;
        f.parent = index;
        f.placeholder = true;
        tree->folders.push_back(std::move(f));
        found = static_cast<int>(tree->folders.size() - 1);
      }
      index = found;
    }
    if (fd < 0) continue;  // gone: its rows are not found again
    Walker walker(tree, link_root, warnings);
    walker.Shallow(!entry.deep);
    walker.Visit(fd, index);
    if (entry.deep) walked_deep.push_back(entry.path);
  }
  close(root_fd);
  return WalkResult::kOk;
}

WalkResult WalkLibrary(LibraryTree* tree, std::vector<std::string>* warnings) {
  WalkResult result = WalkResult::kOk;
  int fd = OpenRoot(tree, &result, warnings);
  if (fd < 0) return result;
  LinkRoot link_root = LinkRootOf(*tree);
  // The root's own entries first, its folders then each walked apart: a
  // large library's walk is a system call or two per entry, and they run
  // side by side on every processor.
  link_root.fd = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  std::vector<DeferredFolder> deferred;
  Walker walker(tree, link_root, warnings);
  if (link_root.fd >= 0) walker.DeferRootFolders(&deferred);
  walker.Visit(fd, 0);
  if (link_root.fd < 0) return WalkResult::kOk;
  std::vector<Part> parts;
  WalkDeferred(link_root, deferred, &parts);
  close(link_root.fd);
  Merge(deferred, &parts, tree, warnings);
  return WalkResult::kOk;
}

}  // namespace cantora
