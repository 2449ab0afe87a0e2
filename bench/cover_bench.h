// Covers: every song of the library embeds its album's picture, answered
// from the cover cache (by song id, by album, a 304 on the ETag); and a
// folder of its own holds one song without a picture and a 3000 x 3000
// photo as its cover.jpg, whose first scaling is timed with the scaled
// copies removed before each run.
#ifndef CANTORA_BENCH_COVER_BENCH_H
#define CANTORA_BENCH_COVER_BENCH_H

#include <string>
#include <vector>

#include "bench/options.h"

namespace bench {

// floor: cantora-bench-floor; cgi: enumerate.cgi's argv; instance and music:
// the instance's and the library's folders; f: the floor F. Prints a line a
// case; true when every target holds.
bool BenchCovers(const std::string& floor, const std::vector<std::string>& cgi,
                 const std::string& session, const std::string& config,
                 const std::string& instance, const std::string& music, const Options& o,
                 double f);

}  // namespace bench

#endif
