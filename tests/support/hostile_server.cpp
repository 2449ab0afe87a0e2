#include "tests/support/hostile_server.h"

#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace testserver {
namespace {

constexpr const char kOkHead[] =
    "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n";

// Sends piece again and again until the peer goes.
void SendForever(int fd, const std::string& piece) {
  while (SendAll(fd, piece)) {
  }
}

// Sends text one byte a second until it ends or the peer goes.
void Drip(int fd, const std::string& text) {
  for (char c : text) {
    if (!SendAll(fd, std::string(1, c))) return;
    sleep(1);
  }
}

std::string PercentDecode(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      out += static_cast<char>(std::strtol(text.substr(i + 1, 2).c_str(), nullptr, 16));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

// A zlib stream writing gzip: Deflate appends what the input gives.
class GzipWriter {
 public:
  GzipWriter() {
    if (deflateInit2(&z_, 9, Z_DEFLATED, 16 + 15, 9, Z_DEFAULT_STRATEGY) != Z_OK)
      throw std::runtime_error("deflateInit2");
  }
  ~GzipWriter() { deflateEnd(&z_); }
  GzipWriter(const GzipWriter&) = delete;
  GzipWriter& operator=(const GzipWriter&) = delete;

  std::string Deflate(const std::string& input, int flush) {
    std::string out;
    z_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));
    z_.avail_in = static_cast<uInt>(input.size());
    char buffer[1 << 16];
    do {
      z_.next_out = reinterpret_cast<Bytef*>(buffer);
      z_.avail_out = sizeof(buffer);
      deflate(&z_, flush);
      out.append(buffer, sizeof(buffer) - z_.avail_out);
    } while (z_.avail_out == 0 || z_.avail_in > 0);
    return out;
  }

 private:
  z_stream z_{};
};

std::string Gzip(const std::string& text) { return GzipWriter().Deflate(text, Z_FINISH); }

// A gzip stream of zeros in pieces of 1 MiB: *start (the header and the
// first MiB) and *each (every further MiB, the same bytes each time, since a
// full flush lets no piece refer back to the one before).
void ZeroPieces(std::string* start, std::string* each) {
  GzipWriter gzip;
  const std::string mib(1 << 20, '\0');
  *start = gzip.Deflate(mib, Z_FULL_FLUSH);
  *each = gzip.Deflate(mib, Z_FULL_FLUSH);
  if (gzip.Deflate(mib, Z_FULL_FLUSH) != *each) throw std::runtime_error("pieces differ");
}

// 4 GiB of zeros, gzip-compressed twice.
std::string DoubleGzipBomb() {
  std::string start, each;
  ZeroPieces(&start, &each);
  GzipWriter outer;
  std::string body = outer.Deflate(start, Z_NO_FLUSH);
  for (int i = 1; i < 4096; ++i) body += outer.Deflate(each, Z_NO_FLUSH);
  return body + outer.Deflate("", Z_FINISH);
}

std::string WithLength(const std::string& head, const std::string& body) {
  return head + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

void Answer(int fd, const std::string& route, const std::map<std::string, std::string>& bodies) {
  const std::string ok = kOkHead;
  auto named = [&](const std::string& prefix, std::string* body) {
    if (route.rfind(prefix, 0) != 0) return false;
    auto it = bodies.find(route.substr(prefix.size()));
    *body = it == bodies.end() ? "" : it->second;
    return it != bodies.end();
  };
  std::string body;
  if (named("/body/", &body)) {
    SendAll(fd, WithLength(ok, body));
  } else if (named("/gzip/", &body)) {
    SendAll(fd, WithLength(ok + "Content-Encoding: gzip\r\n", Gzip(body)));
  } else if (route == "/drip") {
    if (SendAll(fd, ok + "\r\n")) Drip(fd, std::string(1 << 20, ' '));
  } else if (route == "/drip-head") {
    Drip(fd, ok + std::string(1 << 20, ' '));
  } else if (route == "/endless") {
    if (SendAll(fd, ok + "\r\n[")) SendForever(fd, std::string(1 << 16, ' '));
  } else if (route == "/huge-length") {
    if (SendAll(fd, ok + "Content-Length: 17179869184\r\n\r\n["))
      SendForever(fd, std::string(1 << 16, ' '));
  } else if (route == "/huge-headers") {
    if (SendAll(fd, ok)) SendForever(fd, "X-Filler: " + std::string(1000, 'x') + "\r\n");
  } else if (route == "/huge-header-line") {
    if (SendAll(fd, ok + "X-Filler: ")) SendForever(fd, std::string(1 << 16, 'x'));
  } else if (route.rfind("/redirect/", 0) == 0 && route.size() > 14) {
    SendAll(fd, "HTTP/1.1 " + route.substr(10, 3) + " Elsewhere\r\nLocation: " +
                    PercentDecode(route.substr(14)) +
                    "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
  } else if (route == "/gzip-bomb") {
    std::string start, each;
    ZeroPieces(&start, &each);
    if (SendAll(fd, ok + "Content-Encoding: gzip\r\n\r\n" + start)) SendForever(fd, each);
  } else if (route == "/gzip-gzip-bomb") {
    SendAll(fd, WithLength(ok + "Content-Encoding: gzip, gzip\r\n", DoubleGzipBomb()));
  } else {
    SendAll(fd, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
  }
}

[[noreturn]] void Serve(int listener, const RequestLog& log,
                        const std::map<std::string, std::string>& bodies) {
  std::atomic<int> number{0};
  for (;;) {
    int fd = accept(listener, nullptr, nullptr);
    if (fd < 0) continue;
    std::thread([fd, &log, &bodies, &number] {
      std::string request = ReadRequest(fd);
      log.Keep(number++, request);
      std::string target = RequestTarget(request);
      Answer(fd, target.substr(0, target.find('?')), bodies);
      shutdown(fd, SHUT_WR);
      close(fd);
    }).detach();
  }
}

}  // namespace

HostileServer::HostileServer(const std::map<std::string, std::string>& bodies)
    : ServerProcess([bodies](int listener, const RequestLog& log) { Serve(listener, log, bodies); }) {}

std::string RedirectPath(int code, const std::string& target) {
  std::string path = "/redirect/" + std::to_string(code) + "/";
  for (unsigned char c : target) {
    char hex[4];
    std::snprintf(hex, sizeof(hex), "%%%02X", c);
    path += hex;
  }
  return path;
}

}  // namespace testserver
