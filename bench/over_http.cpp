#include "bench/over_http.h"

#include <cstdio>

#include "bench/deployed.h"
#include "bench/guard_cost.h"
#include "bench/http_bench.h"

namespace bench {
namespace {

std::vector<HttpAction> HttpActions(const std::vector<Action>& actions, size_t songs) {
  const bool million = songs >= 1000000;
  struct Target {
    const char* name;
    HttpAction::Target target;
    double millis;
    HttpAction::Column column = HttpAction::kFastCgi;
  };
  const Target targets[] = {
      {"start (unknown action)", HttpAction::kFloorPlus, million ? 1.0 : 0.5},
      {"song_enum album", HttpAction::kFloorPlus, million ? 1.0 : 0.5},
      {"genre_enum", HttpAction::kFloorPlus, million ? 1.0 : 0.5},
      {"artist_enum", HttpAction::kFloorPlus, million ? 1.0 : 0.5},
      {"album_enum", million ? HttpAction::kAbsolute : HttpAction::kFloorPlus,
       million ? 25.0 : 3.0},
      {"search common word", HttpAction::kAbsolute, million ? 15.0 : 10.0},
      // Run by root, so that the guard's id calls around each song's file
      // test (three a song deployed, two of them changes) are not what is
      // timed.
      {"song_enum artist (5,000)", million ? HttpAction::kNone : HttpAction::kAbsolute, 15.0,
       HttpAction::kAsRoot},
  };
  std::vector<HttpAction> http;
  for (const Action& a : actions) {
    HttpAction h;
    h.name = a.name;
    h.query = a.query;
    for (const Target& t : targets)
      if (h.name == t.name) {
        h.target = t.target;
        h.millis = t.millis;
        h.column = t.column;
      }
    http.push_back(h);
  }
  return http;
}

}  // namespace

bool TimeOverHttp(const Options& o, const std::string& bin, const std::vector<Action>& actions,
                  const std::string& session, const std::string& config,
                  const std::string& instance, const std::string& music) {
  HttpSetup setup;
  setup.dir = o.dir;
  const std::string program = InstallDeployed(o, bin);
  setup.cgi_dir = program.substr(0, program.rfind('/'));
  setup.config = config;
  setup.covers = instance + "/cache/covers";
  setup.libraries = "\"" + music + "/\"";
  const WebUser web = FindWebUser(o.web_user);
  setup.web_user = web.name;
  // What the deployed column pays a song that the as-root one does not.
  const double guard = GuardMicros(web.uid, web.gid);
  if (guard >= 0)
    std::printf("privilege guard as deployed: %.2f us a song (IF_RUN_AS raised and restored, "
                "five id calls, four of them changes of the effective group or user id)\n",
                guard);
  setup.session = session;
  setup.runs = o.runs;
  return BenchHttp(setup, HttpActions(actions, o.songs));
}

}  // namespace bench
