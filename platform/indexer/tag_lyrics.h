// The lyrics a song file carries in its tags, read while the indexer has the
// file open anyway.
#ifndef CANTORA_PLATFORM_INDEXER_TAG_LYRICS_H
#define CANTORA_PLATFORM_INDEXER_TAG_LYRICS_H

#include <string>

namespace TagLib {
class File;
}

namespace cantora {

// The first lyrics found, as UTF-8, in this order: ID3v2 USLT frames (mp3,
// wav, aiff), ID3v2 SYLT frames as plain text (one line per timed entry),
// then the tag properties LYRICS (Vorbis comments, MP4 "\xa9lyr", APE
// "Lyrics", ASF "WM/Lyrics") and UNSYNCEDLYRICS. Empty when there are none.
std::string ReadTagLyrics(TagLib::File* file);

}  // namespace cantora

#endif
