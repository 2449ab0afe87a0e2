#include "tests/support/recorded_server.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace testserver {
namespace {

int ListenLocal(int* port) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = 0;
  socklen_t len = sizeof(addr);
  if (bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0 || listen(fd, 16) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0) {
    close(fd);
    return -1;
  }
  *port = ntohs(addr.sin_port);
  return fd;
}

bool ReadFile(const std::string& path, std::string* text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  text->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

void SendAll(int fd, const std::string& data) {
  size_t done = 0;
  while (done < data.size()) {
    ssize_t n = send(fd, data.data() + done, data.size() - done, MSG_NOSIGNAL);
    if (n <= 0) return;
    done += static_cast<size_t>(n);
  }
}

// Reads one request: the head up to the blank line and Content-Length bytes.
std::string ReadRequest(int fd) {
  std::string data;
  char buffer[4096];
  size_t head_end = std::string::npos;
  size_t want = 0;
  while (true) {
    if (head_end == std::string::npos) {
      head_end = data.find("\r\n\r\n");
      if (head_end != std::string::npos) {
        head_end += 4;
        std::string head = data.substr(0, head_end);
        for (char& c : head) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        size_t at = head.find("\r\ncontent-length:");
        want = at == std::string::npos ? 0 : std::strtoul(head.c_str() + at + 17, nullptr, 10);
      }
    }
    if (head_end != std::string::npos && data.size() >= head_end + want) return data;
    ssize_t n = recv(fd, buffer, sizeof(buffer), 0);
    if (n <= 0) return data;
    data.append(buffer, static_cast<size_t>(n));
  }
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

[[noreturn]] void Serve(int listener, const std::string& folder, const std::string& log_dir,
                        int slow_seconds) {
  signal(SIGPIPE, SIG_IGN);
  for (int number = 0;; ++number) {
    int fd = accept(listener, nullptr, nullptr);
    if (fd < 0) continue;
    std::string request = ReadRequest(fd);
    char name[32];
    std::snprintf(name, sizeof(name), "/%06d", number);
    std::ofstream(log_dir + name, std::ios::binary) << request;
    std::string line = request.substr(0, request.find("\r\n"));
    size_t first = line.find(' ');
    size_t second = line.find(' ', first + 1);
    std::string path = first == std::string::npos ? "/" : line.substr(first + 1, second - first - 1);
    Answer(fd, folder, path, slow_seconds);
    shutdown(fd, SHUT_WR);
    close(fd);
  }
}

// The names in a folder, sorted.
std::vector<std::string> FileNames(const std::string& dir) {
  std::vector<std::string> names;
  if (DIR* d = opendir(dir.c_str())) {
    while (dirent* e = readdir(d))
      if (e->d_name[0] != '.') names.push_back(e->d_name);
    closedir(d);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

RecordedServer::RecordedServer(const std::string& folder, int slow_seconds) {
  char dir[] = "/tmp/http-server-XXXXXX";
  if (mkdtemp(dir) == nullptr) return;
  log_dir_ = dir;
  int listener = ListenLocal(&port_);
  if (listener < 0) return;
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) Serve(listener, folder, log_dir_, slow_seconds);
  close(listener);
  pid_ = pid;
}

RecordedServer::~RecordedServer() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  if (!log_dir_.empty()) {
    for (const std::string& name : FileNames(log_dir_)) unlink((log_dir_ + "/" + name).c_str());
    rmdir(log_dir_.c_str());
  }
}

std::string RecordedServer::Url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<std::string> RecordedServer::Requests() const {
  std::vector<std::string> requests;
  for (const std::string& name : FileNames(log_dir_)) {
    std::string text;
    if (ReadFile(log_dir_ + "/" + name, &text)) requests.push_back(text);
  }
  return requests;
}

int ClosedPort() {
  int port = 0;
  int fd = ListenLocal(&port);
  if (fd < 0) return 1;
  close(fd);
  return port;
}

}  // namespace testserver
