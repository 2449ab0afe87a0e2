// cantora-admin watch, seen from outside: a watcher started on a real
// instance, the libraries changed under it the ways a user changes them, and
// enumerate.cgi asked until its answers show the change (the time printed,
// held to the watcher's bound of 3 s). Also the watcher's own guarantees (one
// run for an album, the watch limit, a kill and a restart, no processor time
// while idle) and what index --json and status print.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/text/json_parse.h"
#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

constexpr double kBound = 3.0;  // seconds from a change to the answers

std::string ReadFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// cantora-admin watch of an instance, its stderr in a file; stopped by pid.
class WatchProcess {
 public:
  WatchProcess(const LibraryInstance& instance, const std::vector<std::string>& args = {})
      : log_(instance.Path("watch.log")) {
    std::vector<std::string> argv = {harness::Bin("cantora-admin"), "watch"};
    argv.insert(argv.end(), args.begin(), args.end());
    std::vector<char*> cargv;
    for (std::string& a : argv) cargv.push_back(a.data());
    cargv.push_back(nullptr);
    std::string config = "CANTORA_CONFIG=" + instance.config();
    std::string path = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    char* env[] = {config.data(), path.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, log_.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0600);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    if (posix_spawn(&pid_, cargv[0], &actions, nullptr, cargv.data(), env) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
  }
  ~WatchProcess() { Stop(); }

  pid_t pid() const { return pid_; }
  std::string Log() const { return ReadFile(log_); }

  // Waits until the log holds text count times (at most limit seconds).
  bool WaitForLog(const std::string& text, int count = 1, double limit = 10) const {
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(limit);
    while (std::chrono::steady_clock::now() < end) {
      std::string log = Log();
      int found = 0;
      for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
        ++found;
      if (found >= count) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }

  // SIGTERM, and the exit status.
  int Stop() {
    if (pid_ <= 0) return -1;
    kill(pid_, SIGTERM);
    return Wait();
  }
  void Kill() {
    kill(pid_, SIGKILL);
    Wait();
  }
  // utime + stime, in clock ticks.
  long CpuTicks() const {
    std::string stat = ReadFile("/proc/" + std::to_string(pid_) + "/stat");
    std::istringstream fields(stat.substr(stat.rfind(')') + 2));
    std::string f;
    long utime = 0, stime = 0;
    for (int i = 3; i <= 15 && fields >> f; ++i) {
      if (i == 14) utime = std::stol(f);
      if (i == 15) stime = std::stol(f);
    }
    return utime + stime;
  }

 private:
  int Wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  std::string log_;
  pid_t pid_ = -1;
};

// Seconds until check() holds, or -1 after limit seconds.
double Until(const std::function<bool()>& check, double limit = 8) {
  auto start = std::chrono::steady_clock::now();
  for (;;) {
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (check()) return seconds;
    if (seconds > limit) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

// Checks that the change shows within the bound, and prints its time.
#define EXPECT_SHOWN(what, check)                               \
  do {                                                          \
    double seconds_ = Until(check);                             \
    std::printf("[ watch    ] %-28s %.2f s\n", what, seconds_); \
    EXPECT_GE(seconds_, 0) << what << ": never shown";          \
    EXPECT_LT(seconds_, kBound) << what;                        \
  } while (0)

class WatchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    session_ = instance_.AddUser("alice");
    instance_.AddSongs({Tune("start/1.mp3", "Start", "Begin", "Watcher")});
    instance_.Index();
  }

  Names Titles(const std::string& query = "action=song_enum&artist_name=Watcher") {
    CgiResult r = harness::Enumerate(instance_, session_, query);
    EXPECT_TRUE(r.json["success"].asBool()) << r.body;
    Names titles = Column(r.json, "title");
    std::sort(titles.begin(), titles.end());
    return titles;
  }
  bool Has(const std::string& title) {
    Names t = Titles();
    return std::find(t.begin(), t.end(), title) != t.end();
  }
  // Gone from the index itself: the answers leave out a song whose file is
  // gone before any index run.
  bool Gone(const std::string& title) {
    return !Has(title) &&
           instance_.Sql("SELECT count(*) FROM song WHERE title = '" + title + "'").out == "0\n";
  }
  std::string IdOf(const std::string& title) {
    CgiResult r =
        harness::Enumerate(instance_, session_, "action=search&search_key=" + Encode(title));
    for (const Json::Value& item : r.json["items"])
      if (item["title"].asString() == title) return item["id"].asString();
    return "";
  }
  int64_t Runs(const std::string& kind) {
    return std::stoll(
        instance_.Sql("SELECT count(*) FROM index_run WHERE kind = '" + kind + "'").out);
  }
  std::string Music(const std::string& below) const { return instance_.music() + "/" + below; }

  LibraryInstance instance_;
  std::string session_;
};

TEST_F(WatchTest, EachKindOfChangeReachesTheAnswers) {
  WatchProcess watch(instance_);
  ASSERT_TRUE(watch.WaitForLog("watch-start (")) << watch.Log();

  instance_.AddSongs({Tune("start/2.mp3", "Added", "Begin", "Watcher")});
  EXPECT_SHOWN("file added", [&] { return Has("Added"); });

  instance_.AddSongs({Tune("start/2.mp3", "Retagged", "Begin", "Watcher")});
  EXPECT_SHOWN("file replaced (tags edited)", [&] { return Has("Retagged") && !Has("Added"); });

  ASSERT_EQ(0, unlink(Music("start/2.mp3").c_str()));
  EXPECT_SHOWN("file removed", [&] { return Gone("Retagged"); });

  instance_.AddSongs({Tune("new/deep/3.flac", "Deep", "Fresh", "Watcher")});
  EXPECT_SHOWN("folder added", [&] { return Has("Deep"); });

  ASSERT_EQ(0, rename(Music("new").c_str(), Music("renamed").c_str()));
  auto paths = [&] {
    return Column(harness::Enumerate(instance_, session_, "action=song_enum&album_name=Fresh").json,
                  "path");
  };
  EXPECT_SHOWN("folder renamed", [&] {
    Names p = paths();
    return p.size() == 1 && p[0].find("/renamed/deep/3.flac") != std::string::npos;
  });

  ASSERT_EQ(0, rename(Music("renamed").c_str(), instance_.Path("outside").c_str()));
  EXPECT_SHOWN("folder moved out", [&] { return Gone("Deep"); });

  ASSERT_EQ(0, rename(instance_.Path("outside").c_str(), Music("back").c_str()));
  EXPECT_SHOWN("folder moved in", [&] { return Has("Deep"); });

  std::filesystem::remove_all(Music("back"));
  EXPECT_SHOWN("folder removed", [&] { return Gone("Deep"); });
  // No record is left of a folder that lost its audio.
  EXPECT_EQ("0\n", instance_
                       .Sql("SELECT count(*) FROM folder WHERE path GLOB '" + Music("back") +
                            "*' OR path GLOB '" + Music("new") + "*' OR path GLOB '" +
                            Music("renamed") + "*'")
                       .out);

  WriteFile(Music("start/Mix.m3u"), "1.mp3\n");
  EXPECT_SHOWN("playlist added", [&] {
    Names names =
        Column(harness::Enumerate(instance_, session_, "action=playlist_enum").json, "name");
    return std::find(names.begin(), names.end(), "Mix") != names.end();
  });

  std::string id = IdOf("Start");
  ASSERT_FALSE(id.empty());
  WriteFile(Music("start/1.lrc"), "[00:01.00]side line\n");
  EXPECT_SHOWN("lyrics file added", [&] {
    CgiResult r = harness::Enumerate(instance_, session_, "action=get_lyrics&id=" + Encode(id));
    return r.json["lyrics"].asString() == "[00:01.00]side line\n";
  });

  // No answer carries a folder's image count; the index's record does.
  WriteFile(Music("start/cover.jpg"), "not really a picture");
  EXPECT_SHOWN("cover file added", [&] {
    return instance_.Sql("SELECT covercount FROM folder WHERE path = '" + Music("start") + "'")
               .out == "1\n";
  });
  EXPECT_EQ(0, watch.Stop());
}

TEST_F(WatchTest, AnAlbumCopiedInIsOneRun) {
  // Made outside the library first, then copied in file by file.
  std::vector<fixture::Song> album;
  for (int i = 1; i <= 20; ++i)
    album.push_back(Tune("album/" + std::to_string(i) + ".mp3", "Track " + std::to_string(i),
                         "Twenty", "Watcher"));
  instance_.AddSongs(album, instance_.Path("staging"));
  WatchProcess watch(instance_);
  ASSERT_TRUE(watch.WaitForLog("watch-start (")) << watch.Log();
  int64_t before = Runs("watch");
  std::filesystem::copy(instance_.Path("staging/album"), Music("album"));
  EXPECT_SHOWN("album of 20 copied", [&] {
    return harness::Enumerate(instance_, session_, "action=song_enum&album_name=Twenty")
               .json["total"]
               .asUInt() == 20;
  });
  // Nothing more comes of it.
  std::this_thread::sleep_for(std::chrono::milliseconds(1200));
  EXPECT_EQ(before + 1, Runs("watch")) << watch.Log();
}

TEST_F(WatchTest, LibrariesAddedAndRemovedWithoutARestart) {
  std::string dana = instance_.AddUser("dana");
  instance_.AddSongs({Tune("d.mp3", "Dana's", "Mine", "Watcher")},
                     instance_.PersonalFolder("dana"));
  instance_.AddSongs({Tune("x/o.mp3", "Other", "Elsewhere", "Watcher")}, instance_.Path("other"));
  WatchProcess watch(instance_);
  ASSERT_TRUE(watch.WaitForLog("watch-start (")) << watch.Log();

  ASSERT_EQ(0, instance_.Admin({"folder", "add", instance_.Path("other")}).status);
  EXPECT_SHOWN("folder add", [&] { return Has("Other"); });
  // ... and it is watched from then on.
  instance_.AddSongs({Tune("x/p.mp3", "Other Two", "Elsewhere", "Watcher")},
                     instance_.Path("other"));
  EXPECT_SHOWN("file in an added folder", [&] { return Has("Other Two"); });

  ASSERT_EQ(0, instance_.Admin({"folder", "del", instance_.Path("other")}).status);
  EXPECT_SHOWN("folder del", [&] { return Gone("Other") && Gone("Other Two"); });

  auto personal = [&] {
    return Column(
        harness::Enumerate(instance_, dana, "action=song_enum&library=personal&album_name=Mine")
            .json,
        "title");
  };
  ASSERT_EQ(0, instance_.Admin({"user", "personal", "dana", "on"}).status);
  EXPECT_SHOWN("personal library on", [&] { return personal() == Names{"Dana's"}; });
  instance_.AddSongs({Tune("e.mp3", "Dana's Second", "Mine", "Watcher")},
                     instance_.PersonalFolder("dana"));
  EXPECT_SHOWN("file in a personal library", [&] { return personal().size() == 2; });
  ASSERT_EQ(0, instance_.Admin({"user", "personal", "dana", "off"}).status);
  instance_.AddSongs({Tune("f.mp3", "Dana's Third", "Mine", "Watcher")},
                     instance_.PersonalFolder("dana"));
  std::this_thread::sleep_for(std::chrono::milliseconds(1200));
  EXPECT_EQ(Names{}, personal()) << "a library switched off is not watched";
  EXPECT_EQ(0, watch.Stop());
}

TEST_F(WatchTest, ALowWatchLimitIsToldOnceAndScanned) {
  instance_.AddSongs({Tune("a/1.mp3", "A", "Limited", "Watcher"),
                      Tune("b/1.mp3", "B", "Limited", "Watcher"),
                      Tune("c/1.mp3", "C", "Limited", "Watcher")});
  instance_.Index();
  // The root and two of its five folders.
  WatchProcess watch(instance_, {"--max-watches", "3", "--rescan", "1"});
  ASSERT_TRUE(watch.WaitForLog("watch-start (")) << watch.Log();
  // Every folder gets its change noticed, watched or scanned.
  instance_.AddSongs({Tune("a/2.mp3", "A2", "Limited", "Watcher"),
                      Tune("c/2.mp3", "C2", "Limited", "Watcher"),
                      Tune("start/2.mp3", "S2", "Limited", "Watcher")});
  EXPECT_GE(Until([&] { return Has("A2") && Has("C2") && Has("S2"); }), 0) << watch.Log();
  ASSERT_TRUE(watch.WaitForLog("watch-scan (", 2)) << watch.Log();
  std::string log = watch.Log();
  std::string line =
      "the libraries have 5 folders but only 3 inotify watches could be set; "
      "raise the limit with 'sysctl fs.inotify.max_user_watches=";
  size_t at = log.find(line);
  ASSERT_NE(std::string::npos, at) << log;
  EXPECT_EQ(std::string::npos, log.find(line, at + 1)) << "said twice: " << log;
  EXPECT_NE(std::string::npos,
            log.find("until then the 2 folders not watched are scanned every 1 s", at))
      << log;
  EXPECT_EQ(0, watch.Stop());
}

TEST_F(WatchTest, AKilledWatcherCatchesUpAtItsNextStart) {
  {
    WatchProcess watch(instance_);
    ASSERT_TRUE(watch.WaitForLog("watch-start (")) << watch.Log();
    // One writer at a time: a run by hand is refused, in one line.
    CommandResult index = instance_.Admin({"index"});
    EXPECT_NE(0, index.status);
    EXPECT_EQ("cantora-admin: index: cantora-admin watch (pid " + std::to_string(watch.pid()) +
                  ") keeps the index current; stop it to index by hand\n",
              index.err);
    EXPECT_NE(std::string::npos,
              instance_.Admin({"status"})
                  .out.find("watcher: running (pid " + std::to_string(watch.pid()) + ")"));
    watch.Kill();
  }
  EXPECT_NE(std::string::npos, instance_.Admin({"status"}).out.find("watcher: not running"));
  instance_.AddSongs({Tune("late/1.mp3", "While Away", "Missed", "Watcher")});
  ASSERT_EQ(0, unlink(Music("start/1.mp3").c_str()));
  WatchProcess again(instance_);
  EXPECT_SHOWN("caught up after kill -9", [&] { return Titles() == Names{"While Away"}; });
  EXPECT_EQ(0, again.Stop());
  // The lock went with the watcher.
  EXPECT_EQ(0, instance_.Admin({"index"}).status);
}

TEST_F(WatchTest, IdleTakesNoProcessorTime) {
  WatchProcess watch(instance_);
  ASSERT_TRUE(watch.WaitForLog("watch-start (")) << watch.Log();
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  long before = watch.CpuTicks();
  std::this_thread::sleep_for(std::chrono::seconds(4));
  EXPECT_EQ(before, watch.CpuTicks());
  EXPECT_EQ(0, watch.Stop());
}

// Index runs as JSON lines and the status of the index.
TEST(IndexStatus, JsonLinesAndStatus) {
  LibraryInstance instance;
  fixture::Song bad;
  bad.file = "b/broken.mp3";
  bad.corrupt = true;
  instance.AddSongs({Tune("a/1.mp3", "One", "First", "Artist"), bad});
  CommandResult never = instance.Admin({"status"});
  EXPECT_EQ(0, never.status) << never.err;
  EXPECT_EQ("last run: none\nruns recorded: 0\nwatcher: not running\nfailed files: 0\n", never.out);

  CommandResult r = instance.Admin({"index", "--json"});
  ASSERT_EQ(0, r.status) << r.err;
  std::istringstream lines(r.out);
  std::string line;
  std::vector<Json::Value> objects;
  while (std::getline(lines, line)) {
    Json::Value v;
    ASSERT_TRUE(cantora::ParseJson(line, &v)) << line;
    objects.push_back(v);
  }
  ASSERT_GE(objects.size(), 2u);
  for (size_t i = 0; i + 1 < objects.size(); ++i)
    EXPECT_EQ("progress", objects[i]["event"].asString());
  const Json::Value& end = objects.back();
  EXPECT_EQ("summary", end["event"].asString());
  EXPECT_EQ(2, end["seen"].asInt());
  EXPECT_EQ(1, end["added"].asInt());
  EXPECT_EQ(0, end["updated"].asInt());
  EXPECT_EQ(0, end["removed"].asInt());
  EXPECT_EQ(1, end["failed"].asInt());
  EXPECT_TRUE(end["seconds"].isDouble());

  // The failure is kept (and the file not read again) until it changes.
  instance.Index();
  CommandResult status = instance.Admin({"status"});
  EXPECT_EQ(0, status.status);
  static const std::regex shape(
      "last run: \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d UTC \\(index\\), 2 files seen, 0 added, "
      "0 updated, 0 removed, 1 failed, \\d+\\.\\d\\d s\n"
      "runs recorded: 2\nwatcher: not running\nfailed files: 1\n  (.*): (.+)\n");
  std::smatch m;
  ASSERT_TRUE(std::regex_match(status.out, m, shape)) << status.out;
  EXPECT_EQ(instance.music() + "/b/broken.mp3", m[1].str());

  instance.AddSongs({Tune("b/broken.mp3", "Mended", "First", "Artist")});
  instance.Index();
  EXPECT_NE(std::string::npos, instance.Admin({"status"}).out.find("failed files: 0\n"));
}

}  // namespace

// One writer at a time: an index run typed while another writes waits for
// it, saying so in one line. The other writer is this test, holding the lock.
TEST(IndexLock, AnIndexRunWaitsForTheOneWriting) {
  LibraryInstance instance;
  instance.AddSongs({Tune("a/1.mp3", "One", "First", "Artist")});
  std::string lock = instance.Path("data/cantora.db.lock");
  int fd = open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(0, flock(fd, LOCK_EX));
  std::string name = "index " + std::to_string(getpid()) + "\n";
  ASSERT_EQ(static_cast<ssize_t>(name.size()), write(fd, name.data(), name.size()));
  EXPECT_NE(std::string::npos, instance.Admin({"status"}).out.find(
                                   "index: running (pid " + std::to_string(getpid()) + ")\n"));
  auto start = std::chrono::steady_clock::now();
  std::thread release([&] {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    close(fd);
  });
  CommandResult r = instance.Admin({"index"});
  release.join();
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(950));
  EXPECT_EQ(0, r.status) << r.err;
  EXPECT_EQ("cantora-admin: index: waiting for the run of pid " + std::to_string(getpid()) +
                " to end\n",
            r.err);
  EXPECT_EQ(0u, r.out.find("1 files seen, 1 added")) << r.out;
}
