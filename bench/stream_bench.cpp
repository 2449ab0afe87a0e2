#include "bench/stream_bench.h"

#include <cstdio>
#include <vector>

#include "bench/measure.h"
#include "bench/stream_songs.h"

namespace bench {

bool BenchStream(const std::string& floor, const std::string& bin, const std::string& session,
                 const std::string& config, const std::string& instance, const std::string& music,
                 const Options& o, double f) {
  StreamSongs songs;
  std::string error;
  if (!AddStreamSongs(bin + "/cantora-admin", instance + "/data/cantora.db", music, &songs,
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

}  // namespace bench
