// stream.cgi, timed from its start to the first byte of the song: a song
// sent as it is, a range at the start and near the end of a 100 MB file,
// and transcodes, whose reader leaves at that byte (stream_songs.h). The
// peak memory is that of a whole answer, the transcoder's included (the
// CGI reaps it).
#ifndef CANTORA_BENCH_STREAM_BENCH_H
#define CANTORA_BENCH_STREAM_BENCH_H

#include <string>

#include "bench/options.h"

namespace bench {

// floor: cantora-bench-floor; bin: the folder of the built programs;
// instance and music: the instance's and the library's folders; f: the
// floor F. Prints a line a case; true when every target holds.
bool BenchStream(const std::string& floor, const std::string& bin, const std::string& session,
                 const std::string& config, const std::string& instance, const std::string& music,
                 const Options& o, double f);

}  // namespace bench

#endif
