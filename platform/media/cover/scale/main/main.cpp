// cantora-cover-scale MAX_SIDE TARGET
//
// Reads a cover image (JPEG, PNG or WebP) on stdin and writes its scaled
// copy (see scale_image.h) to TARGET, a file of the cover cache, through a
// temporary file and a rename. Started by the gateway without a shell, as
// the web server's user, with the source already opened on stdin; so it
// never resolves a path of the libraries itself. Exit status 0 when TARGET
// was written; 1 with one line on stderr otherwise (TARGET untouched).
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/io/unique_fd.h"
#include "platform/media/cover/cover_cache.h"
#include "platform/media/cover/scale/scale_image.h"

namespace {

// Larger input is not a cover image.
constexpr size_t kMaxInputBytes = 64u << 20;

int Fail(const std::string& message) {
  std::fprintf(stderr, "cantora-cover-scale: %s\n", message.c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return Fail("usage: cantora-cover-scale MAX_SIDE TARGET");
  char* end = nullptr;
  long max_side = std::strtol(argv[1], &end, 10);
  if (*end != '\0' || max_side < 1 || max_side > 30000) return Fail("bad size " + std::string(argv[1]));
  std::string source;
  if (!cantora::ReadToEnd(STDIN_FILENO, &source, kMaxInputBytes))
    return Fail("cannot read the image");
  std::string scaled, error;
  if (!cantora::ScaleImage(source, static_cast<int>(max_side), &scaled, &error)) return Fail(error);
  if (!cantora::WriteCoverCacheFile(argv[2], scaled, &error)) return Fail(error);
  return 0;
}
