#include "platform/index/song_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "platform/auth/users/users_table.h"
#include "platform/config/platform_db.h"
#include "platform/file/beneath.h"
#include "platform/file/folder_listing.h"
#include "platform/index/audio_file.h"
#include "platform/index/indexed_folder.h"
#include "platform/io/unique_fd.h"

namespace cantora {
namespace {

// A path below a root is plain when it has no empty, "." or ".." component.
bool IsPlainRelative(std::string_view rel) {
  if (rel.empty()) return false;
  size_t start = 0;
  while (start <= rel.size()) {
    size_t end = rel.find('/', start);
    if (end == std::string_view::npos) end = rel.size();
    std::string_view part = rel.substr(start, end - start);
    if (part.empty() || part == "." || part == "..") return false;
    start = end + 1;
  }
  return true;
}

// Whether info names a file right in the folder of library whose path, with
// its final '/', is folder_path.
bool InFolder(const MediaInfo& info, int library, std::string_view folder_path) {
  std::string_view path = info.path;
  return info.library == library && path.size() > folder_path.size() &&
         path.compare(0, folder_path.size(), folder_path) == 0 &&
         path.find('/', folder_path.size()) == std::string_view::npos;
}

std::string PersonalFolderOf(int owner) {
  sqlite::Database* db = PlatformDatabase();
  if (db == nullptr) return "";
  return PersonalLibraryFolder(UserNameById(*db, owner));
}

}  // namespace

class SongFiles::State {
 public:
  State() = default;
  explicit State(const LibraryRoots& roots) : roots_(roots), roots_given_(true) {}

  bool Locate(const MediaInfo& info) {
    located_ = false;
    std::string_view path = info.path;
    const std::string* root = RootOf(info.library, path);
    if (root == nullptr) return false;
    std::string_view rel = path.substr(root->size() + 1);
    if (!IsPlainRelative(rel)) return false;
    if (*root != root_path_) {
      root_path_ = *root;
      real_root_.clear();
      root_fd_.Reset(-1);
      folder_fd_.Reset(-1);
      folder_.clear();
    }
    // Views into info.path, which outlives the Exists() that follows; the
    // name ends the path, so it is NUL-terminated.
    size_t slash = rel.rfind('/');
    folder_wanted_ = slash == std::string_view::npos ? "." : rel.substr(0, slash);
    name_ = slash == std::string_view::npos ? rel.data() : rel.data() + slash + 1;
    rel_ = rel.data();
    following_in_folder_ = FollowingInFolder(info, std::string_view(info.path, name_ - info.path));
    located_ = true;
    return true;
  }

  bool Exists() {
    if (!EnterLocated()) return false;
    // A song alone in its folder is looked up whole, beneath the root,
    // without holding its folder: a search's hits lie in as many folders as
    // there are hits, nearly. Only a link needs its folder.
    FolderListing::Kind kind = SongsOfRun() == 1 ? KindOfWhole() : KindInHeldFolder();
    ++tests_in_folder_;
    if (kind != FolderListing::Kind::kLink) return kind == FolderListing::Kind::kRegular;
    // A link counts when its target lies inside the library, judged by its
    // text and then looked up beneath the root: never followed as root.
    struct stat st;
    return OpenFolder() &&
           LinkedFileBeneath(root_fd_.get(), Names(), folder_fd_.get(), Folder(), name_, &st);
  }

  LibraryRoots RootsOf(const MediaInfo* first, const MediaInfo* end) {
    for (const MediaInfo* info = first; info != end; info = info->next)
      RootOf(info->library, info->path);
    return roots_ ? *roots_ : LibraryRoots{};
  }

  int Open() {
    if (!EnterLocated() || !OpenFolder()) return -1;
    UniqueFd file;
    file.Reset(OpenBeneath(folder_fd_.get(), name_, O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK));
    if (file.get() < 0 && errno == ELOOP) {
      // A link as the last component: followed when its text stays inside,
      // and opened beneath the root, so that no link on the way (one swapped
      // in meanwhile included) can lead out either.
      file.Reset(OpenLinkTargetBeneath(root_fd_.get(), Names(), folder_fd_.get(), Folder(), name_,
                                       O_RDONLY | O_NOCTTY | O_NONBLOCK));
    }
    struct stat st;
    if (file.get() < 0 || fstat(file.get(), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
    // Reads block as usual from here on; O_NONBLOCK only kept a FIFO from
    // holding the open.
    int flags = fcntl(file.get(), F_GETFL);
    if (flags < 0 || fcntl(file.get(), F_SETFL, flags & ~O_NONBLOCK) != 0) return -1;
    return file.Release();
  }

 private:
  // The root of the located file's library, held open.
  bool OpenRoot() {
    if (root_fd_.get() >= 0) return true;
    // A root that is itself a link is not followed: a personal folder lies
    // in its owner's home, where its owner could make one.
    root_fd_.Reset(open(root_path_.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (root_fd_.get() < 0) return false;
    char real[PATH_MAX];
    real_root_ = realpath(root_path_.c_str(), real) ? real : "";
    return true;
  }

  // The start of each test of the located file: its library's root held,
  // its folder the current one. False when nothing is located or the root
  // cannot be opened.
  bool EnterLocated() {
    if (!located_ || !OpenRoot()) return false;
    EnterFolder();
    return true;
  }

  // Makes the located file's folder the current one: a new folder starts
  // its count of tests again, and is not held until a lookup needs it.
  void EnterFolder() {
    if (folder_ == folder_wanted_) return;
    folder_.assign(folder_wanted_);
    folder_fd_.Reset(-1);
    tests_in_folder_ = 0;
    listing_read_.reset();
  }

  // What a stat (not following a link) says the entry is.
  static FolderListing::Kind KindOfStat(const struct stat& st) {
    if (S_ISREG(st.st_mode)) return FolderListing::Kind::kRegular;
    return S_ISLNK(st.st_mode) ? FolderListing::Kind::kLink : FolderListing::Kind::kOther;
  }

  // What the located path names beneath the root, a link not followed.
  FolderListing::Kind KindOfWhole() {
    UniqueFd file(OpenBeneath(root_fd_.get(), rel_, O_PATH | O_NOFOLLOW));
    struct stat st;
    if (file.get() < 0 || fstat(file.get(), &st) != 0) return FolderListing::Kind::kAbsent;
    return KindOfStat(st);
  }

  // What the located name is in its folder, held open.
  FolderListing::Kind KindInHeldFolder() {
    if (!OpenFolder()) return FolderListing::Kind::kAbsent;
    FolderListing::Kind kind = KindOfLocated();
    if (kind != FolderListing::Kind::kUnknown) return kind;
    struct stat st;
    if (fstatat(folder_fd_.get(), name_, &st, AT_SYMLINK_NOFOLLOW) != 0)
      return FolderListing::Kind::kAbsent;
    return KindOfStat(st);
  }

  // The current folder, held open beneath its root.
  bool OpenFolder() {
    if (folder_fd_.get() >= 0) return true;
    // Open for reading, so that its entries can be listed through it; a
    // folder that may be searched but not read is still held (O_PATH), and
    // its songs are stat'ed one by one.
    folder_fd_.Reset(OpenBeneath(root_fd_.get(), folder_.c_str(), O_RDONLY | O_DIRECTORY));
    if (folder_fd_.get() < 0 && errno == EACCES)
      folder_fd_.Reset(OpenBeneath(root_fd_.get(), folder_.c_str(), O_PATH | O_DIRECTORY));
    return folder_fd_.get() >= 0;
  }

  // What the located name is in its folder. A list's songs come folder by
  // folder: when three songs of one folder are tested in a row, the
  // folder's entries are read once and looked up, instead of a stat a song
  // (one song looked up whole, or two stat'ed, are cheaper than a listing).
  FolderListing::Kind KindOfLocated() {
    if (SongsOfRun() < kSongsForListing) return FolderListing::Kind::kUnknown;
    if (!listing_read_) listing_read_ = listing_.Read(folder_fd_.get());
    return *listing_read_ ? listing_.KindOf(name_) : FolderListing::Kind::kUnknown;
  }

  // How many songs of the current folder are tested in a row, as far as is
  // known: those tested, this one, and those its list shows next.
  int SongsOfRun() const { return tests_in_folder_ + 1 + following_in_folder_; }

  // How many of the records that follow info in its list (info.next) lie
  // in the folder whose path, with its final '/', is folder_path, up to
  // what decides the way of testing. A list is walked in its order, so
  // they are most likely the songs tested next; a guess costs only time.
  static int FollowingInFolder(const MediaInfo& info, std::string_view folder_path) {
    int n = 0;
    for (const MediaInfo* next = info.next; next != nullptr && n < kSongsForListing - 1;
         next = next->next, ++n) {
      if (!InFolder(*next, info.library, folder_path)) break;
    }
    return n;
  }

  // The root's names, as its links' texts may name it.
  RootNames Names() const { return {root_path_, real_root_}; }
  // The located file's folder below the root ("" for the root itself).
  std::string_view Folder() const {
    return folder_ == "." ? std::string_view() : std::string_view(folder_);
  }

  // The root of the library whose files info's path names, or null. Roots
  // not given are read on first use.
  const std::string* RootOf(int library, std::string_view path) {
    if (!roots_) {
      roots_.emplace();
      for (const auto& folder : AudioFile::GetIndexedFolder()) roots_->shared.push_back(folder.first);
    }
    auto below = [&](const std::string& root) {
      return !root.empty() && path.size() > root.size() + 1 &&
             path.compare(0, root.size(), root) == 0 && path[root.size()] == '/';
    };
    if (library != 0) {
      auto it = roots_->personal.find(library);
      if (it == roots_->personal.end()) {
        if (roots_given_) return nullptr;
        it = roots_->personal.emplace(library, PersonalFolderOf(library)).first;
      }
      return below(it->second) ? &it->second : nullptr;
    }
    for (const std::string& root : roots_->shared)
      if (below(root)) return &root;
    return nullptr;
  }

  std::optional<LibraryRoots> roots_;
  bool roots_given_ = false;
  std::string root_path_;
  std::string real_root_;  // root_path_, links resolved
  UniqueFd root_fd_;
  UniqueFd folder_fd_;
  // The folder of the songs being tested, relative to the root; folder_fd_
  // holds it once a lookup needed it.
  std::string folder_;
  bool located_ = false;
  std::string_view folder_wanted_;
  const char* name_ = nullptr;
  const char* rel_ = nullptr;  // the located path below the root
  static constexpr int kSongsForListing = 3;
  int tests_in_folder_ = 0;  // songs of folder_ tested before this one
  int following_in_folder_ = 0;  // songs after this one in its list and folder
  // Whether listing_ holds that folder's entries; unset until it is read.
  std::optional<bool> listing_read_;
  FolderListing listing_;
};

SongFiles::SongFiles() : state_(std::make_unique<State>()) {}

SongFiles::SongFiles(const LibraryRoots& roots) : state_(std::make_unique<State>(roots)) {}

SongFiles::~SongFiles() = default;

bool SongFiles::Locate(const MediaInfo& info) { return state_->Locate(info); }

bool SongFiles::LocatedExists() { return state_->Exists(); }

int SongFiles::OpenLocated() { return state_->Open(); }

bool SongFiles::SameFolder(const MediaInfo& a, const MediaInfo& b) {
  std::string_view path = a.path;
  return InFolder(b, a.library, path.substr(0, path.rfind('/') + 1));
}

LibraryRoots SongFiles::RootsOf(const MediaInfo* first, const MediaInfo* end) {
  return state_->RootsOf(first, end);
}

}  // namespace cantora
