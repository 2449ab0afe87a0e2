#include "enumerate/song_item.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "enumerate/guard/run_as.h"
#include "platform/index/song_file.h"
#include "tests/unit/json_reference.h"
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

// The item's text, and the item parsed back.
struct Item {
  Item(const MediaInfo& info, const char* library) {
    AppendSongItem(info, library, &text);
    std::string errors;
    std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    parsed = reader->parse(text.data(), text.data() + text.size(), &value, &errors);
  }
  std::string text;
  Json::Value value;
  bool parsed = false;
};

TEST(SongItemTest, MembersAndTheirTypes) {
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
  Item item(*r.info, "shared");
  ASSERT_TRUE(item.parsed) << item.text;
  EXPECT_EQ(18u, item.value.size());
  EXPECT_EQ("59", item.value["duration"].asString());
  EXPECT_EQ("4400000000", item.value["filesize"].asString());
  EXPECT_TRUE(item.value["covercount"].isInt());
  EXPECT_EQ(0, item.value["covercount"].asInt());
  EXPECT_EQ("42", item.value["id"].asString());
  EXPECT_EQ("Album Artist", item.value["albumartist"].asString());
  EXPECT_EQ("3", item.value["track"].asString());
  EXPECT_EQ("1", item.value["disc"].asString());
  EXPECT_EQ("2001", item.value["year"].asString());
  EXPECT_EQ("320000", item.value["bitrate"].asString());
  EXPECT_EQ("44100", item.value["frequency"].asString());
  EXPECT_EQ("2", item.value["channel"].asString());
  EXPECT_EQ("caf\xE9", item.value["composer"].asString());
  for (const char* key : {"path", "title", "album", "artist", "genre", "composer", "comment"}) {
    EXPECT_TRUE(item.value[key].isString()) << key;
  }
}

// The text written directly is the one JsonCpp writes for the same item:
// member order, escapes and numbers alike.
TEST(SongItemTest, SameTextAsJsonCpp) {
  cantora::MediaInfoTexts t;
  t.path = "/m/q\"uote\\back/\x01" "ctl\ttab.mp3";
  t.title = "\xC3\x84RZTE \xE6\x97\xA5 \xF0\x9F\x8E\xB5 \x7f";
  t.album = "";
  t.artist = "\n\r\b\f";
  t.album_artist = "a/b";
  t.genre = "%_";
  t.composer = "\x1f";
  t.comment = "\"\"";
  MediaInfo* info = cantora::NewMediaInfo(t);
  info->id = 18446744073709551615ul;
  info->duration = -3.5f;
  info->filesize = 0;
  info->covercount = -1;
  info->track = -2147483647 - 1;
  info->disc = 2147483647;
  info->year = 0;
  info->bitrate = -1;
  info->library = 1001;
  for (const char* library : {"shared", "personal"}) {
    Item item(*info, library);
    ASSERT_TRUE(item.parsed) << item.text;
    EXPECT_EQ(JsonCppText(item.value), item.text);
  }
  EXPECT_EQ("-3", Item(*info, "shared").value["duration"].asString());
  EXPECT_EQ(-1, Item(*info, "shared").value["covercount"].asInt());
  ZARNPlaylistRecFree(info);
}

// The smart playlist songs' item: the same members, "id" a bare JSON number.
TEST(SongItemTest, NumericIdItemIsJsonCppTextWithTheIdANumber) {
  Record r("/m/q\"uote.mp3");
  for (int library : {0, 1001}) {
    r.info->id = 4294967295ul;
    r.info->library = library;
    r.info->covercount = 2;
    std::string text;
    AppendSongItemWithNumericId(*r.info, &text);
    Json::Value expected = Item(*r.info, "shared").value;
    expected["id"] = Json::UInt64(4294967295ul);
    EXPECT_EQ(JsonCppText(expected), text);
  }
}

TEST(SongItemTest, PersonalIdsArePrefixedOutsideTheSharedLibrary) {
  Record r("/m/a.mp3");
  r.info->id = 7;
  r.info->library = 1001;
  EXPECT_EQ("7", Item(*r.info, "shared").value["id"].asString());
  EXPECT_EQ("personal_7", Item(*r.info, "personal").value["id"].asString());
  EXPECT_EQ("personal_7", Item(*r.info, "all").value["id"].asString());
  r.info->library = 0;
  EXPECT_EQ("7", Item(*r.info, "all").value["id"].asString());
}

TEST(SongItemTest, AdmitsExistingFilesWithValidText) {
  AsRoot root;
  TempFolder dir;
  cantora::SongFiles files(cantora::LibraryRoots{{dir.path()}, {}});
  std::string present = dir.Path("present.mp3");
  FILE* f = fopen(present.c_str(), "w");
  ASSERT_NE(nullptr, f);
  fclose(f);
  Record ok(present);
  Record missing(dir.Path("missing.mp3"));
  Record bad_genre(present, "Bad\xFF");
  ok.info->next = missing.info;
  missing.info->next = bad_genre.info;

  std::string text = WrittenListAnswer(
      [&](ListAnswer* answer) {
        EXPECT_TRUE(AppendSongItems(files, ok.info, "shared", 1307, 1313, answer));
      },
      true);
  ok.info->next = missing.info->next = nullptr;  // each Record frees its own

  std::string only_item;
  AppendSongItem(*ok.info, "shared", &only_item);
  EXPECT_EQ("Content-Type: text/plain; charset=\"UTF-8\"\r\n\r\n{\"items\":[" + only_item +
                "],\"success\":true,\"total\":1}",
            text);
}

}  // namespace
