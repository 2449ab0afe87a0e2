#include "enumerate/song_item.h"

#include <gtest/gtest.h>

#include <string>

#include "enumerate/guard/run_as.h"
#include "tests/unit/temp_folder.h"

namespace {

// Runs the test as if the process were root already, so that the guard
// around each stat changes no ids whoever runs the tests.
class AsRoot {
 public:
  AsRoot() : saved_(RunAsIdCalls()) {
    RunAsIdCalls().geteuid = [] { return static_cast<uid_t>(0); };
    RunAsIdCalls().getegid = [] { return static_cast<gid_t>(0); };
  }
  ~AsRoot() { RunAsIdCalls() = saved_; }

 private:
  IdCalls saved_;
};

struct Record {
  explicit Record(const std::string& path, const char* genre = "Rock") {
    cantora::MediaInfoTexts t;
    t.path = path;
    t.title = "Title";
    t.album = "Album";
    t.artist = "Artist";
    t.album_artist = "Album Artist";
    t.genre = genre;
    t.composer = "caf\xE9";
    t.comment = "\xFF";
    info = cantora::NewMediaInfo(t);
  }
  ~Record() { ZARNPlaylistRecFree(info); }
  MediaInfo* info;
};

TEST(SongItemTest, MembersAndTheirTypes) {
  cantora::TextArena arena;
  Record r("/m/a.mp3");
  r.info->id = 42;
  r.info->duration = 59.9f;
  r.info->filesize = 4400000000ULL;
  r.info->covercount = 0;
  r.info->track = 3;
  r.info->disc = 1;
  r.info->year = 2001;
  r.info->bitrate = 320000;
  r.info->frequency = 44100;
  r.info->channel = 2;
  Json::Value item = SongItem(*r.info, "shared", &arena);
  EXPECT_EQ(18u, item.size());
  EXPECT_EQ("59", item["duration"].asString());
  EXPECT_EQ("4400000000", item["filesize"].asString());
  EXPECT_TRUE(item["covercount"].isInt());
  EXPECT_EQ(0, item["covercount"].asInt());
  EXPECT_EQ("42", item["id"].asString());
  EXPECT_EQ("Album Artist", item["albumartist"].asString());
  EXPECT_EQ("3", item["track"].asString());
  EXPECT_EQ("1", item["disc"].asString());
  EXPECT_EQ("2001", item["year"].asString());
  EXPECT_EQ("320000", item["bitrate"].asString());
  EXPECT_EQ("44100", item["frequency"].asString());
  EXPECT_EQ("2", item["channel"].asString());
  for (const char* key : {"path", "title", "album", "artist", "genre", "composer", "comment"}) {
    EXPECT_TRUE(item[key].isString()) << key;
  }
}

TEST(SongItemTest, PersonalIdsArePrefixedOutsideTheSharedLibrary) {
  cantora::TextArena arena;
  Record r("/m/a.mp3");
  r.info->id = 7;
  r.info->library = 1001;
  EXPECT_EQ("7", SongItem(*r.info, "shared", &arena)["id"].asString());
  EXPECT_EQ("personal_7", SongItem(*r.info, "personal", &arena)["id"].asString());
  EXPECT_EQ("personal_7", SongItem(*r.info, "all", &arena)["id"].asString());
  r.info->library = 0;
  EXPECT_EQ("7", SongItem(*r.info, "all", &arena)["id"].asString());
}

TEST(SongItemTest, AdmitsExistingFilesWithValidText) {
  cantora::TextArena arena;
  AsRoot root;
  TempFolder dir;
  std::string present = dir.Path("present.mp3");
  FILE* f = fopen(present.c_str(), "w");
  ASSERT_NE(nullptr, f);
  fclose(f);
  Record ok(present);
  Record missing(dir.Path("missing.mp3"));
  Record bad_genre(present, "Bad\xFF");
  ok.info->next = missing.info;
  missing.info->next = bad_genre.info;
  Json::Value items(Json::arrayValue);
  EXPECT_TRUE(AppendSongItems(ok.info, "shared", 1307, 1313, &arena, &items));
  ok.info->next = missing.info->next = nullptr;  // each Record frees its own
  ASSERT_EQ(1u, items.size());
  EXPECT_EQ(present, items[0]["path"].asString());
}

TEST(SongItemTest, ItemsAndTotal) {
  Json::Value items(Json::arrayValue);
  items.append(Json::Value("a"));
  items.append(Json::Value("b"));
  Json::Value answer;
  SetItems(&answer, std::move(items));
  EXPECT_EQ(2u, answer["items"].size());
  EXPECT_TRUE(answer["total"].isUInt());
  EXPECT_EQ(2u, answer["total"].asUInt());
}

}  // namespace
