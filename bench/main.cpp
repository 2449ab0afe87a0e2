// cantora-bench: the music library's performance, end to end.
//
//   cantora-bench [--songs N] [--dir DIR] [--runs R] [--keep | --reuse]
//
// Makes an instance in DIR (default: a new folder under /tmp), generates a
// synthetic library of N songs (default 100,000) shaped like a large real
// one, indexes it fresh and again unchanged, measures the floor F (the exec
// time of a trivial statically linked program), then runs each action R
// times through enumerate.cgi as a web server would (process start to last
// byte) and prints the median and the peak memory of each beside its target.
// --keep leaves DIR in place; --reuse times the actions again on the library
// a kept run left in DIR, without generating or indexing it again.
//
// The actions are timed twice: run by root, and deployed, as a setuid-root
// copy started by the web server's user (--web-user, default www-data or
// nobody), where the privilege guard changes ids around each song's test.
#include <json/json.h>
#include <stdlib.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/process_timer.h"
#include "tests/support/fixture.h"
#include "tests/support/url_encode.h"

namespace {

struct Options {
  size_t songs = 100000;
  std::string dir;
  int runs = 21;
  bool keep = false;
  bool reuse = false;  // time the actions on a kept DIR again
  // The account the web server runs CGIs as, for the deployed arrangement.
  std::string web_user;
};

constexpr const char* kUsage =
    "usage: cantora-bench [--songs N] [--dir DIR] [--runs R] [--keep | --reuse]\n"
    "                     [--web-user USER]\n";

std::string SelfDirectory() {
  char buf[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return ".";
  std::string path(buf, static_cast<size_t>(n));
  return path.substr(0, path.rfind('/'));
}

[[noreturn]] void Die(const std::string& message) {
  std::fprintf(stderr, "cantora-bench: %s\n", message.c_str());
  std::exit(1);
}

bool ParseOptions(int argc, char** argv, Options* o) {
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    bool has_value = i + 1 < argc;
    if (a == "--songs" && has_value) {
      o->songs = std::strtoull(argv[++i], nullptr, 10);
    } else if (a == "--dir" && has_value) {
      o->dir = argv[++i];
    } else if (a == "--runs" && has_value) {
      o->runs = std::atoi(argv[++i]);
    } else if (a == "--keep") {
      o->keep = true;
    } else if (a == "--reuse") {
      o->reuse = true;
    } else if (a == "--web-user" && has_value) {
      o->web_user = argv[++i];
    } else {
      return false;
    }
  }
  if (o->reuse && o->dir.empty()) return false;
  return o->songs > 0 && o->runs > 0;
}

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// Writes the library on every core.
void Generate(const std::string& music, size_t songs) {
  unsigned threads = std::thread::hardware_concurrency();
  if (threads == 0) threads = 1;
  constexpr size_t kChunk = 512;
  std::vector<std::thread> workers;
  std::vector<std::string> errors(threads);
  for (unsigned t = 0; t < threads; ++t) {
    workers.emplace_back([&, t] {
      for (size_t start = t * kChunk; start < songs; start += threads * kChunk)
        for (size_t i = start; i < start + kChunk && i < songs; ++i)
          if (!fixture::MakeSong(music, fixture::SyntheticSong(i, songs), &errors[t])) return;
    });
  }
  for (std::thread& w : workers) w.join();
  for (const std::string& e : errors)
    if (!e.empty()) Die("generating the library: " + e);
}

// The "total" of a JSON answer (after the CGI header), or -1.
long TotalOf(const std::string& output) {
  size_t body = output.find("\r\n\r\n");
  size_t skip = 4;
  if (body == std::string::npos) {
    body = output.find("\n\n");
    skip = 2;
  }
  if (body == std::string::npos) return -1;
  Json::Value v;
  Json::CharReaderBuilder builder;
  std::string errors;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  const char* begin = output.data() + body + skip;
  if (!reader->parse(begin, output.data() + output.size(), &v, &errors)) return -1;
  return v.isMember("total") ? static_cast<long>(v["total"].asUInt()) : -1;
}

struct Action {
  const char* name;
  std::string query;
  enum Target { kFloorPlus, kAbsolute, kNone } target;
  double millis;  // F + millis, or millis, per target
};

struct Measured {
  double median = 0;
  long peak_kb = 0;
  long total = -1;
  bool ok = true;
};

// Times argv `runs` times (after one run that warms the caches) and measures
// its peak memory once more, started through the floor program.
Measured Measure(const std::string& floor, const std::vector<std::string>& argv,
                 const std::vector<std::string>& env, int runs) {
  Measured m;
  std::vector<double> times;
  bench::Timing warm = bench::TimeProcess(argv, env);
  m.ok = warm.ok;
  m.total = TotalOf(warm.output);
  for (int r = 0; r < runs; ++r) {
    bench::Timing t = bench::TimeProcess(argv, env);
    m.ok = m.ok && t.ok;
    times.push_back(t.millis);
  }
  m.median = bench::Median(times);
  std::vector<std::string> launched = {floor, "--rss"};
  launched.insert(launched.end(), argv.begin(), argv.end());
  std::string rss;
  bench::Timing memory = bench::TimeProcess(launched, env, &rss);
  m.ok = m.ok && memory.ok;
  m.peak_kb = std::atol(rss.substr(rss.rfind('\n', rss.size() - 2) + 1).c_str());
  return m;
}

// Generates the library and indexes it, fresh and then unchanged.
void BuildLibrary(const std::string& admin, const std::string& music, size_t songs) {
  auto start = std::chrono::steady_clock::now();
  mkdir(music.c_str(), 0755);
  Generate(music, songs);
  std::printf("%-28s %zu files in %.1f s\n", "generate", songs, Seconds(start));
  if (!bench::Run({admin, "folder", "add", music, "--name", "Music"})) Die("folder add failed");

  // The page cache holds the new files either way; drop nothing, like a box
  // that indexes what was just copied onto it.
  start = std::chrono::steady_clock::now();
  std::string out;
  if (!bench::Run({admin, "index"}, &out)) Die("index failed");
  double fresh = Seconds(start);
  double rate = songs / fresh;
  std::printf("%-28s %.1f s = %.0f files/s   target >= 2500 files/s   %s\n", "index (fresh)", fresh,
              rate, rate >= 2500 ? "ok" : "OVER");
  std::printf("%-28s %s", "", out.c_str());
  start = std::chrono::steady_clock::now();
  if (!bench::Run({admin, "index"}, &out)) Die("index failed");
  double again = Seconds(start);
  std::printf("%-28s %.2f s   target < 5 s   %s\n", "index (unchanged)", again,
              again < 5 ? "ok" : "OVER");
}

// Times every action through program and prints one line each; true when
// every target holds.
bool TimeActions(const char* arrangement, const std::string& program,
                 const std::vector<Action>& actions, const std::string& session,
                 const std::string& config, const std::string& floor_program, double f, int runs) {
  std::printf("%s: %s\n", arrangement, program.c_str());
  std::printf("%-28s %10s %11s %8s %8s\n", "action", "median ms", "target ms", "peak MB", "items");
  const std::vector<std::string> cgi = {program};
  bool all_ok = true;
  for (const Action& a : actions) {
    const std::vector<std::string> env = {"GATEWAY_INTERFACE=CGI/1.1",
                                          "SERVER_PROTOCOL=HTTP/1.1",
                                          "SERVER_NAME=127.0.0.1",
                                          "SERVER_PORT=80",
                                          "REMOTE_ADDR=127.0.0.1",
                                          "REQUEST_METHOD=GET",
                                          "SCRIPT_NAME=/cgi-bin/enumerate.cgi",
                                          "QUERY_STRING=" + a.query,
                                          "HTTP_COOKIE=id=" + session,
                                          "CANTORA_CONFIG=" + config,
                                          "PATH=/usr/bin:/bin"};
    Measured m = Measure(floor_program, cgi, env, runs);
    char target[32] = "-";
    bool within = true;
    if (a.target == Action::kFloorPlus) {
      std::snprintf(target, sizeof target, "<= %.1f", f + a.millis);
      within = m.median <= f + a.millis;
    } else if (a.target == Action::kAbsolute) {
      std::snprintf(target, sizeof target, "< %.0f", a.millis);
      within = m.median < a.millis;
    }
    bool small = m.peak_kb < 64 * 1024 || a.target == Action::kNone;
    char items[32] = "-";
    if (m.total >= 0) std::snprintf(items, sizeof items, "%ld", m.total);
    std::printf("%-28s %10.2f %11s %8.1f %8s   %s\n", a.name, m.median, target, m.peak_kb / 1024.0,
                items,
                !m.ok             ? "FAILED"
                : within && small ? "ok"
                                  : "OVER");
    all_ok = all_ok && m.ok && within && small;
  }
  return all_ok;
}

// The web server's account: --web-user, else www-data, else nobody.
struct WebUser {
  std::string name;
  uid_t uid = 0;
  gid_t gid = 0;
};

WebUser FindWebUser(const std::string& wanted) {
  for (const std::string& name : {wanted, std::string("www-data"), std::string("nobody")}) {
    if (name.empty()) continue;
    if (struct passwd* pw = getpwnam(name.c_str())) return {name, pw->pw_uid, pw->pw_gid};
    if (!wanted.empty()) Die("no user " + wanted);
  }
  Die("no web server user (www-data or nobody); say --web-user");
}

// Installs enumerate.cgi as a box does, owned by root with the setuid bit,
// in DIR/cgi-bin, and times the actions through it from a child that has
// become the web server's user, as the server's CGIs are started.
bool TimeDeployed(const Options& o, const std::string& bin, const std::vector<Action>& actions,
                  const std::string& session, const std::string& config,
                  const std::string& floor_program, double f) {
  WebUser web = FindWebUser(o.web_user);
  const std::string cgi_dir = o.dir + "/cgi-bin";
  const std::string program = cgi_dir + "/enumerate.cgi";
  mkdir(cgi_dir.c_str(), 0755);
  if (!bench::Run({"/usr/bin/install", "-m", "4755", "-o", "root", "-g", "root",
                   bin + "/enumerate.cgi", program}))
    Die("cannot install " + program);
  chmod(o.dir.c_str(), 0755);  // mkdtemp's folder is root's alone
  std::fflush(stdout);
  pid_t pid = fork();
  if (pid == 0) {
    if (setgroups(0, nullptr) != 0 || setresgid(web.gid, web.gid, web.gid) != 0 ||
        setresuid(web.uid, web.uid, web.uid) != 0)
      _exit(2);
    std::string title = "deployed (setuid root, started as " + web.name + ")";
    bool ok = TimeActions(title.c_str(), program, actions, session, config, floor_program, f,
                          o.runs);
    std::fflush(stdout);
    _exit(ok ? 0 : 1);
  }
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status) ||
      WEXITSTATUS(status) == 2)
    Die("cannot run as " + web.name);
  return WEXITSTATUS(status) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // progress shows also when redirected
  Options o;
  if (!ParseOptions(argc, argv, &o)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  const std::string bin = SelfDirectory();
  const std::string admin = bin + "/cantora-admin";
  if (o.dir.empty()) {
    char dir[] = "/tmp/cantora-bench-XXXXXX";
    if (mkdtemp(dir) == nullptr) Die("cannot make a folder in /tmp");
    o.dir = dir;
  }
  const std::string instance = o.dir + "/instance";
  const std::string music = o.dir + "/music";
  const std::string config = instance + "/cantora.conf";
  std::printf("cantora-bench: %zu songs in %s\n", o.songs, o.dir.c_str());

  setenv("CANTORA_CONFIG", config.c_str(), 1);
  if (!o.reuse) {
    std::string out;
    // The web server's group writes the database, as on a box.
    if (!bench::Run({admin, "init", instance, "--web-user", FindWebUser(o.web_user).name}, &out))
      Die("cantora-admin init failed");
    const std::string password = o.dir + "/password";
    std::ofstream(password) << "bench-password\n";
    if (!bench::Run({admin, "user", "add", "bench", "--password-stdin"}, nullptr, password))
      Die("cannot make the user");
    BuildLibrary(admin, music, o.songs);
  }
  std::string session;
  if (!bench::Run({admin, "session", "new", "bench"}, &session)) Die("cannot make a session");
  session = session.substr(0, session.find('\n'));

  const std::string floor_program = bin + "/cantora-bench-floor";
  Measured floor = Measure(floor_program, {floor_program}, {}, o.runs * 2);
  const double f = floor.median;
  std::printf("%-28s %.2f ms (median of %d), peak %.1f MB\n\n", "floor F", f, o.runs * 2,
              floor.peak_kb / 1024.0);

  const std::vector<Action> actions = {
      {"start (unknown action)", "action=no_such_action", Action::kFloorPlus, 2},
      {"song_enum album",
       "action=song_enum&album_name=" +
           url::Encode(fixture::SyntheticAlbum(o.songs / 2 + 7, o.songs)),
       Action::kFloorPlus, 3},
      {"song_enum artist (5,000)",
       "action=song_enum&artist_name=" + url::Encode(fixture::kSyntheticBigArtist),
       Action::kAbsolute, 40},
      {"song_enum large genre",
       "action=song_enum&genre_name=" + url::Encode(fixture::kSyntheticBigGenre), Action::kNone, 0},
      {"search common word",
       std::string("action=search&search_key=") + fixture::kSyntheticCommonWord, Action::kFloorPlus,
       20},
      {"search rare word", std::string("action=search&search_key=") + fixture::kSyntheticRareWord,
       Action::kFloorPlus, 20},
      {"artist_enum", "action=artist_enum", Action::kFloorPlus, 25},
      {"album_enum", "action=album_enum", Action::kFloorPlus, 25},
      {"album_enum latest_album", "action=album_enum&latest_album=100", Action::kFloorPlus, 3},
      {"genre_enum", "action=genre_enum", Action::kFloorPlus, 3},
  };
  // Two arrangements: the gateway run by root, and as it is deployed, a
  // setuid-root copy started by the web server's user, whose privilege
  // guard then really changes ids around every song's file test.
  bool all_ok = TimeActions("run as root", bin + "/enumerate.cgi", actions, session, config,
                            floor_program, f, o.runs);
  std::printf("\n");
  all_ok = TimeDeployed(o, bin, actions, session, config, floor_program, f) && all_ok;
  std::printf("\npeak memory target: < 64 MB per request (answers larger than that excepted)\n");
  if (!o.keep && !o.reuse)
    bench::Run({"/bin/rm", "-rf", o.dir});
  else
    std::printf("kept %s\n", o.dir.c_str());
  return all_ok ? 0 : 1;
}
