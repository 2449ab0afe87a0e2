#include "platform/index/media_info.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

cantora::MediaInfoTexts Texts() {
  cantora::MediaInfoTexts t;
  t.path = "/music/a.mp3";
  t.title = "Title";
  t.album = "Album";
  t.artist = "Artist";
  t.album_artist = "Album Artist";
  t.genre = "Rock";
  t.composer = "Composer";
  t.comment = "Comment";
  return t;
}

TEST(MediaInfoTest, HoldsCopiesOfItsTexts) {
  std::string title = "Title";
  cantora::MediaInfoTexts t = Texts();
  t.title = title;
  MediaInfo* info = cantora::NewMediaInfo(t);
  ASSERT_NE(nullptr, info);
  title[0] = 'X';
  EXPECT_STREQ("Title", info->title);
  EXPECT_STREQ("/music/a.mp3", info->path);
  EXPECT_STREQ("Album Artist", info->album_artist);
  EXPECT_STREQ("Comment", info->comment);
  EXPECT_EQ(0u, info->id);
  EXPECT_EQ(0, info->covercount);
  EXPECT_EQ(nullptr, info->next);
  ZARNPlaylistRecFree(info);
}

TEST(MediaInfoTest, RecordSizeFollowsItsText) {
  MediaInfo* info = cantora::NewMediaInfo(Texts());
  ASSERT_NE(nullptr, info);
  // One block: the struct, then each text and its terminator.
  const char* end = info->comment + std::strlen(info->comment) + 1;
  size_t text_bytes = 0;
  for (const char* s : {info->path, info->title, info->album, info->artist, info->album_artist,
                        info->genre, info->composer, info->comment}) {
    text_bytes += std::strlen(s) + 1;
  }
  EXPECT_EQ(sizeof(MediaInfo) + text_bytes,
            static_cast<size_t>(end - reinterpret_cast<const char*>(info)));
  EXPECT_LT(sizeof(MediaInfo), 160u);
  ZARNPlaylistRecFree(info);
}

TEST(MediaInfoTest, AbsentTextIsEmptyNotNull) {
  MediaInfo* info = cantora::NewMediaInfo(cantora::MediaInfoTexts());
  ASSERT_NE(nullptr, info);
  EXPECT_STREQ("", info->genre);
  EXPECT_TRUE(MediaInfoIsValidUtf8(info));
  ZARNPlaylistRecFree(info);
}

TEST(MediaInfoTest, Utf8TestCoversAlbumArtistTitleGenreOnly) {
  const char* bad = "caf\xE9";
  for (int field = 0; field < 8; ++field) {
    cantora::MediaInfoTexts t = Texts();
    std::string_view* slots[] = {&t.album, &t.artist, &t.title, &t.genre,
                                 &t.path,  &t.album_artist, &t.composer, &t.comment};
    *slots[field] = bad;
    MediaInfo* info = cantora::NewMediaInfo(t);
    ASSERT_NE(nullptr, info);
    EXPECT_EQ(field >= 4, MediaInfoIsValidUtf8(info)) << "field " << field;
    ZARNPlaylistRecFree(info);
  }
  EXPECT_FALSE(MediaInfoIsValidUtf8(nullptr));
}

TEST(MediaInfoTest, FreesLongLists) {
  MediaInfo* head = nullptr;
  for (int i = 0; i < 10000; ++i) {
    MediaInfo* info = cantora::NewMediaInfo(Texts());
    ASSERT_NE(nullptr, info);
    info->next = head;
    head = info;
  }
  ZARNPlaylistRecFree(head);
  ZARNPlaylistRecFree(nullptr);
}

}  // namespace
