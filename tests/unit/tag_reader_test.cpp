#include "platform/indexer/tag_reader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "tests/support/fixture.h"
#include "tests/unit/temp_folder.h"

namespace {

using cantora::ReadSongTags;
using cantora::SongTags;

fixture::Song FullSong(const std::string& file) {
  fixture::Song s;
  s.file = file;
  s.title = "Ωδή an die Freude";
  s.album = "Straße \"Nord\"";
  s.artist = "Ærøskøbing O'Brass";
  s.album_artist = "Various \\ Artists";
  s.genre = "Électronique";
  s.composer = "Ödön";
  s.comment = "100% pure_snake";
  s.artist_sort = "Aeroeskoebing";
  s.track = 7;
  s.disc = 2;
  s.year = 1999;
  s.covers = 2;
  return s;
}

class TagReaderFormats : public ::testing::TestWithParam<const char*> {};

TEST_P(TagReaderFormats, ReadsEveryFieldWritten) {
  TempFolder dir;
  std::string error;
  fixture::Song song = FullSong(std::string("song.") + GetParam());
  ASSERT_TRUE(fixture::MakeSong(dir.path(), song, &error)) << error;
  SongTags t;
  ASSERT_TRUE(ReadSongTags(dir.Path(song.file), &t, &error)) << error;
  EXPECT_EQ(song.title, t.title);
  EXPECT_EQ(song.album, t.album);
  EXPECT_EQ(song.artist, t.artist);
  EXPECT_EQ(song.album_artist, t.album_artist);
  EXPECT_EQ(song.genre, t.genre);
  EXPECT_EQ(song.composer, t.composer);
  EXPECT_EQ(song.comment, t.comment);
  EXPECT_EQ(song.artist_sort, t.artist_sort);
  EXPECT_EQ(7, t.track);
  EXPECT_EQ(2, t.disc);
  EXPECT_EQ(1999, t.year);
  EXPECT_EQ(2, t.covercount);
  EXPECT_GT(t.duration, 0.2);
  EXPECT_LT(t.duration, 1.0);
  EXPECT_GT(t.bitrate, 0);
  EXPECT_GE(t.channel, 1);
  EXPECT_EQ(std::string(GetParam()) == "opus"  ? 48000
            : std::string(GetParam()) == "wma" ? 16000
                                               : 8000,
            t.frequency);
}

INSTANTIATE_TEST_SUITE_P(AllTemplates, TagReaderFormats,
                         ::testing::Values("mp3", "flac", "ogg", "opus", "m4a", "alac.m4a", "wma",
                                           "wav", "aiff", "wv"));

TEST(TagReader, DurationIsTheExactLengthInSeconds) {
  TempFolder dir;
  fixture::Song s;
  s.file = "long.wav";
  s.title = "Almost a minute";
  s.seconds = 59.9;
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(dir.path(), s, &error)) << error;
  SongTags t;
  ASSERT_TRUE(ReadSongTags(dir.Path(s.file), &t, &error)) << error;
  EXPECT_DOUBLE_EQ(59.9, t.duration);
  EXPECT_EQ(8000 * 16, t.bitrate);
}

TEST(TagReader, Latin1FramesKeepTheirBytes) {
  TempFolder dir;
  fixture::Song s;
  s.file = "raw.mp3";
  s.title = "Fine title";
  s.artist = "Caf\xe9 Crew";  // a code page, not UTF-8
  s.genre = "Bad\xc3\x28";    // a broken UTF-8 sequence
  s.composer = "\xff\xfe";
  s.comment = "\x80 stray";
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(dir.path(), s, &error)) << error;
  SongTags t;
  ASSERT_TRUE(ReadSongTags(dir.Path(s.file), &t, &error)) << error;
  EXPECT_EQ("Fine title", t.title);
  EXPECT_EQ(s.artist, t.artist);
  EXPECT_EQ(s.genre, t.genre);
  EXPECT_EQ(s.composer, t.composer);
  EXPECT_EQ(s.comment, t.comment);
  EXPECT_EQ(s.artist, t.artist_sort);
}

TEST(TagReader, ID3v1BytesSurvive) {
  TempFolder dir;
  fixture::Song s;
  s.file = "old.mp3";
  s.id3v1_only = true;
  s.title = "Caf\xe9 del Mar";
  s.artist = "M\xf6tley";
  s.album = "Plain";
  s.genre = "Rock";
  s.track = 3;
  s.year = 1987;
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(dir.path(), s, &error)) << error;
  SongTags t;
  ASSERT_TRUE(ReadSongTags(dir.Path(s.file), &t, &error)) << error;
  EXPECT_EQ(s.title, t.title);
  EXPECT_EQ(s.artist, t.artist);
  EXPECT_EQ("Plain", t.album);
  EXPECT_EQ("Rock", t.genre);
  EXPECT_EQ(3, t.track);
  EXPECT_EQ(1987, t.year);
  EXPECT_EQ(0, t.covercount);
}

TEST(TagReader, SortKeyFallsBackToTheArtist) {
  TempFolder dir;
  fixture::Song s;
  s.file = "plain.flac";
  s.artist = "The Band";
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(dir.path(), s, &error)) << error;
  SongTags t;
  ASSERT_TRUE(ReadSongTags(dir.Path(s.file), &t, &error)) << error;
  EXPECT_EQ("The Band", t.artist_sort);
  EXPECT_EQ(0, t.covercount);
}

TEST(TagReader, RefusesAFileThatIsNotAudio) {
  TempFolder dir;
  std::string error;
  for (const char* name : {"bad.mp3", "bad.flac", "bad.ogg", "bad.m4a", "bad.wav"}) {
    fixture::Song s;
    s.file = name;
    s.corrupt = true;
    ASSERT_TRUE(fixture::MakeSong(dir.path(), s, &error)) << error;
    SongTags t;
    error.clear();
    EXPECT_FALSE(ReadSongTags(dir.Path(name), &t, &error)) << name;
    EXPECT_FALSE(error.empty()) << name;
  }
  SongTags t;
  EXPECT_FALSE(ReadSongTags(dir.Path("missing.mp3"), &t, &error));
}

TEST(TagReader, ReadsAFileLargerThanFourGiB) {
  TempFolder dir;
  fixture::Song s;
  s.file = "huge.mp3";
  s.title = "Huge";
  s.sparse_size = 4400000000LL;
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(dir.path(), s, &error)) << error;
  struct stat st;
  ASSERT_EQ(0, stat(dir.Path(s.file).c_str(), &st));
  EXPECT_EQ(4400000000LL, static_cast<long long>(st.st_size));
  SongTags t;
  ASSERT_TRUE(ReadSongTags(dir.Path(s.file), &t, &error)) << error;
  EXPECT_EQ("Huge", t.title);
}

TEST(TagReader, KnowsTheAudioFileNames) {
  for (const char* name : {"a.mp3", "b.FLAC", "c.Ogg", "d.opus", "e.m4a", "f.wma", "g.wav",
                           "h.aiff", "i.aif", "j.ape", "k.wv", "l.oga", "m.m4b"})
    EXPECT_TRUE(cantora::IsAudioFileName(name)) << name;
  for (const char* name : {"cover.jpg", "notes.txt", "mp3", ".mp3", "a.mp3.part", "a.mp4"})
    EXPECT_FALSE(cantora::IsAudioFileName(name)) << name;
}

}  // namespace
