// Tag text declared UTF-8 that holds bytes which are not UTF-8 reaches the
// index as the file holds it.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "platform/index/scan/tag_reader.h"
#include "platform/text/utf8.h"
#include "tests/support/fixture_bytes.h"
#include "tests/unit/temp_folder.h"

namespace {

using cantora::ReadSongTags;
using cantora::SongTags;

// Every kind of sequence that is not UTF-8, one per field.
fixture::Song BrokenSong(const std::string& file) {
  fixture::Song s;
  s.file = file;
  s.title = "Title \xff end";                   // a byte never in UTF-8
  s.album = "Album \xc3\x28 end";               // a lead byte without its continuation
  s.artist = "Artist \xed\xa0\x80 end";         // a surrogate code point
  s.album_artist = "Band \xc0\xaf end";         // an overlong '/'
  s.genre = "Genre \x80 end";                   // a lone continuation byte
  s.composer = "Composer \xf4\x90\x80\x80 end";  // above U+10FFFF
  s.comment = "Comment ends cut \xe2\x82";      // a sequence cut short at the end
  s.track = 4;
  s.year = 2003;
  return s;
}

class RawBytesFormats : public ::testing::TestWithParam<const char*> {};

TEST_P(RawBytesFormats, EveryTextFieldKeepsItsBytes) {
  TempFolder dir;
  std::string error;
  const fixture::Song song = BrokenSong(std::string("broken.") + GetParam());
  for (const std::string* f : {&song.title, &song.album, &song.artist, &song.album_artist,
                               &song.genre, &song.composer, &song.comment})
    ASSERT_FALSE(TryUTF8ToUTF16(f->c_str())) << *f;
  ASSERT_TRUE(fixture::MakeSongWithRawBytes(dir.path(), song, &error)) << error;
  SongTags t;
  ASSERT_TRUE(ReadSongTags(dir.Path(song.file), &t, &error)) << error;
  const std::pair<const std::string&, const std::string&> written_read[] = {
      {song.title, t.title},       {song.album, t.album},       {song.artist, t.artist},
      {song.album_artist, t.album_artist}, {song.genre, t.genre}, {song.composer, t.composer},
      {song.comment, t.comment}};
  for (const auto& field : written_read) EXPECT_EQ(field.first, field.second);
  EXPECT_EQ(song.artist, t.artist_sort);
  EXPECT_EQ(4, t.track);
  EXPECT_EQ(2003, t.year);
  EXPECT_GT(t.frequency, 0);
}

// FLAC and Ogg (Vorbis, Opus) carry Vorbis comments; mp3, wav and aiff
// ID3v2.4 frames declared UTF-8; WavPack an APEv2 tag; m4a MP4 text atoms.
INSTANTIATE_TEST_SUITE_P(UTF8Tags, RawBytesFormats,
                         ::testing::Values("flac", "ogg", "opus", "mp3", "wav", "aiff", "wv",
                                           "m4a", "alac.m4a"));

TEST(RawBytes, ValidFieldsBesideABrokenOneReadAsBefore) {
  TempFolder dir;
  std::string error;
  for (const char* ext : {"flac", "ogg", "mp3", "wv", "m4a"}) {
    fixture::Song s = fixture::Tune(std::string("mixed.") + ext, "Ωδή an die Freude",
                                    "Straße \"Nord\"", "Ærøskøbing", "Bad \xff genre");
    s.comment = "100% fine";
    ASSERT_TRUE(fixture::MakeSongWithRawBytes(dir.path(), s, &error)) << error;
    SongTags t;
    ASSERT_TRUE(ReadSongTags(dir.Path(s.file), &t, &error)) << error;
    EXPECT_EQ(s.title, t.title) << ext;
    EXPECT_EQ(s.album, t.album) << ext;
    EXPECT_EQ(s.artist, t.artist) << ext;
    EXPECT_EQ(s.genre, t.genre) << ext;
    EXPECT_EQ("100% fine", t.comment) << ext;
    EXPECT_EQ(1, t.track) << ext;
  }
}

TEST(RawBytes, NumericID3v2GenresAreStillNamed) {
  TempFolder dir;
  std::string error;
  fixture::Song s = fixture::Tune("numbered.mp3", "Numbered", "Genres", "Someone", "17");
  ASSERT_TRUE(fixture::MakeSongWithRawBytes(dir.path(), s, &error)) << error;
  SongTags t;
  ASSERT_TRUE(ReadSongTags(dir.Path(s.file), &t, &error)) << error;
  EXPECT_EQ("Rock", t.genre);
}

TEST(RawBytes, StandInsMustBeLongEnoughToFind) {
  TempFolder dir;
  std::string error;
  fixture::Song s = fixture::Tune("short.flac", "\xff", "Album", "Artist");
  EXPECT_FALSE(fixture::MakeSongWithRawBytes(dir.path(), s, &error));
  EXPECT_FALSE(error.empty());
}

}  // namespace
