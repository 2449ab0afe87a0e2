// Songs whose tags declare UTF-8 but hold bytes that are not UTF-8, as a
// broken tagger leaves them: the tag is written with TagLib, then the bytes
// are put into the file.
#ifndef CANTORA_TESTS_SUPPORT_FIXTURE_BYTES_H
#define CANTORA_TESTS_SUPPORT_FIXTURE_BYTES_H

#include <string>

#include "tests/support/fixture.h"

namespace fixture {

// Writes root/song.file like MakeSong, except that each text field that is
// not valid UTF-8 is first written as ASCII text of the same length, in the
// format's UTF-8 field (a Vorbis comment; an ID3v2.4 frame with the UTF-8
// encoding byte), and then overwritten in the file with the field's bytes.
// Ogg pages carry a checksum, which is computed again for the page changed.
// Such fields must be at least 6 bytes long, so that the stand-in text is
// found once in the file. False with *error.
bool MakeSongWithRawBytes(const std::string& root, const Song& song, std::string* error);

}  // namespace fixture

#endif
