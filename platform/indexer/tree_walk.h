// Walking one library root: its folders, the audio files in them, and the
// files the indexer reads beside them (side lyrics, playlists), so that one
// pass over the tree serves every part of an index run.
//
// Names beginning with '.' are skipped, and so are folders reached through a
// symbolic link (a link can make a cycle); links to files are followed only
// when the file lies inside the root. A root that is a link is missing.
// Entries are visited in byte order of their names, so that a walk of an
// unchanged tree always lists the same things in the same order.
#ifndef CANTORA_PLATFORM_INDEXER_TREE_WALK_H
#define CANTORA_PLATFORM_INDEXER_TREE_WALK_H

#include <cstdint>
#include <string>
#include <vector>

namespace cantora {

struct FoundFolder {
  std::string path;
  int parent = -1;           // index in LibraryTree::folders; -1 for the root
  int covercount = 0;        // image files (jpg, jpeg, png) in the folder itself
  bool holds_audio = false;  // audio in the folder or anywhere below it
  // Listed but not walked (WalkScope): its files and images are unknown.
  bool placeholder = false;
};

struct FoundFile {
  std::string name;   // within its folder
  int folder = 0;     // index in LibraryTree::folders
  int64_t mtime = 0;  // nanoseconds since the epoch
  int64_t size = 0;
};

// A side lyrics file (.lrc or .txt, any case) or a playlist file (.m3u,
// .m3u8): regular files only, never links.
struct FoundSideFile {
  std::string name;
  int folder = 0;
  int64_t mtime = 0;  // nanoseconds since the epoch
  int64_t size = 0;
};

struct LibraryTree {
  int64_t library = 0;  // 0 for the shared library, else the owner's user id
  std::string root;
  // Folders in pre-order (a parent before its children), the root first.
  std::vector<FoundFolder> folders;
  std::vector<FoundFile> files;
  std::vector<FoundSideFile> lyrics_files;
  std::vector<FoundSideFile> playlist_files;

  std::string PathOf(const FoundFile& file) const {
    std::string path;
    PathOf(file, &path);
    return path;
  }
  // The same into *path, whose room is reused: a run matches a million files.
  void PathOf(const FoundFile& file, std::string* path) const {
    path->assign(folders[file.folder].path).append(1, '/').append(file.name);
  }
  std::string PathOf(const FoundSideFile& file) const {
    return folders[file.folder].path + "/" + file.name;
  }
};

enum class WalkResult {
  kOk,
  kMissing,     // the root does not exist: the library is empty
  kUnreadable,  // the root exists but cannot be read: its state is unknown
};

// Walks tree->root (filling folders and files). Sub-folders that cannot be
// read are skipped with a line in *warnings.
WalkResult WalkLibrary(LibraryTree* tree, std::vector<std::string>* warnings);

// A folder of a library whose contents changed: shallow, its own entries
// (files, side files, images; its sub-folders are listed, not entered);
// deep, everything below it too (a folder new to the library, or gone).
struct ScopeFolder {
  std::string path;
  bool deep = false;
};

// Whether path (a file's or a folder's) is one scope's walk of folder would
// list: a shallow folder's own files and the folder itself, anything at or
// below a deep one.
bool InScope(const std::string& path, bool is_folder, const ScopeFolder& folder);
bool InScope(const std::string& path, bool is_folder, const std::vector<ScopeFolder>& scope);

// Walks only the scope's folders of tree->root (each below the root or the
// root itself), as WalkLibrary would have found them. The folders from the
// root down to each are listed as placeholders, and so are a shallow
// folder's sub-folders; a folder of the scope that no longer exists (or is
// a link) is simply absent. Same results as WalkLibrary for the root.
WalkResult WalkScope(LibraryTree* tree, const std::vector<ScopeFolder>& scope,
                     std::vector<std::string>* warnings);

// The image files (jpg, jpeg, png) of one folder, as the walk counts them.
int CountCoverImages(const std::string& folder);

}  // namespace cantora

#endif
