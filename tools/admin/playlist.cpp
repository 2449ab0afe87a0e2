// cantora-admin playlist ...: the shared playlists and users' own playlists.
#include "platform/playlist/playlist.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "platform/auth/account.h"
#include "platform/auth/preference_dir.h"
#include "platform/config/config.h"
#include "platform/playlist/m3u.h"
#include "platform/playlist/song_records.h"
#include "platform/playlist/store.h"
#include "tools/admin/command.h"
#include "tools/admin/input.h"

namespace {

constexpr const char* kPlaylistUsage =
    "usage: cantora-admin playlist list [--user USER]\n"
    "       cantora-admin playlist show ID | --user USER NAME\n"
    "       cantora-admin playlist import FILE [--name NAME] [--user USER]\n"
    "       cantora-admin playlist del ID | --user USER NAME\n"
    "\n"
    "Shared playlists are the .m3u/.m3u8 files of the shared folders and of the\n"
    "shared playlist folder (shared_playlists), known by their index id. With\n"
    "--user, the user's own playlists (<preferences>/USER/playlists/NAME.m3u),\n"
    "known by name; 'list --user' also lists the user's personal-library\n"
    "playlists. 'list' prints ID, NAME and PATH separated by tabs (ID 0 for a\n"
    "user's own playlist). 'show' prints one entry per line: the path, and the\n"
    "title when the playlist gives one. 'import' copies an M3U/M3U8 file into the\n"
    "store as a new playlist called NAME (default: the file's name), its entries\n"
    "made absolute; an existing name is refused. 'del' removes the file (and its\n"
    "id).\n";

struct Target {
  std::string user;
  std::string name_or_id;
  std::string name;  // import: --name
};

bool ParseTarget(const AdminArgs& args, const char* what, Target* t, std::string* problem) {
  for (size_t i = 1; i < args.size(); ++i) {
    if (args[i] == "--user" || args[i] == "--name") {
      if (i + 1 >= args.size()) {
        *problem = std::string(what) + ": " + args[i] + " needs a value";
        return false;
      }
      std::string& value = args[i] == "--user" ? t->user : t->name;
      value = args[++i];
    } else if (!args[i].empty() && args[i][0] == '-') {
      *problem = std::string(what) + ": unknown option " + args[i];
      return false;
    } else if (t->name_or_id.empty()) {
      t->name_or_id = args[i];
    } else {
      *problem = std::string(what) + ": one playlist only";
      return false;
    }
  }
  return true;
}

// The id of the named user; -1 when there is none.
int64_t UserIdOf(sqlite::Database& db, const std::string& user) {
  std::vector<cantora::User> users;
  std::string error;
  if (!cantora::ListUsers(db, &users, &error)) return -1;
  for (const cantora::User& u : users)
    if (u.name == user) return u.id;
  return -1;
}

bool UserExists(sqlite::Database& db, const std::string& user) { return UserIdOf(db, user) >= 0; }

// The file of a playlist named on the command line, or a Fail()ure status.
int PlaylistFile(sqlite::Database& db, const Target& t, const char* what, std::string* file,
                 int64_t* id) {
  *id = 0;
  if (t.name_or_id.empty()) return Fail(std::string(what) + ": which playlist?");
  if (!t.user.empty()) {
    if (!UserExists(db, t.user)) return Fail(std::string(what) + ": no user " + t.user);
    std::string name = t.name_or_id;
    if (name.find('/') != std::string::npos || name[0] == '.')
      return Fail(std::string(what) + ": not a playlist name: " + name);
    *file = cantora::PersonalPlaylistFolder(t.user) + "/" + name + ".m3u";
    if (access(file->c_str(), F_OK) != 0)
      return Fail(std::string(what) + ": " + t.user + " has no playlist " + name);
    return 0;
  }
  char* end = nullptr;
  long value = std::strtol(t.name_or_id.c_str(), &end, 10);
  if (*end != '\0' || value <= 0)
    return Fail(std::string(what) + ": not a playlist id: " + t.name_or_id);
  std::vector<cantora::StoredPlaylist> all;
  std::string error;
  if (!cantora::ListAllStoredPlaylists(db, &all, &error))
    return Fail(std::string(what) + ": " + error);
  for (const cantora::StoredPlaylist& p : all) {
    if (p.id == value) {
      *file = p.path;
      *id = p.id;
      return 0;
    }
  }
  return Fail(std::string(what) + ": no playlist " + t.name_or_id);
}

std::string FolderOf(const std::string& file) {
  std::string normal = cantora::NormalPath(file);
  size_t slash = normal.rfind('/');
  return slash == 0 ? "/" : normal.substr(0, slash);
}

std::string Absolute(const std::string& path) {
  if (!path.empty() && path[0] == '/') return path;
  char cwd[4096];
  return getcwd(cwd, sizeof cwd) != nullptr ? std::string(cwd) + "/" + path : path;
}

void PrintStored(const std::vector<cantora::StoredPlaylist>& stored) {
  for (const auto& p : stored)
    std::printf("%lld\t%s\t%s\n", static_cast<long long>(p.id), p.name.c_str(), p.path.c_str());
}

int List(sqlite::Database& db, const Target& t) {
  if (!t.name_or_id.empty()) return Fail("playlist list: no arguments expected but --user");
  std::string error;
  std::vector<cantora::StoredPlaylist> stored;
  if (t.user.empty()) {
    if (!cantora::ListStoredPlaylists(db, 0, &stored, &error))
      return Fail("playlist list: " + error);
    PrintStored(stored);
    return 0;
  }
  int64_t uid = UserIdOf(db, t.user);
  if (uid < 0) return Fail("playlist list: no user " + t.user);
  if (!cantora::ListStoredPlaylists(db, uid, &stored, &error))
    return Fail("playlist list: " + error);
  PrintStored(stored);
  std::string prefs = cantora::UserPreferenceDir(t.user);
  PlaylistRecord* own = nullptr;
  ZARNPersonalPlaylistListAll(prefs.c_str(), &own, 0, -1);
  for (const PlaylistRecord* r = own; r != nullptr; r = r->next)
    std::printf("0\t%s\t%s\n", r->name, r->path);
  ZARNPlayListFree(own);
  return 0;
}

int Show(sqlite::Database& db, const Target& t) {
  std::string file, text;
  int64_t id;
  if (int status = PlaylistFile(db, t, "playlist show", &file, &id)) return status;
  if (!ReadWholeFile(file, &text)) return Fail("playlist show: cannot read " + file);
  for (const cantora::PlaylistEntry& e : cantora::ParseM3u(text, FolderOf(file), 0, -1)) {
    if (e.title.empty())
      std::printf("%s\n", e.path.c_str());
    else
      std::printf("%s\t%s\n", e.path.c_str(), e.title.c_str());
  }
  return 0;
}

// The gateway writes users' playlists with the web server's identity, which
// owns the preferences folder (cantora-admin init --web-user): what this
// command made there as root is given to that owner.
void GiveToPreferencesOwner(const std::string& user, const std::string& file) {
  struct stat prefs;
  if (stat(cantora::GetConfig().preferences.c_str(), &prefs) != 0) return;
  const std::string folder = cantora::PersonalPlaylistFolder(user);
  for (const std::string& p : {cantora::UserPreferenceDir(user), folder, file})
    if (lchown(p.c_str(), prefs.st_uid, prefs.st_gid) != 0) return;
}

int Import(sqlite::Database& db, const Target& t) {
  if (t.name_or_id.empty()) return Fail("playlist import: which file?");
  std::string source = Absolute(t.name_or_id), text;
  if (!cantora::IsPlaylistFileName(source))
    return Fail("playlist import: not an .m3u or .m3u8 file: " + source);
  if (!ReadWholeFile(source, &text)) return Fail("playlist import: cannot read " + source);
  if (!t.user.empty() && !UserExists(db, t.user)) return Fail("playlist import: no user " + t.user);
  std::string name = t.name.empty() ? cantora::PlaylistNameOfPath(source) : t.name;
  std::string path;
  if (!cantora::CreateEmptyPlaylist(name, t.user, t.user.empty(), &path))
    return Fail("playlist import: cannot create the playlist '" + name +
                "' (a name in use, or one that cannot be a file's)");
  cantora::MediaInfoList songs;
  for (const cantora::PlaylistEntry& e : cantora::ParseM3u(text, FolderOf(source), 0, -1))
    songs.Append(cantora::UnindexedEntryRecord(e));
  if (ZARNWriteMusicPlaylist(songs.head(), path.c_str(),
                             cantora::PlaylistWriter::Administrator()) != 0)
    return Fail("playlist import: cannot write " + path);
  if (!t.user.empty()) GiveToPreferencesOwner(t.user, path);
  std::printf("%s\n", path.c_str());
  return 0;
}

int Delete(sqlite::Database& db, const Target& t) {
  std::string file;
  int64_t id;
  if (int status = PlaylistFile(db, t, "playlist del", &file, &id)) return status;
  if (unlink(file.c_str()) != 0 && access(file.c_str(), F_OK) == 0)
    return Fail("playlist del: cannot remove " + file);
  std::string error;
  if (id != 0 && !cantora::ForgetPlaylist(db, id, &error)) return Fail("playlist del: " + error);
  return 0;
}

int RunPlaylist(const AdminArgs& args) {
  if (args.empty())
    return Fail("playlist: list, show, import or del? (cantora-admin playlist --help)");
  Target t;
  std::string problem;
  const std::string& verb = args[0];
  if (verb != "list" && verb != "show" && verb != "import" && verb != "del")
    return Fail("playlist: unknown command " + verb);
  if (!ParseTarget(args, ("playlist " + verb).c_str(), &t, &problem)) return Fail(problem);
  if (!t.name.empty() && verb != "import")
    return Fail("playlist " + verb + ": --name is for import");
  sqlite::Database db;
  if (!OpenAdminDatabase(&db)) return 1;
  if (verb == "list") return List(db, t);
  if (verb == "show") return Show(db, t);
  if (verb == "import") return Import(db, t);
  return Delete(db, t);
}

AdminCommand playlist_command("playlist", "list, show, import and remove playlists", kPlaylistUsage,
                              RunPlaylist);

}  // namespace
