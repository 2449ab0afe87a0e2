// Black-box test harness: a throw-away instance, and the built programs run
// the way the web server runs them (CGI environment, stdin, stdout, status).
//
// Syslog is captured for real: each CGI runs in a private mount namespace
// whose /dev is a test folder holding a datagram socket "log" (and the
// device nodes a program needs), so the program's own syslog() calls land in
// the test, priority and text intact. Needs root, like installing the CGIs.
#ifndef CANTORA_TESTS_SUPPORT_HARNESS_H
#define CANTORA_TESTS_SUPPORT_HARNESS_H

#include <json/json.h>
#include <sys/types.h>
#include <syslog.h>

#include <map>
#include <string>
#include <vector>

namespace harness {

// Path of a built program: bin/<name>.
std::string Bin(const std::string& name);

struct CommandResult {
  int status = -1;  // exit status, or 128 + signal
  std::string out;
  std::string err;
};

// Runs argv (no shell) with extra environment and stdin text.
CommandResult Run(const std::vector<std::string>& argv,
                  const std::map<std::string, std::string>& env = {},
                  const std::string& input = "");

// A self-contained instance made by "cantora-admin init" in a fresh
// temporary folder, removed again by the destructor.
class Instance {
 public:
  // web_user: the account the CGIs will run as (run_as below); the folders
  // they write are given to it.
  explicit Instance(const std::string& web_user = "");
  ~Instance();
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  const std::string& dir() const { return dir_; }
  const std::string& config() const { return config_; }
  // dir()/name
  std::string Path(const std::string& name) const { return dir_ + "/" + name; }

  // cantora-admin with this instance's CANTORA_CONFIG.
  CommandResult Admin(const std::vector<std::string>& args, const std::string& input = "") const;
  // Creates a user (password "secret-<name>") and returns a new session id.
  std::string AddUser(const std::string& name, bool personal = false) const;
  std::string NewSession(const std::string& name) const;

 private:
  std::string dir_;
  std::string config_;
};

struct LogLine {
  // facility | level as received: a call without a facility arrives with the
  // default one, LOG_USER, so syslog(LOG_ERR, ...) is LOG_USER | LOG_ERR here.
  int priority = -1;
  std::string text;   // the message after "ident[pid]: "
};

struct CgiRequest {
  std::string program = "enumerate.cgi";
  std::string method = "GET";
  std::string query;          // QUERY_STRING, already encoded
  std::string content_type;   // CONTENT_TYPE for a body
  std::string body;           // stdin; CONTENT_LENGTH is its size unless set in env
  std::string session;        // sent as the cookie "id" when not empty
  std::map<std::string, std::string> env;  // extra or overriding variables
  // When set, the program runs under this user (and its group), as a web
  // server's CGI does; otherwise as the test's own user.
  std::string run_as;
  // Measures the program's peak resident memory (CgiResult::peak_kb). It is
  // then started by a small parent (cantora-bench-floor --rss), since a
  // process keeps the high-water mark of the one it was forked from.
  bool measure_peak = false;
};

struct CgiResult {
  int status = -1;
  std::string out;                     // everything written on stdout
  std::map<std::string, std::string> headers;  // CGI header lines, by name
  std::string body;                    // after the blank line
  bool has_json = false;
  Json::Value json;                    // body parsed, when it is JSON
  std::vector<LogLine> log;            // syslog lines, in order
  long peak_kb = -1;                   // ru_maxrss, when measured
};

// A copy of a CGI (enumerate.cgi unless named) in a folder of the instance
// that a web user can reach, owned by root, with the setuid bit when asked:
// the gateway as it is installed on a box. Returns its path.
std::string InstallGatewayCopy(const Instance& instance, bool setuid,
                               const std::string& program = "enumerate.cgi");

// Runs a CGI program of the instance. Under CANTORA_GATEWAY_MODE=fastcgi,
// a request to enumerate.cgi (or a copy of it) that does not measure its
// peak goes to the resident process of that program instead (RunResident):
// the same request, the same answer expected byte for byte.
CgiResult RunCgi(const Instance& instance, const CgiRequest& request);

// True under CANTORA_GATEWAY_MODE=fastcgi.
bool FastCgiMode();

// The gateway as lighttpd's mod_fastcgi runs it: one process per program,
// configuration (CANTORA_CONFIG) and user (run_as), started on first use
// with a listening Unix socket as its stdin, in a private /dev whose log
// socket collects its syslog lines, and sent each request over a fresh
// connection. status is the application's status of a complete answer;
// when the process ended instead, its exit status (or 128 + signal), and
// the next request starts a new one, as lighttpd does.
CgiResult RunResident(const Instance& instance, const CgiRequest& request);
// The pid of the resident process that serves request (started when none
// runs yet).
pid_t ResidentPid(const Instance& instance, const CgiRequest& request);
// Stops the resident processes whose program or configuration lies under
// dir (an instance's folder; its destructor does this).
void StopResidentGateways(const std::string& dir);

// A CGI started and left running, its stdout a pipe the test reads at its
// own pace: a client that reads slowly, or leaves early. Its stdin is empty;
// syslog is not captured.
struct LiveCgi {
  pid_t pid = -1;
  int out = -1;  // the read end of its stdout
};
LiveCgi StartCgi(const Instance& instance, const CgiRequest& request);
// Reads from the live CGI until its header's blank line (or its end), and
// returns what was read.
std::string ReadCgiHeader(const LiveCgi& cgi);
// Waits up to timeout_ms for the program to end (then kills it); its exit
// status, or 128 + signal, or -1 when it had to be killed. Closes out.
int FinishCgi(LiveCgi* cgi, int timeout_ms);

// Shorthand: GET enumerate.cgi?<query> with a session.
CgiResult Enumerate(const Instance& instance, const std::string& session, const std::string& query);

// Percent-encodes a parameter value.
std::string Encode(const std::string& value);

// A handler's error line as it arrives: LOG_ERR of the default facility.
constexpr int kErr = LOG_USER | LOG_ERR;

// True when lines holds one line with this priority and text.
bool Logged(const std::vector<LogLine>& lines, int priority, const std::string& text);

}  // namespace harness

#endif
