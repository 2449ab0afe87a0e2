// Songs of a library drawn at random, without reading the whole library.
//
// A scope of at most kExactScope songs is sampled exactly: its ids are read
// from the library index and a uniform sample without repeats is taken. A
// larger scope is sampled by probing: a random id between the smallest and
// the largest song id is drawn, and the first song of the scope at or after
// it is taken (a song after a gap of ids is a little more likely); repeats
// are drawn again, a bounded number of times. Either way the cost grows with
// the number of songs asked for, not with the library.
#ifndef CANTORA_PLATFORM_PLAYLIST_RANDOM_SONGS_H
#define CANTORA_PLATFORM_PLAYLIST_RANDOM_SONGS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/lib/sqlite/database.h"

namespace cantora {

constexpr size_t kExactScope = 2000;

// Up to count distinct song ids of the libraries (index "library" values),
// in random order. False when the index cannot be read.
bool RandomSongIds(sqlite::Database& db, const std::vector<int64_t>& libraries, size_t count,
                   std::vector<int64_t>* ids);

}  // namespace cantora

#endif
