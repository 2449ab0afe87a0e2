#include "tests/support/fastcgi_client.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace harness {
namespace {

enum RecordType : uint8_t {
  kBeginRequest = 1,
  kEndRequest = 3,
  kParams = 4,
  kStdin = 5,
  kStdout = 6,
  kStderr = 7,
};
constexpr uint16_t kRequestId = 1;
constexpr uint16_t kResponder = 1;
constexpr size_t kMaxContent = 65535;

bool WriteAll(int fd, const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

bool ReadExactly(int fd, char* buffer, size_t size) {
  size_t done = 0;
  while (done < size) {
    ssize_t n = read(fd, buffer + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

std::string Record(RecordType type, const std::string& content) {
  std::string r = {1, static_cast<char>(type), static_cast<char>(kRequestId >> 8),
                   static_cast<char>(kRequestId & 0xff), static_cast<char>(content.size() >> 8),
                   static_cast<char>(content.size() & 0xff), 0, 0};
  return r + content;
}

// A stream's records: the bytes in pieces of at most kMaxContent, then the
// empty record that ends it.
std::string Stream(RecordType type, const std::string& bytes) {
  std::string out;
  for (size_t pos = 0; pos < bytes.size(); pos += kMaxContent)
    out += Record(type, bytes.substr(pos, kMaxContent));
  return out + Record(type, "");
}

void PutLength(std::string* out, size_t length) {
  if (length < 128) {
    out->push_back(static_cast<char>(length));
  } else {
    out->push_back(static_cast<char>(0x80 | ((length >> 24) & 0x7f)));
    out->push_back(static_cast<char>(length >> 16));
    out->push_back(static_cast<char>(length >> 8));
    out->push_back(static_cast<char>(length));
  }
}

std::string Params(const std::vector<std::string>& params) {
  std::string out;
  for (const std::string& pair : params) {
    size_t eq = pair.find('=');
    if (eq == std::string::npos) continue;
    PutLength(&out, eq);
    PutLength(&out, pair.size() - eq - 1);
    out += pair.substr(0, eq);
    out += pair.substr(eq + 1);
  }
  return out;
}

}  // namespace

FastCgiAnswer FastCgiExchange(const std::string& socket_path, const std::vector<std::string>& params,
                              const std::string& body) {
  FastCgiAnswer answer;
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return answer;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, socket_path.c_str(), sizeof address.sun_path - 1);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return answer;
  }
  answer.connected = true;
  const char begin[8] = {0, static_cast<char>(kResponder), 0, 0, 0, 0, 0, 0};
  std::string request = Record(kBeginRequest, std::string(begin, sizeof begin)) +
                        Stream(kParams, Params(params)) + Stream(kStdin, body);
  // A process that dies early stops reading; what it answered still counts.
  WriteAll(fd, request);
  char header[8];
  while (ReadExactly(fd, header, sizeof header)) {
    size_t length = (static_cast<unsigned char>(header[4]) << 8) | static_cast<unsigned char>(header[5]);
    size_t padding = static_cast<unsigned char>(header[6]);
    std::string content(length + padding, '\0');
    if (!ReadExactly(fd, &content[0], content.size())) break;
    content.resize(length);
    if (header[1] == kStdout) {
      answer.out += content;
    } else if (header[1] == kStderr) {
      answer.err += content;
    } else if (header[1] == kEndRequest && content.size() >= 4) {
      answer.app_status = (static_cast<unsigned char>(content[0]) << 24) |
                          (static_cast<unsigned char>(content[1]) << 16) |
                          (static_cast<unsigned char>(content[2]) << 8) |
                          static_cast<unsigned char>(content[3]);
      answer.complete = true;
      break;
    }
  }
  close(fd);
  return answer;
}

}  // namespace harness
