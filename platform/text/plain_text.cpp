#include "platform/text/plain_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/text/utf8.h"

namespace cantora {

std::string PlainTextToUtf8(const std::string& bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (char c : bytes)
    if (c != '\0') text.push_back(c);
  if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.erase(0, 3);
  if (TryUTF8ToUTF16(text.c_str())) return text;
  std::string converted;
  converted.reserve(text.size() * 2);
  for (unsigned char c : text) {
    char encoded[4];
    converted.append(encoded, EncodeUtf8(c, encoded));
  }
  return converted;
}

bool ReadPlainTextFile(const std::string& path, size_t max_bytes, std::string* text) {
  int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return false;
  struct stat st;
  bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) &&
            static_cast<unsigned long long>(st.st_size) <= max_bytes;
  std::string bytes;
  if (ok) {
    bytes.resize(static_cast<size_t>(st.st_size));
    size_t got = 0;
    while (got < bytes.size()) {
      ssize_t n = read(fd, &bytes[got], bytes.size() - got);
      if (n < 0) {
        ok = false;
        break;
      }
      if (n == 0) break;
      got += static_cast<size_t>(n);
    }
    bytes.resize(got);
  }
  close(fd);
  if (ok) *text = PlainTextToUtf8(bytes);
  return ok;
}

}  // namespace cantora
