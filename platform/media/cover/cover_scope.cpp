#include "platform/media/cover/cover_scope.h"

#include <climits>
#include <cstdlib>

#include "platform/config/platform_db.h"
#include "platform/index/audio_file.h"
#include "platform/index/indexed_folder.h"
#include "platform/media/cover/cover_cache.h"

namespace cantora {
namespace {

bool RealPath(const std::string& path, std::string* real) {
  char buffer[PATH_MAX];
  if (realpath(path.c_str(), buffer) == nullptr) return false;
  *real = buffer;
  return true;
}

// Adds folder and, when it exists, its real path.
void Allow(const std::string& folder, std::vector<std::string>* as_given,
           std::vector<std::string>* resolved) {
  if (!IsPlainAbsolutePath(folder)) return;
  std::string real;
  if (!RealPath(folder, &real)) return;
  as_given->push_back(folder);
  resolved->push_back(real);
}

// A library's root itself counts: its songs have their folder cover there.
bool BelowAny(const std::string& path, const std::vector<std::string>& folders) {
  for (const std::string& f : folders)
    if (IsSameOrBelow(path, f)) return true;
  return false;
}

// Both steps of admission (see the header).
bool Resolve(const std::string& path, const std::vector<std::string>& as_given,
             const std::vector<std::string>& resolved, std::string* real) {
  if (!IsPlainAbsolutePath(path)) return false;
  if (!BelowAny(path, as_given) && !BelowAny(path, resolved)) return false;
  return RealPath(path, real) && BelowAny(*real, resolved);
}

}  // namespace

bool IsPlainAbsolutePath(const std::string& path) {
  if (path.empty() || path[0] != '/' || path.find('\0') != std::string::npos) return false;
  size_t start = 1;
  while (start <= path.size()) {
    size_t end = path.find('/', start);
    if (end == std::string::npos) end = path.size();
    std::string_view part(path.data() + start, end - start);
    if ((part.empty() && end != path.size()) || part == "." || part == "..") return false;
    start = end + 1;
  }
  return true;
}

std::string ParentFolder(const std::string& path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return "";
  return slash == 0 ? "/" : path.substr(0, slash);
}

CoverScope::CoverScope(const User& user) {
  uid_ = user.id > 0 ? static_cast<int>(user.id) : -1;
  for (const auto& folder : AudioFile::GetIndexedFolder())
    Allow(folder.first, &libraries_, &real_libraries_);
  if (uid_ > 0) Allow(PersonalLibraryFolder(user.name), &libraries_, &real_libraries_);
  Allow(EmbeddedCoverFolder(), &embedded_, &real_embedded_);
}

bool CoverScope::ResolveInLibraries(const std::string& path, std::string* real) const {
  return Resolve(path, libraries_, real_libraries_, real);
}

bool CoverScope::ResolveInEmbeddedCovers(const std::string& path, std::string* real) const {
  return Resolve(path, embedded_, real_embedded_, real);
}

bool CoverScope::IsVisibleSong(const std::string& path) const {
  return IndexedAndVisible("song", path);
}

bool CoverScope::IsVisibleFolder(const std::string& path) const {
  return IndexedAndVisible("folder", path);
}

bool CoverScope::IndexedAndVisible(const char* table, const std::string& path) const {
  sqlite::Database* db = PlatformDatabase();
  if (db == nullptr) return false;
  sqlite::Statement st =
      db->Prepare(std::string("SELECT 1 FROM ") + table +
                  " WHERE path = ?1 AND (library = 0 OR library = ?2)");
  if (!st.IsValid()) return false;
  st.Bind(1, path).Bind(2, static_cast<int64_t>(uid_));
  return st.Step() == SQLITE_ROW;
}

}  // namespace cantora
