#include "platform/cgi/file_outputer.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/cgi/http_validators.h"
#include "platform/cgi/request_source.h"
#include "platform/config/config.h"
#include "platform/io/unique_fd.h"

namespace cantora {

bool CopyFileBytes(int fd, off_t offset, off_t length, FILE* out) {
  std::fflush(out);
  const off_t end = offset + length;
  if (out == stdout) {
    while (offset < end) {
      ssize_t n = sendfile(fileno(out), fd, &offset, static_cast<size_t>(end - offset));
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
    }
    if (offset == end) return true;
  }
  char buffer[1 << 16];
  while (offset < end) {
    size_t want = static_cast<size_t>(std::min<off_t>(end - offset, sizeof buffer));
    ssize_t n = pread(fd, buffer, want, offset);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    if (std::fwrite(buffer, 1, static_cast<size_t>(n), out) != static_cast<size_t>(n)) return false;
    offset += n;
  }
  return std::fflush(out) == 0;
}

const char* ContentTypeOfBytes(const unsigned char* h, size_t n) {
  if (n >= 3 && h[0] == 0xFF && h[1] == 0xD8 && h[2] == 0xFF) return "image/jpeg";
  if (n >= 8 && std::memcmp(h, "\x89PNG\r\n\x1a\n", 8) == 0) return "image/png";
  if (n >= 6 && (std::memcmp(h, "GIF87a", 6) == 0 || std::memcmp(h, "GIF89a", 6) == 0))
    return "image/gif";
  if (n >= 12 && std::memcmp(h, "RIFF", 4) == 0 && std::memcmp(h + 8, "WEBP", 4) == 0)
    return "image/webp";
  if (n >= 2 && h[0] == 'B' && h[1] == 'M') return "image/bmp";
  return "application/octet-stream";
}

std::string HttpDate(time_t when) {
  struct tm tm;
  gmtime_r(&when, &tm);
  char text[64];
  std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &tm);
  return text;
}

time_t ParseHttpDate(const char* text) {
  struct tm tm;
  std::memset(&tm, 0, sizeof tm);
  const char* end = strptime(text, "%a, %d %b %Y %H:%M:%S GMT", &tm);
  if (end == nullptr || *end != '\0') return -1;
  return timegm(&tm);
}

}  // namespace cantora

int HTTPFileOutputer::Output(const char* path, const char* content_type) {
  Conditions conditions;
  conditions.if_none_match = cantora::RequestEnv("HTTP_IF_NONE_MATCH");
  conditions.if_modified_since = cantora::RequestEnv("HTTP_IF_MODIFIED_SINCE");
  return OutputTo(cantora::CurrentRequest().out, path, content_type, conditions, cantora::GetConfig().x_sendfile != 0);
}

int HTTPFileOutputer::OutputTo(FILE* out, const char* path, const char* content_type,
                               const Conditions& conditions, bool x_sendfile) {
  if (path == nullptr) return -1;
  const cantora::UniqueFd fd(open(path, O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!fd) return -1;
  struct stat st;
  unsigned char head[16];
  ssize_t head_length = -1;
  if (fstat(fd.get(), &st) == 0 && S_ISREG(st.st_mode))
    head_length = pread(fd.get(), head, sizeof head, 0);
  if (head_length < 0) return -1;
  const std::string tag = cantora::EntityTag(st);
  const std::string modified = cantora::HttpDate(st.st_mtim.tv_sec);
  const char* type = content_type != nullptr
                         ? content_type
                         : cantora::ContentTypeOfBytes(head, static_cast<size_t>(head_length));
  const char* cache_control = "Cache-Control: private, max-age=86400\r\n";
  int result = 0;
  if (cantora::NotModified(conditions.if_none_match, conditions.if_modified_since, st, tag)) {
    std::fprintf(out, "Status: 304 Not Modified\r\nETag: %s\r\nLast-Modified: %s\r\n%s\r\n",
                 tag.c_str(), modified.c_str(), cache_control);
    std::fflush(out);
  } else if (x_sendfile) {
    std::fprintf(out,
                 "Content-Type: %s\r\nETag: %s\r\nLast-Modified: %s\r\n%sX-Sendfile: %s\r\n\r\n",
                 type, tag.c_str(), modified.c_str(), cache_control, path);
    std::fflush(out);
  } else {
    std::fprintf(out,
                 "Content-Type: %s\r\nContent-Length: %lld\r\nETag: %s\r\nLast-Modified: %s\r\n"
                 "%s\r\n",
                 type, static_cast<long long>(st.st_size), tag.c_str(), modified.c_str(),
                 cache_control);
    if (!cantora::CopyFileBytes(fd.get(), 0, st.st_size, out)) result = -1;
  }
  return result;
}
