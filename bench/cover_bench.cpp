#include "bench/cover_bench.h"

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <utility>

#include "bench/cgi_answer.h"
#include "bench/measure.h"
#include "bench/process_timer.h"
#include "platform/lib/image/image.h"
#include "tests/support/fixture.h"
#include "tests/support/url_encode.h"

namespace bench {
namespace {

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
  if (!Run({admin, "index"})) Die("index failed");
}

}  // namespace

bool BenchCovers(const std::string& floor, const std::vector<std::string>& cgi,
                 const std::string& session, const std::string& config,
                 const std::string& instance, const std::string& music, const Options& o,
                 double f) {
  AddLargeCover(SelfDirectory() + "/cantora-admin", music);
  const std::string album = fixture::SyntheticAlbum(o.songs / 2 + 7, o.songs);
  const std::string id = FirstId(
      TimeProcess(cgi, CgiEnvironment("action=song_enum&album_name=" + url::Encode(album),
                                      session, config))
          .output);
  const std::string by_id = "action=get_cover&music_id=" + id;
  const std::string etag =
      HeaderOf(TimeProcess(cgi, CgiEnvironment(by_id, session, config)).output, "ETag");
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
    Run({"/bin/rm", "-rf", scaled});
    Timing t = TimeProcess(cgi, env);
    m.ok = m.ok && t.ok && HeaderOf(t.output, "Content-Type") == "image/jpeg";
    times.push_back(t.millis);
  }
  m.median = Median(times);
  Run({"/bin/rm", "-rf", scaled});
  m.peak_kb = PeakKb(floor, cgi, env, &m.ok);
  return Report(first, m, f) && ok;
}

}  // namespace bench
