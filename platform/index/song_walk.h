// The song walk: each library's song ids in the order of the song lists
// (lower(album), disc, track, path), kept by the indexer in the table
// song_walk, in chunks.
//
// A search for a common word wants its first matches in that order. With
// the ids in order at hand, it tests each against the candidates' bits in
// a plain loop and reads only the rows that pass, where stepping the
// song_order index through SQL costs a statement step per song passed over.
//
// Triggers on song drop a library's chunks whenever one of its songs is
// added, removed or changes library, album, disc, track or path: chunks that
// exist are exact. A library without them (between an indexing run's
// batches, after a user's removal) is walked through song_order as before.
#ifndef CANTORA_PLATFORM_INDEX_SONG_WALK_H
#define CANTORA_PLATFORM_INDEX_SONG_WALK_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/lib/sqlite/database.h"

namespace cantora {

// Writes the walk of every library anew. Runs inside the caller's
// transaction; false with *error when the database fails.
bool RebuildSongWalk(sqlite::Database& db, std::string* error);

// Whether one of libraries holds songs but has no walk.
bool SongWalkMissing(sqlite::Database& db, const std::vector<int64_t>& libraries, bool* missing,
                     std::string* error);

// Reads one library's walk in order. Use it inside the read transaction of
// the statements that read its songs: it keeps its own statement running,
// so that they all see one state of the index.
class SongWalkReader {
 public:
  SongWalkReader(sqlite::Database& db, int64_t library);

  // Whether the library has a walk (false also for an index without the
  // table, or when reading the first chunk failed: failed() tells).
  bool available() const { return available_; }
  // The next id, false at the end; failed() tells an end from an error.
  bool Next(int64_t* id);
  bool failed() const { return failed_; }

 private:
  bool NextChunk();

  sqlite::Statement chunks_;
  const unsigned char* data_ = nullptr;
  size_t left_ = 0;  // ids left in the current chunk
  bool available_ = false;
  bool failed_ = false;
};

}  // namespace cantora

#endif
