// The bytes of tag text whose format declares UTF-8, as the file holds them.
//
// TagLib decodes every text it reads into its String type, and a text
// declared UTF-8 that holds a sequence which is not UTF-8 comes out altered
// (TagLib 1.13 empties it). The index keeps what the file holds, so these
// readers take the same fields from the data under the tag: the Vorbis
// comment packet (Ogg Vorbis, Opus, Speex) or metadata block (FLAC), and the
// field data of ID3v2 frames read again as TagLib's unknown frames, which
// keep their bytes, the items of an APEv2 tag, the data atoms of MP4 text. TagLib still finds, reads and de-synchronises the data;
// only the splitting of a field list into values is done here.
#ifndef CANTORA_PLATFORM_INDEXER_TAG_BYTES_H
#define CANTORA_PLATFORM_INDEXER_TAG_BYTES_H

#include <map>
#include <string>
#include <vector>

namespace TagLib {
class File;
namespace FLAC {
class File;
}
namespace Ogg {
class File;
}
}  // namespace TagLib

namespace cantora {

// Text fields of a tag: key -> values in file order, each the value's bytes
// up to its first NUL (where TagLib's String ends it too).
using TagFields = std::map<std::string, std::vector<std::string>>;

// The Vorbis comment of a FLAC file or of an Ogg Vorbis, Opus or Speex
// stream, keyed by field name in upper case (TagLib's property names:
// TITLE, ARTIST, ...). False when the file has none or it cannot be read;
// fields with a malformed name are left out, as TagLib leaves them out.
bool ReadFlacCommentBytes(TagLib::FLAC::File* file, TagFields* fields);
bool ReadOggCommentBytes(TagLib::Ogg::File* file, TagFields* fields);

// The text items of the APEv2 tag of an MPEG, WavPack or Monkey's Audio
// file (found where TagLib finds it: at the end, before an ID3v1 tag), keyed
// by TagLib's property names (ALBUM ARTIST is ALBUMARTIST, YEAR is DATE,
// TRACK is TRACKNUMBER, DISC is DISCNUMBER). has_id3v1: whether the file
// ends in an ID3v1 tag. False when there is no such tag.
bool ReadApeTextBytes(TagLib::File* file, bool has_id3v1, TagFields* fields);

// The UTF-8 text atoms of an MP4 file's item list (moov.udta.meta.ilst),
// keyed by TagLib's property names (TITLE for "\251nam", ...). False when
// the file has no item list.
// (TagLib's atom reader is declared for TagLib::File, so that is the type.)
bool ReadMp4TextBytes(TagLib::File* file, TagFields* fields);

// The frames of the ID3v2 tag at offset of file that are declared UTF-8 and
// whose ID is one of ids (v2.4 IDs; a v2.3 or v2.2 tag's frames are named so
// after TagLib's own upgrade of their IDs), keyed by frame ID. A text frame
// gives each of its values; a COMM frame its text, and only when its
// description is empty (the frames TagLib's properties call COMMENT).
bool ReadID3v2Utf8Frames(TagLib::File* file, long offset, const std::vector<std::string>& ids,
                         TagFields* frames);

}  // namespace cantora

#endif
