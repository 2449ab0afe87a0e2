// The benchmark library's songs for stream.cgi: a song of the synthetic
// library (sent as it is), a 100 MB file (ranges at its start and near its
// end) and three minutes of 44.1 kHz stereo WavPack (transcoded), the last
// two in a folder of their own, added when missing and indexed.
#ifndef CANTORA_BENCH_STREAM_SONGS_H
#define CANTORA_BENCH_STREAM_SONGS_H

#include <cstdint>
#include <string>

namespace bench {

struct StreamSongs {
  std::string plain_id;      // an mp3 of the synthetic library
  std::string big_id;        // the 100 MB file
  int64_t big_size = 0;
  std::string transcode_id;  // the WavPack file
};

// admin: cantora-admin; database: the instance's database file. False with
// *error.
bool AddStreamSongs(const std::string& admin, const std::string& database,
                    const std::string& music, StreamSongs* songs, std::string* error);

}  // namespace bench

#endif
