#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/process/helper.h"
#include "platform/media/cover/cover_cache.h"
#include "platform/media/cover/cover_paths.h"
#include "platform/media/cover/cover_scope.h"

namespace cantora {

const char* const kCoverScaleProgram = "cantora-cover-scale";

namespace {

// Larger sources are not cover images.
constexpr off_t kMaxSourceBytes = 64 << 20;

bool HasImageExtension(const std::string& path) {
  size_t dot = path.rfind('.');
  if (dot == std::string::npos || path.find('/', dot) != std::string::npos) return false;
  std::string ext = path.substr(dot + 1);
  for (char& c : ext)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return ext == "jpg" || ext == "jpeg" || ext == "png" || ext == "webp";
}

// The real path of a source a scaled copy may be made of: a picture of the
// cache's embedded ones, or an image file of the user's libraries.
bool AdmitSource(const CoverScope& scope, const char* source, std::string* real) {
  if (scope.ResolveInEmbeddedCovers(source, real)) return true;
  return HasImageExtension(source) && scope.ResolveInLibraries(source, real) &&
         HasImageExtension(*real);
}

bool IsCacheFile(const std::string& path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0;
}

// Makes the scaled copy at target from the open source.
bool MakeScaledCopy(int source_fd, const std::string& real, const std::string& target,
                    long max_side) {
  std::string error;
  if (!MakeCoverCacheFolders(target, &error)) {
    syslog(LOG_ERR, "cover: %s", error.c_str());
    return false;
  }
  const std::string program = HelperProgramPath(kCoverScaleProgram);
  if (program.empty()) {
    syslog(LOG_ERR, "cover: %s not found", kCoverScaleProgram);
    return false;
  }
  int status = RunHelper(program, {std::to_string(max_side), target}, "cover scale", source_fd);
  if (status != 0) {
    syslog(LOG_ERR, "cover: cannot scale %s (status %d)", real.c_str(), status);
    return false;
  }
  return IsCacheFile(target);
}

}  // namespace
}  // namespace cantora

int ZARNAudioGetScaleCoverPath(const cantora::CoverScope& scope, const char* source,
                               const char* source2, char* dest, size_t size) {
  using namespace cantora;
  std::string real;
  if (source == nullptr || dest == nullptr ||
      (source2 != nullptr && source2 != source && std::string(source2) != source) ||
      !AdmitSource(scope, source, &real)) {
    return -1;
  }
  // The file is opened once, without following a link swapped in since it
  // was resolved, and that very file is what the helper reads.
  int fd = open(real.c_str(), O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return -1;
  struct stat st;
  bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0 &&
            st.st_size <= kMaxSourceBytes;
  const long max_side = CoverMaxSide();
  std::string scaled = ok ? ScaledCoverPath(real, st, max_side) : "";
  ok = ok && (IsCacheFile(scaled) || MakeScaledCopy(fd, real, scaled, max_side));
  close(fd);
  if (!ok || static_cast<size_t>(std::snprintf(dest, size, "%s", scaled.c_str())) >= size)
    return -1;
  return 0;
}
