// cantora-admin radio: edits of the station lists as the gateway then shows
// them, input checking, and the refresh of a genre against a local server.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/support/blackbox.h"
#include "tests/support/harness.h"
#include "tests/support/recorded_server.h"

namespace {

using namespace blackbox;

class RadioAdminTest : public ::testing::Test {
 protected:
  RadioAdminTest() : server(std::string(CANTORA_SOURCE_DIR) + "/tests/data/radio") {
    PointDirectoryAt("http://127.0.0.1:" + std::to_string(testserver::ClosedPort()) + "/");
  }
  void PointDirectoryAt(const std::string& url) {
    std::ofstream(instance.config(), std::ios::app) << "shoutcast_url = " << url << "\n";
  }
  Json::Value Listed(const std::string& kind) {
    CommandResult r = instance.Admin({"radio", "list", kind});
    EXPECT_EQ(r.status, 0) << r.err;
    Json::Value list;
    Json::Reader().parse(r.out, list);
    return list;
  }
  std::vector<std::string> Names(const std::string& kind) {
    std::vector<std::string> names;
    const Json::Value list = Listed(kind);
    for (const Json::Value& s : list["stations"]) names.push_back(s["name"].asString());
    return names;
  }
  // One line on stderr, and a non-zero status.
  void ExpectRefused(const CommandResult& r, const std::string& words) {
    EXPECT_NE(r.status, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_NE(r.err.find(words), std::string::npos) << r.err;
  }

  Instance instance;
  testserver::RecordedServer server;
};

using Strings = std::vector<std::string>;

const char* const kTwo = R"([{"name": "A", "url": "http://127.0.0.1/a", "desc": "a", "bitrate": "128"},
                             {"name": "B", "url": "http://127.0.0.1/b", "desc": "b", "bitrate": "64"}])";

TEST_F(RadioAdminTest, DemoFavoritesShowInRadioEnum) {
  std::string file = std::string(CANTORA_SOURCE_DIR) + "/deploy/demo/favorites.json";
  CommandResult r = instance.Admin({"radio", "add", "favorite", file});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "3 stations in the favorite list\n");
  std::string session = instance.AddUser("bob");
  harness::CgiResult answer =
      harness::Enumerate(instance, session, "action=radio_enum&id=inetradio_favorite");
  ASSERT_TRUE(answer.has_json) << answer.out;
  EXPECT_EQ(answer.json["total"].asUInt(), 3u);
  EXPECT_EQ(answer.json["items"][0]["title"], Json::Value("Demo Jazz Lounge"));
  EXPECT_EQ(answer.json["items"][0]["bitrate"].asInt(), 128000);
}

TEST_F(RadioAdminTest, AddFromStdinArrayOrObject) {
  ASSERT_EQ(instance.Admin({"radio", "add", "userdefined"}, kTwo).status, 0);
  CommandResult r = instance.Admin({"radio", "add", "userdefined", "-"},
                                   R"({"stations": [{"name": "C", "url": "u", "desc": ""}]})");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Names("userdefined"), (Strings{"A", "B", "C"}));
  EXPECT_EQ(Listed("userdefined")["total"].asInt(), 3);
  EXPECT_EQ(Names("favorite"), Strings{});
}

TEST_F(RadioAdminTest, UpdateKeepsMembersLeftOut) {
  ASSERT_EQ(instance.Admin({"radio", "add", "favorite"}, kTwo).status, 0);
  CommandResult r = instance.Admin({"radio", "update", "favorite", "1"}, R"({"name": "B2"})");
  ASSERT_EQ(r.status, 0) << r.err;
  Json::Value list = Listed("favorite");
  EXPECT_EQ(list["stations"][1]["name"], Json::Value("B2"));
  EXPECT_EQ(list["stations"][1]["url"], Json::Value("http://127.0.0.1/b"));
}

TEST_F(RadioAdminTest, DeleteAndReplace) {
  ASSERT_EQ(instance.Admin({"radio", "add", "favorite"}, kTwo).status, 0);
  ASSERT_EQ(instance.Admin({"radio", "add", "favorite"}, kTwo).status, 0);
  CommandResult r = instance.Admin({"radio", "delete", "favorite", "2,0"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "2 stations in the favorite list\n");
  EXPECT_EQ(Names("favorite"), (Strings{"B", "B"}));
  r = instance.Admin({"radio", "replace", "favorite", "1", "0"},
                     R"([{"title": "X", "url": "http://127.0.0.1/x", "desc": "x"}])");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Names("favorite"), (Strings{"B", "X", "B"}));
}

TEST_F(RadioAdminTest, BadInputIsOneLineAndFailure) {
  ASSERT_EQ(instance.Admin({"radio", "add", "favorite"}, kTwo).status, 0);
  const std::string before = Listed("favorite").toStyledString();
  ExpectRefused(instance.Admin({"radio", "list", "shoutcast"}), "unknown list 'shoutcast'");
  ExpectRefused(instance.Admin({"radio", "add", "favorite"}, "[{\"name\": "), "malformed JSON");
  ExpectRefused(instance.Admin({"radio", "add", "favorite"}, "[1]"), "not a JSON object");
  ExpectRefused(instance.Admin({"radio", "add", "favorite"}, std::string(2000, '[')), "malformed JSON");
  // Clients show a station's name and play its url: both must be texts.
  ExpectRefused(instance.Admin({"radio", "add", "favorite"}, R"([{"name": 42, "url": "http://a/"}])"),
                "station 0: \"name\" must be a text");
  ExpectRefused(instance.Admin({"radio", "add", "favorite"}, R"([{"name": "A"}])"),
                "station 0: \"url\" must be a text");
  ExpectRefused(instance.Admin({"radio", "add", "favorite"},
                               R"([{"name": "A", "url": "http://a/", "desc": ["x"]}])"),
                "\"desc\" must be a text when given");
  ExpectRefused(instance.Admin({"radio", "update", "favorite", "0"}, R"({"name": 7})"),
                "\"name\" must be a text");
  ExpectRefused(instance.Admin({"radio", "replace", "favorite", "0", "1"}, R"([{"title": 1.5, "url": "u"}])"),
                "item 0: \"title\" must be a text");
  ExpectRefused(instance.Admin({"radio", "replace", "favorite", "0", "1"}, std::string(2000, '[')),
                "malformed JSON");
  ExpectRefused(instance.Admin({"radio", "add", "favorite", "/nonexistent.json"}), "cannot read");
  ExpectRefused(instance.Admin({"radio", "update", "favorite", "2"}, "{}"), "out of range");
  ExpectRefused(instance.Admin({"radio", "update", "favorite", "one"}, "{}"), "INDEX");
  ExpectRefused(instance.Admin({"radio", "delete", "favorite", "5"}), "out of range");
  ExpectRefused(instance.Admin({"radio", "delete", "favorite", "x"}), "not an index");
  ExpectRefused(instance.Admin({"radio", "delete", "favorite", ","}), "no index");
  ExpectRefused(instance.Admin({"radio", "replace", "favorite", "0"}, "[]"), "START and COUNT");
  ExpectRefused(instance.Admin({"radio", "replace", "favorite", "0", "1"}, "{}"), "array");
  ExpectRefused(instance.Admin({"radio", "frobnicate"}), "unknown command");
  ExpectRefused(instance.Admin({"radio", "refresh", "hip hop"}), "unknown genre");
  EXPECT_EQ(Listed("favorite").toStyledString(), before);
}

TEST_F(RadioAdminTest, BrokenListIsReported) {
  std::ofstream(instance.Path("usr/zarn/etc/radio/favorite.json")) << "{";
  ExpectRefused(instance.Admin({"radio", "list", "favorite"}), "does not parse");
}

TEST_F(RadioAdminTest, HelpEverywhere) {
  for (const Strings& args : {Strings{"radio", "--help"}, Strings{"radio", "add", "--help"},
                              Strings{"radio", "refresh", "-h"}}) {
    CommandResult r = instance.Admin(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("usage: cantora-admin radio"), std::string::npos);
  }
}

TEST_F(RadioAdminTest, RefreshReportsTheStationCount) {
  ASSERT_TRUE(server.ok());
  PointDirectoryAt(server.Url("/normal"));
  CommandResult r = instance.Admin({"radio", "refresh", "Hip Hop"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "4 stations in Hip Hop\n");
  std::ifstream in(instance.Path("usr/zarn/etc/radio/shoutcast_Hip Hop.json"));
  EXPECT_TRUE(in.good());
}

TEST_F(RadioAdminTest, FailedRefreshIsAFailure) {
  PointDirectoryAt(server.Url("/malformed"));
  CommandResult r = instance.Admin({"radio", "refresh", "Jazz"});
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.err.find("cantora-admin: radio refresh: the refresh of Jazz failed"), std::string::npos)
      << r.err;
}

}  // namespace
