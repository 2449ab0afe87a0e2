#include "tests/support/recorded_server.h"

#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace testserver {
namespace {

bool ReadFile(const std::string& path, std::string* text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  text->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

std::string Reason(int status) {
  switch (status) {
    case 200: return "OK";
    case 404: return "Not Found";
    case 500: return "Internal Server Error";
    default: return "Status";
  }
}

void Answer(int fd, const std::string& folder, const std::string& path, int slow_seconds) {
  std::string route = path.substr(0, path.find('?'));
  int status = 200;
  bool with_length = true;
  std::string body;
  if (route == "/blank") {
  } else if (route.rfind("/status/", 0) == 0) {
    status = std::atoi(route.c_str() + 8);
  } else {
    if (route.rfind("/nolength/", 0) == 0) {
      with_length = false;
      route = route.substr(9);
    } else if (route.rfind("/slow/", 0) == 0) {
      struct timespec delay = {slow_seconds, 0};
      while (nanosleep(&delay, &delay) != 0) {
      }
      route = route.substr(5);
    }
    if (route.find("..") != std::string::npos || !ReadFile(folder + route + ".json", &body)) {
      status = 404;
      body.clear();
    }
  }
  std::ostringstream head;
  head << "HTTP/1.1 " << status << " " << Reason(status) << "\r\n"
       << "Content-Type: application/json\r\nConnection: close\r\n";
  if (with_length) head << "Content-Length: " << body.size() << "\r\n";
  head << "\r\n";
  SendAll(fd, head.str() + body);
}

[[noreturn]] void Serve(int listener, const std::string& folder, const RequestLog& log,
                        int slow_seconds) {
  for (int number = 0;; ++number) {
    int fd = accept(listener, nullptr, nullptr);
    if (fd < 0) continue;
    std::string request = ReadRequest(fd);
    log.Keep(number, request);
    Answer(fd, folder, RequestTarget(request), slow_seconds);
    shutdown(fd, SHUT_WR);
    close(fd);
  }
}

}  // namespace

RecordedServer::RecordedServer(const std::string& folder, int slow_seconds)
    : ServerProcess([folder, slow_seconds](int listener, const RequestLog& log) {
        Serve(listener, folder, log, slow_seconds);
      }) {}

int ClosedPort() {
  int port = 0;
  int fd = ListenLocal(&port);
  if (fd < 0) return 1;
  close(fd);
  return port;
}

}  // namespace testserver
