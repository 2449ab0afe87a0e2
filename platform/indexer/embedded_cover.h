// Embedded cover pictures, taken out of the songs while they are indexed.
//
// The picture of a song is its front cover (the first one marked so), else
// its first picture, of whatever tag its format carries: ID3v2 APIC frames
// (MP3, WAV, AIFF), FLAC picture blocks and the pictures of Vorbis comments
// (FLAC, Ogg Vorbis, Opus), MP4 "covr", ASF "WM/Picture", APE "Cover Art"
// items (APE, WavPack). It is stored once in the cover cache under the hash
// of its bytes (cover_cache.h), and the index row song_cover names it.
#ifndef CANTORA_PLATFORM_INDEXER_EMBEDDED_COVER_H
#define CANTORA_PLATFORM_INDEXER_EMBEDDED_COVER_H

#include <cstdint>
#include <string>

#include "platform/lib/sqlite/database.h"

namespace TagLib {
class File;
}

namespace cantora {

// The cache name of the picture of file, stored in the cache; "" when the
// file holds no picture or it cannot be stored (then logged).
std::string ExtractEmbeddedCover(TagLib::File* file);

// The song_cover rows of the index writer.
class EmbeddedCoverRows {
 public:
  bool Prepare(sqlite::Database& db, std::string* error);
  // Names the picture of song id; an empty name removes the row.
  bool Store(int64_t song_id, const std::string& image, std::string* error);

 private:
  sqlite::Statement set_, clear_;
};

}  // namespace cantora

#endif
