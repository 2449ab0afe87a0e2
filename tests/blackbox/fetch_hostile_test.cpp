// The fetch helpers, cantora-lyrics-fetch and cantora-radio-fetch, run as
// the gateway runs them (no shell, the instance's CANTORA_CONFIG) against a
// hostile service on 127.0.0.1: a drip, a body or head without end, a bomb
// of compressed zeros, redirects elsewhere, answers that are not JSON. Each
// exchange must end within the limits of the configuration, as a failure,
// with what was stored before left as it was: no lyrics stored (the failure
// remembered instead), the old station list unchanged.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/harness.h"
#include "tests/support/hostile_server.h"

extern char** environ;

namespace {

using testserver::HostileServer;
using testserver::RedirectPath;

// The limits every case runs under (seconds, bytes).
constexpr int kTimeout = 2;
constexpr int kMaxBytes = 65536;
// A helper still running this long after its time-out has none.
constexpr int kWatchdogSeconds = kTimeout + 6;
// What ending "within the time-out" allows for starting and writing.
constexpr double kSlack = 1.5;

const char kFound[] = R"({"id":1,"plainLyrics":"fetched words","syncedLyrics":null})";
const char kStations[] = R"([{"ID":7,"Name":"Fetched FM","Bitrate":128,"Genre":"Jazz"}])";

std::string Nested(int depth) { return std::string(depth, '[') + std::string(depth, ']'); }

const std::map<std::string, std::string> kBodies = {
    {"found", kFound},
    {"stations", kStations},
    {"truncated", R"({"id":1,"plainLyrics":"fetched wo)"},
    {"truncated-list", R"([{"ID":7,"Name":"Fetched FM","Bitra)"},
    {"html", "<html><body>Service unavailable</body></html>"},
    {"trailing", std::string(kStations) + " and more"},
    {"deep", Nested(20000)},
    {"deep-object", "{\"plainLyrics\":" + Nested(5000) + "}"},
    {"binary", std::string("\0\xff\xfe{\x01", 5)},
};

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

struct Ended {
  int status = -1;       // exit status; -1 when killed or died of a signal
  bool overran = false;  // still running at the watchdog's time, and killed
  double seconds = 0;
  std::string err;
};

// Runs a helper as the gateway does, without a shell, and kills it (by its
// pid) if it is still running after kWatchdogSeconds.
Ended RunWatched(const std::vector<std::string>& argv, const std::string& config) {
  char err_path[] = "/tmp/fetch-err-XXXXXX";
  int err_fd = mkstemp(err_path);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, err_fd, STDERR_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err_fd, STDOUT_FILENO);
  std::vector<std::string> env_text = {"CANTORA_CONFIG=" + config, "PATH=/usr/bin:/bin"};
  std::vector<char*> env, args;
  for (std::string& e : env_text) env.push_back(e.data());
  env.push_back(nullptr);
  std::vector<std::string> arg_text = argv;
  for (std::string& a : arg_text) args.push_back(a.data());
  args.push_back(nullptr);
  Ended ended;
  const auto start = std::chrono::steady_clock::now();
  pid_t pid = -1;
  if (posix_spawn(&pid, args[0], &actions, nullptr, args.data(), env.data()) == 0) {
    int status = 0;
    for (;;) {
      if (waitpid(pid, &status, WNOHANG) == pid) break;
      if (std::chrono::steady_clock::now() - start > std::chrono::seconds(kWatchdogSeconds)) {
        ended.overran = true;
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (WIFEXITED(status)) ended.status = WEXITSTATUS(status);
  }
  ended.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  posix_spawn_file_actions_destroy(&actions);
  close(err_fd);
  ended.err = ReadText(err_path);
  unlink(err_path);
  return ended;
}

// The helper ended by itself, with its failure status, within timeout
// seconds (and the slack), its one line on stderr naming error.
void ExpectFailedWithin(const Ended& ended, int status, int timeout, const std::string& route,
                        const char* error) {
  EXPECT_FALSE(ended.overran) << route << ": still running after " << kWatchdogSeconds << " s";
  EXPECT_EQ(status, ended.status) << route << ": " << ended.err;
  EXPECT_LT(ended.seconds, timeout + kSlack) << route;
  EXPECT_NE(std::string::npos, ended.err.find(error)) << route << ": " << ended.err;
}

class HostileFetch : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.ok());
    ASSERT_TRUE(elsewhere_.ok());
  }

  // Appends lines to the instance's configuration (later lines win).
  void Configure(const std::string& lines) {
    std::ofstream(instance_.config(), std::ios::app) << lines;
  }

  // Asks for the lyrics of one song with lyrics_url at the route given,
  // from a clean cache.
  Ended FetchLyrics(const std::string& url) {
    Configure("lyrics_url = " + url + "\nlyrics_connect_timeout = " + std::to_string(kTimeout) +
              "\nlyrics_timeout = " + std::to_string(kTimeout) +
              "\nlyrics_max_bytes = " + std::to_string(kMaxBytes) + "\n");
    harness::Run({"/bin/rm", "-rf", LyricsCache()});
    return RunWatched({harness::Bin("cantora-lyrics-fetch"), "Singer", "Song"}, instance_.config());
  }
  std::string LyricsCache() const { return instance_.Path("cache/lyrics"); }
  // The cache entries' extensions (".lrc", ".miss", ".fail").
  std::vector<std::string> LyricsEntries() const {
    std::vector<std::string> kinds;
    for (const std::string& name : testserver::FileNames(LyricsCache()))
      kinds.push_back(name.substr(name.find('.')));
    return kinds;
  }

  // Refreshes one genre with shoutcast_url at the route given, over an old
  // list.
  Ended FetchStations(const std::string& url) {
    Configure("shoutcast_url = " + url + "\nradio_connect_timeout = " + std::to_string(kTimeout) +
              "\nradio_timeout = " + std::to_string(kTimeout) +
              "\nradio_max_bytes = " + std::to_string(kMaxBytes) + "\n");
    WriteText(StationFile(), kOldList);
    return RunWatched({harness::Bin("cantora-radio-fetch"), "shoutcast_Jazz"}, instance_.config());
  }
  std::string RadioDir() const { return instance_.Path("usr/zarn/etc/radio"); }
  std::string StationFile() const { return RadioDir() + "/shoutcast_Jazz.json"; }

  // Each case ends as a failure within the time-out, and what was stored
  // before stays: no lyrics, the old station list.
  void ExpectRefused(const std::string& route, const char* lyrics_error, const char* radio_error) {
    ExpectFailedWithin(FetchLyrics(server_.Url(route)), 2, kTimeout, route, lyrics_error);
    // The failure is remembered, so that the next request does not wait again.
    EXPECT_EQ(std::vector<std::string>{".fail"}, LyricsEntries()) << route;

    ExpectFailedWithin(FetchStations(server_.Url(route)), 1, kTimeout, route, radio_error);
    EXPECT_EQ(kOldList, ReadText(StationFile())) << route;
    EXPECT_EQ(std::vector<std::string>{"shoutcast_Jazz.json"}, testserver::FileNames(RadioDir()))
        << route;
  }

  // Both fetches succeed: lyrics stored, the station list replaced.
  void ExpectFetched(const std::string& lyrics_route, const std::string& radio_route) {
    Ended lyrics = FetchLyrics(server_.Url(lyrics_route));
    EXPECT_EQ(0, lyrics.status) << lyrics_route << ": " << lyrics.err;
    EXPECT_EQ(std::vector<std::string>{".lrc"}, LyricsEntries()) << lyrics_route;
    Ended radio = FetchStations(server_.Url(radio_route));
    EXPECT_EQ(0, radio.status) << radio_route << ": " << radio.err;
    EXPECT_NE(std::string::npos, ReadText(StationFile()).find("Fetched FM")) << radio_route;
  }

  static constexpr const char* kOldList =
      R"({"stations":[{"name":"Old FM","url":"http://old.invalid/","desc":"","bitrate":"64"}],"total":1})";

  harness::Instance instance_;
  HostileServer server_{kBodies};
  // A second service on another port, which no redirect may reach.
  HostileServer elsewhere_{kBodies};
};

// What the fetches answer when the service behaves: the cases below fail
// for their hostility, not for anything else.
TEST_F(HostileFetch, AWellBehavedServiceIsFetched) {
  ExpectFetched("/body/found", "/body/stations");
}

TEST_F(HostileFetch, ACompressedAnswerIsFetched) { ExpectFetched("/gzip/found", "/gzip/stations"); }

TEST_F(HostileFetch, ASlowDripEndsAtTheTimeOut) {
  ExpectRefused("/drip", "imed out", "imed out");
  ExpectRefused("/drip-head", "imed out", "imed out");
}

TEST_F(HostileFetch, ABodyWithoutEndStopsAtTheSizeCap) {
  ExpectRefused("/endless", "larger than 65536", "larger than 65536");
  ExpectRefused("/huge-length", "larger than 65536", "larger than 65536");
}

// libcurl caps the head at 300 KiB and one line of it at 100 KiB (the
// latter reported as running out of memory).
TEST_F(HostileFetch, HeadersWithoutEndAreRefused) {
  ExpectRefused("/huge-headers", "response headers", "response headers");
  ExpectRefused("/huge-header-line", "", "");
}

// Content-Length counts the compressed bytes; the cap is on what they
// inflate to.
TEST_F(HostileFetch, AGzipBombStopsAtTheSizeCap) {
  ExpectRefused("/gzip-bomb", "larger than 65536", "larger than 65536");
  ExpectRefused("/gzip-gzip-bomb", "larger than 65536", "larger than 65536");
}

TEST_F(HostileFetch, AnswersThatAreNotJsonAreFailures) {
  ExpectRefused("/body/truncated", "not a JSON object", "malformed");
  ExpectRefused("/body/truncated-list", "not a JSON object", "malformed");
  ExpectRefused("/body/html", "not a JSON object", "malformed");
  ExpectRefused("/body/binary", "not a JSON object", "malformed");
  ExpectRefused("/body/trailing", "not a JSON object", "malformed");
}

// Nesting past the parser's depth limit is an unparsable answer like any
// other, not the end of the helper.
TEST_F(HostileFetch, DeeplyNestedJsonIsAFailureNotACrash) {
  ExpectRefused("/body/deep", "not a JSON object", "malformed");
  ExpectRefused("/body/deep-object", "not a JSON object", "malformed");
}

// The service's answer never steers the helper to another host or port: a
// redirect is refused before anything connects there.
TEST_F(HostileFetch, ARedirectToAnotherHostIsRefused) {
  const std::string port = std::to_string(server_.port());
  for (const std::string& target :
       {"http://localhost:" + port + "/body/found", elsewhere_.Url("/body/found"),
        elsewhere_.Url("/body/stations"), "https://127.0.0.1:" + port + "/body/found"}) {
    for (int code : {301, 302, 303, 307, 308}) {
      const std::string route = RedirectPath(code, target);
      size_t asked = server_.Requests().size();
      ExpectRefused(route, "redirect", "redirect");
      // One question each, and no second one: not on the redirect's host
      // (localhost is this server's host under another name), not elsewhere.
      EXPECT_EQ(asked + 2, server_.Requests().size()) << route;
    }
  }
  EXPECT_EQ(0u, elsewhere_.Requests().size());
}

TEST_F(HostileFetch, ARedirectToAFileIsRefused) {
  WriteText(instance_.Path("planted.json"), kFound);
  for (const std::string& target :
       {"file://" + instance_.Path("planted.json"), std::string("file:///etc/passwd"),
        std::string("ftp://127.0.0.1/x"),
        "gopher://127.0.0.1:" + std::to_string(server_.port()) + "/body/found"}) {
    ExpectRefused(RedirectPath(302, target), "", "");
  }
}

// A redirect on the service's own host and port is followed, a few times at
// most.
TEST_F(HostileFetch, ARedirectOnTheSameServiceIsFollowed) {
  ExpectFetched(RedirectPath(302, "/body/found"),
                RedirectPath(307, server_.Url("/body/stations")));
  // A 307 repeats the POST, body and all.
  EXPECT_NE(std::string::npos, server_.Requests().back().find("POST /body/stations "))
      << server_.Requests().back();
  EXPECT_NE(std::string::npos, server_.Requests().back().find("genrename=Jazz"));

  std::string chain = "/body/found";
  for (int i = 0; i < 6; ++i) chain = RedirectPath(302, server_.Url(chain));
  ExpectRefused(chain, "redirect", "redirect");
}

// A time-out of 0 in the configuration does not make an exchange unbounded.
TEST_F(HostileFetch, AZeroTimeOutStillEnds) {
  Configure("lyrics_url = " + server_.Url("/drip") +
            "\nlyrics_timeout = 0\nlyrics_connect_timeout = 0\n");
  harness::Run({"/bin/rm", "-rf", LyricsCache()});
  ExpectFailedWithin(
      RunWatched({harness::Bin("cantora-lyrics-fetch"), "Singer", "Song"}, instance_.config()), 2,
      1, "/drip", "imed out");
  Configure("shoutcast_url = " + server_.Url("/drip") +
            "\nradio_timeout = 0\nradio_connect_timeout = 0\n");
  WriteText(StationFile(), kOldList);
  ExpectFailedWithin(
      RunWatched({harness::Bin("cantora-radio-fetch"), "shoutcast_Jazz"}, instance_.config()), 1, 1,
      "/drip", "imed out");
  EXPECT_EQ(kOldList, ReadText(StationFile()));
}

}  // namespace
