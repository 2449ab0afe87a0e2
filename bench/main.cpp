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
#include <stdlib.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "bench/cover_bench.h"
#include "bench/deployed.h"
#include "bench/folder_lyrics.h"
#include "bench/library.h"
#include "bench/measure.h"
#include "bench/options.h"
#include "bench/over_http.h"
#include "bench/playlist_bench.h"
#include "bench/process_timer.h"
#include "bench/stream_bench.h"
#include "bench/time_actions.h"
#include "bench/watch_bench.h"
#include "tests/support/fixture.h"
#include "tests/support/url_encode.h"

using namespace bench;

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
