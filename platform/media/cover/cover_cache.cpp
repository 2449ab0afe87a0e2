#include "platform/media/cover/cover_cache.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/config/config.h"
#include "platform/io/unique_fd.h"
#include "platform/lib/sodium/crypto.h"

namespace cantora {
namespace {

std::string Fanned(const std::string& folder, const std::string& name) {
  return folder + "/" + name.substr(0, 2) + "/" + name;
}

std::string SystemError(const std::string& what) { return what + ": " + std::strerror(errno); }

// Gives a new file (fd) or folder (path) to <cache>'s owner when we are
// root; a failure leaves it root's, still readable by all.
void OwnLikeCache(int fd, const std::string& path) {
  if (geteuid() != 0) return;
  struct stat cache;
  if (stat(GetConfig().cache.c_str(), &cache) != 0) return;
  int ignored = fd >= 0 ? fchown(fd, cache.st_uid, cache.st_gid)
                        : lchown(path.c_str(), cache.st_uid, cache.st_gid);
  (void)ignored;
}

}  // namespace

std::string CoverCacheFolder() { return GetConfig().cache + "/covers"; }
std::string EmbeddedCoverFolder() { return CoverCacheFolder() + "/embedded"; }
std::string ScaledCoverFolder() { return CoverCacheFolder() + "/scaled"; }

std::string EmbeddedCoverPath(const std::string& name) {
  return Fanned(EmbeddedCoverFolder(), name);
}

std::string ScaledCoverPath(const std::string& real_source, const struct stat& source,
                            long max_side) {
  char identity[160];
  std::snprintf(identity, sizeof identity, "\n%llu:%llu:%lld:%lld.%09ld:%ld:1",
                static_cast<unsigned long long>(source.st_dev),
                static_cast<unsigned long long>(source.st_ino),
                static_cast<long long>(source.st_size),
                static_cast<long long>(source.st_mtim.tv_sec), source.st_mtim.tv_nsec, max_side);
  return Fanned(ScaledCoverFolder(), crypto::Digest(real_source + identity));
}

long CoverMaxSide() {
  long side = GetConfig().cover_size;
  return side < 16 ? 16 : side;
}

bool MakeCoverCacheFolders(const std::string& path, std::string* error) {
  const std::string& cache = GetConfig().cache;
  if (path.compare(0, cache.size() + 1, cache + "/") != 0) {
    *error = path + " is not in the cache folder";
    return false;
  }
  for (size_t slash = path.find('/', cache.size() + 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    std::string folder = path.substr(0, slash);
    if (mkdir(folder.c_str(), 0755) == 0) {
      OwnLikeCache(-1, folder);
    } else if (errno != EEXIST) {
      *error = SystemError("cannot make " + folder);
      return false;
    }
  }
  return true;
}

bool WriteCoverCacheFile(const std::string& path, std::string_view bytes, std::string* error) {
  std::string temporary = path + ".XXXXXX";
  int fd = mkstemp(temporary.data());
  // The folders are made only when missing: a mkdir of an existing folder
  // still locks its parent, which parallel writers would queue on.
  if (fd < 0 && errno == ENOENT && MakeCoverCacheFolders(path, error)) {
    temporary = path + ".XXXXXX";
    fd = mkstemp(temporary.data());
  }
  if (fd < 0) {
    *error = SystemError("cannot write " + path);
    return false;
  }
  bool ok = WriteAll(fd, bytes) && fchmod(fd, 0644) == 0;
  if (ok) OwnLikeCache(fd, "");
  ok = close(fd) == 0 && ok;
  // rename() replaces a name, never follows a link at it.
  ok = ok && rename(temporary.c_str(), path.c_str()) == 0;
  if (!ok) {
    *error = SystemError("cannot write " + path);
    unlink(temporary.c_str());
  }
  return ok;
}

bool StoreEmbeddedCover(std::string_view bytes, std::string* name, std::string* error) {
  *name = crypto::Digest(std::string(bytes));
  std::string path = EmbeddedCoverPath(*name);
  struct stat st;
  if (lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
      st.st_size == static_cast<off_t>(bytes.size()))
    return true;
  return WriteCoverCacheFile(path, bytes, error);
}

}  // namespace cantora
