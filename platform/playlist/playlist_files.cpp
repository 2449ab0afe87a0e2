#include "platform/playlist/playlist_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/auth/account.h"
#include "platform/config/config.h"
#include "platform/config/platform_db.h"
#include "platform/index/audio_file.h"
#include "platform/index/indexed_folder.h"
#include "platform/io/unique_fd.h"
#include "platform/playlist/m3u.h"
#include "platform/playlist/store.h"

namespace cantora {
namespace {

constexpr const char* kRandomSuffix = kRandomPlaylistSuffix;
constexpr off_t kMaxPlaylistBytes = 16 << 20;

// The canonical form of path, or empty when it does not resolve.
std::string Canonical(const std::string& path) {
  if (path.empty()) return std::string();
  char buf[PATH_MAX];
  return realpath(path.c_str(), buf) != nullptr ? std::string(buf) : std::string();
}

bool IsBelow(const std::string& path, const std::string& folder) {
  return !folder.empty() && path.size() > folder.size() + 1 &&
         path.compare(0, folder.size(), folder) == 0 &&
         (folder == "/" || path[folder.size()] == '/');
}

std::string TmpFolder() { return Canonical(ResolveSystemPath("/tmp")); }

// The stores a user's playlists may be read from, canonical.
std::vector<std::string> ReadableStores(const std::string& user) {
  const Config& config = GetConfig();
  std::vector<std::string> stores = {Canonical(config.shared_playlists)};
  for (const auto& folder : AudioFile::GetIndexedFolder())
    stores.push_back(Canonical(folder.first));
  if (!user.empty()) {
    if (IsPersonalLibEnabled(user.c_str()))
      stores.push_back(Canonical(PersonalLibraryFolder(user)));
    stores.push_back(Canonical(PersonalPlaylistFolder(user)));
  }
  return stores;
}

// The file's size bytes (fewer when it was cut short meanwhile).
bool ReadSized(int fd, off_t size, std::string* text) {
  text->resize(static_cast<size_t>(size));
  ssize_t n = ReadAll(fd, text->data(), text->size());
  if (n < 0) return false;
  text->resize(static_cast<size_t>(n));
  return true;
}

bool HasControl(const std::string& name) {
  for (unsigned char c : name)
    if (c < 0x20 || c == 0x7f) return true;
  return false;
}

// True when folder (canonical) may receive a playlist file called name
// from writer.
bool IsWritableStore(const std::string& folder, const std::string& name,
                     const PlaylistWriter& writer) {
  // A random playlist lies in tmp and nowhere else: its name comes from the
  // client, who could otherwise drop one into any store, another user's too.
  if (IsRandomPlaylistFileName(name)) {
    std::string tmp = TmpFolder();
    if (tmp.empty() || folder != tmp) return false;
    // A user fills only their own random playlist: another user's file is
    // not theirs to fill.
    const std::string owner = name.substr(0, name.size() - std::strlen(kRandomSuffix));
    return IsValidUserName(owner) && writer.MayWriteRandomPlaylistOf(owner);
  }
  const Config& config = GetConfig();
  if (folder == Canonical(config.shared_playlists)) return true;
  // <preferences>/<user>/playlists
  std::string prefs = Canonical(config.preferences);
  if (prefs.empty() || !IsBelow(folder, prefs)) return false;
  std::string rest = folder.substr(prefs.size() + 1);
  size_t slash = rest.find('/');
  return slash != std::string::npos && rest.substr(slash) == "/playlists" &&
         IsValidUserName(rest.substr(0, slash));
}

// A name for a temporary file beside name, unlikely to exist.
std::string TemporaryName(const std::string& name, int attempt) {
  static unsigned counter = 0;
  char suffix[64];
  std::snprintf(suffix, sizeof suffix, ".%ld.%u.%d.tmp", static_cast<long>(getpid()), counter++,
                attempt);
  // Leading dot: listings skip it while it is being written.
  return "." + name.substr(0, 128) + suffix;
}

}  // namespace

std::string UserNameOfId(int uid) {
  sqlite::Database* db = PlatformDatabase();
  if (db == nullptr || uid <= 0) return std::string();
  return UserNameById(*db, uid);
}

std::string RandomPlaylistFile(const std::string& user_name) {
  std::string tmp = TmpFolder();
  return tmp.empty() ? tmp : RandomPlaylistPath(tmp + "/", user_name);
}

bool ReadPlaylistFile(int uid, const char* path, std::string* text, std::string* folder) {
  if (path == nullptr || path[0] != '/' || !IsPlaylistFileName(path)) return false;
  std::string resolved = Canonical(path);
  if (resolved.empty() || !IsPlaylistFileName(resolved)) return false;
  std::string user = UserNameOfId(uid);
  bool allowed = !user.empty() && IsValidUserName(user) && resolved == RandomPlaylistFile(user);
  if (!allowed) {
    for (const std::string& store : ReadableStores(user)) {
      if (IsBelow(resolved, store)) {
        allowed = true;
        break;
      }
    }
  }
  if (!allowed) return false;
  UniqueFd fd(open(resolved.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
  if (!fd) return false;
  struct stat st;
  if (fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size > kMaxPlaylistBytes ||
      !ReadSized(fd.get(), st.st_size, text))
    return false;
  std::string given = NormalPath(path);
  *folder = given.substr(0, given.rfind('/'));
  if (folder->empty()) *folder = "/";
  return true;
}

bool WritePlaylistFile(const char* path, const std::string& text, bool durable,
                       const PlaylistWriter& writer) {
  if (path == nullptr || path[0] != '/') return false;
  std::string full = path;
  size_t slash = full.rfind('/');
  std::string name = full.substr(slash + 1);
  if (name.empty() || name[0] == '.' || HasControl(name) || !IsPlaylistFileName(name)) return false;
  std::string folder = Canonical(slash == 0 ? "/" : full.substr(0, slash));
  if (folder.empty() || !IsWritableStore(folder, name, writer)) return false;
  UniqueFd dir(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!dir) return false;
  std::string temp;
  UniqueFd fd;
  for (int attempt = 0; !fd && attempt < 8; ++attempt) {
    temp = TemporaryName(name, attempt);
    fd.Reset(openat(dir.get(), temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                    0644));
    if (!fd && errno != EEXIST) break;
  }
  if (!fd) return false;
  bool ok = WriteAll(fd.get(), text) && (!durable || fsync(fd.get()) == 0) &&
            fchmod(fd.get(), 0644) == 0;
  ok = fd.Close() && ok;
  ok = ok && renameat(dir.get(), temp.c_str(), dir.get(), name.c_str()) == 0;
  if (!ok) unlinkat(dir.get(), temp.c_str(), 0);
  return ok;
}

void RemoveRandomPlaylistFile(const char* path, const PlaylistWriter& writer) {
  if (path == nullptr) return;
  std::string full = path;
  size_t slash = full.rfind('/');
  if (slash == std::string::npos) return;
  std::string name = full.substr(slash + 1);
  std::string folder = Canonical(slash == 0 ? "/" : full.substr(0, slash));
  if (folder.empty() || folder != TmpFolder() || !IsWritableStore(folder, name, writer)) return;
  unlink((folder + "/" + name).c_str());
}

}  // namespace cantora
