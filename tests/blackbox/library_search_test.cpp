// search, through enumerate.cgi on an indexed library.
#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "platform/config/platform_db.h"
#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

constexpr int kLoveSongs = 1500;

// Song i of the 1500 that hold "love": 30 albums whose names differ in case,
// two discs, tracks that repeat.
fixture::Song LoveSong(int i) {
  char album[32], file[64], title[32];
  std::snprintf(album, sizeof album, i % 2 ? "ALBUM %02d" : "album %02d", i % 30);
  std::snprintf(file, sizeof file, "love/%02d/%04d.mp3", i % 30, i);
  std::snprintf(title, sizeof title, "Love Song %04d", i);
  fixture::Song s = Tune(file, title, album, "Crooner", "Ballad");
  s.disc = 1 + i % 2;
  s.track = 1 + i % 17;
  return s;
}

std::vector<fixture::Song> Songs() {
  std::vector<fixture::Song> songs;
  for (int i = 0; i < kLoveSongs; ++i) songs.push_back(LoveSong(i));
  songs.push_back(Tune("misc/pure.mp3", "100% Pure", "Numbers", "Counter"));
  songs.push_back(Tune("misc/pureX.mp3", "100X Pure", "Numbers", "Counter"));
  songs.push_back(Tune("misc/snake.mp3", "snake_case", "Words", "Counter"));
  songs.push_back(Tune("misc/snakeX.mp3", "snakeXcase", "Words", "Counter"));
  songs.push_back(Tune("misc/slash.mp3", "Back\\slash", "Words", "Counter"));
  songs.push_back(Tune("misc/noslash.mp3", "Backslash", "Words", "Counter"));
  songs.push_back(Tune("misc/quote.flac", "Rock 'n' Roll Heaven", "Words", "Counter"));
  songs.push_back(Tune("misc/umlaut.ogg", "Die Ärzte Spielen", "Words", "Counter"));
  fixture::Song s = Tune("misc/columns.mp3", "Alpha Omega", "Zeta", "Gamma");
  s.album_artist = "Delta";
  songs.push_back(s);
  s = Tune("misc/rawtitle.mp3", "Unique\xff Title", "Words", "Counter");
  songs.push_back(s);
  return songs;
}

class Search : public LibrarySuite {
 protected:
  static void SetUpTestSuite() { OpenLibrary(Songs()); }
  static void TearDownTestSuite() { CloseLibrary(); }

  static CgiResult Find(const std::string& key, const std::string& extra = "") {
    return harness::Enumerate(*instance_, *session_,
                              "action=search&search_key=" + Encode(key) + extra);
  }
  static std::vector<std::string> Titles(const std::string& key, const std::string& extra = "") {
    CgiResult r = Find(key, extra);
    EXPECT_TRUE(r.has_json) << r.out;
    EXPECT_TRUE(r.json["success"].asBool()) << r.body;
    EXPECT_EQ(r.json["items"].size(), r.json["total"].asUInt());
    std::vector<std::string> titles = Column(r.json, "title");
    return titles;
  }
};

using Names = std::vector<std::string>;

TEST_F(Search, AtMostAThousandInAlbumDiscTrackPathOrder) {
  std::vector<fixture::Song> love;
  for (int i = 0; i < kLoveSongs; ++i) love.push_back(LoveSong(i));
  auto key = [](const fixture::Song& s) {
    std::string album = s.album;
    std::transform(album.begin(), album.end(), album.begin(), ::tolower);
    return std::make_tuple(album, s.disc, s.track, s.file);
  };
  std::stable_sort(love.begin(), love.end(),
                   [&](const fixture::Song& a, const fixture::Song& b) { return key(a) < key(b); });
  Names expected;
  for (int i = 0; i < 1000; ++i) expected.push_back(love[i].title);
  EXPECT_EQ(expected, Titles("love"));
  EXPECT_EQ(expected, Titles("LOVE"));
}

TEST_F(Search, PercentAndUnderscoreAreLiteral) {
  EXPECT_EQ((Names{"100% Pure"}), Titles("100%"));
  EXPECT_EQ((Names{"snake_case"}), Titles("e_c"));
  EXPECT_EQ((Names{}), Titles("%%"));
}

TEST_F(Search, BackslashIsLiteral) { EXPECT_EQ((Names{"Back\\slash"}), Titles("k\\s")); }

TEST_F(Search, QuoteIsLiteral) { EXPECT_EQ((Names{"Rock 'n' Roll Heaven"}), Titles("'n'")); }

TEST_F(Search, CaseInsensitiveBeyondAscii) {
  EXPECT_EQ((Names{"Die Ärzte Spielen"}), Titles("ÄRZTE"));
  EXPECT_EQ((Names{"Die Ärzte Spielen"}), Titles("ärzte"));
}

TEST_F(Search, Categories) {
  EXPECT_EQ((Names{"Alpha Omega"}), Titles("alpha", "&category=title"));
  EXPECT_EQ((Names{}), Titles("zeta", "&category=title"));
  EXPECT_EQ((Names{"Alpha Omega"}), Titles("zeta", "&category=album"));
  EXPECT_EQ((Names{}), Titles("alpha", "&category=album"));
  EXPECT_EQ((Names{"Alpha Omega"}), Titles("gamma", "&category=artist"));
  EXPECT_EQ((Names{"Alpha Omega"}), Titles("delta", "&category=artist"));
  EXPECT_EQ((Names{}), Titles("omega", "&category=artist"));
  for (const char* word : {"omega", "zeta", "gamma", "delta"})
    EXPECT_EQ((Names{"Alpha Omega"}), Titles(word)) << word;
}

TEST_F(Search, ACapitalisedCategorySearchesAllColumns) {
  EXPECT_EQ((Names{"Alpha Omega"}), Titles("zeta", "&category=Title"));
  EXPECT_EQ((Names{"Alpha Omega"}), Titles("delta", "&category=TITLE"));
}

TEST_F(Search, AnInvalidTitleIsLeftOutAndLogged) {
  CgiResult r = Find("Unique");
  ASSERT_TRUE(r.has_json);
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ(0u, r.json["total"].asUInt());
  EXPECT_TRUE(harness::Logged(r.log, kErr, "MediaInfo contains invalid utf8"));
}

TEST_F(Search, EmptyOrMissingKeyIsAnError) {
  for (const std::string& query :
       {std::string("action=search&search_key="), std::string("action=search")}) {
    CgiResult r = harness::Enumerate(*instance_, *session_, query);
    ASSERT_TRUE(r.has_json) << query;
    EXPECT_TRUE(r.json.isMember("success")) << query;
    EXPECT_FALSE(r.json["success"].asBool()) << query;
    EXPECT_EQ(0u, r.json["total"].asUInt());
    EXPECT_TRUE(harness::Logged(r.log, kErr, "enumerate (1391) Should provide a search key."))
        << query;
  }
}

// A writer (the indexer, a sign-in) holding the database does not hold up
// the lists: the index is read beside it, and the answer is whole.
TEST_F(Search, AWriterHoldingTheDatabaseDoesNotStopTheLists) {
  sqlite::Database writer;
  std::string error;
  ASSERT_TRUE(cantora::OpenPlatformDatabase(instance_->Path("data/cantora.db"), false, &writer, &error))
      << error;
  ASSERT_TRUE(writer.Exec("BEGIN IMMEDIATE; INSERT INTO sign_in_failures VALUES ('held', 1, 1)", &error))
      << error;
  EXPECT_EQ((Names{"Rock 'n' Roll Heaven"}), Titles("'n'"));
  CgiResult songs = harness::Enumerate(*instance_, *session_, "action=song_enum&album_name=Words");
  ASSERT_TRUE(songs.has_json) << songs.out;
  EXPECT_TRUE(songs.json["success"].asBool());
  Names titles = Column(songs.json, "title");
  EXPECT_NE(std::find(titles.begin(), titles.end(), "Rock 'n' Roll Heaven"), titles.end());
  writer.Exec("ROLLBACK");
}

TEST_F(Search, NoMatchIsASuccess) { EXPECT_EQ((Names{}), Titles("nothing like this anywhere")); }

}  // namespace
