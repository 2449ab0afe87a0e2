// The benchmark's synthetic library (fixture::SyntheticSong, shaped like a
// large real one): written, added as a shared folder and indexed, fresh
// and again unchanged, each timed beside its target.
#ifndef CANTORA_BENCH_LIBRARY_H
#define CANTORA_BENCH_LIBRARY_H

#include <cstddef>
#include <string>

namespace bench {

// admin: cantora-admin; music: the folder to write the songs into. Stops
// the benchmark (Die) when a step fails.
void BuildLibrary(const std::string& admin, const std::string& music, size_t songs);

}  // namespace bench

#endif
