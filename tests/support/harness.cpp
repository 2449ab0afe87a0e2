#include "tests/support/harness.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "tests/support/fastcgi_client.h"
#include "tests/support/url_encode.h"

namespace harness {
namespace {

std::string MakeTempDir(const char* prefix) {
  std::string templ = std::string("/tmp/") + prefix + "XXXXXX";
  std::vector<char> buf(templ.begin(), templ.end());
  buf.push_back('\0');
  if (mkdtemp(buf.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  chmod(buf.data(), 0755);
  return buf.data();
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
}

void RemoveTree(const std::string& dir) {
  if (dir.size() < 6 || dir.compare(0, 5, "/tmp/") != 0) return;
  // Not through Run(): Spawn() removes its own folder with this function.
  pid_t pid = fork();
  if (pid == 0) {
    execl("/bin/rm", "rm", "-rf", "--one-file-system", dir.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  if (pid > 0) waitpid(pid, nullptr, 0);
}

// Spawns argv with the given environment (replacing the test's own) and
// standard streams; child_setup runs in the child before exec.
template <typename Setup>
int Spawn(const std::vector<std::string>& argv, const std::vector<std::string>& env,
          const std::string& input, std::string* out, std::string* err, Setup child_setup) {
  std::string dir = MakeTempDir("cantora-run-");
  std::string in_path = dir + "/in", out_path = dir + "/out", err_path = dir + "/err";
  WriteFile(in_path, input);
  pid_t pid = fork();
  if (pid == 0) {
    int in = open(in_path.c_str(), O_RDONLY);
    int o = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int e = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(in, 0);
    dup2(o, 1);
    dup2(e, 2);
    if (!child_setup()) _exit(126);
    std::vector<char*> args, envp;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    for (const std::string& v : env) envp.push_back(const_cast<char*>(v.c_str()));
    envp.push_back(nullptr);
    execve(args[0], args.data(), envp.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  *out = ReadFile(out_path);
  *err = ReadFile(err_path);
  RemoveTree(dir);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::vector<std::string> BaseEnvironment() {
  std::vector<std::string> env = {"PATH=/usr/bin:/bin", "LANG=C.UTF-8"};
  // A sanitizer build's settings reach the programs under test.
  for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"})
    if (const char* value = std::getenv(name)) env.push_back(std::string(name) + "=" + value);
  return env;
}

// A private /dev for one CGI run: device nodes bound from the real /dev and
// a datagram socket "log" that receives the program's syslog lines.
class LogCapture {
 public:
  LogCapture() : dir_(MakeTempDir("cantora-dev-")) {
    for (const char* node : {"null", "zero", "urandom", "random"}) WriteFile(dir_ + "/" + node, "");
    fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::string path = dir_ + "/log";
    std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
    if (bind(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0)
      throw std::runtime_error("cannot bind the log socket");
    chmod(path.c_str(), 0666);
    int big = 4 << 20;
    setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &big, sizeof big);
  }
  ~LogCapture() {
    close(fd_);
    RemoveTree(dir_);
  }

  // In the child: a private mount namespace whose /dev is this folder.
  bool EnterInChild() const {
    if (unshare(CLONE_NEWNS) != 0) return false;
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
    for (const char* node : {"null", "zero", "urandom", "random"}) {
      std::string host = std::string("/dev/") + node, mine = dir_ + "/" + node;
      if (mount(host.c_str(), mine.c_str(), nullptr, MS_BIND, nullptr) != 0) return false;
    }
    return mount(dir_.c_str(), "/dev", nullptr, MS_BIND, nullptr) == 0;
  }

  std::vector<LogLine> Drain() const {
    std::vector<LogLine> lines;
    char buf[65536];
    while (true) {
      ssize_t n = recv(fd_, buf, sizeof buf, 0);
      if (n <= 0) break;
      std::string msg(buf, static_cast<size_t>(n));
      LogLine line;
      if (msg.size() > 2 && msg[0] == '<') {
        size_t end = msg.find('>');
        line.priority = std::atoi(msg.substr(1, end - 1).c_str());
        // "<PRI>Mmm dd hh:mm:ss ident[pid]: text"
        size_t colon = msg.find(": ", end);
        line.text = colon == std::string::npos ? msg.substr(end + 1) : msg.substr(colon + 2);
        while (!line.text.empty() && (line.text.back() == '\n' || line.text.back() == '\0'))
          line.text.pop_back();
      }
      lines.push_back(line);
    }
    return lines;
  }

 private:
  std::string dir_;
  int fd_ = -1;
};

bool BecomeUser(const std::string& name) {
  struct passwd* pw = getpwnam(name.c_str());
  if (pw == nullptr) return false;
  return setgroups(0, nullptr) == 0 && setresgid(pw->pw_gid, pw->pw_gid, pw->pw_gid) == 0 &&
         setresuid(pw->pw_uid, pw->pw_uid, pw->pw_uid) == 0;
}

}  // namespace

std::string Bin(const std::string& name) { return std::string(CANTORA_BIN_DIR) + "/" + name; }

CommandResult Run(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
                  const std::string& input) {
  std::vector<std::string> e = BaseEnvironment();
  for (const auto& kv : env) e.push_back(kv.first + "=" + kv.second);
  CommandResult r;
  r.status = Spawn(argv, e, input, &r.out, &r.err, [] { return true; });
  return r;
}

Instance::Instance(const std::string& web_user) {
  dir_ = MakeTempDir("cantora-test-");
  std::vector<std::string> argv = {Bin("cantora-admin"), "init", dir_ + "/instance"};
  if (!web_user.empty()) {
    argv.push_back("--web-user");
    argv.push_back(web_user);
  }
  CommandResult r = Run(argv);
  if (r.status != 0) throw std::runtime_error("cantora-admin init failed: " + r.err);
  dir_ += "/instance";
  config_ = r.out.substr(0, r.out.find('\n'));
}

Instance::~Instance() {
  std::string top = dir_.substr(0, dir_.rfind('/'));
  StopResidentGateways(top);
  RemoveTree(top);
}

CommandResult Instance::Admin(const std::vector<std::string>& args, const std::string& input) const {
  std::vector<std::string> argv = {Bin("cantora-admin")};
  argv.insert(argv.end(), args.begin(), args.end());
  return Run(argv, {{"CANTORA_CONFIG", config_}}, input);
}

std::string Instance::AddUser(const std::string& name, bool personal) const {
  std::vector<std::string> args = {"user", "add", name, "--password-stdin"};
  if (personal) args.push_back("--personal");
  CommandResult r = Admin(args, "secret-" + name + "\n");
  if (r.status != 0) throw std::runtime_error("user add failed: " + r.err);
  return NewSession(name);
}

std::string Instance::NewSession(const std::string& name) const {
  CommandResult r = Admin({"session", "new", name});
  if (r.status != 0) throw std::runtime_error("session new failed: " + r.err);
  return r.out.substr(0, r.out.find('\n'));
}

std::string InstallGatewayCopy(const Instance& instance, bool setuid, const std::string& program) {
  std::string dir = instance.Path(setuid ? "cgi-suid" : "cgi-plain");
  mkdir(dir.c_str(), 0755);
  std::string path = dir + "/" + program;
  Run({"/bin/cp", Bin(program), path});
  if (chown(path.c_str(), 0, 0) != 0 || chmod(path.c_str(), setuid ? 04755 : 0755) != 0)
    throw std::runtime_error("cannot install " + path);
  return path;
}

namespace {

// The environment a web server gives the CGI for request.
std::vector<std::string> CgiEnvironment(const Instance& instance, const CgiRequest& request) {
  std::map<std::string, std::string> vars = {
      {"GATEWAY_INTERFACE", "CGI/1.1"},
      {"SERVER_PROTOCOL", "HTTP/1.1"},
      {"SERVER_NAME", "127.0.0.1"},
      {"SERVER_PORT", "8080"},
      {"REMOTE_ADDR", "127.0.0.1"},
      {"REQUEST_METHOD", request.method},
      {"QUERY_STRING", request.query},
      {"SCRIPT_NAME", "/cgi-bin/" + request.program},
      {"CANTORA_CONFIG", instance.config()},
  };
  if (!request.body.empty() || request.method == "POST") {
    vars["CONTENT_LENGTH"] = std::to_string(request.body.size());
    vars["CONTENT_TYPE"] = request.content_type;
  }
  if (!request.session.empty()) vars["HTTP_COOKIE"] = "id=" + request.session;
  for (const auto& kv : request.env) vars[kv.first] = kv.second;
  std::vector<std::string> env = BaseEnvironment();
  for (const auto& kv : vars) env.push_back(kv.first + "=" + kv.second);
  return env;
}

// In a forked child: runs program with exactly env, no arguments.
[[noreturn]] void ExecProgram(const std::string& program, const std::vector<std::string>& env) {
  std::vector<char*> envp;
  for (const std::string& v : env) envp.push_back(const_cast<char*>(v.c_str()));
  envp.push_back(nullptr);
  char* argv[] = {const_cast<char*>(program.c_str()), nullptr};
  execve(argv[0], argv, envp.data());
  _exit(127);
}

std::string ProgramOf(const CgiRequest& request) {
  return request.program[0] == '/' ? request.program : Bin(request.program);
}

}  // namespace

namespace {

// Splits a CGI answer into its header lines and body, and parses the body
// when it is JSON.
void ParseAnswer(CgiResult* result) {
  size_t split = result->out.find("\r\n\r\n");
  if (split == std::string::npos) return;
  std::istringstream head(result->out.substr(0, split));
  std::string line;
  while (std::getline(head, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    std::string value = line.substr(colon + 1);
    if (!value.empty() && value[0] == ' ') value.erase(0, 1);
    result->headers[line.substr(0, colon)] = value;
  }
  result->body = result->out.substr(split + 4);
  Json::CharReaderBuilder builder;
  std::string errors;
  std::istringstream body(result->body);
  result->has_json = Json::parseFromStream(builder, body, &result->json, &errors);
}

bool ServedResident(const CgiRequest& request) {
  if (!FastCgiMode() || request.measure_peak) return false;
  const std::string& p = request.program;
  size_t slash = p.rfind('/');
  return p.substr(slash == std::string::npos ? 0 : slash + 1) == "enumerate.cgi";
}

}  // namespace

CgiResult RunCgi(const Instance& instance, const CgiRequest& request) {
  if (ServedResident(request)) return RunResident(instance, request);
  std::vector<std::string> env = CgiEnvironment(instance, request);
  std::string program = ProgramOf(request);
  LogCapture capture;
  CgiResult result;
  std::string err;
  std::string run_as = request.run_as;
  std::vector<std::string> argv = {program};
  if (request.measure_peak) argv = {Bin("cantora-bench-floor"), "--rss", program};
  result.status = Spawn(argv, env, request.body, &result.out, &err, [&] {
    return capture.EnterInChild() && (run_as.empty() || BecomeUser(run_as));
  });
  result.log = capture.Drain();
  if (request.measure_peak) {
    // The last line of stderr, written by the parent once the program ended.
    size_t line = err.find_last_of('\n', err.size() >= 2 ? err.size() - 2 : 0);
    result.peak_kb = std::atol(err.c_str() + (line == std::string::npos ? 0 : line + 1));
  }
  ParseAnswer(&result);
  return result;
}

bool FastCgiMode() {
  const char* mode = std::getenv("CANTORA_GATEWAY_MODE");
  return mode != nullptr && std::strcmp(mode, "fastcgi") == 0;
}

namespace {

// One resident gateway: its process, the folder of its socket, its log.
struct Resident {
  std::string program;
  std::string config;
  pid_t pid = -1;
  std::string dir;
  std::string socket;
  std::unique_ptr<LogCapture> log;

  ~Resident() {
    if (pid > 0) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
    RemoveTree(dir);
  }
};

// Every resident process of the test program, by program, configuration and user.
std::map<std::string, std::unique_ptr<Resident>>& Residents() {
  static std::map<std::string, std::unique_ptr<Resident>> residents;
  return residents;
}

std::string ValueIn(const std::vector<std::string>& env, const std::string& name) {
  for (const std::string& v : env)
    if (v.compare(0, name.size() + 1, name + "=") == 0) return v.substr(name.size() + 1);
  return "";
}

std::unique_ptr<Resident> StartResident(const std::string& program, const std::string& config,
                                        const std::string& run_as) {
  auto r = std::make_unique<Resident>();
  r->program = program;
  r->config = config;
  r->dir = MakeTempDir("cantora-fcgi-");
  r->socket = r->dir + "/enumerate.sock";
  r->log = std::make_unique<LogCapture>();
  int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, r->socket.c_str(), sizeof address.sun_path - 1);
  if (listener < 0 || bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, 64) != 0)
    throw std::runtime_error("cannot listen on " + r->socket);
  // The process environment lighttpd's bin-environment gives it.
  std::vector<std::string> env = BaseEnvironment();
  env.push_back("CANTORA_CONFIG=" + config);
  std::string err_path = r->dir + "/stderr";
  const LogCapture& log = *r->log;
  r->pid = fork();
  if (r->pid == 0) {
    int null = open("/dev/null", O_RDWR);
    int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (dup2(listener, 0) < 0 || dup2(null, 1) < 0 || dup2(err, 2) < 0) _exit(126);
    close(null);
    close(err);
    if (!log.EnterInChild() || (!run_as.empty() && !BecomeUser(run_as))) _exit(126);
    ExecProgram(program, env);
  }
  close(listener);
  if (r->pid < 0) throw std::runtime_error("fork failed");
  return r;
}

Resident& ResidentFor(const Instance& instance, const CgiRequest& request,
                      std::vector<std::string>* env) {
  *env = CgiEnvironment(instance, request);
  std::string program = ProgramOf(request);
  std::string config = ValueIn(*env, "CANTORA_CONFIG");
  std::string key = program + '\n' + config + '\n' + request.run_as;
  std::unique_ptr<Resident>& slot = Residents()[key];
  if (slot == nullptr) slot = StartResident(program, config, request.run_as);
  return *slot;
}

}  // namespace

CgiResult RunResident(const Instance& instance, const CgiRequest& request) {
  std::vector<std::string> env;
  Resident& resident = ResidentFor(instance, request, &env);
  CgiResult result;
  FastCgiAnswer answer = FastCgiExchange(resident.socket, env, request.body);
  // The process writes its log lines before it ends the request.
  result.log = resident.log->Drain();
  result.out = answer.out;
  if (answer.complete) {
    result.status = answer.app_status;
  } else {
    // The process ended (or never answered): its status, and a new process
    // for the next request.
    int status = 0;
    result.status = -1;
    if (waitpid(resident.pid, &status, 0) == resident.pid) {
      result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      resident.pid = -1;
    }
    for (auto it = Residents().begin(); it != Residents().end(); ++it)
      if (it->second.get() == &resident) {
        Residents().erase(it);
        break;
      }
  }
  ParseAnswer(&result);
  return result;
}

pid_t ResidentPid(const Instance& instance, const CgiRequest& request) {
  std::vector<std::string> env;
  return ResidentFor(instance, request, &env).pid;
}

void StopResidentGateways(const std::string& dir) {
  auto under = [&](const std::string& path) { return path.compare(0, dir.size() + 1, dir + "/") == 0; };
  for (auto it = Residents().begin(); it != Residents().end();) {
    if (under(it->second->program) || under(it->second->config))
      it = Residents().erase(it);
    else
      ++it;
  }
}

LiveCgi StartCgi(const Instance& instance, const CgiRequest& request) {
  std::vector<std::string> env = CgiEnvironment(instance, request);
  std::string program = ProgramOf(request);
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  LiveCgi cgi;
  cgi.pid = fork();
  if (cgi.pid == 0) {
    int in = open("/dev/null", O_RDONLY);
    if (in < 0 || dup2(in, 0) < 0 || dup2(fds[1], 1) < 0) _exit(126);
    if (!request.run_as.empty() && !BecomeUser(request.run_as)) _exit(126);
    ExecProgram(program, env);
  }
  close(fds[1]);
  if (cgi.pid < 0) {
    close(fds[0]);
    throw std::runtime_error("fork failed");
  }
  cgi.out = fds[0];
  return cgi;
}

std::string ReadCgiHeader(const LiveCgi& cgi) {
  std::string text;
  char c;
  while (text.size() < 4 || text.compare(text.size() - 4, 4, "\r\n\r\n") != 0) {
    ssize_t n = read(cgi.out, &c, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    text.push_back(c);
  }
  return text;
}

int FinishCgi(LiveCgi* cgi, int timeout_ms) {
  if (cgi->out >= 0) close(cgi->out);
  cgi->out = -1;
  int status = 0;
  for (int waited = 0; waited <= timeout_ms; waited += 10) {
    pid_t done = waitpid(cgi->pid, &status, WNOHANG);
    if (done == cgi->pid) {
      cgi->pid = -1;
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    usleep(10000);
  }
  kill(cgi->pid, SIGKILL);
  waitpid(cgi->pid, &status, 0);
  cgi->pid = -1;
  return -1;
}

CgiResult Enumerate(const Instance& instance, const std::string& session, const std::string& query) {
  CgiRequest request;
  request.session = session;
  request.query = query;
  return RunCgi(instance, request);
}

std::string Encode(const std::string& value) { return url::Encode(value); }

bool Logged(const std::vector<LogLine>& lines, int priority, const std::string& text) {
  for (const LogLine& l : lines)
    if (l.priority == priority && l.text == text) return true;
  return false;
}

}  // namespace harness
