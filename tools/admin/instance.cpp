// cantora-admin init DIR: a self-contained instance in one folder.
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <sstream>
#include <utility>

#include "platform/auth/account.h"
#include "platform/config/config.h"
#include "platform/config/platform_db.h"
#include "platform/index/schema.h"
#include "platform/io/unique_fd.h"
#include "platform/process/own_folder.h"
#include "tools/admin/command.h"
#include "tools/admin/deploy_texts.h"

namespace {

constexpr const char* kInitUsage =
    "usage: cantora-admin init DIR [--web-user USER]\n"
    "\n"
    "Creates a self-contained instance in DIR: its configuration DIR/cantora.conf\n"
    "(printed on success), database, homes, preferences, caches and the system\n"
    "paths (radio lists, UI texts) under DIR as root. With --web-user, the folders\n"
    "the web server's CGIs write (radio lists, caches, shared playlists,\n"
    "preferences) belong to USER; the database stays root's, writable by USER's\n"
    "group.\n"
    "Refuses a DIR that already holds an instance.\n";

bool MakeDirs(const std::string& path, std::string* error) {
  std::string partial;
  size_t pos = 0;
  while (pos != std::string::npos) {
    pos = path.find('/', pos + 1);
    partial = path.substr(0, pos);
    if (partial.empty()) continue;
    if (mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST) {
      *error = "cannot create " + partial + ": " + std::strerror(errno);
      return false;
    }
  }
  return true;
}

using cantora::UniqueFd;

// The folder rel (relative, '/'-separated) below the folder open as top,
// made where missing (mode 0755) and opened, never through a link: init
// runs as root, and an entry already in the instance's folder, a link to
// another folder of the box say, must not have that folder given to the web
// server's user. An existing entry that is not a plain folder is refused.
UniqueFd MakeFolderBeneath(int top, const std::string& top_path, const std::string& rel,
                         std::string* error) {
  UniqueFd at(fcntl(top, F_DUPFD_CLOEXEC, 0));
  std::string path = top_path;
  size_t start = 0;
  while (at && start < rel.size()) {
    size_t slash = rel.find('/', start);
    if (slash == std::string::npos) slash = rel.size();
    const std::string part = rel.substr(start, slash - start);
    start = slash + 1;
    if (part.empty()) continue;
    path += "/" + part;
    if (mkdirat(at.get(), part.c_str(), 0755) != 0 && errno != EEXIST) {
      *error = "cannot create " + path + ": " + std::strerror(errno);
      return UniqueFd();
    }
    UniqueFd next(openat(at.get(), part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!next) {
      *error = errno == ELOOP || errno == ENOTDIR
                   ? path + " exists and is not a folder"
                   : "cannot open " + path + ": " + std::strerror(errno);
      return UniqueFd();
    }
    at = std::move(next);
  }
  return at;
}

// Creates name in the folder open as folder with text, mode 0644; a name
// that exists already (a link among them) is refused, never written through.
bool WriteNewFile(int folder, const std::string& folder_path, const std::string& name,
                  const std::string& text, std::string* error) {
  UniqueFd fd(
      openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
  if (!fd) {
    *error = "cannot create " + folder_path + "/" + name + ": " + std::strerror(errno);
    return false;
  }
  bool ok = cantora::WriteAll(fd.get(), text) && fchmod(fd.get(), 0644) == 0;
  ok = fd.Close() && ok;
  if (!ok) *error = "cannot write " + folder_path + "/" + name;
  return ok;
}

// Creates (or brings up to date) the platform database name in the folder
// open as folder, whose path is folder_path. With a group (not -1) the
// files become root's, readable and writable by that group, as a setuid
// gateway requires of the database it trusts.
bool CreateDatabase(int folder, const std::string& folder_path, const std::string& name,
                    gid_t group, std::string* error) {
  const std::string names[] = {name, name + "-wal", name + "-shm"};
  struct stat st;
  // SQLite follows links: the files it is to make must not be links.
  for (const std::string& n : names) {
    if (fstatat(folder, n.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && !S_ISREG(st.st_mode)) {
      *error = folder_path + "/" + n + " exists and is not a file";
      return false;
    }
  }
  const std::string path = folder_path + "/" + name;
  sqlite::Database db;
  if (!cantora::OpenPlatformDatabase(path, true, &db, error) ||
      !cantora::CreateAccountSchema(db, error) || !cantora::CreateIndexSchema(db, error)) {
    *error = "database " + path + ": " + *error;
    return false;
  }
  db.Close();
  if (group == static_cast<gid_t>(-1)) return true;
  for (const std::string& n : names) {
    UniqueFd f(openat(folder, n.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!f) continue;
    if (fstat(f.get(), &st) != 0 || !S_ISREG(st.st_mode) || fchown(f.get(), 0, group) != 0 ||
        fchmod(f.get(), 0660) != 0) {
      *error = "cannot give " + folder_path + "/" + n + " to the web server's group";
      return false;
    }
  }
  return true;
}

// The user and group ids of user; false when there is no such user.
bool WebUserIds(const std::string& user, uid_t* uid, gid_t* gid) {
  struct passwd* pw = getpwnam(user.c_str());
  if (pw == nullptr) return false;
  *uid = pw->pw_uid;
  *gid = pw->pw_gid;
  return true;
}

std::string SelfDirectory() {
  std::string folder = cantora::OwnProgramFolder();
  return folder.empty() ? "/usr/lib/cantora" : folder;
}

// The shipped UI texts: <texts>/<language>/strings, texts relative to the
// instance open as top.
bool InstallTexts(int top, const std::string& top_path, const std::string& texts,
                  std::string* error) {
  for (const DeployText* t = kDeployTexts; t->language != nullptr; ++t) {
    UniqueFd folder = MakeFolderBeneath(top, top_path, texts + "/" + t->language, error);
    if (!folder) return false;
    if (!WriteNewFile(folder.get(), top_path + "/" + texts + "/" + t->language, "strings",
                      t->strings, error))
      return false;
  }
  return true;
}

int Init(const AdminArgs& args) {
  std::string dir, web_user;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--web-user" && i + 1 < args.size()) {
      web_user = args[++i];
    } else if (!args[i].empty() && args[i][0] == '-') {
      return Fail("init: unknown option " + args[i]);
    } else if (dir.empty()) {
      dir = args[i];
    } else {
      return Fail("init: one folder only");
    }
  }
  if (dir.empty()) return Fail("init: which folder? (cantora-admin init DIR)");
  std::string error;
  // DIR itself is the administrator's choice, links and all; what lies in
  // it is looked at without following any.
  if (!MakeDirs(dir, &error)) return Fail("init: " + error);
  char real[PATH_MAX];
  if (realpath(dir.c_str(), real) == nullptr) return Fail("init: cannot resolve " + dir);
  dir = real;
  UniqueFd top(open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!top) return Fail("init: cannot open " + dir + ": " + std::strerror(errno));
  struct stat st;
  if (fstatat(top.get(), "cantora.conf", &st, AT_SYMLINK_NOFOLLOW) == 0)
    return Fail("init: " + dir + " already holds an instance");

  uid_t web_uid = static_cast<uid_t>(-1);
  gid_t web_gid = static_cast<gid_t>(-1);
  if (!web_user.empty() && !WebUserIds(web_user, &web_uid, &web_gid))
    return Fail("init: no user " + web_user);

  cantora::Config c;
  c.root = dir;
  c.database = dir + "/data/cantora.db";
  c.homes = dir + "/home";
  c.preferences = dir + "/preferences";
  c.shared_playlists = dir + "/data/playlists";
  c.smart_playlists = dir + "/data/smart.playlist";
  c.cache = dir + "/cache";
  c.libexec = SelfDirectory();
  c.lyrics_folder = dir + "/lyrics";
  const std::string texts = "var/packages/Cantora/target/app/texts";
  for (const char* rel : {"home", "lyrics"})
    if (!MakeFolderBeneath(top.get(), dir, rel, &error)) return Fail("init: " + error);
  // The gateway writes the radio lists, caches, new shared playlists and
  // users' own playlists with the web server's identity; tmp is everyone's.
  for (const char* rel : {"cache", "usr/zarn/etc/radio", "tmp", "data/playlists", "preferences"}) {
    UniqueFd folder = MakeFolderBeneath(top.get(), dir, rel, &error);
    if (!folder) return Fail("init: " + error);
    if (!web_user.empty() && fchown(folder.get(), web_uid, web_gid) != 0)
      return Fail("init: cannot give " + dir + "/" + rel + " to " + web_user + ": " +
                  std::strerror(errno));
    if (std::strcmp(rel, "tmp") == 0 && fchmod(folder.get(), 01777) != 0)
      return Fail("init: cannot open " + dir + "/tmp to everyone: " + std::strerror(errno));
  }
  // The database folder stays root's: a setuid gateway reads only a
  // database that nobody but root and the web server's group can have
  // written (platform/config/trust.h). The group may write, and files made
  // in the folder keep its group (set-group-id folder).
  UniqueFd data = MakeFolderBeneath(top.get(), dir, "data", &error);
  if (!data) return Fail("init: " + error);
  if (!web_user.empty() && (fchown(data.get(), 0, web_gid) != 0 || fchmod(data.get(), 02770) != 0))
    return Fail("init: cannot give " + dir + "/data to the group of " + web_user + ": " +
                std::strerror(errno));

  if (!InstallTexts(top.get(), dir, texts, &error)) return Fail("init: " + error);

  if (!CreateDatabase(data.get(), dir + "/data", "cantora.db", web_gid, &error))
    return Fail("init: " + error);

  std::ostringstream conf;
  conf << "# Cantora instance, made by cantora-admin init.\n"
       << "root = " << c.root << "\n"
       << "database = " << c.database << "\n"
       << "homes = " << c.homes << "\n"
       << "personal_folder = " << c.personal_folder << "\n"
       << "preferences = " << c.preferences << "\n"
       << "shared_playlists = " << c.shared_playlists << "\n"
       << "smart_playlists = " << c.smart_playlists << "\n"
       << "cache = " << c.cache << "\n"
       << "libexec = " << c.libexec << "\n"
       << "lyrics_folder = " << c.lyrics_folder << "\n"
       << "session_lifetime = " << c.session_lifetime << "\n"
       << "max_body_bytes = " << c.max_body_bytes << "\n";
  if (!WriteNewFile(top.get(), dir, "cantora.conf", conf.str(), &error))
    return Fail("init: " + error);
  std::printf("%s/cantora.conf\n", dir.c_str());
  return 0;
}

constexpr const char* kSetupUsage =
    "usage: cantora-admin setup [--web-user USER]\n"
    "\n"
    "Creates the database the configuration names, or brings its schema up to\n"
    "date; nothing in it is lost. With --web-user, its files become root's,\n"
    "readable and writable by USER's group, as the setuid gateway requires.\n"
    "The installed package runs it; an instance made by init needs it not.\n";

int Setup(const AdminArgs& args) {
  std::string web_user;
  if (args.size() == 2 && args[0] == "--web-user") {
    web_user = args[1];
  } else if (!args.empty()) {
    return Fail("setup: usage: cantora-admin setup [--web-user USER]");
  }
  uid_t web_uid = static_cast<uid_t>(-1);
  gid_t web_gid = static_cast<gid_t>(-1);
  if (!web_user.empty() && !WebUserIds(web_user, &web_uid, &web_gid))
    return Fail("setup: no user " + web_user);
  if (!LoadAdminConfig()) return 1;
  const std::string& database = cantora::GetConfig().database;
  const size_t slash = database.rfind('/');
  if (slash == std::string::npos || slash + 1 == database.size())
    return Fail("setup: the database must be an absolute file name, not " + database);
  const std::string folder_path = slash == 0 ? "/" : database.substr(0, slash);
  UniqueFd folder(open(folder_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return Fail("setup: cannot open " + folder_path + ": " + std::strerror(errno));
  std::string error;
  if (!CreateDatabase(folder.get(), folder_path, database.substr(slash + 1), web_gid, &error))
    return Fail("setup: " + error);
  std::printf("%s\n", database.c_str());
  return 0;
}

AdminCommand setup_command("setup", "create the configured database (the package's set-up)",
                           kSetupUsage, Setup);

AdminCommand init_command("init", "create a self-contained instance in a folder", kInitUsage, Init);

}  // namespace
