// artist_enum, album_enum and genre_enum, through enumerate.cgi.
#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

constexpr int kBulkAlbums = 120;

std::string BulkAlbum(int n) {
  char name[32];
  std::snprintf(name, sizeof name, "Bulk %03d", n);
  return name;
}

std::vector<fixture::Song> Songs() {
  std::vector<fixture::Song> songs;
  fixture::Song s = Tune("jd/1.mp3", "One", "Blue Train", "John Doe", "Jazz");
  songs.push_back(s);
  s = Tune("jd/2.mp3", "Two", "Giant Steps", "Guest", "Jazz");
  s.album_artist = "John Doe";
  songs.push_back(s);
  s = Tune("alpha/1.flac", "Three", "alpha album", "The Alpha Band", "Rock");
  s.artist_sort = "Alpha Band, The";
  songs.push_back(s);
  songs.push_back(Tune("zed/1.ogg", "Four", "Zed's Dead", "Zed", "Rock"));
  songs.push_back(Tune("ob/1.mp3", "Five", "Rock 'n' Roll", "O'Brien", "Rock"));
  songs.push_back(Tune("anon/1.mp3", "Six", "Nameless", "", "Ambient"));
  s = Tune("anon/2.mp3", "Seven", "Half Named", "", "Ambient");
  s.album_artist = "Someone";
  songs.push_back(s);
  songs.push_back(Tune("raw/1.mp3", "Eight", "Raw Album", "Caf\xe9", "Bad\xff"));
  songs.push_back(Tune("raw/2.mp3", "Nine", "Raw\xfe", "Beta", "Ambient"));
  for (int n = 0; n < kBulkAlbums; ++n)
    songs.push_back(
        Tune("bulk/" + std::to_string(n) + ".mp3", "Bulk", BulkAlbum(n), "Many", "Bulk"));
  return songs;
}

class Browse : public LibrarySuite {
 protected:
  static void SetUpTestSuite() {
    OpenLibrary(Songs());
    // Albums added one after another: Bulk 000 first, Bulk 119 last. A full
    // run brings the summaries up to date (an incremental one that finds no
    // file changed leaves them as they are).
    instance_->Sql(
        "UPDATE song SET create_date = 1000000 + CAST(substr(album, 6) AS INTEGER) "
        "WHERE album LIKE 'Bulk %'; UPDATE song SET create_date = 10 "
        "WHERE album NOT LIKE 'Bulk %'");
    instance_->Index(true);
  }
  static void TearDownTestSuite() { CloseLibrary(); }

  static CgiResult Get(const std::string& query) {
    CgiResult r = harness::Enumerate(*instance_, *session_, query);
    EXPECT_TRUE(r.has_json) << query << ": " << r.out;
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(r.json["items"].size(), r.json["total"].asUInt()) << query;
    return r;
  }
  static Names NamesOf(const std::string& query) {
    CgiResult r = Get(query);
    EXPECT_TRUE(r.json["success"].asBool()) << query << ": " << r.body;
    return Column(r.json, "name");
  }
  static Names Latest(int count) {
    Names names;
    for (int n = kBulkAlbums - 1; n >= 0 && static_cast<int>(names.size()) < count; --n)
      names.push_back(BulkAlbum(n));
    return names;
  }
};

TEST_F(Browse, ArtistsInSortKeyOrderWithoutInvalidText) {
  CgiResult r = Get("action=artist_enum");
  EXPECT_TRUE(r.json["success"].asBool());
  Names names = Column(r.json, "name");
  // Each item has the name only.
  for (const Json::Value& item : r.json["items"]) EXPECT_EQ(Names{"name"}, item.getMemberNames());
  auto at = [&](const std::string& n) {
    return std::find(names.begin(), names.end(), n) - names.begin();
  };
  ASSERT_LT(at("The Alpha Band"), static_cast<long>(names.size()));
  EXPECT_LT(at("The Alpha Band"), at("Beta"));  // sorted as "Alpha Band, The"
  EXPECT_LT(at("Beta"), at("John Doe"));
  EXPECT_LT(at("John Doe"), at("Zed"));
  EXPECT_EQ(names.end(), std::find(names.begin(), names.end(), "Caf\xe9"));
  EXPECT_TRUE(harness::Logged(r.log, kErr, "artist Caf\xe9 is not valid utf8"));
}

TEST_F(Browse, AllAlbumsInCaseFoldedOrder) {
  Names expected = {"alpha album", "Blue Train"};
  for (int n = 0; n < kBulkAlbums; ++n) expected.push_back(BulkAlbum(n));
  for (const char* a :
       {"Giant Steps", "Half Named", "Nameless", "Raw Album", "Rock 'n' Roll", "Zed's Dead"})
    expected.push_back(a);
  CgiResult r = Get("action=album_enum");
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ(expected, Column(r.json, "name"));
  EXPECT_TRUE(harness::Logged(r.log, kErr, "album Raw\xfe is not valid utf8"));
}

TEST_F(Browse, AlbumsOfAnArtistIncludeThoseAsAlbumArtist) {
  EXPECT_EQ((Names{"Blue Train", "Giant Steps"}),
            NamesOf("action=album_enum&artist_name=" + Encode("john doe")));
}

TEST_F(Browse, AlbumsOfAnEmptyArtistNeedBothArtistsEmpty) {
  EXPECT_EQ((Names{"Nameless"}), NamesOf("action=album_enum&artist_name="));
}

TEST_F(Browse, ArtistWinsOverGenre) {
  EXPECT_EQ((Names{"Zed's Dead"}), NamesOf("action=album_enum&artist_name=Zed&genre_name=Jazz"));
}

TEST_F(Browse, AlbumsOfAGenre) {
  EXPECT_EQ((Names{"alpha album", "Rock 'n' Roll", "Zed's Dead"}),
            NamesOf("action=album_enum&genre_name=Rock"));
}

TEST_F(Browse, AQuoteInANameIsAValue) {
  EXPECT_EQ((Names{"Rock 'n' Roll"}),
            NamesOf("action=album_enum&artist_name=" + Encode("O'Brien")));
  EXPECT_EQ((Names{}), NamesOf("action=album_enum&artist_name=" + Encode("x') OR ('1'='1")));
}

TEST_F(Browse, LatestAlbums) {
  EXPECT_EQ(Latest(7), NamesOf("action=album_enum&latest_album=7"));
  EXPECT_EQ(Latest(1), NamesOf("action=album_enum&latest_album=1"));
  for (const char* value : {"0", "-5", "abc", ""}) {
    Names names = NamesOf(std::string("action=album_enum&latest_album=") + value);
    EXPECT_EQ(100u, names.size()) << value;
    EXPECT_EQ(Latest(100), names) << value;
  }
}

TEST_F(Browse, GenresWithoutInvalidText) {
  CgiResult r = Get("action=genre_enum");
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ((Names{"Ambient", "Bulk", "Jazz", "Rock"}), Column(r.json, "name"));
  EXPECT_TRUE(harness::Logged(r.log, kErr, "genre Bad\xff is not valid utf8"));
}

TEST(BrowseEmpty, AnEmptyLibraryAnswersNothingSuccessfully) {
  LibraryInstance instance;
  instance.Index();
  std::string session = instance.AddUser("alice");
  for (const char* query :
       {"action=artist_enum", "action=album_enum", "action=genre_enum",
        "action=album_enum&latest_album=5", "action=album_enum&genre_name=Rock"}) {
    CgiResult r = harness::Enumerate(instance, session, query);
    ASSERT_TRUE(r.has_json) << query;
    EXPECT_TRUE(r.json["success"].asBool()) << query;
    EXPECT_TRUE(r.json["items"].isArray()) << query;
    EXPECT_EQ(0u, r.json["items"].size()) << query;
    EXPECT_EQ(0u, r.json["total"].asUInt()) << query;
  }
}

}  // namespace
