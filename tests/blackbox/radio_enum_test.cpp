// radio_enum through enumerate.cgi: the three levels, the answers of every
// failure and their log lines, and the genre cache refresh through the
// helper program against a local directory server.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>

#include <ctime>
#include <fstream>

#include "tests/support/blackbox.h"
#include "tests/support/harness.h"
#include "tests/support/recorded_server.h"

namespace {

using namespace blackbox;

class RadioEnumTest : public ::testing::Test {
 protected:
  RadioEnumTest() {
    // Nothing in these tests may reach the real directory.
    PointDirectoryAt("http://127.0.0.1:" + std::to_string(testserver::ClosedPort()) + "/");
  }

  void PointDirectoryAt(const std::string& url) {
    std::ofstream(instance.config(), std::ios::app)
        << "shoutcast_url = " << url << "\n"
        << "shoutcast_tune_url = http://tune.invalid/?id=\n"
        << "radio_timeout = 2\n";
  }
  std::string RadioPath(const std::string& name) const {
    return instance.Path("usr/zarn/etc/radio/" + name);
  }
  void WriteRadio(const std::string& name, const std::string& text) const {
    std::ofstream(RadioPath(name), std::ios::binary) << text;
  }
  void SetAge(const std::string& name, long seconds) const {
    struct timespec times[2] = {{time(nullptr), 0}, {time(nullptr) - seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, RadioPath(name).c_str(), times, 0), 0);
  }
  CgiResult Radio(const std::string& id) const {
    return harness::Enumerate(instance, session, "action=radio_enum&id=" + Encode(id));
  }

  Instance instance;
  std::string session = instance.AddUser("alice");
};

const char* const kThreeStations = R"({
  "stations": [
    {"name": "One", "url": "http://127.0.0.1/one", "desc": "first", "bitrate": "128"},
    {"name": "Two", "url": "http://127.0.0.1/two", "desc": "second", "bitrate": 64000},
    {"name": "Three", "url": "http://127.0.0.1/three", "desc": "third", "bitrate": "320"}
  ],
  "total": 10
})";

void ExpectFailure(const CgiResult& r) {
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.json["success"], Json::Value(false));
  EXPECT_TRUE(r.json["items"].isArray());
  EXPECT_EQ(r.json["items"].size(), 0u);
  EXPECT_EQ(r.json["total"].asUInt(), 0u);
}

std::vector<std::string> Titles(const CgiResult& r) {
  std::vector<std::string> titles;
  for (const Json::Value& item : r.json["items"]) titles.push_back(item["title"].asString());
  return titles;
}

TEST_F(RadioEnumTest, RootListsTheThreeSources) {
  for (CgiResult r : {harness::Enumerate(instance, session, "action=radio_enum"), Radio("")}) {
    ASSERT_TRUE(r.has_json) << r.out;
    EXPECT_EQ(r.headers["Content-Type"], "text/plain; charset=\"UTF-8\"");
    EXPECT_EQ(r.json["success"], Json::Value(true));
    EXPECT_EQ(r.json["total"].asUInt(), 3u);
    ASSERT_EQ(r.json["items"].size(), 3u);
    const char* ids[] = {"inetradio_sc", "inetradio_userdefined", "inetradio_favorite"};
    const char* titles[] = {"SHOUTcast(TM)", "user defined", "favorite"};
    for (unsigned i = 0; i < 3; ++i) {
      const Json::Value& item = r.json["items"][i];
      EXPECT_EQ(item["id"], Json::Value(ids[i]));
      EXPECT_EQ(item["title"], Json::Value(titles[i]));
      EXPECT_EQ(item["is_container"], Json::Value(true));
      EXPECT_EQ(item.size(), 3u);
    }
    EXPECT_TRUE(r.log.empty());
  }
}

TEST_F(RadioEnumTest, ShoutcastListsTheTwentySixGenresInTableOrder) {
  CgiResult r = Radio("inetradio_sc");
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.json["success"], Json::Value(true));
  EXPECT_EQ(r.json["total"].asUInt(), 26u);
  ASSERT_EQ(r.json["items"].size(), 26u);
  std::vector<std::string> titles = Titles(r);
  EXPECT_EQ(titles.front(), "Alternative");
  EXPECT_EQ(titles[8], "Hip Hop");
  EXPECT_EQ(titles[9], "Rap");
  EXPECT_EQ(titles[18], "R&B");
  EXPECT_EQ(titles.back(), "Themes");
  for (const Json::Value& item : r.json["items"]) {
    EXPECT_EQ(item["id"].asString(), "inetradio_genre_" + item["title"].asString());
    EXPECT_EQ(item["is_container"], Json::Value(true));
  }
}

TEST_F(RadioEnumTest, ShoutcastIdIsComparedWhole) {
  CgiResult r = Radio("inetradio_scx");
  ExpectFailure(r);
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate (1196) bad radio type id =inetradio_scx"));
}

TEST_F(RadioEnumTest, UnknownIdFails) {
  CgiResult r = Radio("xyz");
  ExpectFailure(r);
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate (1196) bad radio type id =xyz"));
  EXPECT_EQ(r.log.size(), 1u);
}

TEST_F(RadioEnumTest, GenreIdWithoutGenreAsksForGenreGenre) {
  CgiResult r = Radio("inetradio_genre");
  ExpectFailure(r);
  EXPECT_TRUE(Logged(r.log, kErr, "radiolist:316 Failed to get SHOUTcast index by genre [genre]"));
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate (1179) cannot find shoutcast genre: genre."));
}

TEST_F(RadioEnumTest, GenreIdEndingInUnderscoreFails) {
  CgiResult r = Radio("inetradio_genre_");
  ExpectFailure(r);
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate (1174) bad genre id: inetradio_genre_."));
}

TEST_F(RadioEnumTest, CachedGenreStations) {
  WriteRadio("shoutcast_Hip Hop.json", kThreeStations);
  SetAge("shoutcast_Hip Hop.json", 60);
  CgiResult r = Radio("inetradio_genre_Hip Hop");
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.json["success"], Json::Value(true));
  // The file says 10; the answer counts what it sends.
  EXPECT_EQ(r.json["total"].asUInt(), 3u);
  ASSERT_EQ(r.json["items"].size(), 3u);
  const Json::Value& first = r.json["items"][0];
  EXPECT_EQ(first["id"], Json::Value("inetradio_genre_Hip Hop 0"));
  EXPECT_EQ(first["title"], Json::Value("One"));
  EXPECT_EQ(first["desc"], Json::Value("first"));
  EXPECT_EQ(first["path"], Json::Value("http://127.0.0.1/one"));
  EXPECT_EQ(first["bitrate"].asInt(), 128000);
  EXPECT_EQ(first["is_container"], Json::Value(false));
  EXPECT_EQ(first.size(), 6u);
  EXPECT_EQ(r.json["items"][1]["bitrate"].asInt(), 64000);
  EXPECT_EQ(r.json["items"][2]["id"], Json::Value("inetradio_genre_Hip Hop 2"));
  EXPECT_TRUE(r.log.empty());
}

TEST_F(RadioEnumTest, QueryFormOfAGenreIsUnknown) {
  WriteRadio("shoutcast_Hip Hop.json", kThreeStations);
  CgiResult r = Radio("inetradio_genre_Hip%20Hop");
  ExpectFailure(r);
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate (1179) cannot find shoutcast genre: Hip%20Hop."));
}

TEST_F(RadioEnumTest, MissingGenreCacheFails) {
  CgiResult r = Radio("inetradio_genre_Jazz");
  ExpectFailure(r);
  EXPECT_TRUE(Logged(r.log, kErr,
                     "radiolist:282 Failed to parse json file [" + RadioPath("shoutcast_Jazz.json") + "]"));
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate (1179) cannot find shoutcast genre: Jazz."));
}

TEST_F(RadioEnumTest, FavoriteStationsAndTheirIds) {
  WriteRadio("favorite.json", kThreeStations);
  CgiResult r = Radio("inetradio_favorite");
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.json["success"], Json::Value(true));
  EXPECT_EQ(Titles(r), (std::vector<std::string>{"One", "Two", "Three"}));
  EXPECT_EQ(r.json["items"][2]["id"], Json::Value("inetradio_favorite 2"));
  EXPECT_EQ(r.json["total"].asUInt(), 3u);
}

TEST_F(RadioEnumTest, FavoritePrefixWithMoreTextIsTheFavoriteList) {
  WriteRadio("favorite.json", kThreeStations);
  CgiResult r = Radio("inetradio_favorite_more 7");
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.json["success"], Json::Value(true));
  ASSERT_EQ(r.json["items"].size(), 3u);
  EXPECT_EQ(r.json["items"][1]["id"], Json::Value("inetradio_favorite_more 7 1"));
}

TEST_F(RadioEnumTest, UserDefinedStations) {
  WriteRadio("userdef.json", kThreeStations);
  CgiResult r = Radio("inetradio_userdefined");
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(Titles(r), (std::vector<std::string>{"One", "Two", "Three"}));
  EXPECT_EQ(r.json["items"][0]["id"], Json::Value("inetradio_userdefined 0"));
}

TEST_F(RadioEnumTest, AbsentUserListsAreEmptyAndSucceed) {
  for (const char* id : {"inetradio_favorite", "inetradio_userdefined"}) {
    CgiResult r = Radio(id);
    ASSERT_TRUE(r.has_json) << r.out;
    EXPECT_EQ(r.json["success"], Json::Value(true)) << id;
    EXPECT_EQ(r.json["items"].size(), 0u) << id;
    EXPECT_TRUE(r.json["items"].isArray()) << id;
    EXPECT_EQ(r.json["total"].asUInt(), 0u) << id;
    EXPECT_TRUE(r.log.empty()) << id;
  }
}

TEST_F(RadioEnumTest, UnparsableUserListsFail) {
  WriteRadio("userdef.json", "{\"stations\": [");
  CgiResult r = Radio("inetradio_userdefined");
  ExpectFailure(r);
  EXPECT_TRUE(Logged(r.log, kErr,
                     "radiolist:387 Failed to parse json file [" + RadioPath("userdef.json") + "]"));
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate (1185) cannot get user defined station."));

  WriteRadio("favorite.json", "not json");
  r = Radio("inetradio_favorite");
  ExpectFailure(r);
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate (1191) cannot get favorite station."));
}

class RadioRefreshTest : public RadioEnumTest {
 protected:
  RadioRefreshTest() : server(std::string(CANTORA_SOURCE_DIR) + "/tests/data/radio") {}
  testserver::RecordedServer server;
};

TEST_F(RadioRefreshTest, StaleCacheIsRefreshedThroughTheDirectory) {
  ASSERT_TRUE(server.ok());
  PointDirectoryAt(server.Url("/normal"));
  WriteRadio("shoutcast_Hip Hop.json", kThreeStations);
  SetAge("shoutcast_Hip Hop.json", 86400);
  CgiResult r = Radio("inetradio_genre_Hip Hop");
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.json["success"], Json::Value(true));
  EXPECT_EQ(Titles(r), (std::vector<std::string>{"Test Beats One", "Test Beats Two",
                                                 "Test Beats Three", "Test Beats Five"}));
  EXPECT_EQ(r.json["items"][0]["path"], Json::Value("http://tune.invalid/?id=1001"));
  EXPECT_EQ(r.json["items"][0]["bitrate"].asInt(), 128000);
  ASSERT_EQ(server.Requests().size(), 1u);
  EXPECT_NE(server.Requests()[0].find("genrename=Hip%20Hop"), std::string::npos);
}

TEST_F(RadioRefreshTest, FreshCacheIsNotRefreshed) {
  PointDirectoryAt(server.Url("/normal"));
  WriteRadio("shoutcast_Hip Hop.json", kThreeStations);
  SetAge("shoutcast_Hip Hop.json", 86000);
  CgiResult r = Radio("inetradio_genre_Hip Hop");
  EXPECT_EQ(Titles(r), (std::vector<std::string>{"One", "Two", "Three"}));
  EXPECT_TRUE(server.Requests().empty());
}

TEST_F(RadioRefreshTest, FailedRefreshServesTheOldCache) {
  PointDirectoryAt(server.Url("/status/500"));
  WriteRadio("shoutcast_Hip Hop.json", kThreeStations);
  SetAge("shoutcast_Hip Hop.json", 3 * 86400);
  CgiResult r = Radio("inetradio_genre_Hip Hop");
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.json["success"], Json::Value(true));
  EXPECT_EQ(Titles(r), (std::vector<std::string>{"One", "Two", "Three"}));
  EXPECT_EQ(server.Requests().size(), 1u);
}

}  // namespace
