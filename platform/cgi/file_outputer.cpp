#include "platform/cgi/file_outputer.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/config/config.h"

namespace cantora {
namespace {

std::string EntityTag(const struct stat& st) {
  char tag[96];
  std::snprintf(tag, sizeof tag, "\"%llx-%llx-%llx\"", static_cast<unsigned long long>(st.st_ino),
                static_cast<unsigned long long>(st.st_size),
                static_cast<unsigned long long>(st.st_mtim.tv_sec) * 1000000000ull +
                    static_cast<unsigned long long>(st.st_mtim.tv_nsec));
  return tag;
}

// True when the If-None-Match list names tag, weakly compared, or is "*".
bool TagListMatches(const char* list, const std::string& tag) {
  std::string text = list;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(',', start);
    if (end == std::string::npos) end = text.size();
    std::string item = text.substr(start, end - start);
    size_t b = item.find_first_not_of(" \t"), e = item.find_last_not_of(" \t");
    item = b == std::string::npos ? "" : item.substr(b, e - b + 1);
    if (item.compare(0, 2, "W/") == 0) item.erase(0, 2);
    if (item == "*" || item == tag) return true;
    start = end + 1;
  }
  return false;
}

bool NotModified(const HTTPFileOutputer::Conditions& c, const struct stat& st,
                 const std::string& tag) {
  if (c.if_none_match != nullptr) return TagListMatches(c.if_none_match, tag);
  if (c.if_modified_since == nullptr) return false;
  time_t since = ParseHttpDate(c.if_modified_since);
  return since != -1 && st.st_mtim.tv_sec <= since;
}

bool CopyBody(int fd, FILE* out, off_t size) {
  std::fflush(out);
  off_t offset = 0;
  if (out == stdout) {
    while (offset < size) {
      ssize_t n = sendfile(fileno(out), fd, &offset, static_cast<size_t>(size - offset));
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
    }
    if (offset == size) return true;
    if (lseek(fd, offset, SEEK_SET) < 0) return false;
  }
  char buffer[1 << 16];
  while (offset < size) {
    ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    if (std::fwrite(buffer, 1, static_cast<size_t>(n), out) != static_cast<size_t>(n)) return false;
    offset += n;
  }
  return std::fflush(out) == 0;
}

}  // namespace

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
  conditions.if_none_match = std::getenv("HTTP_IF_NONE_MATCH");
  conditions.if_modified_since = std::getenv("HTTP_IF_MODIFIED_SINCE");
  return OutputTo(stdout, path, content_type, conditions, cantora::GetConfig().x_sendfile != 0);
}

int HTTPFileOutputer::OutputTo(FILE* out, const char* path, const char* content_type,
                               const Conditions& conditions, bool x_sendfile) {
  if (path == nullptr) return -1;
  int fd = open(path, O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return -1;
  struct stat st;
  unsigned char head[16];
  ssize_t head_length = -1;
  if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) head_length = pread(fd, head, sizeof head, 0);
  if (head_length < 0) {
    close(fd);
    return -1;
  }
  const std::string tag = cantora::EntityTag(st);
  const std::string modified = cantora::HttpDate(st.st_mtim.tv_sec);
  const char* type = content_type != nullptr
                         ? content_type
                         : cantora::ContentTypeOfBytes(head, static_cast<size_t>(head_length));
  const char* cache_control = "Cache-Control: private, max-age=86400\r\n";
  int result = 0;
  if (cantora::NotModified(conditions, st, tag)) {
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
    if (!cantora::CopyBody(fd, out, st.st_size)) result = -1;
  }
  close(fd);
  return result;
}
