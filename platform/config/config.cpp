#include "platform/config/config.h"

#include <sys/stat.h>
#include <syslog.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <utility>
#include <vector>

#include "platform/config/trust.h"

namespace cantora {
namespace {

constexpr const char* kDefaultConfigPath = "/etc/cantora/cantora.conf";

std::string Trim(const std::string& s) {
  size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return "";
  size_t e = s.find_last_not_of(" \t\r");
  return s.substr(b, e - b + 1);
}

bool ParseLong(const std::string& text, long* out) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  long v = std::strtol(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || v < 0) return false;
  *out = v;
  return true;
}

bool Apply(Config* c, const std::string& key, const std::string& value) {
  struct Text { const char* key; std::string Config::*field; };
  struct Number { const char* key; long Config::*field; };
  static const Text texts[] = {
      {"root", &Config::root},
      {"database", &Config::database},
      {"homes", &Config::homes},
      {"personal_folder", &Config::personal_folder},
      {"preferences", &Config::preferences},
      {"shared_playlists", &Config::shared_playlists},
      {"smart_playlists", &Config::smart_playlists},
      {"cache", &Config::cache},
      {"libexec", &Config::libexec},
      {"shoutcast_url", &Config::shoutcast_url},
      {"shoutcast_tune_url", &Config::shoutcast_tune_url},
      {"lyrics_folder", &Config::lyrics_folder},
      {"lyrics_url", &Config::lyrics_url},
      {"ffmpeg", &Config::ffmpeg},
  };
  static const Number numbers[] = {
      {"session_lifetime", &Config::session_lifetime},
      {"max_body_bytes", &Config::max_body_bytes},
      {"radio_connect_timeout", &Config::radio_connect_timeout},
      {"radio_timeout", &Config::radio_timeout},
      {"radio_max_bytes", &Config::radio_max_bytes},
      {"lyrics_connect_timeout", &Config::lyrics_connect_timeout},
      {"lyrics_timeout", &Config::lyrics_timeout},
      {"lyrics_max_bytes", &Config::lyrics_max_bytes},
      {"cover_size", &Config::cover_size},
      {"x_sendfile", &Config::x_sendfile},
      {"transcode_slots", &Config::transcode_slots},
      {"transcode_bitrate", &Config::transcode_bitrate},
      {"transcode_max_bitrate", &Config::transcode_max_bitrate},
  };
  for (const Text& t : texts)
    if (key == t.key) { c->*t.field = value; return true; }
  for (const Number& n : numbers)
    if (key == n.key) return ParseLong(value, &(c->*n.field));
  return true;  // unknown keys are ignored
}

// What tells one version of a file from another without reading it.
struct FileIdentity {
  int error = 0;  // errno of the stat; 0 when the file is there
  dev_t dev = 0;
  ino_t ino = 0;
  off_t size = 0;
  timespec mtime{};
  // The change time moves with the owner and the mode too, which decide
  // whether a privileged process may read the file at all.
  timespec ctime{};
  bool operator==(const FileIdentity& o) const {
    return error == o.error && dev == o.dev && ino == o.ino && size == o.size &&
           mtime.tv_sec == o.mtime.tv_sec && mtime.tv_nsec == o.mtime.tv_nsec &&
           ctime.tv_sec == o.ctime.tv_sec && ctime.tv_nsec == o.ctime.tv_nsec;
  }
};

FileIdentity IdentityOf(const std::string& path) {
  FileIdentity id;
  struct stat st;
  if (stat(path.c_str(), &st) != 0) {
    id.error = errno;
    return id;
  }
  id.dev = st.st_dev;
  id.ino = st.st_ino;
  id.size = st.st_size;
  id.mtime = st.st_mtim;
  id.ctime = st.st_ctim;
  return id;
}

// The configuration in force: set by SetConfig, else read from the file on
// first use, so that a program that has read the file itself does not read
// it twice.
struct InForce {
  std::optional<Config> config;
  // The files it was read from (the one named, and the one read when that
  // differs), as they were just before the reading; empty when it was set.
  std::vector<std::pair<std::string, FileIdentity>> read_from;
};

InForce& Current() {
  static InForce in_force;
  return in_force;
}

// The file a privileged (setuid) process may read: the one its caller named
// only when root alone (and the caller's group) could have written it, else
// the installed one under the same rule. Empty when neither passes.
std::string PrivilegedConfigPath() {
  std::string resolved, why;
  std::string named = ConfigFilePath();
  if (TrustedForPrivilegedUse(named, &resolved, &why)) return resolved;
  syslog(LOG_ERR, "cantora: refusing configuration %s", why.c_str());
  if (named == kDefaultConfigPath) return "";
  if (TrustedForPrivilegedUse(kDefaultConfigPath, &resolved, &why)) return resolved;
  if (errno != ENOENT) syslog(LOG_ERR, "cantora: refusing configuration %s", why.c_str());
  return "";
}

// Reads the configuration; *read_from receives the files it depends on,
// each as it was before the reading (a change after it is seen next time).
Config LoadOrDefaults(std::vector<std::pair<std::string, FileIdentity>>* read_from) {
  Config c;
  std::string error;
  std::string path = ConfigFilePath();
  read_from->clear();
  read_from->emplace_back(path, IdentityOf(path));
  if (StartedPrivileged()) {
    path = PrivilegedConfigPath();
    if (path.empty()) return c;
    if (path != read_from->front().first) read_from->emplace_back(path, IdentityOf(path));
  }
  if (!LoadConfigFile(path, &c, &error)) {
    syslog(LOG_ERR, "cantora: %s", error.c_str());
    c = Config();
  }
  return c;
}

}  // namespace

std::string ConfigFilePath() {
  const char* env = std::getenv("CANTORA_CONFIG");
  return (env && *env) ? env : kDefaultConfigPath;
}

bool LoadConfigFile(const std::string& path, Config* out, std::string* error) {
  std::ifstream in(path);
  if (!in) {
    if (path == kDefaultConfigPath && errno == ENOENT) return true;
    *error = "cannot read configuration " + path + ": " + std::strerror(errno);
    return false;
  }
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    std::string t = Trim(line);
    if (t.empty() || t[0] == '#') continue;
    size_t eq = t.find('=');
    if (eq == std::string::npos) {
      *error = path + ":" + std::to_string(number) + ": expected key = value";
      return false;
    }
    std::string key = Trim(t.substr(0, eq));
    std::string value = Trim(t.substr(eq + 1));
    if (!Apply(out, key, value)) {
      *error = path + ":" + std::to_string(number) + ": bad value for " + key;
      return false;
    }
  }
  return true;
}

const Config& GetConfig() {
  InForce& in_force = Current();
  if (!in_force.config) in_force.config = LoadOrDefaults(&in_force.read_from);
  return *in_force.config;
}

void SetConfig(const Config& config) {
  Current().config = config;
  Current().read_from.clear();
}

bool ReloadConfigIfChanged() {
  InForce& in_force = Current();
  if (!in_force.config || in_force.read_from.empty()) return false;
  bool changed = ConfigFilePath() != in_force.read_from.front().first;
  for (const auto& [path, identity] : in_force.read_from)
    changed = changed || !(IdentityOf(path) == identity);
  if (!changed) return false;
  // Assigned in place: the reference GetConfig handed out stays valid.
  *in_force.config = LoadOrDefaults(&in_force.read_from);
  return true;
}

std::string ResolveSystemPath(const std::string& fixed_path) {
  const std::string& root = GetConfig().root;
  if (root.empty() || root == "/") return fixed_path;
  std::string r = root;
  while (r.size() > 1 && r.back() == '/') r.pop_back();
  return r + fixed_path;
}

}  // namespace cantora
