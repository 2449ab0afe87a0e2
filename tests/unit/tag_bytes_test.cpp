// Tag text declared UTF-8 that holds bytes which are not UTF-8 reaches the
// index as the file holds it.
#include <gtest/gtest.h>
#include <taglib/apetag.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "platform/indexer/tag_reader.h"
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

// A copy of the mp3 template at path, without tags.
void CopyTone(const std::string& path) {
  std::filesystem::copy_file(fixture::TemplateDir() + "/tone.mp3", path,
                             std::filesystem::copy_options::overwrite_existing);
  TagLib::MPEG::File f(path.c_str(), false);
  f.strip();
}

// Puts bytes in place of the one stand_in of the file; when encoding is
// given, the byte before it (a text frame's encoding byte) becomes that.
void Patch(const std::string& path, const std::string& stand_in, const std::string& bytes,
           int encoding = -1) {
  ASSERT_EQ(stand_in.size(), bytes.size());
  std::string data;
  {
    std::ifstream in(path, std::ios::binary);
    data.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  const size_t at = data.find(stand_in);
  ASSERT_NE(std::string::npos, at) << stand_in;
  ASSERT_EQ(std::string::npos, data.find(stand_in, at + 1)) << stand_in;
  data.replace(at, bytes.size(), bytes);
  if (encoding >= 0) data[at - 1] = static_cast<char>(encoding);
  std::ofstream(path, std::ios::binary | std::ios::trunc) << data;
}

TEST(RawBytes, ID3v23FramesDeclaredUtf8KeepTheirBytes) {
  TempFolder dir;
  const std::string path = dir.Path("v23.mp3");
  CopyTone(path);
  {
    TagLib::MPEG::File f(path.c_str(), false);
    TagLib::ID3v2::Tag* tag = f.ID3v2Tag(true);
    const char* const frames[][2] = {
        {"TIT2", "{title}xx"}, {"TCON", "{genre}xx"}, {"TALB", "Caf\xe9 Album"}};
    for (const auto& frame : frames) {
      auto* text = new TagLib::ID3v2::TextIdentificationFrame(frame[0], TagLib::String::Latin1);
      text->setText(TagLib::String(frame[1], TagLib::String::Latin1));
      tag->addFrame(text);
    }
    ASSERT_TRUE(f.save(TagLib::MPEG::File::ID3v2, TagLib::File::StripOthers, TagLib::ID3v2::v3));
  }
  constexpr int kUtf8 = 3;
  Patch(path, "{title}xx", "Tit\xffle v3", kUtf8);
  Patch(path, "{genre}xx", "Gen\xc3\x28re 3", kUtf8);
  SongTags t;
  std::string error;
  ASSERT_TRUE(ReadSongTags(path, &t, &error)) << error;
  EXPECT_EQ("Tit\xffle v3", t.title);
  EXPECT_EQ("Gen\xc3\x28re 3", t.genre);
  EXPECT_EQ("Caf\xe9 Album", t.album);  // Latin-1: the bytes as they are
}

TEST(RawBytes, APEv2ItemsOfAnMp3KeepTheirBytesWithOrWithoutID3v1) {
  TempFolder dir;
  for (bool id3v1 : {false, true}) {
    const std::string path = dir.Path(id3v1 ? "ape_v1.mp3" : "ape.mp3");
    CopyTone(path);
    {
      TagLib::MPEG::File f(path.c_str(), false);
      TagLib::PropertyMap map;
      map.insert("TITLE", TagLib::StringList("{title}xx"));
      map.insert("ALBUMARTIST", TagLib::StringList("{band}xxxx"));
      map.insert("TRACKNUMBER", TagLib::StringList("5"));
      f.APETag(true)->setProperties(map);
      if (id3v1) f.ID3v1Tag(true)->setTitle("Old title");
      ASSERT_TRUE(f.save(TagLib::MPEG::File::APE | (id3v1 ? TagLib::MPEG::File::ID3v1 : 0),
                         TagLib::File::StripOthers));
    }
    Patch(path, "{title}xx", "Tit\xffle ap");
    Patch(path, "{band}xxxx", "Band \xed\xa0\x80 x");
    SongTags t;
    std::string error;
    ASSERT_TRUE(ReadSongTags(path, &t, &error)) << error;
    EXPECT_EQ("Tit\xffle ap", t.title) << id3v1;
    EXPECT_EQ("Band \xed\xa0\x80 x", t.album_artist) << id3v1;
    EXPECT_EQ(5, t.track) << id3v1;
  }
}

TEST(RawBytes, StandInsMustBeLongEnoughToFind) {
  TempFolder dir;
  std::string error;
  fixture::Song s = fixture::Tune("short.flac", "\xff", "Album", "Artist");
  EXPECT_FALSE(fixture::MakeSongWithRawBytes(dir.path(), s, &error));
  EXPECT_FALSE(error.empty());
}

}  // namespace
