// cantora-admin init DIR: a self-contained instance in one folder.
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>

#include "platform/auth/account.h"
#include "platform/config/config.h"
#include "platform/config/platform_db.h"
#include "platform/index/schema.h"
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

std::string SelfDirectory() {
  char buf[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return "/usr/lib/cantora";
  std::string path(buf, static_cast<size_t>(n));
  return path.substr(0, path.rfind('/'));
}

// The shipped UI texts: <texts>/<language>/strings.
bool InstallTexts(const std::string& texts, std::string* error) {
  for (const DeployText* t = kDeployTexts; t->language != nullptr; ++t) {
    std::string folder = texts + "/" + t->language;
    if (!MakeDirs(folder, error)) return false;
    std::ofstream out(folder + "/strings", std::ios::binary);
    out << t->strings;
    if (!out) {
      *error = "cannot write " + folder + "/strings";
      return false;
    }
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
  if (!MakeDirs(dir, &error)) return Fail("init: " + error);
  char real[PATH_MAX];
  if (realpath(dir.c_str(), real) == nullptr) return Fail("init: cannot resolve " + dir);
  dir = real;
  std::string conf = dir + "/cantora.conf";
  struct stat st;
  if (stat(conf.c_str(), &st) == 0) return Fail("init: " + dir + " already holds an instance");

  uid_t web_uid = static_cast<uid_t>(-1);
  gid_t web_gid = static_cast<gid_t>(-1);
  if (!web_user.empty()) {
    struct passwd* pw = getpwnam(web_user.c_str());
    if (pw == nullptr) return Fail("init: no user " + web_user);
    web_uid = pw->pw_uid;
    web_gid = pw->pw_gid;
  }

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
  const std::string radio = dir + "/usr/zarn/etc/radio";
  // The database folder stays root's: a setuid gateway reads only a
  // database that nobody but root and the web server's group can have
  // written (platform/config/trust.h). The group may write, and files made
  // in the folder keep its group (set-group-id folder).
  const std::string data = dir + "/data";
  // The gateway writes new shared playlists and users' own playlists with
  // the web server's identity.
  const std::string writable[] = {c.cache, radio, dir + "/tmp", c.shared_playlists,
                                  c.preferences};
  for (const std::string& d : {c.homes, c.lyrics_folder,
                               dir + "/var/packages/Cantora/target/app/texts"})
    if (!MakeDirs(d, &error)) return Fail("init: " + error);
  for (const std::string& d : writable) {
    if (!MakeDirs(d, &error)) return Fail("init: " + error);
    if (!web_user.empty() && chown(d.c_str(), web_uid, web_gid) != 0)
      return Fail("init: cannot give " + d + " to " + web_user + ": " + std::strerror(errno));
  }
  chmod((dir + "/tmp").c_str(), 01777);
  if (!MakeDirs(data, &error)) return Fail("init: " + error);
  if (!web_user.empty() &&
      (chown(data.c_str(), 0, web_gid) != 0 || chmod(data.c_str(), 02770) != 0))
    return Fail("init: cannot give " + data + " to the group of " + web_user + ": " +
                std::strerror(errno));

  if (!InstallTexts(dir + "/var/packages/Cantora/target/app/texts", &error))
    return Fail("init: " + error);

  sqlite::Database db;
  if (!cantora::OpenPlatformDatabase(c.database, true, &db, &error) ||
      !cantora::CreateAccountSchema(db, &error) || !cantora::CreateIndexSchema(db, &error))
    return Fail("init: database " + c.database + ": " + error);
  db.Close();
  if (!web_user.empty()) {
    for (const char* suffix : {"", "-wal", "-shm"}) {
      std::string f = c.database + suffix;
      if (stat(f.c_str(), &st) == 0 &&
          (chown(f.c_str(), 0, web_gid) != 0 || chmod(f.c_str(), 0660) != 0))
        return Fail("init: cannot give " + f + " to the group of " + web_user);
    }
  }

  std::ofstream out(conf);
  out << "# Cantora instance, made by cantora-admin init.\n"
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
  out.close();
  if (!out || chmod(conf.c_str(), 0644) != 0) return Fail("init: cannot write " + conf);
  std::printf("%s\n", conf.c_str());
  return 0;
}

AdminCommand init_command("init", "create a self-contained instance in a folder", kInitUsage, Init);

}  // namespace
