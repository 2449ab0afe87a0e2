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

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tests/support/local_http.h"

namespace harness {
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

}  // namespace

WebServer::WebServer(const Instance& instance, const std::string& cgi_dir,
                     const std::string& web_user, bool fastcgi) {
  std::string run = instance.Path("run-web"), www = instance.Path("www");
  mkdir(run.c_str(), 0755);
  mkdir(www.c_str(), 0755);
  std::ofstream(www + "/hello.txt") << "hello, world\n";  // 13 bytes
  struct passwd* user = getpwnam(web_user.c_str());
  struct group* group = user ? getgrgid(user->pw_gid) : nullptr;
  if (user == nullptr || group == nullptr || chown(run.c_str(), user->pw_uid, user->pw_gid) != 0)
    throw std::runtime_error("no web user " + web_user);
  int probe = testserver::ListenLocal(&port_);
  close(probe);
  std::string deploy = std::string(CANTORA_SOURCE_DIR) + "/deploy/lighttpd/";
  std::string conf = ReadText(deploy + "cantora.conf.in");
  if (fastcgi) conf += "\n" + ReadText(deploy + "enumerate-fastcgi.conf.in");
  ReplaceAll(&conf, "@PORT@", std::to_string(port_));
  ReplaceAll(&conf, "@WWW@", www);
  ReplaceAll(&conf, "@RUN@", run);
  ReplaceAll(&conf, "@CGI@", cgi_dir);
  ReplaceAll(&conf, "@CONFIG@", instance.config());
  ReplaceAll(&conf, "@COVERS@", instance.Path("cache/covers"));
  ReplaceAll(&conf, "@LIBRARIES@", "\"" + instance.Path("music") + "/\"");
  ReplaceAll(&conf, "@USER_LINES@", "server.username = \"" + web_user + "\"\nserver.groupname = \"" +
                                        group->gr_name + "\"");
  std::string conf_path = run + "/lighttpd.conf";
  std::ofstream(conf_path) << conf;
  pid_ = fork();
  if (pid_ == 0) {
    execl("/usr/sbin/lighttpd", "lighttpd", "-D", "-f", conf_path.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  for (int i = 0; i < 100; ++i) {
    if (HttpGet(port_, "/hello.txt").status == 200) return;
    usleep(50000);
  }
  throw std::runtime_error("lighttpd did not start; see " + run + "/lighttpd-error.log");
}

WebServer::~WebServer() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

HttpAnswer HttpGet(int port, const std::string& target, const std::string& session) {
  HttpAnswer answer;
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    if (fd >= 0) close(fd);
    return answer;
  }
  std::string request = "GET " + target + " HTTP/1.0\r\nHost: 127.0.0.1\r\n";
  if (!session.empty()) request += "Cookie: id=" + session + "\r\n";
  testserver::SendAll(fd, request + "\r\n");
  std::string text;
  char buffer[65536];
  ssize_t n;
  while ((n = read(fd, buffer, sizeof buffer)) > 0) text.append(buffer, static_cast<size_t>(n));
  close(fd);
  if (text.compare(0, 5, "HTTP/") == 0) answer.status = std::atoi(text.c_str() + 9);
  size_t split = text.find("\r\n\r\n");
  if (split != std::string::npos) answer.body = text.substr(split + 4);
  return answer;
}

}  // namespace harness
