#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>

#include "platform/radio/store/radiolist.h"
#include "tests/unit/radio_root.h"

namespace {

// A list of stations named by names, in the file format.
std::string ListText(std::initializer_list<const char*> names) {
  Json::Value list;
  list["stations"] = Json::Value(Json::arrayValue);
  for (const char* name : names) {
    Json::Value station;
    station["name"] = name;
    station["url"] = std::string("http://127.0.0.1/") + name;
    station["desc"] = std::string("about ") + name;
    station["bitrate"] = "128";
    list["stations"].append(station);
  }
  list["total"] = list["stations"].size();
  return Json::StyledWriter().write(list);
}

std::vector<std::string> Names(const Json::Value& list) {
  std::vector<std::string> names;
  for (const Json::Value& station : list["stations"]) names.push_back(station["name"].asString());
  return names;
}

Json::Value Items(std::initializer_list<const char*> titles) {
  Json::Value items(Json::arrayValue);
  for (const char* title : titles) {
    Json::Value item;
    item["title"] = title;
    item["url"] = std::string("http://127.0.0.1/") + title;
    item["desc"] = "new";
    items.append(item);
  }
  return items;
}

using Strings = std::vector<std::string>;

TEST(RadioGenres, DisplayNamesMapToIndexAndCacheFile) {
  RadioRoot root;
  EXPECT_EQ(RadioShoutcastIndexByGenre("Hip Hop"), 8);
  std::string path;
  ASSERT_EQ(RadioShoutcastPathByIndex(8, path), 0);
  EXPECT_EQ(path, root.Path("shoutcast_Hip Hop.json"));
  ASSERT_EQ(RadioShoutcastPathByIndex(18, path), 0);
  EXPECT_EQ(path, root.Path("shoutcast_R&B.json"));
}

TEST(RadioGenres, OtherSpellingsAreUnknown) {
  EXPECT_EQ(RadioShoutcastIndexByGenre("hip hop"), -1);
  EXPECT_EQ(RadioShoutcastIndexByGenre("Hip%20Hop"), -1);
  EXPECT_EQ(RadioShoutcastIndexByGenre("RnB"), -1);
  EXPECT_EQ(RadioShoutcastIndexByGenre(nullptr), -1);
  EXPECT_EQ(RadioShoutcastIndexByGenre("Alternative"), 0);
  EXPECT_EQ(RadioShoutcastIndexByGenre("Themes"), 25);
}

TEST(RadioGenres, IndexRangeIsZeroToTwentyFive) {
  RadioRoot root;
  std::string path = "unchanged";
  EXPECT_EQ(RadioShoutcastPathByIndex(26, path), -1);
  EXPECT_EQ(path, "unchanged");
  EXPECT_EQ(RadioShoutcastPathByIndex(static_cast<unsigned>(-1), path), -1);
  ASSERT_EQ(RadioShoutcastPathByIndex(25, path), 0);
  EXPECT_EQ(path, root.Path("shoutcast_Themes.json"));
  Json::Value list;
  EXPECT_EQ(RadioShoutcastGetListByIndex(26, list, 0), -1);
}

TEST(RadioGenres, GenreListIsTheTableInOrder) {
  Json::Value genres;
  EXPECT_EQ(RadioShoutcastGenreList(genres), 0);
  ASSERT_TRUE(genres.isArray());
  ASSERT_EQ(genres.size(), 26u);
  EXPECT_EQ(genres[0].asString(), "Alternative");
  EXPECT_EQ(genres[8].asString(), "Hip Hop");
  EXPECT_EQ(genres[9].asString(), "Rap");
  EXPECT_EQ(genres[18].asString(), "R&B");
  EXPECT_EQ(genres[19].asString(), "Urban");
  EXPECT_EQ(genres[25].asString(), "Themes");
  for (unsigned i = 0; i < 26; ++i) EXPECT_EQ(genres[i].asString(), ShoutcastGenreTable[i][0]);
  EXPECT_STREQ(ShoutcastGenreTable[8][1], "Hip%20Hop");
  EXPECT_STREQ(ShoutcastGenreTable[18][1], "RnB");
  EXPECT_STREQ(ShoutcastGenreTable[5][1], "Easy");
}

TEST(RadioCache, OneSecondUnderADayIsFreshADayIsStale) {
  RadioRoot root;
  root.Write("shoutcast_Jazz.json", ListText({"a"}));
  const std::string path = root.Path("shoutcast_Jazz.json");
  // Set and check within one clock second, so that the age is exact.
  int fresh = -1;
  for (time_t set = 0; set != time(nullptr);) {
    set = root.SetAge("shoutcast_Jazz.json", 86399);
    fresh = RadioListIsExpired(path.c_str());
  }
  EXPECT_EQ(fresh, 0);
  root.SetAge("shoutcast_Jazz.json", 86400);
  EXPECT_EQ(RadioListIsExpired(path.c_str()), 1);
  root.SetAge("shoutcast_Jazz.json", 0);
  EXPECT_EQ(RadioListIsExpired(path.c_str()), 0);
  root.SetAge("shoutcast_Jazz.json", -3600);  // in the future: fresh
  EXPECT_EQ(RadioListIsExpired(path.c_str()), 0);
  EXPECT_EQ(RadioListIsExpired(root.Path("shoutcast_Rock.json").c_str()), 1);
}

class RadioRefresh : public ::testing::Test {
 protected:
  RadioRefresh() : server_(RadioDataDir()) {
    root_.config().shoutcast_url = server_.Url("/normal");
    root_.Apply();
    root_.Write("shoutcast_Hip Hop.json", ListText({"cached"}));
  }
  RadioRoot root_;
  testserver::RecordedServer server_;
};

TEST_F(RadioRefresh, FreshCacheIsReadWithoutAsking) {
  Json::Value list;
  int result = -1;
  for (time_t set = 0; set != time(nullptr);) {
    set = root_.SetAge("shoutcast_Hip Hop.json", 86399);
    result = ZARNAudioRadioGetShoutcastListByGenre("Hip Hop", list, 0);
  }
  ASSERT_TRUE(server_.ok());
  EXPECT_EQ(result, 0);
  EXPECT_EQ(Names(list), Strings{"cached"});
  EXPECT_TRUE(server_.Requests().empty());
}

TEST_F(RadioRefresh, StaleCacheIsRefreshedFirst) {
  root_.SetAge("shoutcast_Hip Hop.json", 86400);
  Json::Value list;
  ASSERT_EQ(ZARNAudioRadioGetShoutcastListByGenre("Hip Hop", list, 0), 0);
  EXPECT_EQ(Names(list), (Strings{"Test Beats One", "Test Beats Two", "Test Beats Three",
                                  "Test Beats Five"}));
  EXPECT_EQ(list["stations"][0]["bitrate"], Json::Value(128000));
  ASSERT_EQ(server_.Requests().size(), 1u);
  EXPECT_NE(server_.Requests()[0].find("genrename=Hip%20Hop"), std::string::npos);
  EXPECT_EQ(RadioListIsExpired(root_.Path("shoutcast_Hip Hop.json").c_str()), 0);
}

TEST_F(RadioRefresh, ForceRefreshesAFreshCache) {
  root_.SetAge("shoutcast_Hip Hop.json", 0);
  Json::Value list;
  ASSERT_EQ(ZARNAudioRadioGetShoutcastListByGenre("Hip Hop", list, 1), 0);
  EXPECT_EQ(list["stations"].size(), 4u);
  EXPECT_EQ(server_.Requests().size(), 1u);
}

TEST_F(RadioRefresh, FailedRefreshReadsTheOldFile) {
  root_.config().shoutcast_url = server_.Url("/malformed");
  root_.Apply();
  root_.SetAge("shoutcast_Hip Hop.json", 2 * 86400);
  Json::Value list;
  ASSERT_EQ(ZARNAudioRadioGetShoutcastListByGenre("Hip Hop", list, 0), 0);
  EXPECT_EQ(Names(list), Strings{"cached"});
  EXPECT_EQ(server_.Requests().size(), 1u);
}

TEST(RadioCache, MissingOrBrokenGenreFileIsAnError) {
  RadioRoot root;
  Json::Value list;
  EXPECT_EQ(ZARNAudioRadioGetShoutcastListByGenre("Jazz", list, 0), -1);
  root.Write("shoutcast_Jazz.json", "{ \"stations\": [");
  root.SetAge("shoutcast_Jazz.json", 0);
  EXPECT_EQ(ZARNAudioRadioGetShoutcastListByGenre("Jazz", list, 0), -1);
  EXPECT_EQ(ZARNAudioRadioGetShoutcastListByGenre("jazz", list, 0), -1);
  EXPECT_EQ(ZARNAudioRadioGetShoutcastListByGenre(nullptr, list, 0), -1);
}

TEST(RadioLists, KindsAndPaths) {
  RadioRoot root;
  std::string path;
  ASSERT_EQ(RadioListPathByType(ZARN_AUDIORADIO_USERDEFINED, path), 0);
  EXPECT_EQ(path, root.Path("userdef.json"));
  ASSERT_EQ(RadioListPathByType(ZARN_AUDIORADIO_FAVORITE, path), 0);
  EXPECT_EQ(path, root.Path("favorite.json"));
  EXPECT_EQ(RadioListPathByType(ZARN_AUDIORADIO_SHOUTCAST, path), -1);
  EXPECT_EQ(RadioListPathByType(static_cast<tag_ZARN_AUDIORADIO_TYPE>(3), path), -1);
  Json::Value list;
  EXPECT_EQ(ZARNAudioRadioGetList(ZARN_AUDIORADIO_SHOUTCAST, list), -1);
}

TEST(RadioLists, AbsentListIsEmpty) {
  RadioRoot root;
  Json::Value list;
  ASSERT_EQ(ZARNAudioRadioGetList(ZARN_AUDIORADIO_FAVORITE, list), 0);
  EXPECT_TRUE(list["stations"].isArray());
  EXPECT_EQ(list["stations"].size(), 0u);
  EXPECT_EQ(list["total"], Json::Value(0));
  Json::Value user;
  EXPECT_EQ(ZARNAudioRadioGetList(ZARN_AUDIORADIO_USERDEFINED, user), 0);
  EXPECT_EQ(user["stations"].size(), 0u);
}

TEST(RadioLists, UnparsableListIsAnError) {
  RadioRoot root;
  Json::Value list;
  root.Write("favorite.json", "{\"stations\": [ {\"name\": ");
  EXPECT_EQ(ZARNAudioRadioGetList(ZARN_AUDIORADIO_FAVORITE, list), -1);
  root.Write("favorite.json", "[1, 2]");
  EXPECT_EQ(ZARNAudioRadioGetList(ZARN_AUDIORADIO_FAVORITE, list), -1);
  root.Write("favorite.json", "{\"stations\": [1]}");
  EXPECT_EQ(ZARNAudioRadioGetList(ZARN_AUDIORADIO_FAVORITE, list), -1);
  // Comments are allowed in hand-edited lists.
  root.Write("favorite.json", "// mine\n{\"stations\": [], \"total\": 0}");
  EXPECT_EQ(ZARNAudioRadioGetList(ZARN_AUDIORADIO_FAVORITE, list), 0);
}

TEST(RadioLists, StringBitratesBecomeBitsPerSecond) {
  RadioRoot root;
  root.Write("userdef.json",
             R"({"stations": [{"name": "a", "bitrate": "128"}, {"name": "b", "bitrate": 64000},
                              {"name": "c"}, {"name": "d", "bitrate": "96k"}], "total": 4})");
  Json::Value list;
  ASSERT_EQ(ZARNAudioRadioGetList(ZARN_AUDIORADIO_USERDEFINED, list), 0);
  EXPECT_EQ(list["stations"][0]["bitrate"], Json::Value(128000));
  EXPECT_TRUE(list["stations"][0]["bitrate"].isInt());
  EXPECT_EQ(list["stations"][1]["bitrate"], Json::Value(64000));
  EXPECT_TRUE(list["stations"][2]["bitrate"].isNull());
  EXPECT_EQ(list["stations"][3]["bitrate"], Json::Value(96000));
}

TEST(RadioLists, NormalizeLeavesNonListsAlone) {
  Json::Value empty;
  empty["stations"] = Json::Value(Json::arrayValue);
  RadioListNormalizeBitrate(empty);
  EXPECT_EQ(empty["stations"].size(), 0u);
  Json::Value odd;
  odd["stations"] = "none";
  RadioListNormalizeBitrate(odd);
  EXPECT_EQ(odd["stations"], Json::Value("none"));
}

TEST(RadioSave, WritesStyledJsonInPlace) {
  RadioRoot root;
  Json::Value list;
  list["stations"] = Json::Value(Json::arrayValue);
  list["total"] = 0;
  ASSERT_EQ(RadioListSave(root.Path("favorite.json").c_str(), list), 0);
  EXPECT_EQ(root.Read("favorite.json"), Json::StyledWriter().write(list));
  EXPECT_EQ(RadioListSave(nullptr, list), -1);
}

TEST(RadioSave, CreatesTheMissingRadioFolderWithMode0644) {
  RadioRoot root;
  ASSERT_EQ(rmdir(root.RadioDir().c_str()), 0);
  Json::Value list;
  list["total"] = 0;
  ASSERT_EQ(RadioListSave(root.Path("userdef.json").c_str(), list), 0);
  struct stat st;
  ASSERT_EQ(stat(root.RadioDir().c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0644u);
  // Only one level is made, and an existing folder is a failure.
  EXPECT_EQ(RadioListSave((root.root() + "/elsewhere/list.json").c_str(), list), -1);
  chmod(root.RadioDir().c_str(), 0755);
}

class RadioEdit : public ::testing::Test {
 protected:
  void Given(std::initializer_list<const char*> names) { root_.Write("favorite.json", ListText(names)); }
  Json::Value Stored() { return root_.ReadJson("favorite.json"); }
  RadioRoot root_;
};

TEST_F(RadioEdit, AddAppendsAsGivenAndCounts) {
  Given({"s0"});
  Json::Value stations(Json::arrayValue);
  Json::Value extra;
  extra["name"] = "s1";
  extra["title"] = "kept as it is";
  extra["bitrate"] = "64";
  stations.append(extra);
  ASSERT_EQ(RadioListAdd(ZARN_AUDIORADIO_FAVORITE, stations), 0);
  Json::Value stored = Stored();
  EXPECT_EQ(Names(stored), (Strings{"s0", "s1"}));
  EXPECT_EQ(stored["total"], Json::Value(2));
  EXPECT_EQ(stored["stations"][0]["bitrate"], Json::Value(128000));
  EXPECT_EQ(stored["stations"][1]["bitrate"], Json::Value("64"));
  EXPECT_EQ(stored["stations"][1]["title"], Json::Value("kept as it is"));
}

TEST_F(RadioEdit, AddToAnAbsentListCreatesIt) {
  Json::Value stations(Json::arrayValue);
  Json::Value one;
  one["name"] = "first";
  stations.append(one);
  ASSERT_EQ(RadioListAdd(ZARN_AUDIORADIO_USERDEFINED, stations), 0);
  Json::Value stored = root_.ReadJson("userdef.json");
  EXPECT_EQ(Names(stored), Strings{"first"});
  EXPECT_EQ(stored["total"], Json::Value(1));
}

TEST_F(RadioEdit, AddFailsOnKindOrBrokenList) {
  Json::Value stations(Json::arrayValue);
  EXPECT_EQ(RadioListAdd(ZARN_AUDIORADIO_SHOUTCAST, stations), -1);
  root_.Write("favorite.json", "{ broken");
  EXPECT_EQ(RadioListAdd(ZARN_AUDIORADIO_FAVORITE, stations), -1);
  EXPECT_EQ(root_.Read("favorite.json"), "{ broken");
}

TEST_F(RadioEdit, UpdateChangesThreeMembersOnly) {
  Given({"s0", "s1"});
  Json::Value station;
  station["name"] = "renamed";
  station["url"] = "http://127.0.0.1/new";
  station["desc"] = "changed";
  station["bitrate"] = "320";
  ASSERT_EQ(RadioListUpdate(ZARN_AUDIORADIO_FAVORITE, 1, station), 0);
  Json::Value stored = Stored();
  EXPECT_EQ(Names(stored), (Strings{"s0", "renamed"}));
  EXPECT_EQ(stored["stations"][1]["url"], Json::Value("http://127.0.0.1/new"));
  EXPECT_EQ(stored["stations"][1]["desc"], Json::Value("changed"));
  EXPECT_EQ(stored["stations"][1]["bitrate"], Json::Value(128000));
}

TEST_F(RadioEdit, UpdateAtTheCountAppendsAndLeavesTotal) {
  Given({"s0", "s1"});
  Json::Value station;
  station["name"] = "s2";
  station["url"] = "u";
  station["desc"] = "d";
  station["bitrate"] = "320";
  ASSERT_EQ(RadioListUpdate(ZARN_AUDIORADIO_FAVORITE, 2, station), 0);
  Json::Value stored = Stored();
  ASSERT_EQ(stored["stations"].size(), 3u);
  EXPECT_EQ(stored["total"], Json::Value(2));
  const Json::Value& added = stored["stations"][2];
  EXPECT_EQ(added.getMemberNames(), (std::vector<std::string>{"desc", "name", "url"}));
  EXPECT_EQ(added["name"], Json::Value("s2"));
}

TEST_F(RadioEdit, UpdateBeyondTheCountFails) {
  Given({"s0", "s1"});
  const std::string before = root_.Read("favorite.json");
  Json::Value station;
  station["name"] = "x";
  EXPECT_EQ(RadioListUpdate(ZARN_AUDIORADIO_FAVORITE, 3, station), -1);
  EXPECT_EQ(root_.Read("favorite.json"), before);
  EXPECT_EQ(RadioListUpdate(ZARN_AUDIORADIO_SHOUTCAST, 0, station), -1);
}

TEST_F(RadioEdit, DeleteSelectedInAnyOrder) {
  Given({"s0", "s1", "s2", "s3", "s4"});
  ASSERT_EQ(RadioListDelete(ZARN_AUDIORADIO_FAVORITE, "2,0"), 0);
  Json::Value stored = Stored();
  EXPECT_EQ(Names(stored), (Strings{"s1", "s3", "s4"}));
  EXPECT_EQ(stored["total"], Json::Value(3));
  for (const Json::Value& station : stored["stations"]) {
    EXPECT_TRUE(station.isMember("destroy"));
    EXPECT_TRUE(station["destroy"].isNull());
  }
}

TEST_F(RadioEdit, DeleteOfANonNumberDeletesStationZero) {
  Given({"s0", "s1", "s2"});
  ASSERT_EQ(RadioListDelete(ZARN_AUDIORADIO_FAVORITE, "x"), 0);
  EXPECT_EQ(Names(Stored()), (Strings{"s1", "s2"}));
}

TEST_F(RadioEdit, DeleteIgnoresIndexesOutsideTheList) {
  Given({"s0", "s1", "s2"});
  ASSERT_EQ(RadioListDelete(ZARN_AUDIORADIO_FAVORITE, "1,3,-1,999999999"), 0);
  Json::Value stored = Stored();
  EXPECT_EQ(Names(stored), (Strings{"s0", "s2"}));
  EXPECT_EQ(stored["total"], Json::Value(2));
}

TEST_F(RadioEdit, DeleteOfNothingSavesNothing) {
  Given({"s0", "s1"});
  const std::string before = root_.Read("favorite.json");
  EXPECT_EQ(RadioListDelete(ZARN_AUDIORADIO_FAVORITE, ""), 0);
  EXPECT_EQ(RadioListDelete(ZARN_AUDIORADIO_FAVORITE, ",,"), 0);
  EXPECT_EQ(RadioListDelete(ZARN_AUDIORADIO_FAVORITE, nullptr), 0);
  EXPECT_EQ(root_.Read("favorite.json"), before);
  // An empty or absent list has nothing to delete.
  EXPECT_EQ(RadioListDelete(ZARN_AUDIORADIO_USERDEFINED, "0"), 0);
  struct stat st;
  EXPECT_NE(stat(root_.Path("userdef.json").c_str(), &st), 0);
  EXPECT_EQ(RadioListDelete(ZARN_AUDIORADIO_SHOUTCAST, "0"), -1);
}

TEST_F(RadioEdit, ReplaceARange) {
  Given({"s0", "s1", "s2", "s3"});
  ASSERT_EQ(RadioListReplace(ZARN_AUDIORADIO_FAVORITE, 1, 2, Items({"x", "y"})), 0);
  Json::Value stored = Stored();
  EXPECT_EQ(Names(stored), (Strings{"s0", "x", "y", "s3"}));
  EXPECT_EQ(stored["total"], Json::Value(4));
  // Items call the name "title"; the file calls it "name".
  EXPECT_EQ(stored["stations"][1]["url"], Json::Value("http://127.0.0.1/x"));
  EXPECT_EQ(stored["stations"][1]["desc"], Json::Value("new"));
  EXPECT_FALSE(stored["stations"][1].isMember("title"));
}

TEST_F(RadioEdit, ReplaceWithCountZeroInserts) {
  Given({"s0", "s1", "s2", "s3"});
  ASSERT_EQ(RadioListReplace(ZARN_AUDIORADIO_FAVORITE, 1, 0, Items({"x", "y"})), 0);
  Json::Value stored = Stored();
  EXPECT_EQ(Names(stored), (Strings{"s0", "x", "y", "s1", "s2", "s3"}));
  EXPECT_EQ(stored["total"], Json::Value(6));
}

TEST_F(RadioEdit, ReplaceBeyondTheEndAppends) {
  Given({"s0", "s1", "s2", "s3"});
  ASSERT_EQ(RadioListReplace(ZARN_AUDIORADIO_FAVORITE, 9, 2, Items({"x", "y"})), 0);
  EXPECT_EQ(Names(Stored()), (Strings{"s0", "s1", "s2", "s3", "x", "y"}));
}

TEST_F(RadioEdit, ReplaceFailsOnABrokenList) {
  root_.Write("favorite.json", "[");
  EXPECT_EQ(RadioListReplace(ZARN_AUDIORADIO_FAVORITE, 0, 0, Items({"x"})), -1);
  EXPECT_EQ(root_.Read("favorite.json"), "[");
}

TEST(RadioInput, TitleBecomesName) {
  Json::Value in;
  in["title"] = "T";
  in["url"] = "U";
  in["bitrate"] = "128";
  Json::Value out;
  out["stale"] = 1;
  RadioStationFromInput(in, out);
  EXPECT_EQ(out.getMemberNames(), (std::vector<std::string>{"desc", "name", "url"}));
  EXPECT_EQ(out["name"], Json::Value("T"));
  EXPECT_EQ(out["url"], Json::Value("U"));
  EXPECT_TRUE(out["desc"].isNull());
}

}  // namespace
