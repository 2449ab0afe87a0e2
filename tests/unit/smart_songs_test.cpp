// The songs that smart playlists select, evaluated by the music index.
#include "platform/playlist/smart/songs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "platform/auth/account.h"
#include "platform/config/platform_db.h"
#include "platform/index/schema.h"
#include "platform/index/sql_functions.h"
#include "platform/text/casefold.h"
#include "tests/unit/song_rows.h"
#include "tests/unit/temp_folder.h"

namespace {

constexpr int kAlice = 1001;  // personal library on
constexpr int kBob = 1002;    // personal library off
constexpr int kCarol = 1003;  // personal library on
constexpr time_t kNow = 1700000000;
constexpr int64_t kDay = 86400;

// A field left unset is written as the schema's default ('' or 0).
using Row = SongRow;

class SmartSongsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(cantora::OpenPlatformDatabase(dir_.Path("index.db"), true, &db_, &error)) << error;
    ASSERT_TRUE(cantora::RegisterIndexFunctions(db_.get()));
    ASSERT_TRUE(cantora::CreateAccountSchema(db_, &error)) << error;
    ASSERT_TRUE(cantora::CreateIndexSchema(db_, &error)) << error;
    ASSERT_TRUE(db_.Exec(
        "INSERT INTO users(id, name, password_hash, personal) VALUES"
        " (1001, 'alice', 'x', 1), (1002, 'bob', 'x', 0), (1003, 'carol', 'x', 1)",
        &error))
        << error;
    AddLibrary();
  }

  void Add(Row r) {
    r.search_keys = true;
    std::string error;
    ASSERT_TRUE(SongRows(&db_).Add(r, &error)) << error;
  }

  Row Song(const std::string& title, const std::string& artist, const std::string& genre) {
    Row r;
    r.path = "/m/" + std::to_string(++serial_) + " " + title + ".mp3";
    r.title = title;
    r.artist = artist;
    r.album = artist + " album";
    r.genre = genre;
    r.track = serial_;
    r.create_date = kNow - 100 * kDay;
    return r;
  }

  void AddLibrary() {
    Row r = Song("So What", "Miles", "Jazz");
    r.year = 1959;
    r.duration = 562.5;
    r.bitrate = 320000;
    r.filesize = 5000000000LL;
    r.composer = "Davis";
    r.comment = "modal";
    r.album_artist = "Miles Davis";
    r.create_date = kNow - 2 * kDay;
    Add(r);
    r = Song("Blue in Green", "Miles", "Jazz");
    r.year = 1959;
    r.duration = 337;
    r.bitrate = 256000;
    r.create_date = kNow - 40 * kDay;
    Add(r);
    r = Song("100% Pure", "abba", "Pop");
    r.year = 1976;
    r.bitrate = 128000;
    Add(r);
    r = Song("1000 Pure", "ABBA", "Pop");
    r.year = 1977;
    Add(r);
    r = Song("a_b", "Underscore", "Pop");
    Add(r);
    r = Song("axb", "Underscore", "Pop");
    Add(r);
    r = Song("Back\\slash", "AC\\DC", "Rock");
    Add(r);
    r = Song("Rock 'n' Roll", "O'Brien", "Rock");
    Add(r);
    r = Song("x'); DROP TABLE song; --", "Bobby Tables", "Rock");
    Add(r);
    r = Song("Ärger", "Ärzte", "Rock");
    Add(r);
    r = Song("Alice's own", "Alice", "Jazz");
    r.library = kAlice;
    Add(r);
    r = Song("Alice's abba", "ABBA", "Pop");
    r.library = kAlice;
    r.year = 1976;
    Add(r);
    r = Song("Alice's zed", "Zed", "Rock");
    r.library = kAlice;
    r.bitrate = 192000;
    Add(r);
    r = Song("Bob's own", "Bob", "Jazz");
    r.library = kBob;
    Add(r);
    r = Song("Carol's own", "Carol", "Jazz");
    r.library = kCarol;
    Add(r);
  }

  struct Result {
    int count = -1;
    std::vector<std::string> titles;
    std::vector<unsigned long> ids;
    std::string error;
  };

  Result Select(const std::string& json, int uid = 0, const char* library = "actual") {
    Result r;
    MediaInfo* head = nullptr;
    r.count =
        cantora::SelectSmartPlaylistSongs(db_, uid, json, library, kNow, &head, &r.error);
    int n = 0;
    for (MediaInfo* m = head; m != nullptr; m = m->next, ++n) {
      r.titles.push_back(m->title);
      r.ids.push_back(m->id);
    }
    if (r.count >= 0) EXPECT_EQ(r.count, n);
    ZARNPlaylistRecFree(head);
    return r;
  }

  // Titles selected by one rule, sorted (the order is tested apart).
  std::vector<std::string> Titles(const std::string& field, const std::string& op,
                                  const std::string& value, int uid = 0) {
    Result r = Select("{\"name\": \"T\", \"rules\": [{\"field\": \"" + field + "\", \"op\": \"" +
                          op + "\", \"value\": " + value + "}]}",
                      uid);
    EXPECT_GE(r.count, 0) << r.error;
    std::sort(r.titles.begin(), r.titles.end());
    return r.titles;
  }

  using Titles_ = std::vector<std::string>;

  TempFolder dir_;
  sqlite::Database db_;
  int serial_ = 0;
};

TEST_F(SmartSongsTest, TextIsIsExact) {
  EXPECT_EQ(Titles_({"1000 Pure"}), Titles("artist", "is", "\"ABBA\""));
  EXPECT_EQ(Titles_({"100% Pure"}), Titles("artist", "is", "\"abba\""));
  EXPECT_EQ(Titles_({}), Titles("artist", "is", "\"Abb\""));
  EXPECT_EQ(8u, Titles("genre", "is_not", "\"Jazz\"").size());  // of the 10 shared songs
}

TEST_F(SmartSongsTest, SubstringOperatorsIgnoreCaseAsSearchDoes) {
  EXPECT_EQ(Titles_({"100% Pure", "1000 Pure"}), Titles("artist", "contains", "\"aBb\""));
  EXPECT_EQ(Titles_({"Ärger"}), Titles("artist", "starts_with", "\"ärz\""));
  EXPECT_EQ(Titles_({"Ärger"}), Titles("title", "contains", "\"ÄRGER\""));
  EXPECT_EQ(Titles_({"So What"}), Titles("title", "ends_with", "\"AT\""));
  EXPECT_EQ(Titles_({"So What"}), Titles("title", "ends_with", "\"WHAT\""));
  EXPECT_EQ(10u, Titles("composer", "not_contains", "\"x\"").size());
  EXPECT_EQ(Titles_({"So What"}), Titles("composer", "contains", "\"AVI\""));
  EXPECT_EQ(Titles_({"So What"}), Titles("comment", "contains", "\"MODAL\""));
  EXPECT_EQ(Titles_({"So What"}), Titles("album_artist", "starts_with", "\"miles d\""));
  EXPECT_EQ(Titles_({"Blue in Green"}), Titles("path", "contains", "\"Blue in\""));
}

TEST_F(SmartSongsTest, WildcardsQuotesBackslashesAndSqlSelectOnlyThemselves) {
  EXPECT_EQ(Titles_({"100% Pure"}), Titles("title", "contains", "\"0%\""));
  EXPECT_EQ(Titles_({"a_b"}), Titles("title", "contains", "\"a_b\""));
  EXPECT_EQ(Titles_({"a_b"}), Titles("title", "is", "\"a_b\""));
  EXPECT_EQ(Titles_({"Back\\slash"}), Titles("title", "contains", "\"k\\\\s\""));
  EXPECT_EQ(Titles_({"Back\\slash"}), Titles("artist", "is", "\"AC\\\\DC\""));
  EXPECT_EQ(Titles_({"Rock 'n' Roll"}), Titles("title", "is", "\"Rock 'n' Roll\""));
  EXPECT_EQ(Titles_({"Rock 'n' Roll"}), Titles("artist", "starts_with", "\"o'b\""));
  EXPECT_EQ(Titles_({"x'); DROP TABLE song; --"}),
            Titles("title", "is", "\"x'); DROP TABLE song; --\""));
  EXPECT_EQ(Titles_({}), Titles("title", "is", "\"' or '1'='1\""));
  EXPECT_EQ(Titles_({}), Titles("title", "contains", "\"%' or title like '%\""));
  // The table is still there, whole.
  EXPECT_EQ(10u, Select("{\"name\": \"all\"}").titles.size());
}

TEST_F(SmartSongsTest, NumberOperators) {
  EXPECT_EQ(Titles_({"Blue in Green", "So What"}), Titles("year", "eq", "1959"));
  EXPECT_EQ(Titles_({"1000 Pure"}), Titles("year", "gt", "1976"));
  EXPECT_EQ(Titles_({"100% Pure", "1000 Pure"}), Titles("year", "ge", "1976"));
  EXPECT_EQ(Titles_({"100% Pure", "Blue in Green", "So What"}), Titles("year", "between", "[1959, 1976]"));
  EXPECT_EQ(Titles_({"So What"}), Titles("duration", "gt", "562.4"));
  EXPECT_EQ(Titles_({}), Titles("duration", "gt", "562.5"));
  EXPECT_EQ(Titles_({"So What"}), Titles("bitrate", "ge", "320"));
  EXPECT_EQ(Titles_({"100% Pure", "Blue in Green"}), Titles("bitrate", "between", "[128, 256]"));
  EXPECT_EQ(Titles_({"So What"}), Titles("filesize", "gt", "4294967296"));
  EXPECT_EQ(Titles_({"Back\\slash"}), Titles("track", "eq", "7"));
  EXPECT_EQ(10u, Titles("disc", "lt", "1").size());
  EXPECT_EQ(10u, Titles("covercount", "eq", "0").size());
  EXPECT_EQ(0u, Titles("covercount", "ne", "0").size());
  EXPECT_EQ(9u, Titles("year", "le", "1976").size());
}

TEST_F(SmartSongsTest, AddedOperators) {
  EXPECT_EQ(Titles_({"So What"}), Titles("added", "in_last_days", "30"));
  EXPECT_EQ(Titles_({"Blue in Green", "So What"}), Titles("added", "in_last_days", "40"));
  EXPECT_EQ(8u, Titles("added", "not_in_last_days", "40").size());
  EXPECT_EQ(Titles_({"Blue in Green", "So What"}),
            Titles("added", "after", "\"2023-09-01\""));  // kNow is 2023-11-14
  EXPECT_EQ(8u, Titles("added", "before", "\"2023-09-01\"").size());
}

// Substring rules on the texts the trigram index holds: a negated one, or
// one beside another rule under "any", must not be narrowed to the rows
// holding its trigrams.
TEST_F(SmartSongsTest, TrigramTextsNegatedOrAlternative) {
  EXPECT_EQ(8u, Titles("title", "not_contains", "\"pure\"").size());
  Result r = Select(
      "{\"name\": \"A\", \"match\": \"any\", \"rules\": ["
      "{\"field\": \"title\", \"op\": \"contains\", \"value\": \"green\"},"
      "{\"field\": \"genre\", \"op\": \"is\", \"value\": \"Pop\"}]}");
  std::sort(r.titles.begin(), r.titles.end());
  EXPECT_EQ(Titles_({"100% Pure", "1000 Pure", "Blue in Green", "a_b", "axb"}), r.titles);
}

TEST_F(SmartSongsTest, MatchAnyAndNesting) {
  Result r = Select(
      "{\"name\": \"N\", \"match\": \"any\", \"rules\": ["
      "{\"field\": \"genre\", \"op\": \"is\", \"value\": \"Jazz\"},"
      "{\"all\": [{\"field\": \"artist\", \"op\": \"is\", \"value\": \"ABBA\"},"
      "           {\"any\": [{\"field\": \"year\", \"op\": \"eq\", \"value\": 1977},"
      "                      {\"field\": \"year\", \"op\": \"eq\", \"value\": 1900}]}]}]}");
  std::sort(r.titles.begin(), r.titles.end());
  EXPECT_EQ(Titles_({"1000 Pure", "Blue in Green", "So What"}), r.titles);
}

TEST_F(SmartSongsTest, DefaultOrderIsArtistAlbumDiscTrackWithoutRegardToCase) {
  Result r = Select("{\"name\": \"P\", \"rules\": [{\"field\": \"genre\", \"op\": \"is\","
                    " \"value\": \"Pop\"}]}");
  // abba and ABBA fold together; their albums differ ("abba album" < "ABBA
  // album" only by case), then the track decides.
  EXPECT_EQ(Titles_({"100% Pure", "1000 Pure", "a_b", "axb"}), r.titles);
}

TEST_F(SmartSongsTest, OrderByAFieldThenTheDefault) {
  Result r = Select("{\"name\": \"O\", \"rules\": [{\"field\": \"year\", \"op\": \"gt\","
                    " \"value\": 0}], \"order\": \"year desc\"}");
  EXPECT_EQ(Titles_({"1000 Pure", "100% Pure", "So What", "Blue in Green"}), r.titles);
  r = Select("{\"name\": \"O\", \"order\": \"added desc\", \"limit\": 3}");
  // Newest first; ties in the order they entered the index, last first.
  EXPECT_EQ(Titles_({"So What", "Blue in Green", "Ärger"}), r.titles);
}

TEST_F(SmartSongsTest, LimitCutsTheOrderedList) {
  Result r = Select("{\"name\": \"L\", \"limit\": 2}");
  EXPECT_EQ(Titles_({"100% Pure", "1000 Pure"}), r.titles);
}

TEST_F(SmartSongsTest, RandomOrderPicksDistinctSongsOfTheSelection) {
  std::set<std::string> seen_orders;
  for (int i = 0; i < 20; ++i) {
    Result r = Select("{\"name\": \"R\", \"order\": \"random\", \"limit\": 3, \"rules\": ["
                      "{\"field\": \"genre\", \"op\": \"is_not\", \"value\": \"Jazz\"}]}");
    ASSERT_EQ(3, r.count) << r.error;
    std::set<std::string> distinct(r.titles.begin(), r.titles.end());
    EXPECT_EQ(3u, distinct.size());
    for (const std::string& t : r.titles) EXPECT_NE("So What", t);
    seen_orders.insert(r.titles[0] + "|" + r.titles[1] + "|" + r.titles[2]);
  }
  EXPECT_GT(seen_orders.size(), 1u);
  Result all = Select("{\"name\": \"R\", \"order\": \"random\"}");
  EXPECT_EQ(10, all.count);
}

// A random order keeps only the ids placed first, a few more than the
// limit; when more songs than that must be left out, it reads the ids
// placed next, until the limit is filled or the selection ends.
TEST_F(SmartSongsTest, RandomOrderFillsItsLimitPastManyLeftOutSongs) {
  ASSERT_TRUE(db_.Exec("BEGIN"));
  for (int i = 0; i < 120; ++i) {
    Row r = Song("Many " + std::to_string(i), "Crowd", "Many");
    Add(r);
  }
  ASSERT_TRUE(db_.Exec("COMMIT"));
  // Nine in ten of them broken: a limit of 10 meets far more broken songs
  // among the ids placed first than it keeps room for.
  ASSERT_TRUE(db_.Exec("UPDATE song SET title = CAST(X'4261ff' AS TEXT)"
                       " WHERE genre = 'Many' AND track % 10 <> 0"));
  std::set<std::string> seen;
  for (int run = 0; run < 10; ++run) {
    Result r = Select("{\"name\": \"R\", \"order\": \"random\", \"limit\": 10, \"rules\": ["
                      "{\"field\": \"genre\", \"op\": \"is\", \"value\": \"Many\"}]}");
    ASSERT_EQ(10, r.count) << r.error;
    std::set<std::string> distinct(r.titles.begin(), r.titles.end());
    EXPECT_EQ(10u, distinct.size());
    for (const std::string& t : r.titles) EXPECT_EQ(0, t.compare(0, 5, "Many ")) << t;
    seen.insert(distinct.begin(), distinct.end());
  }
  // Twelve valid songs in all; more than ten of them came up.
  EXPECT_GT(seen.size(), 10u);
  EXPECT_LE(seen.size(), 12u);
  Result all = Select("{\"name\": \"R\", \"order\": \"random\", \"limit\": 50, \"rules\": ["
                      "{\"field\": \"genre\", \"op\": \"is\", \"value\": \"Many\"}]}");
  EXPECT_EQ(12, all.count);
}

TEST_F(SmartSongsTest, PersonalLibraryOnlyTheUsersOwnAndOnlyWhenSwitchedOn) {
  std::vector<std::string> jazz = Titles("genre", "is", "\"Jazz\"", kAlice);
  EXPECT_EQ(Titles_({"Alice's own", "Blue in Green", "So What"}), jazz);
  // Bob's personal library is off: his own songs are not read.
  EXPECT_EQ(Titles_({"Blue in Green", "So What"}), Titles("genre", "is", "\"Jazz\"", kBob));
  // No user: the shared libraries.
  EXPECT_EQ(Titles_({"Blue in Green", "So What"}), Titles("genre", "is", "\"Jazz\"", 0));
  // A rule naming another user's song by path or title still does not reach it.
  EXPECT_EQ(Titles_({}), Titles("title", "is", "\"Carol's own\"", kAlice));
  EXPECT_EQ(Titles_({}), Titles("title", "contains", "\"own\"", kBob));
  // Any scope but "actual" is the shared libraries.
  Result r = Select("{\"name\": \"S\", \"rules\": [{\"field\": \"title\", \"op\": \"contains\","
                    " \"value\": \"own\"}]}",
                    kAlice, "all");
  EXPECT_EQ(0, r.count);
}

// With a personal library each library is read alone and the two merged: a
// limited list is the head of the unlimited one, whatever the order.
TEST_F(SmartSongsTest, BothLibrariesLimitedAreTheHeadOfTheWholeList) {
  for (const char* order : {"artist asc", "artist desc", "title desc", "year asc", "year desc",
                            "path desc", "bitrate desc", "genre asc", "added desc",
                            "duration asc", "track desc", "album_artist asc"}) {
    std::string base = std::string("{\"name\": \"O\", \"order\": \"") + order + "\"";
    Result whole = Select(base + "}", kAlice);
    ASSERT_EQ(13, whole.count) << order << whole.error;
    for (int limit = 1; limit <= 13; ++limit) {
      Result head = Select(base + ", \"limit\": " + std::to_string(limit) + "}", kAlice);
      EXPECT_EQ(std::vector<std::string>(whole.titles.begin(), whole.titles.begin() + limit),
                head.titles)
          << order << " limit " << limit;
    }
  }
  // The default order interleaves alice's songs with the shared ones.
  Result r = Select("{\"name\": \"D\", \"limit\": 4}", kAlice);
  EXPECT_EQ(Titles_({"100% Pure", "1000 Pure", "Alice's abba", "Back\\slash"}), r.titles);
}

TEST_F(SmartSongsTest, InvalidUtf8SongsAreLeftOutAndTheLimitIsStillFilled) {
  // One song with a stray byte in each of the four texts that are checked.
  const char* const kBroken[][2] = {{"title", "a_b"}, {"album", "axb"}, {"artist", "Ärger"},
                                    {"genre", "Back\\slash"}};
  for (const auto& b : kBroken) {
    std::string error;
    ASSERT_TRUE(db_.Exec(std::string("UPDATE song SET ") + b[0] + " = CAST(X'4261ff' AS TEXT)" +
                             " WHERE title = '" + b[1] + "'",
                         &error))
        << error;
  }
  // In the default order the fifth valid song comes after a broken one.
  Result r = Select("{\"name\": \"L\", \"limit\": 5}");
  EXPECT_EQ(Titles_({"100% Pure", "1000 Pure", "x'); DROP TABLE song; --", "So What",
                     "Blue in Green"}),
            r.titles);
  EXPECT_EQ(6, Select("{\"name\": \"A\"}").count);
  EXPECT_EQ(6, Select("{\"name\": \"R\", \"order\": \"random\"}").count);
  EXPECT_EQ(6, Select("{\"name\": \"R\", \"order\": \"random\", \"limit\": 100}").count);
}

TEST_F(SmartSongsTest, NoSongHasIdZero) {
  ASSERT_TRUE(db_.Exec("UPDATE song SET id = 0 WHERE title = 'So What'"));
  Result r = Select("{\"name\": \"Z\", \"rules\": [{\"field\": \"genre\", \"op\": \"is\","
                    " \"value\": \"Jazz\"}], \"limit\": 1}");
  EXPECT_EQ(Titles_({"Blue in Green"}), r.titles);
  for (unsigned long id : Select("{\"name\": \"A\", \"order\": \"random\"}").ids) EXPECT_NE(0u, id);
}

TEST_F(SmartSongsTest, RefusedOrEmptyRulesSelectNothing) {
  Result r = Select("{\"name\": \"Bad\", \"rules\": [{\"field\": \"mood\", \"op\": \"is\","
                    " \"value\": \"x\"}]}");
  EXPECT_EQ(-1, r.count);
  EXPECT_TRUE(r.titles.empty());
  EXPECT_EQ("smart playlist \"Bad\": rule 1: unknown field \"mood\"", r.error);
  r = Select("");
  EXPECT_EQ(0, r.count);
  EXPECT_TRUE(r.titles.empty());
  r = Select("not json");
  EXPECT_EQ(-1, r.count);
}

}  // namespace
