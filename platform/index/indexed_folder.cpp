#include "platform/index/indexed_folder.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace cantora {
namespace {

bool Canonical(const std::string& path, std::string* out, std::string* error) {
  char buf[PATH_MAX];
  if (realpath(path.c_str(), buf) == nullptr) {
    *error = path + ": " + std::strerror(errno);
    return false;
  }
  *out = buf;
  return true;
}

}  // namespace

bool IsSameOrBelow(std::string_view path, std::string_view root) {
  if (root == "/") return !path.empty() && path[0] == '/';
  return path.compare(0, root.size(), root) == 0 &&
         (path.size() == root.size() || path[root.size()] == '/');
}

std::string BaseName(const std::string& path) {
  size_t end = path.find_last_not_of('/');
  if (end == std::string::npos) return path.empty() ? path : "/";
  size_t slash = path.rfind('/', end);
  return path.substr(slash == std::string::npos ? 0 : slash + 1,
                     slash == std::string::npos ? end + 1 : end - slash);
}

bool ListIndexedFolders(sqlite::Database& db, std::vector<IndexedFolder>* folders,
                        std::string* error) {
  folders->clear();
  sqlite::Statement st = db.Prepare("SELECT path, name FROM indexed_folder ORDER BY path", error);
  if (!st.IsValid()) return false;
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) folders->push_back({st.Text(0), st.Text(1)});
  if (rc != SQLITE_DONE) return db.Fail(error);
  return true;
}

bool AddIndexedFolder(sqlite::Database& db, const std::string& path, const std::string& name,
                      std::string* error) {
  std::string real;
  if (!Canonical(path, &real, error)) return false;
  struct stat st;
  if (stat(real.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    *error = path + ": not a folder";
    return false;
  }
  std::vector<IndexedFolder> existing;
  if (!ListIndexedFolders(db, &existing, error)) return false;
  for (const IndexedFolder& f : existing) {
    if (f.path == real) {
      *error = real + " is already an indexed folder";
      return false;
    }
    if (IsSameOrBelow(real, f.path) || IsSameOrBelow(f.path, real)) {
      *error = real + " overlaps the indexed folder " + f.path;
      return false;
    }
  }
  sqlite::Statement insert =
      db.Prepare("INSERT INTO indexed_folder(path, name) VALUES (?, ?)", error);
  if (!insert.IsValid()) return false;
  insert.Bind(1, real).Bind(2, name.empty() ? BaseName(real) : name);
  if (insert.Step() != SQLITE_DONE) return db.Fail(error);
  return true;
}

bool RemoveIndexedFolder(sqlite::Database& db, const std::string& path, std::string* error) {
  // The folder may be gone from the disk already; then only the stored form matches.
  std::string key = path;
  while (key.size() > 1 && key.back() == '/') key.pop_back();
  std::string real;
  std::string ignored;
  if (Canonical(path, &real, &ignored)) key = real;
  sqlite::Statement del = db.Prepare("DELETE FROM indexed_folder WHERE path = ? OR path = ?", error);
  if (!del.IsValid()) return false;
  del.Bind(1, key).Bind(2, path);
  if (del.Step() != SQLITE_DONE) return db.Fail(error);
  if (db.Changes() == 0) {
    *error = path + " is not an indexed folder";
    return false;
  }
  return true;
}

}  // namespace cantora
