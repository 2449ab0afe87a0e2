// enumerate.cgi under lighttpd's mod_fastcgi, with the project's own
// configuration (deploy/lighttpd/enumerate-fastcgi.conf.in): lighttpd starts
// the processes as its own user and starts a new one when one dies; the
// request that process was answering fails cleanly.
#include <gtest/gtest.h>

#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <future>
#include <string>
#include <vector>

#include "tests/support/proc_status.h"
#include "tests/support/harness.h"
#include "tests/support/web_server.h"

namespace {

using harness::Instance;
using webserver::Answer;

// The gateway processes lighttpd runs.
std::vector<pid_t> Gateways(pid_t server, const std::string& program) {
  return ChildrenRunning(server, program);
}

class LighttpdTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(geteuid(), 0u) << "installing a setuid program needs root";
    std::string music = instance.Path("music");
    ASSERT_EQ(mkdir(music.c_str(), 0755), 0);
    harness::Run({"/bin/cp", std::string(CANTORA_SOURCE_DIR) + "/tests/data/templates/tone.mp3",
                  music + "/tone.mp3"});
    ASSERT_EQ(instance.Admin({"folder", "add", music}).status, 0);
    ASSERT_EQ(instance.Admin({"index"}).status, 0);
    session = instance.AddUser("alice");
    // A radio directory helper that hangs: a genre's refresh stays in flight.
    std::string libexec = instance.Path("libexec");
    ASSERT_EQ(mkdir(libexec.c_str(), 0755), 0);
    std::string helper = libexec + "/cantora-radio-fetch";
    std::ofstream(helper) << "#!/bin/sh\nexec sleep 30\n";
    ASSERT_EQ(chmod(helper.c_str(), 0755), 0);
    std::ofstream(instance.config(), std::ios::app)
        << "libexec = " << libexec << "\nshoutcast_url = http://127.0.0.1:9/\n";
    program = harness::InstallGatewayCopy(instance, true);
  }

  Answer Get(const std::string& query) {
    return webserver::Get(server->port(), "/cgi-bin/enumerate.cgi?" + query, session);
  }

  Instance instance{"nobody"};
  std::string session;
  std::string program;
  std::unique_ptr<webserver::Server> server;
};

TEST_F(LighttpdTest, ProcessesRunAsTheWebUserAndOneThatDiesIsReplaced) {
  webserver::Setup setup;
  setup.run_dir = instance.Path("run-web");
  setup.www_dir = instance.Path("www");
  setup.cgi_dir = program.substr(0, program.rfind('/'));
  setup.config = instance.config();
  setup.covers = instance.Path("cache/covers");
  setup.libraries = "\"" + instance.Path("music") + "/\"";
  setup.web_user = "nobody";
  setup.fastcgi = true;
  server = std::make_unique<webserver::Server>(setup);
  Answer songs = Get("action=song_enum&album_name=");
  ASSERT_EQ(songs.status, 200) << songs.body;

  std::vector<pid_t> gateways = Gateways(server->pid(), program);
  ASSERT_EQ(gateways.size(), 4u);  // max-procs
  struct passwd* nobody = getpwnam("nobody");
  for (pid_t pid : gateways) {
    std::vector<long> uid = StatusLine(pid, "Uid:");
    ASSERT_EQ(uid.size(), 4u);
    EXPECT_EQ(uid[1], static_cast<long>(nobody->pw_uid)) << "effective user of " << pid;
  }

  // A request in flight: its process waits for the radio helper. It is
  // killed once the helper runs the helper's program: until its exec, a
  // helper being started holds a copy of the gateway's listening socket
  // (close-on-exec), and lighttpd, finding a dead process's socket still
  // taken, leaves it to whoever holds it and starts no other (its log:
  // "socket is already used; won't spawn").
  auto in_flight = std::async(std::launch::async, [&] { return Get("action=radio_enum&id=inetradio_genre_Jazz"); });
  pid_t busy = -1, helper = -1;
  for (int i = 0; i < 400 && busy < 0; ++i) {
    for (pid_t pid : Gateways(server->pid(), program)) {
      for (pid_t child : ChildrenOf(pid)) {
        std::string runs = ExecutableOf(child);
        if (!runs.empty() && runs != program) {
          busy = pid;
          helper = child;
        }
      }
    }
    if (busy < 0) usleep(25000);
  }
  ASSERT_GT(busy, 0) << "no process started the radio helper: " << in_flight.get().body;
  auto killed_at = std::chrono::steady_clock::now();
  ASSERT_EQ(kill(busy, SIGKILL), 0);
  Answer failed = in_flight.get();
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - killed_at).count();
  kill(helper, SIGKILL);
  // An error answer at once, not a hang until the helper's time is up.
  EXPECT_GE(failed.status, 500);
  EXPECT_LT(seconds, 5.0);

  // lighttpd starts a new process in its place (under load, or with a
  // sanitizer's slow start, that takes a moment); then every request is
  // answered, as before.
  std::vector<pid_t> now;
  for (int i = 0; i < 200; ++i) {
    now = Gateways(server->pid(), program);
    if (now.size() == 4u && std::find(now.begin(), now.end(), busy) == now.end()) break;
    usleep(50000);
  }
  EXPECT_EQ(now.size(), 4u);
  for (pid_t pid : now) EXPECT_NE(pid, busy);
  for (int i = 0; i < 20; ++i) {
    Answer again = Get("action=song_enum&album_name=");
    EXPECT_EQ(again.status, 200);
    EXPECT_EQ(again.body, songs.body);
  }
}

}  // namespace
