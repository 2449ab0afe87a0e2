#include "tests/support/local_http.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace testserver {

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

bool SendAll(int fd, const std::string& data) {
  size_t done = 0;
  while (done < data.size()) {
    ssize_t n = send(fd, data.data() + done, data.size() - done, MSG_NOSIGNAL);
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

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

std::string RequestTarget(const std::string& request) {
  std::string line = request.substr(0, request.find("\r\n"));
  size_t first = line.find(' ');
  if (first == std::string::npos) return "/";
  size_t second = line.find(' ', first + 1);
  return line.substr(first + 1, second == std::string::npos ? std::string::npos : second - first - 1);
}

RequestLog::RequestLog() {
  char dir[] = "/tmp/http-server-XXXXXX";
  if (mkdtemp(dir) != nullptr) dir_ = dir;
}

RequestLog::~RequestLog() {
  if (dir_.empty()) return;
  for (const std::string& name : FileNames(dir_)) unlink((dir_ + "/" + name).c_str());
  rmdir(dir_.c_str());
}

void RequestLog::Keep(int number, const std::string& request) const {
  char name[32];
  std::snprintf(name, sizeof(name), "/%06d", number);
  std::ofstream(dir_ + name, std::ios::binary) << request;
}

std::vector<std::string> RequestLog::All() const {
  std::vector<std::string> requests;
  for (const std::string& name : FileNames(dir_)) {
    std::ifstream in(dir_ + "/" + name, std::ios::binary);
    if (in)
      requests.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return requests;
}

ServerProcess::ServerProcess(const ServeFunction& serve) {
  if (!log_.ok()) return;
  int listener = ListenLocal(&port_);
  if (listener < 0) return;
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    signal(SIGPIPE, SIG_IGN);
    serve(listener, log_);
    _exit(0);
  }
  close(listener);
  pid_ = pid;
}

ServerProcess::~ServerProcess() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

std::string ServerProcess::Url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

}  // namespace testserver
