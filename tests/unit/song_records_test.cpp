#include "platform/playlist/song_records.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/index/schema.h"
#include "platform/index/sql_functions.h"
#include "tests/unit/song_rows.h"

namespace {

class SongRecordsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(db_.Open(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, &error));
    ASSERT_TRUE(cantora::RegisterIndexFunctions(db_.get()));
    ASSERT_TRUE(cantora::CreateIndexSchema(db_, &error)) << error;
    SongRows songs(&db_);
    for (const SongRow& row :
         {SongRow{1, 0, "/m/a.mp3", "A"}, SongRow{2, 0, "/m/b.mp3", "B"},
          SongRow{3, 7, "/home/x/c.mp3", "C"}, SongRow{4, 8, "/home/y/d.mp3", "D"}})
      ASSERT_TRUE(songs.Add(row));
  }
  void TearDown() override { cantora::SongLookup::RememberPaths(nullptr); }

  // A record of path with id, as a written playlist's list holds it.
  static MediaInfo* Written(const char* path, unsigned long id) {
    cantora::MediaInfoTexts texts;
    texts.path = path;
    MediaInfo* m = cantora::NewMediaInfo(texts);
    m->id = id;
    return m;
  }

  sqlite::Database db_;
};

TEST_F(SongRecordsTest, ScopeIsSharedAndTheUsersOwn) {
  cantora::SongLookup lookup(&db_, 7);
  MediaInfo* a = lookup.ByPath("/m/a.mp3");
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->id, 1u);
  EXPECT_STREQ(a->title, "A");
  MediaInfo* c = lookup.ById(3);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->library, 7);
  EXPECT_EQ(lookup.ByPath("/home/y/d.mp3"), nullptr);
  EXPECT_EQ(lookup.ById(4), nullptr);
  EXPECT_EQ(lookup.ById(0), nullptr);
  cantora::SongLookup anonymous(&db_, 0);
  EXPECT_EQ(anonymous.ById(3), nullptr);
  ZARNPlaylistRecFree(a);
  ZARNPlaylistRecFree(c);
}

TEST_F(SongRecordsTest, RememberedIdsAreOnlyHints) {
  // Wrong ids for both paths, and another user's song for a third.
  MediaInfo* list = Written("/m/a.mp3", 2);
  list->next = Written("/m/b.mp3", 4);
  list->next->next = Written("/home/y/d.mp3", 4);
  cantora::SongLookup::RememberPaths(list);
  cantora::SongLookup lookup(&db_, 7);
  MediaInfo* a = lookup.ByPath("/m/a.mp3");
  MediaInfo* b = lookup.ByPath("/m/b.mp3");
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(a->id, 1u);
  EXPECT_EQ(b->id, 2u);
  EXPECT_EQ(lookup.ByPath("/home/y/d.mp3"), nullptr);
  ZARNPlaylistRecFree(a);
  ZARNPlaylistRecFree(b);
  ZARNPlaylistRecFree(list);
}

TEST_F(SongRecordsTest, UnindexedEntryCarriesOnlyThePlaylistsText) {
  cantora::PlaylistEntry entry;
  entry.path = "/elsewhere/e.mp3";
  entry.title = "Title";
  entry.artist = "Artist";
  entry.duration = 61.5f;
  cantora::SongLookup lookup(&db_, 7);
  MediaInfo* e = cantora::EntryRecord(&lookup, entry);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->id, 0u);
  EXPECT_STREQ(e->path, "/elsewhere/e.mp3");
  EXPECT_STREQ(e->title, "Title");
  EXPECT_STREQ(e->artist, "Artist");
  EXPECT_STREQ(e->album, "");
  EXPECT_FLOAT_EQ(e->duration, 61.5f);
  cantora::MediaInfoList list;
  list.Append(e);
  list.Append(nullptr);
  EXPECT_EQ(list.size(), 1u);
  MediaInfo* head = list.Release();
  EXPECT_EQ(head, e);
  EXPECT_EQ(list.size(), 0u);
  ZARNPlaylistRecFree(head);
}

}  // namespace
