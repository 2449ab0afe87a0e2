#include "platform/playlist/m3u.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/index/media_info.h"

namespace {

using cantora::FormatM3u8;
using cantora::NormalPath;
using cantora::ParseM3u;
using cantora::PlaylistEntry;

std::vector<std::string> Paths(const std::vector<PlaylistEntry>& entries) {
  std::vector<std::string> out;
  for (const PlaylistEntry& e : entries) out.push_back(e.path);
  return out;
}

TEST(M3uTest, ExtinfDescribesTheNextEntryOnly) {
  std::vector<PlaylistEntry> e = ParseM3u(
      "#EXTM3U\n#EXTINF:215,Some Artist - A Title\n/m/a.mp3\n/m/b.mp3\n"
      "#EXTINF:-1,Only A Title\n/m/c.mp3\n#EXTINF:12 tvg-id=\"x\",Band - Dash - Song\n/m/d.mp3\n",
      "/pl", 0, -1);
  ASSERT_EQ(e.size(), 4u);
  EXPECT_EQ(e[0].artist, "Some Artist");
  EXPECT_EQ(e[0].title, "A Title");
  EXPECT_FLOAT_EQ(e[0].duration, 215);
  EXPECT_EQ(e[1].title, "");
  EXPECT_FLOAT_EQ(e[1].duration, 0);
  EXPECT_EQ(e[2].artist, "");
  EXPECT_EQ(e[2].title, "Only A Title");
  EXPECT_FLOAT_EQ(e[2].duration, 0);  // -1: unknown
  EXPECT_EQ(e[3].artist, "Band");
  EXPECT_EQ(e[3].title, "Dash - Song");
  EXPECT_FLOAT_EQ(e[3].duration, 12);
}

TEST(M3uTest, RelativeWindowsAndBomTolerated) {
  std::vector<PlaylistEntry> e = ParseM3u(
      "\xEF\xBB\xBF"
      "a.mp3\r\nsub\\b.flac\r\n\r\n../up/c.ogg\r\n./d.mp3\r\n# a comment\r\n"
      "/abs//e.mp3\r\n   \r\nfile:///m/f%20g.mp3\nhttp://radio.example/stream\n",
      "/music/lists", 0, -1);
  EXPECT_EQ(Paths(e),
            (std::vector<std::string>{"/music/lists/a.mp3", "/music/lists/sub/b.flac",
                                      "/music/up/c.ogg", "/music/lists/d.mp3", "/abs/e.mp3",
                                      "/m/f g.mp3", "http://radio.example/stream"}));
}

TEST(M3uTest, PagingByStartAndLimitWithTheWholeCount) {
  std::string text;
  for (int i = 0; i < 10; ++i)
    text += "#EXTINF:1,t" + std::to_string(i) + "\n/" + std::to_string(i) + "\n";
  size_t total = 0;
  std::vector<PlaylistEntry> page = ParseM3u(text, "/", 3, 2, &total);
  EXPECT_EQ(Paths(page), (std::vector<std::string>{"/3", "/4"}));
  EXPECT_EQ(page[0].title, "t3");
  EXPECT_EQ(total, 10u);
  EXPECT_TRUE(ParseM3u(text, "/", 10, 5, &total).empty());
  EXPECT_TRUE(ParseM3u(text, "/", 0, 0).empty());
  EXPECT_EQ(ParseM3u(text, "/", -4, 1).size(), 1u);  // negative start: from the first
  EXPECT_EQ(ParseM3u(text, "/", 8, -1).size(), 2u);  // negative limit: to the end
  EXPECT_EQ(ParseM3u(text, "/", 9, 1000).size(), 1u);
}

TEST(M3uTest, NormalPathNeverClimbsAboveTheRoot) {
  EXPECT_EQ(NormalPath("/a/./b/../c//d"), "/a/c/d");
  EXPECT_EQ(NormalPath("/../../etc/passwd"), "/etc/passwd");
  EXPECT_EQ(NormalPath("/a/b/.."), "/a");
  EXPECT_EQ(NormalPath("/"), "/");
  EXPECT_EQ(NormalPath("/.."), "/");
}

TEST(M3uTest, WriterGivesExtinfLinesAndReadsBack) {
  cantora::MediaInfoTexts t1;
  t1.path = "/m/one.mp3";
  t1.title = "One";
  t1.artist = "Band";
  MediaInfo* a = cantora::NewMediaInfo(t1);
  a->duration = 59.9f;
  cantora::MediaInfoTexts t2;
  t2.path = "/m/two\nlines.mp3";
  t2.title = "Two\r\nLines";
  MediaInfo* b = cantora::NewMediaInfo(t2);
  a->next = b;
  std::string text = FormatM3u8(a);
  EXPECT_EQ(
      text,
      "#EXTM3U\n#EXTINF:59,Band - One\n/m/one.mp3\n#EXTINF:-1,Two  Lines\n/m/two lines.mp3\n");
  std::vector<PlaylistEntry> back = ParseM3u(text, "/", 0, -1);
  ASSERT_EQ(back.size(), 2u);
  EXPECT_EQ(back[0].path, "/m/one.mp3");
  EXPECT_EQ(back[0].artist, "Band");
  EXPECT_EQ(back[0].title, "One");
  EXPECT_EQ(FormatM3u8(nullptr), "#EXTM3U\n");
  ZARNPlaylistRecFree(a);
}

}  // namespace
