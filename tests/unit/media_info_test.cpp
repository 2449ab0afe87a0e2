#include "platform/index/media_info.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cstdint>
#include <string>
#include <vector>

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

// Records of one allocator keep their own texts whatever their sizes: small
// ones packed together, one larger than a small block, one larger than a
// huge-page block, across many blocks of both kinds.
TEST(MediaInfoTest, AllocatorRecordsHoldTheirTexts) {
  const std::string big(100 * 1024, 'b');
  const std::string huge(3 * 1024 * 1024, 'h');
  std::vector<std::string> paths;
  MediaInfo* head = nullptr;
  MediaInfo** link = &head;
  {
    cantora::MediaInfoAllocator records;
    for (int i = 0; i < 30000; ++i) {
      paths.push_back("/music/" + std::to_string(i) + ".mp3");
      cantora::MediaInfoTexts t = Texts();
      t.path = paths.back();
      if (i == 100) t.comment = big;
      if (i == 20000) t.comment = huge;
      MediaInfo* info = records.New(t);
      ASSERT_NE(nullptr, info);
      info->id = static_cast<unsigned long>(i);
      *link = info;
      link = &info->next;
    }
  }  // the allocator goes first: its records stay
  int i = 0;
  for (const MediaInfo* info = head; info != nullptr; info = info->next, ++i) {
    ASSERT_EQ(static_cast<unsigned long>(i), info->id);
    ASSERT_STREQ(paths[i].c_str(), info->path);
    ASSERT_EQ(0, reinterpret_cast<uintptr_t>(info) % alignof(MediaInfo));
    size_t comment = std::strlen(info->comment);
    ASSERT_EQ(i == 100 ? big.size() : i == 20000 ? huge.size() : 7u, comment) << i;
  }
  EXPECT_EQ(30000, i);
  ZARNPlaylistRecFree(head);
}

// A list may be freed in parts, some while the allocator still makes records.
TEST(MediaInfoTest, AllocatorRecordsFreedInParts) {
  cantora::MediaInfoAllocator records;
  MediaInfo* first = nullptr;
  MediaInfo* second = nullptr;
  for (int i = 0; i < 20000; ++i) {
    MediaInfo* info = records.New(Texts());
    ASSERT_NE(nullptr, info);
    MediaInfo** list = i % 3 == 0 ? &first : &second;
    info->next = *list;
    *list = info;
  }
  ZARNPlaylistRecFree(first);
  MediaInfo* later = records.New(Texts());
  ASSERT_NE(nullptr, later);
  EXPECT_STREQ("Album Artist", later->album_artist);
  EXPECT_STREQ("Album Artist", second->album_artist);
  ZARNPlaylistRecFree(second);
  ZARNPlaylistRecFree(later);
}

// A list of records that fills small blocks and then 2 MiB ones; the
// records, and the 2 MiB blocks they lie in (2 MiB-aligned).
std::vector<uintptr_t> HugeBlocksOfAList(MediaInfo** head) {
  constexpr uintptr_t kHugeBlock = 2 * 1024 * 1024;
  std::vector<uintptr_t> blocks;
  cantora::MediaInfoAllocator records;
  MediaInfo** link = head;
  for (int i = 0; i < 12000; ++i) {
    MediaInfo* info = records.New(Texts());
    if (info == nullptr) break;
    uintptr_t block = reinterpret_cast<uintptr_t>(info) & ~(kHugeBlock - 1);
    if (i > 4000 && (blocks.empty() || blocks.back() != block)) blocks.push_back(block);
    *link = info;
    link = &info->next;
  }
  return blocks;
}

// Kept blocks are handed to the next list, with fresh records in them; none
// are kept once the count is back to 0.
TEST(MediaInfoTest, FreedBlocksKeptForTheNextList) {
  cantora::KeepFreedRecordBlocks(4);
  MediaInfo* first = nullptr;
  std::vector<uintptr_t> first_blocks = HugeBlocksOfAList(&first);
  ASSERT_FALSE(first_blocks.empty());
  ZARNPlaylistRecFree(first);
  MediaInfo* second = nullptr;
  std::vector<uintptr_t> second_blocks = HugeBlocksOfAList(&second);
  cantora::KeepFreedRecordBlocks(0);
  ASSERT_FALSE(second_blocks.empty());
  EXPECT_EQ(first_blocks.back(), second_blocks.front());
  int count = 0;
  for (const MediaInfo* info = second; info != nullptr; info = info->next, ++count)
    ASSERT_STREQ("Album Artist", info->album_artist);
  EXPECT_EQ(12000, count);
  ZARNPlaylistRecFree(second);
}

}  // namespace
