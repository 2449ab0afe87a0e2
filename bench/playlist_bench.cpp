#include "bench/playlist_bench.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "bench/options.h"
#include "bench/process_timer.h"
#include "tests/support/fixture.h"
#include "tests/support/url_encode.h"

namespace bench {
namespace {

constexpr int kBenchPlaylists = 50;
constexpr size_t kLongPlaylist = 1000;

}  // namespace

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
  if (!Run({admin, "index"})) Die("index of the playlists failed");
}

std::string LongPlaylistId(const std::string& admin) {
  std::string out;
  if (!Run({admin, "playlist", "list"}, &out)) Die("playlist list failed");
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

void RemoveCreatedPlaylists(const std::string& admin) {
  std::string out;
  if (!Run({admin, "playlist", "list"}, &out)) return;
  for (size_t line = 0; line < out.size();) {
    size_t end = out.find('\n', line);
    if (end == std::string::npos) end = out.size();
    std::string row = out.substr(line, end - line);
    size_t tab = row.find('\t');
    if (tab != std::string::npos && row.compare(tab + 1, 13, "bench-create-") == 0)
      Run({admin, "playlist", "del", row.substr(0, tab)});
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
    Timing t = TimeProcess(cgi, CgiEnvironment(query, session, config));
    ok = ok && t.ok && t.output.find("\"success\":true") != std::string::npos;
    if (r > 0) times.push_back(t.millis);  // the first warms the caches
  }
  double median = Median(times);
  bool within = median < 20;
  std::printf("%-28s %10.2f %11s %8s %8s   %s\n", "playlist_create 500 ids", median, "< 20", "-",
              "500", !ok ? "FAILED" : within ? "ok" : "OVER");
  return ok && within;
}

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

}  // namespace bench
