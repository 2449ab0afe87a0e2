#include "platform/index/scan/playlist_scan.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <set>
#include <vector>

#include "platform/config/config.h"
#include "platform/index/audio_file.h"
#include "platform/index/indexed_folder.h"
#include "platform/playlist/store.h"

namespace cantora {
namespace {

struct Root {
  int64_t library;
  std::string path;
  bool unreadable = false;
};

// Collects the playlist files below folder; false when folder exists but
// cannot be read (sub-folders that cannot be read are skipped).
bool Walk(const std::string& folder, bool top, std::vector<std::string>* files) {
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return !top || errno == ENOENT;
  std::vector<std::string> folders;
  while (struct dirent* e = readdir(dir)) {
    if (e->d_name[0] == '.') continue;
    // The entry's type comes with it on most file systems: no stat for the
    // thousands of audio files a library holds.
    unsigned char type = e->d_type;
    if (type == DT_UNKNOWN) {
      struct stat st;
      if (fstatat(dirfd(dir), e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
      type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISREG(st.st_mode) ? DT_REG : DT_UNKNOWN;
    }
    if (type == DT_DIR) {
      folders.push_back(folder + "/" + e->d_name);
    } else if (type == DT_REG && IsPlaylistFileName(e->d_name)) {
      files->push_back(folder + "/" + e->d_name);
    }
  }
  closedir(dir);
  for (const std::string& sub : folders) Walk(sub, false, files);
  return true;
}

bool LoadRoots(sqlite::Database& db, std::vector<Root>* roots, std::string* error) {
  sqlite::Statement users =
      db.Prepare("SELECT id, name FROM users WHERE personal = 1 ORDER BY id", error);
  if (!users.IsValid()) return false;
  while (users.Step() == SQLITE_ROW) {
    std::string folder = PersonalLibraryFolder(users.Text(1));
    if (!folder.empty()) roots->push_back({users.Int(0), folder});
  }
  std::vector<IndexedFolder> shared;
  if (!ListIndexedFolders(db, &shared, error)) return false;
  for (const IndexedFolder& f : shared) roots->push_back({0, f.path});
  roots->push_back({0, GetConfig().shared_playlists});
  return true;
}

}  // namespace

bool IndexPlaylistFiles(sqlite::Database& db, PlaylistScanSummary* summary, std::string* error) {
  *summary = PlaylistScanSummary();
  std::vector<Root> roots;
  if (!LoadRoots(db, &roots, error)) return false;
  // path -> library; a file found twice belongs to the first root.
  std::map<std::string, int64_t> found;
  for (Root& root : roots) {
    std::vector<std::string> files;
    root.unreadable = !Walk(root.path, true, &files);
    for (std::string& f : files) found.emplace(std::move(f), root.library);
  }
  summary->seen = static_cast<int64_t>(found.size());

  std::vector<StoredPlaylist> stored;
  if (!ListAllStoredPlaylists(db, &stored, error)) return false;
  sqlite::Transaction transaction(db);
  if (!transaction.ok()) {
    *error = db.ErrorMessage();
    return false;
  }
  sqlite::Statement relink = db.Prepare("UPDATE playlist SET library = ? WHERE id = ?", error);
  if (!relink.IsValid()) return false;
  std::set<std::string> known;
  for (const StoredPlaylist& p : stored) {
    known.insert(p.path);
    auto it = found.find(p.path);
    if (it == found.end()) {
      bool keep = false;
      for (const Root& root : roots)
        keep = keep || (root.unreadable && IsSameOrBelow(p.path, root.path));
      if (keep) continue;
      if (!ForgetPlaylist(db, p.id, error)) return false;
      ++summary->removed;
    } else if (it->second != p.library) {
      relink.Reset();
      relink.Bind(1, it->second).Bind(2, p.id);
      if (!relink.Run()) {
        *error = db.ErrorMessage();
        return false;
      }
    }
  }
  for (const auto& f : found) {
    if (known.count(f.first) != 0) continue;
    int64_t id = 0;
    if (!RegisterPlaylist(db, f.second, f.first, &id, error)) return false;
    ++summary->added;
  }
  if (!transaction.Commit()) {
    *error = db.ErrorMessage();
    return false;
  }
  return true;
}

}  // namespace cantora
