// A new, empty playlist file in a store.
#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/auth/account.h"
#include "platform/auth/preference_dir.h"
#include "platform/config/config.h"
#include "platform/config/platform_db.h"
#include "platform/playlist/playlist.h"
#include "platform/playlist/store.h"
#include "platform/text/utf8.h"

namespace {

constexpr size_t kMaxNameBytes = 250;
constexpr const char* kEmptyPlaylist = "#EXTM3U\n";

// A name is listed to clients as JSON text: it must be UTF-8.
bool IsAcceptableName(const std::string& name) {
  if (name.empty() || name.size() > kMaxNameBytes || name[0] == '.') return false;
  if (!TryUTF8ToUTF16(name.c_str())) return false;
  for (unsigned char c : name)
    if (c < 0x20 || c == 0x7f || c == '/' || c == '\\') return false;
  return true;
}

// True when a playlist file of the folder is called name (any case, either
// extension).
bool FolderHasName(const std::string& folder, const std::string& name) {
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return false;
  bool found = false;
  while (struct dirent* e = readdir(dir)) {
    std::string file = e->d_name;
    if (cantora::IsPlaylistFileName(file) &&
        strcasecmp(cantora::PlaylistNameOfPath(file).c_str(), name.c_str()) == 0) {
      found = true;
      break;
    }
  }
  closedir(dir);
  return found;
}

bool IndexHasSharedName(sqlite::Database& db, const std::string& name) {
  sqlite::Statement st =
      db.Prepare("SELECT 1 FROM playlist WHERE library = 0 AND name = ? COLLATE NOCASE LIMIT 1");
  if (!st.IsValid()) return true;  // unknown: refuse rather than risk a second one
  st.Bind(1, name);
  return st.Step() == SQLITE_ROW;
}

// Makes folder when missing (one level), never through a link.
bool EnsureFolder(const std::string& folder) {
  if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) return false;
  struct stat st;
  return lstat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Creates file exclusively with an empty playlist: an existing file, or a
// link under that name, is left alone and the creation fails.
bool CreateExclusively(const std::string& file) {
  int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  size_t n = std::strlen(kEmptyPlaylist);
  // Not flushed to disk: the songs replace it at once, durably, and an empty
  // playlist lost in a crash loses nothing.
  bool ok = write(fd, kEmptyPlaylist, n) == static_cast<ssize_t>(n);
  ok = close(fd) == 0 && ok;
  if (!ok) unlink(file.c_str());
  return ok;
}

int CreateShared(const std::string& name, std::string& path) {
  sqlite::Database* db = cantora::PlatformDatabase();
  const std::string folder = cantora::GetConfig().shared_playlists;
  if (db == nullptr || !EnsureFolder(folder)) return 0;
  if (FolderHasName(folder, name) || IndexHasSharedName(*db, name)) return 0;
  std::string file = folder + "/" + name + ".m3u8";
  if (!CreateExclusively(file)) return 0;
  int64_t id = 0;
  if (!cantora::RegisterPlaylist(*db, 0, file, &id, nullptr)) {
    unlink(file.c_str());
    return 0;
  }
  // The request has written to the log of the database; closing the last
  // connection would copy it into the database there and then, a wait of
  // two flushes for the client. SQLite's own checkpoints and the indexer's
  // do it later.
  sqlite3_db_config(db->get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  path = file;
  return 1;
}

int CreatePersonal(const std::string& name, std::string& path, const std::string& owner) {
  const std::string prefs = cantora::UserPreferenceDir(owner);
  const std::string folder = cantora::PersonalPlaylistFolder(owner);
  if (prefs.empty() || !EnsureFolder(prefs) || !EnsureFolder(folder)) return 0;
  if (FolderHasName(folder, name)) return 0;
  std::string file = folder + "/" + name + ".m3u";
  if (!CreateExclusively(file)) return 0;
  path = file;
  return 1;
}

}  // namespace

bool cantora::CreateEmptyPlaylist(const std::string& name, const std::string& owner, bool shared,
                                  std::string* path) {
  if (!IsAcceptableName(name)) return false;
  if (shared) return CreateShared(name, *path) != 0;
  return IsValidUserName(owner) && CreatePersonal(name, *path, owner) != 0;
}
