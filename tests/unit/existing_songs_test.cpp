#include "platform/indexer/existing_songs.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using cantora::ExistingSongs;

std::string PathNumber(int i) {
  return "/music/artist " + std::to_string(i % 97) + "/" + std::to_string(i) + ".mp3";
}

TEST(ExistingSongsTest, FindsWhatWasAddedAndNothingElse) {
  ExistingSongs songs;
  EXPECT_EQ(nullptr, songs.Find("/music/a.mp3"));
  songs.Reserve(3);
  songs.Add("/music/a.mp3").id = 1;
  songs.Add("/music/b.mp3").id = 2;
  songs.Add("").id = 3;
  ASSERT_NE(nullptr, songs.Find("/music/a.mp3"));
  EXPECT_EQ(1, songs.Find("/music/a.mp3")->id);
  EXPECT_EQ(2, songs.Find("/music/b.mp3")->id);
  EXPECT_EQ(3, songs.Find("")->id);
  EXPECT_EQ(nullptr, songs.Find("/music/a.mp"));
  EXPECT_EQ(nullptr, songs.Find("/music/a.mp3 "));
  // Adding a path again gives the same song.
  EXPECT_EQ(1, songs.Add("/music/a.mp3").id);
  EXPECT_EQ(3u, songs.size());
}

// The table keeps its own copies of the paths, and grows past what was
// reserved; iteration lists each song once, in the order added.
TEST(ExistingSongsTest, KeepsItsOwnPathsAndGrows) {
  ExistingSongs songs;
  songs.Reserve(10);
  for (int i = 0; i < 50000; ++i) {
    std::string path = PathNumber(i);
    songs.Add(path).id = i;
    path.assign(path.size(), 'x');  // the caller's text is gone
  }
  ASSERT_EQ(50000u, songs.size());
  for (int i = 0; i < 50000; i += 7) {
    const cantora::ExistingSong* s = songs.Find(PathNumber(i));
    ASSERT_NE(nullptr, s) << i;
    EXPECT_EQ(i, s->id);
  }
  EXPECT_EQ(nullptr, songs.Find(PathNumber(50000)));
  int expected = 0;
  for (const ExistingSongs::Entry& e : songs) {
    EXPECT_EQ(PathNumber(expected), e.path);
    EXPECT_EQ(expected, e.song.id);
    ++expected;
  }
  EXPECT_EQ(50000, expected);
}

TEST(ExistingSongsTest, LongPathsAndManyOfThem) {
  ExistingSongs songs;
  std::string very_long(3 << 20, 'p');  // longer than a block of paths
  songs.Add(very_long).id = 7;
  songs.Reserve(200000);
  for (int i = 0; i < 200000; ++i) songs.Add(PathNumber(i)).mtime = i;
  EXPECT_EQ(7, songs.Find(very_long)->id);
  EXPECT_EQ(199999, songs.Find(PathNumber(199999))->mtime);
  EXPECT_EQ(200001u, songs.size());
}

}  // namespace
