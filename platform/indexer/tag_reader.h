// Reading one audio file's tags and audio properties, through TagLib.
//
// Text is stored as the file holds it:
// - Tags whose format declares UTF-8 keep their bytes exactly, valid or
//   not: Vorbis comments (FLAC, Ogg Vorbis, Opus, Speex), APEv2 items, MP4
//   text atoms and ID3v2 frames with the UTF-8 encoding byte (tag_bytes.h
//   reads them under TagLib's text type, which would alter such bytes).
//   The readers' own UTF-8 test then leaves a song with broken text out of
//   listings, as its rules say.
// - Tags that carry plain bytes (ID3v1, ID3v2 frames marked Latin-1, RIFF
//   INFO) keep their bytes unchanged: taggers put UTF-8 there as often as a
//   code page, so UTF-8 shows correctly and anything else reaches the index
//   as found.
// - ID3v2 frames in UTF-16 and ASF (WMA) text are converted to UTF-8 by
//   TagLib; a broken UTF-16 sequence is what TagLib makes of it.
// ID3v2 text keeps TagLib's reading of numeric genres ("17", "(17)" is
// Rock) unless its bytes are not UTF-8.
#ifndef CANTORA_PLATFORM_INDEXER_TAG_READER_H
#define CANTORA_PLATFORM_INDEXER_TAG_READER_H

#include <string>
#include <string_view>

namespace cantora {

struct SongTags {
  std::string title;
  std::string album;
  std::string artist;
  std::string album_artist;
  std::string genre;
  std::string composer;
  std::string comment;
  // The artist's sort key when the file has one, else the artist.
  std::string artist_sort;
  int track = 0;
  int disc = 0;
  int year = 0;
  double duration = 0;  // seconds
  int bitrate = 0;      // bits per second
  int frequency = 0;    // samples per second
  int channel = 0;
  int covercount = 0;  // embedded pictures
  std::string lyrics;  // stored in the tags (tag_lyrics.h), UTF-8
  // The cover cache's name of the picture shown for the song ("" for none).
  std::string embedded_cover;
};

// True for the file name extensions (any case) of the formats read here:
// mp3, mp2, flac, ogg, oga, opus, spx, m4a, m4b, wma, wav, aif, aiff, aifc,
// ape, wv.
bool IsAudioFileName(std::string_view name);

// Reads path. False with a short reason in *error when the file cannot be
// opened or is not a readable audio file of its kind.
bool ReadSongTags(const std::string& path, SongTags* tags, std::string* error);

}  // namespace cantora

#endif
