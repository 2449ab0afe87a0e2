#include "bench/watch_bench.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "bench/cgi_answer.h"
#include "bench/process_timer.h"
#include "tests/support/fixture.h"
#include "tests/support/url_encode.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

std::string ReadFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

pid_t StartWatcher(const WatchBench& b, const std::string& log) {
  std::vector<std::string> argv = {b.admin, "watch"};
  std::vector<char*> cargv;
  for (std::string& a : argv) cargv.push_back(a.data());
  cargv.push_back(nullptr);
  std::string config = "CANTORA_CONFIG=" + b.config;
  char* env[] = {config.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t pid = -1;
  if (posix_spawn(&pid, cargv[0], &actions, nullptr, cargv.data(), env) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

long CpuTicks(pid_t pid) {
  std::string stat = ReadFile("/proc/" + std::to_string(pid) + "/stat");
  std::istringstream fields(stat.substr(stat.rfind(')') + 2));
  std::string f;
  long ticks = 0;
  for (int i = 3; i <= 15 && fields >> f; ++i)
    if (i == 14 || i == 15) ticks += std::stol(f);
  return ticks;
}

long RssKb(pid_t pid) {
  std::istringstream status(ReadFile("/proc/" + std::to_string(pid) + "/status"));
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
  return -1;
}

// The "total" of song_enum for query, or -1.
long Total(const WatchBench& b, const std::string& query) {
  std::vector<std::string> env = {"GATEWAY_INTERFACE=CGI/1.1",  "REQUEST_METHOD=GET",
                                  "QUERY_STRING=" + query,      "HTTP_COOKIE=id=" + b.session,
                                  "CANTORA_CONFIG=" + b.config, "PATH=/usr/bin:/bin"};
  return TotalOf(TimeProcess({b.enumerate}, env).output);
}

// Seconds from copy() to an answer with want songs of album (-1 after 30 s).
template <class F>
double Answered(const WatchBench& b, const std::string& album, long want, F copy) {
  const std::string query = "action=song_enum&album_name=" + url::Encode(album);
  auto start = Clock::now();
  copy();
  while (Total(b, query) != want) {
    if (Clock::now() - start > std::chrono::seconds(30)) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return std::chrono::duration<double>(Clock::now() - start).count();
}

bool Line(const char* name, double value, const char* unit, double target, bool below_or_equal) {
  bool ok = value >= 0 && (below_or_equal ? value <= target : value < target);
  std::printf("%-28s %10.2f %-4s target %s %.0f %s   %s\n", name, value, unit,
              below_or_equal ? "<=" : "<", target, unit, ok ? "ok" : "OVER");
  return ok;
}

}  // namespace

bool BenchWatcher(const WatchBench& b) {
  const std::string staging = b.dir + "/watch-staging";
  std::string error;
  // The songs to copy in, made beforehand outside the library.
  std::vector<fixture::Song> songs;
  for (int i = 0; i < b.file_runs; ++i)
    songs.push_back(fixture::Tune("file" + std::to_string(i) + ".mp3", "Probe",
                                  "Watch Probe " + std::to_string(i), "Watch Bench"));
  for (int a = 0; a < b.album_runs; ++a)
    for (int t = 1; t <= 20; ++t)
      songs.push_back(fixture::Tune("album" + std::to_string(a) + "/" + std::to_string(t) + ".mp3",
                                    "Track " + std::to_string(t),
                                    "Watch Album " + std::to_string(a), "Watch Bench"));
  if (!fixture::MakeSongs(staging, songs, &error)) {
    std::fprintf(stderr, "cantora-bench: %s\n", error.c_str());
    return false;
  }
  const std::string log = b.dir + "/watch.log";
  auto start = Clock::now();
  pid_t pid = StartWatcher(b, log);
  if (pid <= 0) return false;
  while (ReadFile(log).find("watch-start (") == std::string::npos) {
    if (Clock::now() - start > std::chrono::minutes(5)) {
      kill(pid, SIGTERM);
      waitpid(pid, nullptr, 0);
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  std::printf("%-28s %.1f s (watches set, unchanged run)\n", "watcher start",
              std::chrono::duration<double>(Clock::now() - start).count());
  std::string first = ReadFile(log);
  std::printf("%-28s %s", "", first.substr(0, first.find('\n') + 1).c_str());

  bool ok = true;
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  long ticks = CpuTicks(pid);
  std::this_thread::sleep_for(std::chrono::seconds(b.idle_seconds));
  char name[64];
  std::snprintf(name, sizeof name, "idle ticks in %d s", b.idle_seconds);
  ok = Line(name, static_cast<double>(CpuTicks(pid) - ticks), "", 0, true) && ok;
  ok = Line("watcher memory (RSS)", RssKb(pid) / 1024.0, "MB", 64, false) && ok;

  // Into a folder of the library that already holds songs.
  const std::string into = b.music + "/watch-bench";
  std::filesystem::create_directories(into);
  std::this_thread::sleep_for(std::chrono::seconds(2));
  std::vector<double> files, albums;
  for (int i = 0; i < b.file_runs; ++i) {
    std::string file = "file" + std::to_string(i) + ".mp3";
    files.push_back(Answered(b, "Watch Probe " + std::to_string(i), 1, [&] {
      std::filesystem::copy_file(staging + "/" + file, into + "/" + file);
    }));
  }
  for (int a = 0; a < b.album_runs; ++a) {
    std::string album = "album" + std::to_string(a);
    albums.push_back(Answered(b, "Watch Album " + std::to_string(a), 20, [&] {
      std::filesystem::copy(staging + "/" + album, into + "/" + album,
                            std::filesystem::copy_options::recursive);
    }));
  }
  std::snprintf(name, sizeof name, "file copied in (median/%d)", b.file_runs);
  ok = Line(name, Median(files), "s", 3, false) && ok;
  std::snprintf(name, sizeof name, "album of 20 (median/%d)", b.album_runs);
  ok = Line(name, Median(albums), "s", 5, false) && ok;
  ok = Line("watcher memory after (RSS)", RssKb(pid) / 1024.0, "MB", 64, false) && ok;
  kill(pid, SIGTERM);
  waitpid(pid, nullptr, 0);
  std::filesystem::remove_all(into);
  std::filesystem::remove_all(staging);
  return ok;
}

}  // namespace bench
