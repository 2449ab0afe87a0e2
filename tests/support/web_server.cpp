#include "tests/support/web_server.h"

#include <arpa/inet.h>
#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace webserver {
namespace {

std::string ReadText(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void ReplaceAll(std::string* text, const std::string& from, const std::string& to) {
  for (size_t pos = text->find(from); pos != std::string::npos; pos = text->find(from, pos + to.size()))
    text->replace(pos, from.size(), to);
}

sockaddr_in Loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// A port of 127.0.0.1 that was free a moment ago.
int FreePort() {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = Loopback(0);
  socklen_t length = sizeof address;
  if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
    throw std::runtime_error("no free port");
  close(fd);
  return ntohs(address.sin_port);
}

}  // namespace

Server::Server(const Setup& setup) {
  mkdir(setup.run_dir.c_str(), 0755);
  mkdir(setup.www_dir.c_str(), 0755);
  std::ofstream(setup.www_dir + "/hello.txt") << "hello, world\n";
  struct passwd* user = getpwnam(setup.web_user.c_str());
  struct group* group = user ? getgrgid(user->pw_gid) : nullptr;
  if (user == nullptr || group == nullptr ||
      chown(setup.run_dir.c_str(), user->pw_uid, user->pw_gid) != 0)
    throw std::runtime_error("no web user " + setup.web_user);
  port_ = FreePort();
  std::string deploy = std::string(CANTORA_SOURCE_DIR) + "/deploy/lighttpd/";
  std::string conf = ReadText(deploy + "cantora.conf.in");
  if (setup.fastcgi) conf += "\n" + ReadText(deploy + "enumerate-fastcgi.conf.in");
  ReplaceAll(&conf, "@PORT@", std::to_string(port_));
  ReplaceAll(&conf, "@WWW@", setup.www_dir);
  ReplaceAll(&conf, "@RUN@", setup.run_dir);
  ReplaceAll(&conf, "@CGI@", setup.cgi_dir);
  ReplaceAll(&conf, "@CONFIG@", setup.config);
  ReplaceAll(&conf, "@COVERS@", setup.covers);
  ReplaceAll(&conf, "@LIBRARIES@", setup.libraries);
  ReplaceAll(&conf, "@USER_LINES@",
             setup.as_root ? std::string()
                           : "server.username = \"" + setup.web_user + "\"\nserver.groupname = \"" +
                                 group->gr_name + "\"");
  std::string conf_path = setup.run_dir + "/lighttpd.conf";
  std::ofstream(conf_path) << conf;
  pid_ = fork();
  if (pid_ == 0) {
    execl("/usr/sbin/lighttpd", "lighttpd", "-D", "-f", conf_path.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  for (int i = 0; i < 100; ++i) {
    if (Get(port_, "/hello.txt").status == 200) return;
    usleep(50000);
  }
  throw std::runtime_error("lighttpd did not start; see " + setup.run_dir + "/lighttpd-error.log");
}

Server::~Server() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

Answer Get(int port, const std::string& target, const std::string& session) {
  Answer answer;
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = Loopback(port);
  if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    if (fd >= 0) close(fd);
    return answer;
  }
  std::string request = "GET " + target + " HTTP/1.0\r\nHost: 127.0.0.1\r\n";
  if (!session.empty()) request += "Cookie: id=" + session + "\r\n";
  request += "\r\n";
  for (size_t done = 0; done < request.size();) {
    ssize_t n = send(fd, request.data() + done, request.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  std::string text;
  char buffer[65536];
  ssize_t n;
  while ((n = read(fd, buffer, sizeof buffer)) != 0) {
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) break;
    text.append(buffer, static_cast<size_t>(n));
  }
  close(fd);
  if (text.compare(0, 5, "HTTP/") == 0 && text.size() > 12) answer.status = std::atoi(text.c_str() + 9);
  size_t split = text.find("\r\n\r\n");
  if (split != std::string::npos) answer.body = text.substr(split + 4);
  return answer;
}

}  // namespace webserver
