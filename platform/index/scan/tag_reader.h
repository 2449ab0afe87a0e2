// Reading one audio file's tags and audio properties, through TagLib.
//
// Text is stored as the file holds it. Tags whose format defines Unicode text
// (Vorbis comments, MP4, ASF, APE, ID3v2 frames in UTF-8 or UTF-16) arrive as
// UTF-8. Tags that carry plain bytes (ID3v1, ID3v2 frames marked Latin-1, RIFF
// INFO) keep their bytes unchanged: taggers put UTF-8 there as often as a code
// page, so UTF-8 shows correctly and anything else reaches the index as found,
// where the readers' own UTF-8 test leaves it out of listings.
#ifndef CANTORA_PLATFORM_INDEX_SCAN_TAG_READER_H
#define CANTORA_PLATFORM_INDEX_SCAN_TAG_READER_H

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
  // The cover cache's name of the picture shown for the song ("" for none).
  std::string embedded_cover;
};

// True for the file name extensions (any case) of the formats read here:
// mp3, mp2, flac, ogg, oga, opus, m4a, m4b, wma, wav, aif, aiff, aifc, ape, wv.
bool IsAudioFileName(std::string_view name);

// Reads path. False with a short reason in *error when the file cannot be
// opened or is not a readable audio file of its kind.
bool ReadSongTags(const std::string& path, SongTags* tags, std::string* error);

}  // namespace cantora

#endif
