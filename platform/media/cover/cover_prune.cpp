#include "platform/media/cover/cover_prune.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <unordered_set>

#include "platform/media/cover/cover_cache.h"

namespace cantora {
namespace {

constexpr time_t kDay = 24 * 3600;

// Calls remove(name, stat) for each regular file in the fan-out folders of
// root, and unlinks the file when it says so. Returns how many went.
long Sweep(const std::string& root,
           const std::function<bool(const std::string&, const struct stat&)>& remove) {
  long removed = 0;
  DIR* top = opendir(root.c_str());
  if (top == nullptr) return 0;
  while (dirent* fan = readdir(top)) {
    if (fan->d_name[0] == '.') continue;
    const std::string folder = root + "/" + fan->d_name;
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) continue;
    while (dirent* entry = readdir(dir)) {
      const std::string path = folder + "/" + entry->d_name;
      struct stat st;
      if (entry->d_name[0] == '.' || lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        continue;
      if (remove(entry->d_name, st) && unlink(path.c_str()) == 0) ++removed;
    }
    closedir(dir);
  }
  closedir(top);
  return removed;
}

// A writer's temporary file ("<name>.XXXXXX") older than a day.
bool AbandonedTemporary(const std::string& name, const struct stat& st, time_t now) {
  return name.find('.') != std::string::npos && st.st_mtime < now - kDay;
}

}  // namespace

bool PruneCoverCache(sqlite::Database& db, long days, CoverPruneSummary* summary,
                     std::string* error) {
  *summary = CoverPruneSummary();
  std::unordered_set<std::string> shown;
  sqlite::Statement st = db.Prepare("SELECT DISTINCT image FROM song_cover", error);
  if (!st.IsValid()) return false;
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) shown.insert(st.Text(0));
  if (rc != SQLITE_DONE) return db.Fail(error);
  const time_t now = std::time(nullptr);
  summary->embedded_removed =
      Sweep(EmbeddedCoverFolder(), [&](const std::string& name, const struct stat& s) {
        if (name.find('.') != std::string::npos) return AbandonedTemporary(name, s, now);
        return shown.count(name) == 0;
      });
  const time_t unused_since = now - static_cast<time_t>(days) * kDay;
  summary->scaled_removed =
      Sweep(ScaledCoverFolder(), [&](const std::string& name, const struct stat& s) {
        if (name.find('.') != std::string::npos) return AbandonedTemporary(name, s, now);
        return std::max(s.st_atime, s.st_mtime) < unused_since;
      });
  return true;
}

}  // namespace cantora
