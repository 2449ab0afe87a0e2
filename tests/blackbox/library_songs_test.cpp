// song_enum and the song item, through enumerate.cgi on an indexed library.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

std::vector<fixture::Song> Songs() {
  std::vector<fixture::Song> songs;
  auto add = [&](fixture::Song s) { songs.push_back(std::move(s)); };
  fixture::Song s =
      Tune("Blue Train/02 Moment.mp3", "Moment's Notice", "Blue Train", "John Doe", "Jazz");
  s.track = 2;
  s.disc = 1;
  add(s);
  s = Tune("Blue Train/01 Blue.flac", "Blue Train", "Blue Train", "John Doe", "Jazz");
  s.disc = 1;
  add(s);
  s = Tune("Blue Train/00 Lazy.ogg", "Lazy Bird", "Blue Train", "John Doe", "Jazz");
  s.disc = 2;
  add(s);
  s = Tune("Blue Train/03 Guest.m4a", "Guest Spot", "Blue Train", "Guest Player", "Jazz");
  s.album_artist = "John Doe";
  s.track = 3;
  s.disc = 1;
  add(s);
  add(Tune("Apple/01 Pie.mp3", "Pie", "apple pie", "Zed", "Jazz"));
  add(Tune("Apple/02 Crumble.opus", "Crumble", "apple pie", "Zed", "Jazz"));
  add(Tune("OBrien/01.mp3", "Say \"Hi\"", "Rock 'n' Roll", "O'Brien", "Rock"));
  add(Tune("Slash/01.wv", "Back", "Back\\slash", "AC\\DC Tribute", "Rock"));
  add(Tune("Unknown/01.wav", "Nobody's", "Anonymous", "", "Ambient"));
  s = Tune("Unknown/02.mp3", "Half Known", "Anonymous", "", "Ambient");
  s.album_artist = "Someone";
  add(s);
  s = Tune("Raw/01.mp3", "Raw Comment", "Raw", "Raw Artist", "Raw");
  s.comment = "\xff\xfe";
  s.composer = "caf\xe9";
  add(s);
  s = Tune("Raw/02.mp3", "Raw Genre", "Raw", "Raw Artist", "Bad\xff");
  add(s);
  s = Tune("Long/59.wav", "Almost a Minute", "Durations", "Timer", "Test");
  s.seconds = 59.9;
  s.composer = "Clock Maker";
  s.comment = "exactly 59.9 s";
  s.year = 2001;
  add(s);
  s = Tune("Long/huge.mp3", "Huge", "Durations", "Timer", "Test");
  s.sparse_size = 4400000000LL;
  add(s);
  s = Tune("Covers/two.flac", "Painted", "Covered", "Painter", "Art");
  s.covers = 2;
  add(s);
  add(Tune("Gone/01.mp3", "Stays", "Vanishing", "Ghost", "Ghostly"));
  add(Tune("Gone/02.mp3", "Goes", "Vanishing", "Ghost", "Ghostly"));
  return songs;
}

class SongEnum : public LibrarySuite {
 protected:
  static void SetUpTestSuite() {
    OpenLibrary(Songs());
    // A file deleted after indexing.
    unlink((instance_->music() + "/Gone/02.mp3").c_str());
  }
  static void TearDownTestSuite() { CloseLibrary(); }

  static CgiResult Get(const std::string& query) {
    return harness::Enumerate(*instance_, *session_, "action=song_enum&" + query);
  }

  static std::string MusicPath(const std::string& file) { return instance_->music() + "/" + file; }
};

void ExpectConsistent(const CgiResult& r) {
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(0, r.status);
  ASSERT_TRUE(r.json["items"].isArray());
  ASSERT_TRUE(r.json["total"].isUInt());
  EXPECT_EQ(r.json["items"].size(), r.json["total"].asUInt());
}

TEST_F(SongEnum, AlbumInDiscTrackPathOrder) {
  CgiResult r = Get("album_name=" + Encode("Blue Train"));
  ExpectConsistent(r);
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ((std::vector<std::string>{"Blue Train", "Moment's Notice", "Guest Spot", "Lazy Bird"}),
            Column(r.json, "title"));
  EXPECT_EQ("text/plain; charset=\"UTF-8\"", r.headers["Content-Type"]);
}

TEST_F(SongEnum, NoLibraryParameterMeansShared) {
  CgiResult plain = Get("album_name=" + Encode("Blue Train"));
  CgiResult shared = Get("library=shared&album_name=" + Encode("Blue Train"));
  EXPECT_EQ(4u, plain.json["total"].asUInt());
  EXPECT_EQ(plain.json, shared.json);
}

TEST_F(SongEnum, ArtistMatchesArtistOrAlbumArtistInAnyCase) {
  CgiResult r = Get("artist_name=" + Encode("john doe"));
  ExpectConsistent(r);
  EXPECT_EQ((std::vector<std::string>{"Blue Train", "Moment's Notice", "Guest Spot", "Lazy Bird"}),
            Column(r.json, "title"));
}

TEST_F(SongEnum, AlbumAndArtistTogether) {
  CgiResult r =
      Get("album_name=" + Encode("Blue Train") + "&artist_name=" + Encode("Guest Player"));
  EXPECT_EQ((std::vector<std::string>{"Guest Spot"}), Column(r.json, "title"));
}

TEST_F(SongEnum, GenreOrderedByCaseFoldedAlbum) {
  CgiResult r = Get("genre_name=Jazz");
  ExpectConsistent(r);
  EXPECT_EQ((std::vector<std::string>{"Pie", "Crumble", "Blue Train", "Moment's Notice",
                                      "Guest Spot", "Lazy Bird"}),
            Column(r.json, "title"));
}

TEST_F(SongEnum, GenreAndArtistListTheWholeGenre) {
  CgiResult r = Get("genre_name=Jazz&artist_name=Zed");
  EXPECT_EQ(6u, r.json["total"].asUInt());
  CgiResult both = Get("genre_name=Jazz&album_name=" + Encode("apple pie") + "&artist_name=Nobody");
  EXPECT_EQ((std::vector<std::string>{"Pie", "Crumble"}), Column(both.json, "title"));
}

TEST_F(SongEnum, EmptyArtistFindsOnlySongsWithoutArtistAndAlbumArtist) {
  CgiResult r = Get("artist_name=");
  ExpectConsistent(r);
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ((std::vector<std::string>{"Nobody's"}), Column(r.json, "title"));
}

TEST_F(SongEnum, EmptyAlbumCountsAsPresent) {
  CgiResult r = Get("album_name=");
  ExpectConsistent(r);
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ(0u, r.json["total"].asUInt());
  EXPECT_FALSE(
      harness::Logged(r.log, kErr, "enumerate (1239) Enumeration of songs parameters error."));
}

TEST_F(SongEnum, NoParametersIsAnErrorWithItsLogLine) {
  CgiResult r = Get("library=shared");
  ExpectConsistent(r);
  EXPECT_TRUE(r.json.isMember("success"));
  EXPECT_FALSE(r.json["success"].asBool());
  EXPECT_EQ(0u, r.json["total"].asUInt());
  EXPECT_TRUE(
      harness::Logged(r.log, kErr, "enumerate (1239) Enumeration of songs parameters error."));
}

TEST_F(SongEnum, EmptyResultIsASuccess) {
  CgiResult r = Get("album_name=" + Encode("No Such Album"));
  ExpectConsistent(r);
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ(0u, r.json["total"].asUInt());
}

TEST_F(SongEnum, QuotesAndBackslashesAreValuesNotSyntax) {
  CgiResult r = Get("artist_name=" + Encode("O'Brien"));
  ExpectConsistent(r);
  EXPECT_EQ((std::vector<std::string>{"Say \"Hi\""}), Column(r.json, "title"));
  r = Get("album_name=" + Encode("Rock 'n' Roll"));
  EXPECT_EQ((std::vector<std::string>{"Say \"Hi\""}), Column(r.json, "title"));
  r = Get("album_name=" + Encode("Back\\slash"));
  EXPECT_EQ((std::vector<std::string>{"Back"}), Column(r.json, "title"));
  r = Get("artist_name=" + Encode("AC\\DC Tribute"));
  EXPECT_EQ((std::vector<std::string>{"Back"}), Column(r.json, "title"));
  r = Get("album_name=" + Encode("x' OR '1'='1"));
  ExpectConsistent(r);
  EXPECT_EQ(0u, r.json["total"].asUInt());
}

TEST_F(SongEnum, AnOverlongConditionIsCutNotRefused) {
  CgiResult r = Get("album_name=" + std::string(5000, 'x'));
  ExpectConsistent(r);
  EXPECT_EQ(0u, r.json["total"].asUInt());
  EXPECT_FALSE(
      harness::Logged(r.log, kErr, "enumerate (1239) Enumeration of songs parameters error."));
}

TEST_F(SongEnum, SongItemMembersInOrder) {
  CgiResult r = Get("album_name=Durations");
  ExpectConsistent(r);
  ASSERT_EQ(2u, r.json["total"].asUInt());
  const Json::Value& item = r.json["items"][0];
  std::vector<std::string> keys = {"path",       "title",     "album",       "artist",   "genre",
                                   "duration",   "frequency", "bitrate",     "channel",  "filesize",
                                   "covercount", "id",        "albumartist", "composer", "year",
                                   "track",      "disc",      "comment"};
  std::sort(keys.begin(), keys.end());
  EXPECT_EQ(keys, item.getMemberNames());
  struct stat st;
  ASSERT_EQ(0, stat(MusicPath("Long/59.wav").c_str(), &st));
  EXPECT_EQ(MusicPath("Long/59.wav"), item["path"].asString());
  EXPECT_EQ("Almost a Minute", item["title"].asString());
  EXPECT_EQ("Durations", item["album"].asString());
  EXPECT_EQ("Timer", item["artist"].asString());
  EXPECT_EQ("Test", item["genre"].asString());
  EXPECT_EQ("59", item["duration"].asString());  // 59.9 s, cut toward zero
  EXPECT_EQ("8000", item["frequency"].asString());
  EXPECT_EQ("128000", item["bitrate"].asString());
  EXPECT_EQ("1", item["channel"].asString());
  EXPECT_EQ(std::to_string(st.st_size), item["filesize"].asString());
  EXPECT_TRUE(item["covercount"].isInt());
  EXPECT_FALSE(item["covercount"].isString());
  EXPECT_EQ(0, item["covercount"].asInt());
  EXPECT_TRUE(item["id"].isString());
  EXPECT_EQ(std::string::npos, item["id"].asString().find_first_not_of("0123456789"));
  EXPECT_EQ("", item["albumartist"].asString());
  EXPECT_EQ("Clock Maker", item["composer"].asString());
  EXPECT_EQ("2001", item["year"].asString());
  EXPECT_EQ("1", item["track"].asString());
  EXPECT_EQ("0", item["disc"].asString());
  EXPECT_EQ("exactly 59.9 s", item["comment"].asString());
}

TEST_F(SongEnum, FileSizeAboveFourGiBInFull) {
  CgiResult r = Get("album_name=Durations");
  ASSERT_EQ(2u, r.json["total"].asUInt());
  EXPECT_EQ("Huge", r.json["items"][1]["title"].asString());
  EXPECT_EQ("4400000000", r.json["items"][1]["filesize"].asString());
}

TEST_F(SongEnum, CoverCountIsANumber) {
  CgiResult r = Get("album_name=Covered");
  ASSERT_EQ(1u, r.json["total"].asUInt());
  EXPECT_TRUE(r.json["items"][0]["covercount"].isInt());
  EXPECT_EQ(2, r.json["items"][0]["covercount"].asInt());
}

TEST_F(SongEnum, InvalidUtf8InCommentOrComposerIsListedInGenreIsNot) {
  CgiResult r = Get("album_name=Raw");
  ExpectConsistent(r);
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ((std::vector<std::string>{"Raw Comment"}), Column(r.json, "title"));
  EXPECT_TRUE(harness::Logged(r.log, kErr, "MediaInfo contains invalid utf8"));
}

TEST_F(SongEnum, AFileDeletedAfterIndexingIsLeftOutSilently) {
  CgiResult r = Get("album_name=Vanishing");
  ExpectConsistent(r);
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ((std::vector<std::string>{"Stays"}), Column(r.json, "title"));
  for (const harness::LogLine& line : r.log) ADD_FAILURE() << "unexpected log line: " << line.text;
}

TEST_F(SongEnum, WithoutASessionNothingIsWritten) {
  CgiResult r = harness::Enumerate(*instance_, "", "action=song_enum&album_name=Raw");
  EXPECT_EQ(0, r.status);
  EXPECT_EQ("", r.out);
}

}  // namespace
