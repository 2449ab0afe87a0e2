// Lyrics written into song files the way taggers write them, for tests and
// the demo.
#ifndef CANTORA_TESTS_SUPPORT_FIXTURE_LYRICS_H
#define CANTORA_TESTS_SUPPORT_FIXTURE_LYRICS_H

#include <string>

namespace fixture {

enum class LyricsTag {
  kID3v2Uslt,      // mp3, wav, aiff: an ID3v2 USLT frame
  kID3v2Sylt,      // mp3: an ID3v2 SYLT frame, one timed entry per line
  kVorbisLyrics,   // flac, ogg, opus: the comment LYRICS
  kVorbisUnsynced, // flac, ogg, opus: the comment UNSYNCEDLYRICS
  kMp4,            // m4a: the item "\xa9lyr"
  kApe,            // wv, ape: the item "Lyrics"
  kAsf,            // wma: the attribute "WM/Lyrics"
};

// Adds text (UTF-8) to the file at path as kind. False with *error.
bool WriteTagLyrics(const std::string& path, LyricsTag kind, const std::string& text,
                    std::string* error);

}  // namespace fixture

#endif
