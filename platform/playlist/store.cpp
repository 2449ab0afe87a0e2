#include "platform/playlist/store.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/auth/account.h"
#include "platform/auth/preference_dir.h"
#include "platform/config/platform_db.h"
#include "platform/playlist/playlist_files.h"
#include "platform/text/utf8.h"

namespace cantora {
namespace {

bool ReadPlaylists(sqlite::Statement& st, std::vector<StoredPlaylist>* out) {
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) {
    StoredPlaylist p;
    p.id = st.Int(0);
    p.library = st.Int(1);
    p.path = st.Text(2);
    p.name = st.Text(3);
    out->push_back(std::move(p));
  }
  return rc == SQLITE_DONE;
}

PlaylistRecord* NewRecord(long id, const std::string& name, const std::string& path) {
  PlaylistRecord* r = static_cast<PlaylistRecord*>(std::calloc(1, sizeof(PlaylistRecord)));
  if (r == nullptr) return nullptr;
  r->id = id;
  std::snprintf(r->name, sizeof r->name, "%s", name.c_str());
  r->path = strdup(path.c_str());
  if (r->path == nullptr) {
    std::free(r);
    return nullptr;
  }
  return r;
}

// Builds the record list of the page [start, start + limit) of items.
template <typename Item, typename Make>
int PageOf(const std::vector<Item>& items, int start, int limit, PlaylistRecord** list, Make make) {
  *list = nullptr;
  size_t first = start > 0 ? static_cast<size_t>(start) : 0;
  size_t end =
      limit > 0 ? std::min(items.size(), first + static_cast<size_t>(limit)) : items.size();
  PlaylistRecord** link = list;
  int count = 0;
  for (size_t i = first; i < end; ++i) {
    PlaylistRecord* r = make(items[i]);
    if (r == nullptr) {
      ZARNPlayListFree(*list);
      *list = nullptr;
      return -1;
    }
    *link = r;
    link = &r->next;
    ++count;
  }
  return count;
}

// Whether a playlist's name may be listed: clients parse the listing as
// JSON, which holds UTF-8 only, so a name that is not (a file dropped into
// a folder by other means) is left out and said so, as songs are.
bool IsListableName(const std::string& name, const std::string& path) {
  if (TryUTF8ToUTF16(name.c_str())) return true;
  size_t slash = path.rfind('/');
  syslog(LOG_ERR, "playlist left out of a listing, its name is not UTF-8: a file in %s",
         slash == std::string::npos ? "." : path.substr(0, slash).c_str());
  return false;
}

// The playlist files of a user's playlist folder (*.m3u: they are opened by
// name with that extension), by name; those whose names may be listed.
std::vector<std::string> PlaylistFilesIn(const std::string& folder) {
  std::vector<std::string> names;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return names;
  while (struct dirent* e = readdir(dir)) {
    std::string name = e->d_name;
    if (name.empty() || name[0] == '.' || !IsPersonalPlaylistFileName(name)) continue;
    struct stat st;
    // Regular files only: a link may lead anywhere.
    if (fstatat(dirfd(dir), e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(st.st_mode))
      continue;
    if (!IsListableName(PlaylistNameOfPath(name), folder + "/" + name)) continue;
    names.push_back(std::move(name));
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

struct Listed {
  long id;
  std::string name;
  std::string path;
};

bool IsPlaylistFileName(const std::string& name) {
  auto ends = [&name](const char* ext) {
    size_t n = std::strlen(ext);
    return name.size() > n && strcasecmp(name.c_str() + name.size() - n, ext) == 0;
  };
  return ends(".m3u") || ends(".m3u8");
}

bool IsPersonalPlaylistFileName(const std::string& name) {
  return name.size() > 4 && name.compare(name.size() - 4, 4, ".m3u") == 0;
}

std::string PlaylistNameOfPath(const std::string& path) {
  size_t slash = path.rfind('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string PersonalPlaylistFolder(const std::string& user_name) {
  std::string dir = UserPreferenceDir(user_name);
  return dir.empty() ? dir : dir + "/playlists";
}

bool RegisterPlaylist(sqlite::Database& db, int64_t library, const std::string& path, int64_t* id,
                      std::string* error) {
  sqlite::Statement find = db.Prepare("SELECT id FROM playlist WHERE path = ?", error);
  if (!find.IsValid()) return false;
  find.Bind(1, path);
  if (find.Step() == SQLITE_ROW) {
    *id = find.Int(0);
    return true;
  }
  sqlite::Statement add =
      db.Prepare("INSERT INTO playlist(library, path, name) VALUES (?, ?, ?)", error);
  if (!add.IsValid()) return false;
  add.Bind(1, library).Bind(2, path).Bind(3, PlaylistNameOfPath(path));
  if (!add.Run()) return db.Fail(error);
  *id = db.LastInsertId();
  return true;
}

bool ListStoredPlaylists(sqlite::Database& db, int64_t library,
                         std::vector<StoredPlaylist>* playlists, std::string* error) {
  sqlite::Statement st = db.Prepare(
      "SELECT id, library, path, name FROM playlist WHERE library = ? ORDER BY name, path", error);
  if (!st.IsValid()) return false;
  st.Bind(1, library);
  return ReadPlaylists(st, playlists) || db.Fail(error);
}

bool ListAllStoredPlaylists(sqlite::Database& db, std::vector<StoredPlaylist>* playlists,
                            std::string* error) {
  sqlite::Statement st = db.Prepare(
      "SELECT id, library, path, name FROM playlist ORDER BY library, name, path", error);
  if (!st.IsValid()) return false;
  return ReadPlaylists(st, playlists) || db.Fail(error);
}

bool ForgetPlaylist(sqlite::Database& db, int64_t id, std::string* error) {
  sqlite::Statement st = db.Prepare("DELETE FROM playlist WHERE id = ?", error);
  if (!st.IsValid()) return false;
  st.Bind(1, id);
  if (!st.Run()) return db.Fail(error);
  if (db.Changes() == 0) {
    if (error != nullptr) *error = "no playlist " + std::to_string(id);
    return false;
  }
  return true;
}

}  // namespace cantora

int ZARNPlaylistListAll(const char* kind, int uid, PlaylistRecord** list, int start, int limit,
                        int) {
  if (list == nullptr) return -1;
  *list = nullptr;
  if (kind == nullptr) return -1;
  bool personal = std::strcmp(kind, "personal") == 0;
  if (!personal && std::strcmp(kind, "shared") != 0) return -1;
  sqlite::Database* db = cantora::PlatformDatabase();
  if (db == nullptr) return -1;
  std::vector<cantora::StoredPlaylist> stored;
  if (personal && uid <= 0) return -1;
  if (!cantora::ListStoredPlaylists(*db, personal ? uid : 0, &stored, nullptr)) return -1;
  std::vector<cantora::Listed> items;
  for (const cantora::StoredPlaylist& p : stored)
    if (cantora::IsListableName(p.name, p.path))
      items.push_back({static_cast<long>(p.id), p.name, p.path});
  if (personal) {
    // The user's own playlist files come after those of the personal library.
    std::string folder = cantora::PersonalPlaylistFolder(cantora::UserNameOfId(uid));
    if (!folder.empty())
      for (const std::string& name : cantora::PlaylistFilesIn(folder))
        items.push_back({0, cantora::PlaylistNameOfPath(name), folder + "/" + name});
  }
  return cantora::PageOf(items, start, limit, list, [](const cantora::Listed& l) {
    return cantora::NewRecord(l.id, l.name, l.path);
  });
}

int ZARNPersonalPlaylistListAll(const char* preference_dir, PlaylistRecord** list, int start,
                                int limit) {
  if (list == nullptr) return -1;
  *list = nullptr;
  if (preference_dir == nullptr || preference_dir[0] == '\0') return -1;
  std::string folder = std::string(preference_dir) + "/playlists";
  std::vector<std::string> names = cantora::PlaylistFilesIn(folder);
  return cantora::PageOf(names, start, limit, list, [&folder](const std::string& name) {
    return cantora::NewRecord(0, cantora::PlaylistNameOfPath(name), folder + "/" + name);
  });
}

void ZARNPlayListFree(PlaylistRecord* list) {
  while (list != nullptr) {
    PlaylistRecord* next = list->next;
    std::free(list->path);
    std::free(list);
    list = next;
  }
}

int ZARNPlaylistIsOriginalPersonalPlaylist(const char* path, const char* user_name) {
  if (path == nullptr || user_name == nullptr) return 0;
  std::string folder = cantora::PersonalPlaylistFolder(user_name);
  if (folder.empty()) return 0;
  std::string p = path;
  return p.size() > folder.size() + 1 && p.compare(0, folder.size(), folder) == 0 &&
                 p[folder.size()] == '/' && p.find('/', folder.size() + 1) == std::string::npos &&
                 cantora::IsPersonalPlaylistFileName(p)
             ? 1
             : 0;
}

int ZARNPlaylistPathGet(const char* kind, int uid, long id, char* path, size_t size) {
  if (kind == nullptr || path == nullptr || size == 0) return -1;
  int64_t library;
  if (std::strcmp(kind, "shared") == 0) {
    library = 0;
  } else if (std::strcmp(kind, "personal") == 0 && uid > 0) {
    library = uid;
  } else {
    return -1;
  }
  sqlite::Database* db = cantora::PlatformDatabase();
  if (db == nullptr) return -1;
  sqlite::Statement st = db->Prepare("SELECT path FROM playlist WHERE id = ? AND library = ?");
  if (!st.IsValid()) return -1;
  st.Bind(1, static_cast<int64_t>(id)).Bind(2, library);
  if (st.Step() != SQLITE_ROW) return -1;
  if (static_cast<size_t>(st.Bytes(0)) >= size) return -1;
  std::memcpy(path, st.Text(0), static_cast<size_t>(st.Bytes(0)) + 1);
  return 0;
}
