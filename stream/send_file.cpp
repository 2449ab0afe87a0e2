// A song sent as it is: one byte range at most, validators, HEAD, and, when
// the web server takes X-Sendfile, the file handed over by path.
#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/cgi/byte_range.h"
#include "platform/cgi/file_outputer.h"
#include "platform/cgi/http_validators.h"
#include "platform/config/config.h"
#include "platform/text/utf8.h"
#include "stream/stream_handler.h"

namespace {

// lighttpd percent-decodes the X-Sendfile path, and takes only UTF-8, so
// every byte but the plainest is written as %XX ("100%41" stays itself).
std::string PercentEncodedPath(const std::string& path) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : path) {
    if (std::isalnum(c) || std::strchr("/._-~", c) != nullptr) {
      out.push_back(static_cast<char>(c));
    } else {
      out.push_back('%');
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 15]);
    }
  }
  return out;
}

// The path the web server may open the song by, as X-Sendfile gives it: the
// opened file's own path, when the web server's user (the ids in force
// outside the guard) can open it and the path is UTF-8. Empty otherwise:
// the CGI then sends the bytes itself.
std::string PathForWebServer(int fd) {
  std::string link = "/proc/self/fd/" + std::to_string(fd);
  char path[4096];
  ssize_t n = readlink(link.c_str(), path, sizeof path);
  if (n <= 0 || static_cast<size_t>(n) >= sizeof path || path[0] != '/') return "";
  std::string text(path, static_cast<size_t>(n));
  if (!TryUTF8ToUTF16(text.c_str())) return "";
  int probe = open(text.c_str(), O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (probe < 0) return "";
  struct stat a, b;
  bool same = fstat(probe, &a) == 0 && fstat(fd, &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
  close(probe);
  return same ? PercentEncodedPath(text) : "";
}

}  // namespace

void StreamHandler::SendAsItIs(int fd, const struct stat& st, const char* type, bool may_hand_over) {
  FILE* out = web_.Output();
  const std::string tag = cantora::EntityTag(st);
  const std::string modified = cantora::HttpDate(st.st_mtim.tv_sec);
  const std::string validators = "ETag: " + tag + "\r\nLast-Modified: " + modified +
                                 "\r\nCache-Control: private\r\n";
  if (may_hand_over && cantora::GetConfig().x_sendfile != 0) {
    std::string path = PathForWebServer(fd);
    if (!path.empty()) {
      // The web server answers ranges and conditions itself.
      std::fprintf(out, "Content-Type: %s\r\nAccept-Ranges: bytes\r\n%sX-Sendfile: %s\r\n\r\n", type,
                   validators.c_str(), path.c_str());
      std::fflush(out);
      return;
    }
  }
  if (cantora::NotModified(std::getenv("HTTP_IF_NONE_MATCH"), std::getenv("HTTP_IF_MODIFIED_SINCE"),
                           st, tag)) {
    BareStatus("304 Not Modified", validators);
    return;
  }
  const int64_t size = st.st_size;
  cantora::ByteRange range;
  const char* if_range = std::getenv("HTTP_IF_RANGE");
  // A range applies to GET only, and under If-Range only to the same file.
  if (!head_ && (if_range == nullptr || cantora::IfRangeHolds(if_range, st, tag)))
    range = cantora::ParseByteRange(std::getenv("HTTP_RANGE"), size);
  switch (range.kind) {
    case cantora::ByteRange::kMalformed:
      BareStatus("400 Bad Request");
      return;
    case cantora::ByteRange::kUnsatisfiable:
      BareStatus("416 Range Not Satisfiable",
                 "Content-Range: bytes */" + std::to_string(size) + "\r\nAccept-Ranges: bytes\r\n");
      return;
    case cantora::ByteRange::kWhole:
      range.first = 0;
      range.last = size - 1;
      std::fprintf(out, "Content-Type: %s\r\n", type);
      break;
    case cantora::ByteRange::kPart:
      std::fprintf(out, "Status: 206 Partial Content\r\nContent-Type: %s\r\nContent-Range: bytes %lld-%lld/%lld\r\n",
                   type, static_cast<long long>(range.first), static_cast<long long>(range.last),
                   static_cast<long long>(size));
      break;
  }
  const int64_t length = range.last - range.first + 1;
  std::fprintf(out, "Content-Length: %lld\r\nAccept-Ranges: bytes\r\n%s\r\n",
               static_cast<long long>(length), validators.c_str());
  std::fflush(out);
  if (!head_ && length > 0) cantora::CopyFileBytes(fd, range.first, length, out);
}
