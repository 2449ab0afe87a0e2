#include "bench/stream_songs.h"

#include <sys/stat.h>

#include "bench/process_timer.h"
#include "tests/support/fixture.h"

namespace bench {
namespace {

const char kFolder[] = "zz-stream-bench";
constexpr int64_t kBigBytes = 100 << 20;

// The id of the first song whose path matches the LIKE pattern, or "".
std::string IdOf(const std::string& database, const std::string& pattern) {
  std::string out;
  if (!Run({"/usr/bin/sqlite3", database,
            "SELECT id FROM song WHERE path LIKE '" + pattern + "' ORDER BY id LIMIT 1"},
           &out))
    return "";
  return out.substr(0, out.find('\n'));
}

}  // namespace

bool AddStreamSongs(const std::string& admin, const std::string& database,
                    const std::string& music, StreamSongs* songs, std::string* error) {
  const std::string folder = music + "/" + kFolder;
  const std::string big = folder + "/big.mp3", long_song = folder + "/long.wv";
  struct stat st;
  if (stat(long_song.c_str(), &st) != 0) {
    fixture::Song s = fixture::Tune("big.mp3", "Big", "Stream Bench", "Bench");
    s.sparse_size = kBigBytes;
    if (!fixture::MakeSong(folder, s, error)) return false;
    // Real music's shape: 44.1 kHz, two channels, minutes long.
    if (!Run({"/usr/bin/ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
              "sine=frequency=440:sample_rate=44100:duration=180", "-ac", "2", "-c:a", "wavpack",
              "-metadata", "title=Long", "-metadata", "album=Stream Bench", long_song})) {
      *error = "ffmpeg could not make " + long_song;
      return false;
    }
    if (!Run({admin, "index"})) {
      *error = "index failed";
      return false;
    }
  }
  songs->plain_id = IdOf(database, "%.mp3");
  songs->big_id = IdOf(database, big);
  songs->transcode_id = IdOf(database, long_song);
  songs->big_size = stat(big.c_str(), &st) == 0 ? st.st_size : 0;
  if (songs->plain_id.empty() || songs->big_id.empty() || songs->transcode_id.empty()) {
    *error = "the stream songs are not indexed";
    return false;
  }
  return true;
}

}  // namespace bench
