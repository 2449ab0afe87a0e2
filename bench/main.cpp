// cantora-bench: the music library's performance, end to end.
//
//   cantora-bench [--songs N] [--dir DIR] [--runs R] [--keep | --reuse] [--watch-only]
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
// Last, the watcher (watch_bench.h); --watch-only times nothing else.
#include <json/json.h>
#include <stdlib.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/folder_lyrics.h"
#include "bench/http_bench.h"
#include "bench/process_timer.h"
#include "bench/stream_songs.h"
#include "bench/watch_bench.h"
#include "platform/lib/image/image.h"
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
  bool watch_only = false;
  bool http_only = false;  // only the CGI against FastCGI over HTTP
};

constexpr const char* kUsage =
    "usage: cantora-bench [--songs N] [--dir DIR] [--runs R] [--keep | --reuse]\n"
    "                     [--web-user USER] [--watch-only | --http-only]\n";

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
    } else if (a == "--watch-only") {
      o->watch_only = true;
    } else if (a == "--http-only") {
      o->http_only = true;
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
  // Held to the memory target even without a time target: its answer is
  // large or its selection is the whole library, but what it holds beside
  // the answer must not grow with the library.
  bool bounded_memory = false;
};

struct Measured {
  double median = 0;
  long peak_kb = 0;
  long total = -1;
  bool ok = true;
};

// The peak memory of one run of argv, started through the floor program;
// *ok turns false when the run fails.
long PeakKb(const std::string& floor, const std::vector<std::string>& argv,
            const std::vector<std::string>& env, bool* ok) {
  std::vector<std::string> launched = {floor, "--rss"};
  launched.insert(launched.end(), argv.begin(), argv.end());
  std::string rss;
  bench::Timing memory = bench::TimeProcess(launched, env, &rss);
  *ok = *ok && memory.ok;
  return std::atol(rss.substr(rss.rfind('\n', rss.size() - 2) + 1).c_str());
}

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
  m.peak_kb = PeakKb(floor, argv, env, &m.ok);
  return m;
}

// The environment of a GET of enumerate.cgi with query, plus extra variables.
std::vector<std::string> CgiEnvironment(const std::string& query, const std::string& session,
                                        const std::string& config,
                                        const std::vector<std::string>& extra = {}) {
  std::vector<std::string> env = {"GATEWAY_INTERFACE=CGI/1.1",
                                  "SERVER_PROTOCOL=HTTP/1.1",
                                  "SERVER_NAME=127.0.0.1",
                                  "SERVER_PORT=80",
                                  "REMOTE_ADDR=127.0.0.1",
                                  "REQUEST_METHOD=GET",
                                  "SCRIPT_NAME=/cgi-bin/enumerate.cgi",
                                  "QUERY_STRING=" + query,
                                  "HTTP_COOKIE=id=" + session,
                                  "CANTORA_CONFIG=" + config,
                                  "PATH=/usr/bin:/bin"};
  env.insert(env.end(), extra.begin(), extra.end());
  return env;
}

// Prints one measured action beside its target; true when within it.
bool Report(const Action& a, const Measured& m, double f) {
  char target[32] = "-";
  bool within = true;
  if (a.target == Action::kFloorPlus) {
    std::snprintf(target, sizeof target, "<= %.1f", f + a.millis);
    within = m.median <= f + a.millis;
  } else if (a.target == Action::kAbsolute) {
    std::snprintf(target, sizeof target, "< %.0f", a.millis);
    within = m.median < a.millis;
  }
  bool small = m.peak_kb < 64 * 1024 || (a.target == Action::kNone && !a.bounded_memory);
  char items[32] = "-";
  if (m.total >= 0) std::snprintf(items, sizeof items, "%ld", m.total);
  std::printf("%-28s %10.2f %11s %8.1f %8s   %s\n", a.name, m.median, target, m.peak_kb / 1024.0,
              items,
              !m.ok             ? "FAILED"
              : within && small ? "ok"
                                : "OVER");
  return m.ok && within && small;
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
  // The fresh run leaves the rewritten database and the new files' blocks
  // still being written back, and a walk of the folders then waits behind
  // that; an unchanged run is the nightly one, on a file system at rest.
  start = std::chrono::steady_clock::now();
  sync();
  std::printf("%-28s %.1f s\n", "write-back after indexing", Seconds(start));
  start = std::chrono::steady_clock::now();
  if (!bench::Run({admin, "index"}, &out)) Die("index failed");
  double again = Seconds(start);
  std::printf("%-28s %.2f s   target < 5 s   %s\n", "index (unchanged)", again,
              again < 5 ? "ok" : "OVER");
}

// ---- Covers ----------------------------------------------------------------
// Every song of the library embeds its album's picture. A folder of its own
// holds one song without a picture and a 3000 x 3000 photo as its cover.jpg,
// whose first scaling is timed with the scaled copies removed before each run.

const char kCoverFolder[] = "zz-cover-bench";

// Adds the folder of the large photo when it is missing, and indexes it.
void AddLargeCover(const std::string& admin, const std::string& music) {
  const std::string folder = music + "/" + kCoverFolder;
  struct stat st;
  if (stat((folder + "/cover.jpg").c_str(), &st) == 0) return;
  std::string error;
  if (!fixture::MakeSong(folder, fixture::Tune("song.mp3", "Large", "Large Cover", "Bench"),
                         &error))
    Die(error);
  image::Pixels photo;
  photo.width = photo.height = 3000;
  photo.data.resize(3000u * 3000u * 3u);
  for (size_t i = 0; i < photo.data.size(); ++i)
    photo.data[i] = static_cast<uint8_t>((i * 2654435761u) >> 24 ^ (i / 9000));
  std::string jpeg;
  if (!image::EncodeJpeg(photo, 90, &jpeg, &error)) Die(error);
  std::ofstream(folder + "/cover.jpg", std::ios::binary) << jpeg;
  if (!bench::Run({admin, "index"})) Die("index failed");
}

// The first song id of an answer's items, or "".
std::string FirstId(const std::string& output) {
  size_t body = output.find("\r\n\r\n");
  Json::Value v;
  Json::CharReaderBuilder builder;
  std::string errors;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  if (body == std::string::npos ||
      !reader->parse(output.data() + body + 4, output.data() + output.size(), &v, &errors))
    return "";
  return v["items"][0]["id"].asString();
}

// The value of a header line of a CGI answer, or "".
std::string HeaderOf(const std::string& output, const std::string& name) {
  size_t at = output.find(name + ": ");
  if (at == std::string::npos || at > output.find("\r\n\r\n")) return "";
  at += name.size() + 2;
  return output.substr(at, output.find("\r\n", at) - at);
}

bool BenchCovers(const std::string& floor, const std::vector<std::string>& cgi,
                 const std::string& session, const std::string& config,
                 const std::string& instance, const std::string& music, const Options& o,
                 double f) {
  AddLargeCover(SelfDirectory() + "/cantora-admin", music);
  const std::string album = fixture::SyntheticAlbum(o.songs / 2 + 7, o.songs);
  const std::string id = FirstId(
      bench::TimeProcess(cgi, CgiEnvironment("action=song_enum&album_name=" + url::Encode(album),
                                             session, config))
          .output);
  const std::string by_id = "action=get_cover&music_id=" + id;
  const std::string etag =
      HeaderOf(bench::TimeProcess(cgi, CgiEnvironment(by_id, session, config)).output, "ETag");
  bool ok = !id.empty() && !etag.empty();
  if (!ok) std::printf("covers: no song id or no ETag\n");
  const std::vector<std::pair<Action, std::vector<std::string>>> cached = {
      {{"get_cover music_id (cached)", by_id, Action::kFloorPlus, 3}, {}},
      {{"get_cover_for_album (cached)",
        "action=get_cover_for_album&album_name=" + url::Encode(album), Action::kFloorPlus, 3},
       {}},
      {{"get_cover 304", by_id, Action::kFloorPlus, 2}, {"HTTP_IF_NONE_MATCH=" + etag}},
  };
  for (const auto& c : cached) {
    Measured m = Measure(floor, cgi, CgiEnvironment(c.first.query, session, config, c.second),
                         o.runs);
    ok = Report(c.first, m, f) && ok;
  }
  // The first scaling: no scaled copy exists when each run starts.
  const Action first = {"get_cover 3000x3000 (first)",
                        "action=get_cover&path=" + url::Encode(music + "/" + kCoverFolder +
                                                               "/song.mp3"),
                        Action::kAbsolute, 150};
  const std::vector<std::string> env = CgiEnvironment(first.query, session, config);
  const std::string scaled = instance + "/cache/covers/scaled";
  Measured m;
  std::vector<double> times;
  for (int r = 0; r < o.runs; ++r) {
    bench::Run({"/bin/rm", "-rf", scaled});
    bench::Timing t = bench::TimeProcess(cgi, env);
    m.ok = m.ok && t.ok && HeaderOf(t.output, "Content-Type") == "image/jpeg";
    times.push_back(t.millis);
  }
  m.median = bench::Median(times);
  bench::Run({"/bin/rm", "-rf", scaled});
  m.peak_kb = PeakKb(floor, cgi, env, &m.ok);
  return Report(first, m, f) && ok;
}

// ---- Stream ----------------------------------------------------------------
// stream.cgi, timed from its start to the first byte of the song: a song
// sent as it is, a range at the start and near the end of a 100 MB file,
// and transcodes, whose reader leaves at that byte. The peak memory is that
// of a whole answer, the transcoder's included (the CGI reaps it).

Measured MeasureFirstByte(const std::string& floor, const std::vector<std::string>& argv,
                          const std::vector<std::string>& env, int runs, bool leave) {
  Measured m;
  m.ok = bench::TimeFirstBodyByte(argv, env, leave).ok;
  std::vector<double> times;
  for (int r = 0; r < runs; ++r) {
    bench::Timing t = bench::TimeFirstBodyByte(argv, env, leave);
    m.ok = m.ok && t.ok;
    times.push_back(t.millis);
  }
  m.median = bench::Median(times);
  m.peak_kb = PeakKb(floor, argv, env, &m.ok);
  return m;
}

bool BenchStream(const std::string& floor, const std::string& bin, const std::string& session,
                 const std::string& config, const std::string& instance, const std::string& music,
                 const Options& o, double f) {
  bench::StreamSongs songs;
  std::string error;
  if (!bench::AddStreamSongs(bin + "/cantora-admin", instance + "/data/cantora.db", music, &songs,
                             &error))
    Die(error);
  struct Case {
    Action action;
    std::vector<std::string> extra;
    bool leave;
  };
  const std::string near_end = std::to_string(songs.big_size - 65536);
  const std::vector<Case> cases = {
      {{"stream as it is", "id=" + songs.plain_id, Action::kFloorPlus, 3}, {}, false},
      {{"stream 100 MB, range at start", "id=" + songs.big_id, Action::kFloorPlus, 3},
       {"HTTP_RANGE=bytes=0-65535"}, false},
      {{"stream 100 MB, range near end", "id=" + songs.big_id, Action::kFloorPlus, 3},
       {"HTTP_RANGE=bytes=" + near_end + "-"}, false},
      {{"stream transcoded (mp3 192)", "id=" + songs.transcode_id, Action::kAbsolute, 300}, {}, true},
      {{"stream transcoded (opus 128)", "id=" + songs.transcode_id + "&format=opus&bitrate=128",
        Action::kAbsolute, 300}, {}, true},
      {{"stream transcoded, offset 150 s", "id=" + songs.transcode_id + "&offset=150",
        Action::kAbsolute, 300}, {}, true},
  };
  std::printf("stream.cgi, run as root: start to the first byte of the song\n");
  const std::vector<std::string> cgi = {bin + "/stream.cgi"};
  bool ok = true;
  for (const Case& c : cases) {
    Measured m = MeasureFirstByte(floor, cgi, CgiEnvironment(c.action.query, session, config, c.extra),
                                  o.runs, c.leave);
    ok = Report(c.action, m, f) && ok;
  }
  return ok;
}

// ---- Playlists ----

constexpr int kBenchPlaylists = 50;
constexpr size_t kLongPlaylist = 1000;

// 50 shared playlists of 20 songs, "Bench Long" of 1,000 songs, indexed.
void SetUpPlaylists(const std::string& admin, const std::string& instance,
                    const std::string& music, size_t songs) {
  const std::string folder = instance + "/data/playlists";
  auto write = [&](const std::string& name, size_t first, size_t count) {
    std::ofstream out(folder + "/" + name + ".m3u8");
    out << "#EXTM3U\n";
    for (size_t i = first; i < first + count; ++i) {
      const fixture::Song s = fixture::SyntheticSong(i % songs, songs);
      out << "#EXTINF:1," << s.artist << " - " << s.title << "\n" << music << "/" << s.file << "\n";
    }
  };
  for (int p = 0; p < kBenchPlaylists - 1; ++p) write("Bench " + std::to_string(p), p * 20, 20);
  write("Bench Long", 0, kLongPlaylist);
  if (!bench::Run({admin, "index"})) Die("index of the playlists failed");
}

// The id of the playlist "Bench Long" (cantora-admin playlist list).
std::string LongPlaylistId(const std::string& admin) {
  std::string out;
  if (!bench::Run({admin, "playlist", "list"}, &out)) Die("playlist list failed");
  size_t at = out.find("\tBench Long\t");
  if (at == std::string::npos) Die("no playlist Bench Long");
  size_t line = out.rfind('\n', at);
  return out.substr(line == std::string::npos ? 0 : line + 1, at - (line == std::string::npos ? 0 : line + 1));
}

std::vector<Action> PlaylistActions(const std::string& long_id) {
  return {
      {"playlist_enum (50)", "action=playlist_enum&username=bench", Action::kFloorPlus, 3},
      {"all_playlist_enum (50)", "action=all_playlist_enum&username=bench", Action::kFloorPlus, 3},
      {"playlist_song_enum 100/1000", "action=playlist_song_enum&limit=100&pls_id=" + long_id,
       Action::kFloorPlus, 5},
      {"playlist_song_enum 1000", "action=playlist_song_enum&pls_id=" + long_id, Action::kAbsolute,
       25},
      {"random 100", "action=playlist_song_enum&pls_id=-3&username=bench", Action::kFloorPlus, 5},
  };
}

// playlist_create of 500 song ids, a new name every run. Target < 20 ms.
// Removes the playlists TimePlaylistCreate made, so that a kept library
// keeps its 50 playlists.
void RemoveCreatedPlaylists(const std::string& admin) {
  std::string out;
  if (!bench::Run({admin, "playlist", "list"}, &out)) return;
  for (size_t line = 0; line < out.size();) {
    size_t end = out.find('\n', line);
    if (end == std::string::npos) end = out.size();
    std::string row = out.substr(line, end - line);
    size_t tab = row.find('\t');
    if (tab != std::string::npos && row.compare(tab + 1, 13, "bench-create-") == 0)
      bench::Run({admin, "playlist", "del", row.substr(0, tab)});
    line = end + 1;
  }
}

bool TimePlaylistCreate(const std::vector<std::string>& cgi, const std::string& session,
                        const std::string& config, int runs) {
  std::string ids = "[";
  for (int i = 1; i <= 500; ++i) ids += (i > 1 ? "," : "") + std::to_string(i);
  ids += "]";
  std::vector<double> times;
  bool ok = true;
  for (int r = 0; r <= runs; ++r) {
    const std::string query = "action=playlist_create&name=bench-create-" +
                              std::to_string(getpid()) + "-" + std::to_string(r) +
                              "&id_list=" + url::Encode(ids);
    bench::Timing t = bench::TimeProcess(cgi, CgiEnvironment(query, session, config));
    ok = ok && t.ok && t.output.find("\"success\":true") != std::string::npos;
    if (r > 0) times.push_back(t.millis);  // the first warms the caches
  }
  double median = bench::Median(times);
  bool within = median < 20;
  std::printf("%-28s %10.2f %11s %8s %8s   %s\n", "playlist_create 500 ids", median, "< 20", "-",
              "500", !ok ? "FAILED" : within ? "ok" : "OVER");
  return ok && within;
}

// ---- Smart playlists ----

// The shared smart playlists the benchmark times, in store order (their
// pls_id), and the requests for them.
void AddSmartPlaylistActions(const std::string& store, std::vector<Action>* actions) {
  const std::string genre = fixture::kSyntheticBigGenre;
  std::ofstream(store) << R"({"playlists": [
    {"name": "One genre", "rules": [{"field": "genre", "op": "is", "value": ")" << genre
                       << R"("}], "limit": 100},
    {"name": "Recently added", "rules": [{"field": "added", "op": "in_last_days", "value": 30}],
     "order": "added desc", "limit": 1000},
    {"name": "Nested", "rules": [
       {"any": [{"field": "genre", "op": "is", "value": "Jazz"},
                {"field": "genre", "op": "is", "value": "Blues"}]},
       {"all": [{"field": "year", "op": "ge", "value": 1970},
                {"field": "year", "op": "le", "value": 1989}]}], "limit": 100},
    {"name": "Added, default order", "rules": [{"field": "added", "op": "in_last_days", "value": 30}],
     "limit": 1000},
    {"name": "Random 50", "order": "random", "limit": 50},
    {"name": "Title contains, by year", "rules": [{"field": "title", "op": "contains", "value": "love"}],
     "order": "year desc", "limit": 100}
  ]})";
  const std::string q = "action=smartpls_song_enum&pls_id=";
  actions->push_back({"smart one genre, 100", q + "0", Action::kFloorPlus, 5});
  actions->push_back({"smart added 30 days, 1000", q + "1", Action::kAbsolute, 25});
  actions->push_back({"smart nested any/all, 100", q + "2", Action::kFloorPlus, 10});
  actions->push_back({"smart added, artist order", q + "3", Action::kNone, 0});
  actions->push_back({"smart random 50", q + "4", Action::kNone, 0, true});
  actions->push_back({"smart contains, by year", q + "5", Action::kNone, 0});
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
    Measured m = Measure(floor_program, cgi, CgiEnvironment(a.query, session, config), runs);
    all_ok = Report(a, m, f) && all_ok;
  }
  return all_ok;
}

// Many requests at once on a small box: kAtOnce copies of each action held
// to the memory target, started together through the floor program. The
// sum of their peaks (an upper bound of what they held at one moment) must
// leave room on a box of 2 GB.
constexpr int kAtOnce = 32;
constexpr long kBoxKb = 2048 * 1024;

bool TimeAtOnce(const std::string& program, const std::vector<Action>& actions,
                const std::string& session, const std::string& config,
                const std::string& floor_program) {
  std::printf("%d at once: %s\n", kAtOnce, program.c_str());
  std::printf("%-28s %10s %11s %8s %8s\n", "action", "all ms", "sum MB", "max MB", "target");
  bool all_ok = true;
  for (const Action& a : actions) {
    if (!a.bounded_memory) continue;
    bench::AtOnce r = bench::RunAtOnce({floor_program, "--rss", program},
                                       CgiEnvironment(a.query, session, config), kAtOnce);
    long sum = 0, largest = 0;
    for (const std::string& line : r.last_lines) {
      long kb = std::atol(line.c_str());
      sum += kb;
      largest = std::max(largest, kb);
    }
    bool within = r.ok && sum < kBoxKb;
    std::printf("%-28s %10.0f %11.1f %8.1f %8s   %s\n", a.name, r.millis, sum / 1024.0,
                largest / 1024.0, "< 2048", !r.ok ? "FAILED" : within ? "ok" : "OVER");
    all_ok = all_ok && within;
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
// in DIR/cgi-bin; returns its path.
std::string InstallDeployed(const Options& o, const std::string& bin) {
  const std::string cgi_dir = o.dir + "/cgi-bin";
  const std::string program = cgi_dir + "/enumerate.cgi";
  mkdir(cgi_dir.c_str(), 0755);
  if (!bench::Run({"/usr/bin/install", "-m", "4755", "-o", "root", "-g", "root",
                   bin + "/enumerate.cgi", program}))
    Die("cannot install " + program);
  chmod(o.dir.c_str(), 0755);  // mkdtemp's folder is root's alone
  return program;
}

// Times the actions through the deployed enumerate.cgi from a child that
// has become the web server's user, as the server's CGIs are started.
bool TimeDeployed(const Options& o, const std::string& bin, const std::vector<Action>& actions,
                  const std::string& session, const std::string& config,
                  const std::string& floor_program, double f) {
  WebUser web = FindWebUser(o.web_user);
  const std::string program = InstallDeployed(o, bin);
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

// The targets of the resident gateway over HTTP, by action: small answers
// within F_http + 0.5 ms (1 ms at a million songs), all albums within
// F_http + 3 ms (25 ms), a common word's search 10 ms (15 ms).
std::vector<bench::HttpAction> HttpActions(const std::vector<Action>& actions, size_t songs) {
  const bool million = songs >= 1000000;
  struct Target {
    const char* name;
    bench::HttpAction::Target target;
    double millis;
  };
  const Target targets[] = {
      {"start (unknown action)", bench::HttpAction::kFloorPlus, million ? 1.0 : 0.5},
      {"song_enum album", bench::HttpAction::kFloorPlus, million ? 1.0 : 0.5},
      {"genre_enum", bench::HttpAction::kFloorPlus, million ? 1.0 : 0.5},
      {"artist_enum", bench::HttpAction::kFloorPlus, million ? 1.0 : 0.5},
      {"album_enum", million ? bench::HttpAction::kAbsolute : bench::HttpAction::kFloorPlus,
       million ? 25.0 : 3.0},
      {"search common word", bench::HttpAction::kAbsolute, million ? 15.0 : 10.0},
  };
  std::vector<bench::HttpAction> http;
  for (const Action& a : actions) {
    bench::HttpAction h;
    h.name = a.name;
    h.query = a.query;
    for (const Target& t : targets)
      if (h.name == t.name) {
        h.target = t.target;
        h.millis = t.millis;
      }
    http.push_back(h);
  }
  return http;
}

bool TimeOverHttp(const Options& o, const std::string& bin, const std::vector<Action>& actions,
                  const std::string& session, const std::string& config,
                  const std::string& instance, const std::string& music) {
  bench::HttpSetup setup;
  setup.dir = o.dir;
  const std::string program = InstallDeployed(o, bin);
  setup.cgi_dir = program.substr(0, program.rfind('/'));
  setup.config = config;
  setup.covers = instance + "/cache/covers";
  setup.libraries = "\"" + music + "/\"";
  setup.web_user = FindWebUser(o.web_user).name;
  setup.session = session;
  setup.runs = o.runs;
  return bench::BenchHttp(setup, HttpActions(actions, o.songs));
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
    // Folder browsing and lyrics: their cases, indexed with the rest.
    std::string error;
    if (!bench::AddFolderAndLyricsCases(music, o.songs, &error)) Die(error);
    if (!bench::Run({admin, "index"})) Die("index failed");
  }
  bench::FolderLyricsQueries folder_lyrics;
  {
    std::string error;
    if (!bench::FolderAndLyricsQueries(config, music, o.songs, &folder_lyrics, &error)) Die(error);
  }
  std::string session;
  if (!bench::Run({admin, "session", "new", "bench"}, &session)) Die("cannot make a session");
  session = session.substr(0, session.find('\n'));

  bench::WatchBench watch;
  watch.admin = admin;
  watch.enumerate = bin + "/enumerate.cgi";
  watch.config = config;
  watch.music = music;
  watch.dir = o.dir;
  watch.session = session;
  if (o.watch_only) {
    bool ok = bench::BenchWatcher(watch);
    if (!o.keep && !o.reuse) bench::Run({"/bin/rm", "-rf", o.dir});
    return ok ? 0 : 1;
  }

  const std::string floor_program = bin + "/cantora-bench-floor";
  Measured floor = Measure(floor_program, {floor_program}, {}, o.runs * 2);
  const double f = floor.median;
  std::printf("%-28s %.2f ms (median of %d), peak %.1f MB\n\n", "floor F", f, o.runs * 2,
              floor.peak_kb / 1024.0);

  SetUpPlaylists(admin, instance, music, o.songs);
  std::vector<Action> actions = {
      {"start (unknown action)", "action=no_such_action", Action::kFloorPlus, 2},
      {"song_enum album",
       "action=song_enum&album_name=" +
           url::Encode(fixture::SyntheticAlbum(o.songs / 2 + 7, o.songs)),
       Action::kFloorPlus, 3},
      {"song_enum artist (5,000)",
       "action=song_enum&artist_name=" + url::Encode(fixture::kSyntheticBigArtist),
       Action::kAbsolute, 40},
      {"song_enum large genre",
       "action=song_enum&genre_name=" + url::Encode(fixture::kSyntheticBigGenre), Action::kNone, 0,
       true},
      {"search common word",
       std::string("action=search&search_key=") + fixture::kSyntheticCommonWord, Action::kFloorPlus,
       20},
      {"search rare word", std::string("action=search&search_key=") + fixture::kSyntheticRareWord,
       Action::kFloorPlus, 20},
      {"artist_enum", "action=artist_enum", Action::kFloorPlus, 25},
      {"album_enum", "action=album_enum", Action::kFloorPlus, 25},
      {"album_enum latest_album", "action=album_enum&latest_album=100", Action::kFloorPlus, 3},
      {"genre_enum", "action=genre_enum", Action::kFloorPlus, 3},
      // Folder browsing and lyrics.
      {"folder_enum root", "action=folder_enum", Action::kFloorPlus, 3},
      {"folder_enum 50 sub-folders", "action=folder_enum&" + folder_lyrics.fifty_folder,
       Action::kFloorPlus, 3},
      {"folder_enum 250 sub-folders", "action=folder_enum&" + folder_lyrics.big_artist_folder,
       Action::kNone, 0},
      {"folder_enum 5,000 songs",
       "action=folder_enum&recursive=yes&" + folder_lyrics.big_artist_folder, Action::kAbsolute,
       40},
      {"get_lyrics stored", "action=get_lyrics&" + folder_lyrics.stored_lyrics,
       Action::kFloorPlus, 3},
      {"get_lyrics search cache", "action=get_lyrics&" + folder_lyrics.cached_lyrics,
       Action::kFloorPlus, 3},
  };
  for (Action& a : PlaylistActions(LongPlaylistId(admin))) actions.push_back(a);
  AddSmartPlaylistActions(instance + "/data/smart.playlist", &actions);
  // Two arrangements: the gateway run by root, and as it is deployed, a
  // setuid-root copy started by the web server's user, whose privilege
  // guard then really changes ids around every song's file test.
  if (o.http_only) {
    bool ok = TimeOverHttp(o, bin, actions, session, config, instance, music);
    RemoveCreatedPlaylists(admin);
    if (!o.keep && !o.reuse) bench::Run({"/bin/rm", "-rf", o.dir});
    return ok ? 0 : 1;
  }
  bool all_ok = TimeActions("run as root", bin + "/enumerate.cgi", actions, session, config,
                            floor_program, f, o.runs);
  std::printf("\n");
  all_ok = TimeAtOnce(bin + "/enumerate.cgi", actions, session, config, floor_program) && all_ok;
  std::printf("\n");
  all_ok = TimeDeployed(o, bin, actions, session, config, floor_program, f) && all_ok;
  std::printf("\n");
  all_ok = TimeOverHttp(o, bin, actions, session, config, instance, music) && all_ok;
  // Covers and playlist creation, run as root.
  std::printf("\n");
  const std::vector<std::string> cgi = {bin + "/enumerate.cgi"};
  all_ok = BenchCovers(floor_program, cgi, session, config, instance, music, o, f) && all_ok;
  all_ok = TimePlaylistCreate(cgi, session, config, o.runs) && all_ok;
  std::printf("\n");
  all_ok = BenchStream(floor_program, bin, session, config, instance, music, o, f) && all_ok;
  RemoveCreatedPlaylists(admin);
  std::printf("\n");
  all_ok = bench::BenchWatcher(watch) && all_ok;
  std::printf("\npeak memory target: < 64 MB per request (answers larger than that excepted)\n");
  if (!o.keep && !o.reuse)
    bench::Run({"/bin/rm", "-rf", o.dir});
  else
    std::printf("kept %s\n", o.dir.c_str());
  return all_ok ? 0 : 1;
}
