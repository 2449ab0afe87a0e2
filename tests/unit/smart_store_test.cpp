#include "platform/playlist/smart/store.h"

#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>

#include "platform/config/config.h"
#include "platform/playlist/smart/legacy_smart_store.h"
#include "tests/unit/temp_folder.h"

namespace {

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

TEST(SmartStoreTest, NamesInFileOrderWithTheirCount) {
  TempFolder dir;
  cantora::SmartPlaylistStores stores;
  const std::string file = dir.Path("smart.playlist");
  WriteFile(file, R"({"playlists":[{"name":"rock","rules":[]},{"name":"Rock"},{"name":"Abba"}]})");
  int total = -1;
  std::vector<std::string> names = ZarnAudioUtils::SmartPLSEnum(stores, 0, 0, total, file.c_str());
  EXPECT_EQ(names, (std::vector<std::string>{"rock", "Rock", "Abba"}));
  EXPECT_EQ(total, 3);
}

TEST(SmartStoreTest, MissingFileHoldsNothing) {
  TempFolder dir;
  cantora::SmartPlaylistStores stores;
  int total = -1;
  EXPECT_TRUE(ZarnAudioUtils::SmartPLSEnum(stores, 0, 0, total, dir.Path("none").c_str()).empty());
  EXPECT_EQ(total, 0);
}

TEST(SmartStoreTest, MalformedFilesHoldNothing) {
  TempFolder dir;
  cantora::SmartPlaylistStores stores;
  const char* bad[] = {
      "not json", "[]", R"({"playlists":{}})", R"({"playlists":[{"name":1}]})",
      R"({"playlists":[{"name":"a"}, 3]})", R"({"other":[]})",
  };
  int n = 0;
  for (const char* text : bad) {
    const std::string file = dir.Path("bad" + std::to_string(n++));
    WriteFile(file, text);
    int total = -1;
    EXPECT_TRUE(ZarnAudioUtils::SmartPLSEnum(stores, 0, 0, total, file.c_str()).empty()) << text;
    EXPECT_EQ(total, 0) << text;
    std::vector<cantora::SmartPlaylistEntry> entries;
    std::string error;
    EXPECT_FALSE(cantora::ReadSmartPlaylistStore(file, &entries, &error)) << text;
    EXPECT_FALSE(error.empty());
  }
}

TEST(SmartStoreTest, UnreadableFileHoldsNothing) {
  TempFolder dir;
  const std::string folder = dir.Path("a-folder");
  mkdir(folder.c_str(), 0755);  // reading a folder fails
  std::vector<cantora::SmartPlaylistEntry> entries;
  std::string error;
  EXPECT_FALSE(cantora::ReadSmartPlaylistStore(folder, &entries, &error));
}

TEST(SmartStoreTest, SharedStoreByPositionAndRulesByName) {
  TempFolder dir;
  cantora::SmartPlaylistStores stores;
  cantora::Config config;
  config.smart_playlists = dir.Path("shared.playlist");
  cantora::SetConfig(config);
  WriteFile(config.smart_playlists,
            R"({"playlists":[{"name":"Jazz","match":"all","rules":[{"field":"genre","op":"is","value":"Jazz"}]},)"
            R"({"name":"Jazz","limit":5},{"name":"Old","limit":10}]})");
  EXPECT_EQ(ZarnAudioUtils::SmartPLSGetName(stores, 0), "Jazz");
  EXPECT_EQ(ZarnAudioUtils::SmartPLSGetName(stores, 2), "Old");
  EXPECT_EQ(ZarnAudioUtils::SmartPLSGetName(stores, 3), "");
  EXPECT_EQ(ZarnAudioUtils::SmartPLSGetName(stores, -1), "");
  // The first of two equal names.
  Json::Value rules;
  ASSERT_TRUE(Json::Reader().parse(ZarnAudioUtils::LoadSmartPlsRules(stores, "Jazz"), rules));
  EXPECT_EQ(rules["rules"][0]["value"].asString(), "Jazz");
  EXPECT_FALSE(rules.isMember("limit"));
  EXPECT_EQ(ZarnAudioUtils::LoadSmartPlsRules(stores, "jazz"), "");
  ASSERT_TRUE(Json::Reader().parse(
      ZarnAudioUtils::LoadSmartPlsRulesByFilename(stores, config.smart_playlists.c_str(), "Old"),
      rules));
  EXPECT_EQ(rules["limit"].asInt(), 10);
  EXPECT_EQ(ZarnAudioUtils::LoadSmartPlsRulesByFilename(stores, nullptr, "Old"), "");
  cantora::SetConfig(cantora::Config());
}

// A request's stores are read once each; the next request's afresh.
TEST(SmartStoreTest, AStoreIsReadOncePerRequest) {
  TempFolder dir;
  const std::string file = dir.Path("smart.playlist");
  WriteFile(file, R"({"playlists":[{"name":"Before"}]})");
  int total = -1;
  cantora::SmartPlaylistStores first;
  EXPECT_EQ(ZarnAudioUtils::SmartPLSEnum(first, 0, 0, total, file.c_str()),
            std::vector<std::string>{"Before"});
  WriteFile(file, R"({"playlists":[{"name":"After"}]})");
  EXPECT_EQ(ZarnAudioUtils::SmartPLSEnum(first, 0, 0, total, file.c_str()),
            std::vector<std::string>{"Before"});
  cantora::SmartPlaylistStores next;
  EXPECT_EQ(ZarnAudioUtils::SmartPLSEnum(next, 0, 0, total, file.c_str()),
            std::vector<std::string>{"After"});
}

}  // namespace

namespace {

TEST(SmartStoreWriteTest, WrittenStoreReadsBackInOrderAndMakesItsFolders) {
  TempFolder dir;
  const std::string file = dir.Path("prefs/alice/playlists/smart.playlist");
  std::vector<cantora::SmartPlaylistEntry> entries = {
      {"Jazz", R"({"name":"Jazz","rules":[{"field":"genre","op":"is","value":"Jazz"}]})"},
      {"Abba", R"({"name": "Abba", "limit": 5})"}};
  std::string error;
  ASSERT_TRUE(cantora::WriteSmartPlaylistStore(file, entries, &error)) << error;
  std::vector<cantora::SmartPlaylistEntry> read;
  ASSERT_TRUE(cantora::ReadSmartPlaylistStore(file, &read, &error)) << error;
  ASSERT_EQ(2u, read.size());
  EXPECT_EQ("Jazz", read[0].name);
  EXPECT_EQ(R"({"name":"Jazz","rules":[{"field":"genre","op":"is","value":"Jazz"}]})",
            read[0].json);
  EXPECT_EQ("Abba", read[1].name);
  EXPECT_EQ(R"({"limit":5,"name":"Abba"})", read[1].json);
  struct stat st;
  ASSERT_EQ(0, stat(file.c_str(), &st));
  EXPECT_EQ(0644u, st.st_mode & 07777);
  // An empty store is still a store.
  ASSERT_TRUE(cantora::WriteSmartPlaylistStore(file, {}, &error)) << error;
  ASSERT_TRUE(cantora::ReadSmartPlaylistStore(file, &read, &error)) << error;
  EXPECT_TRUE(read.empty());
}

TEST(SmartStoreWriteTest, FailureLeavesTheOldStore) {
  TempFolder dir;
  const std::string file = dir.Path("smart.playlist");
  const std::string old = R"({"playlists":[{"name":"Old"}]})";
  WriteFile(file, old);
  std::string error;
  // An entry that is not an object is not written, nor is anything else.
  EXPECT_FALSE(cantora::WriteSmartPlaylistStore(file, {{"Bad", "[1]"}}, &error));
  EXPECT_EQ("smart playlist \"Bad\" is not a JSON object", error);
  std::ifstream in(file);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(old, text);
  // A folder that cannot be made (a file stands in its place).
  WriteFile(dir.Path("blocker"), "");
  EXPECT_FALSE(cantora::WriteSmartPlaylistStore(dir.Path("blocker/smart.playlist"),
                                                {{"A", R"({"name":"A"})"}}, &error));
  EXPECT_NE(std::string::npos, error.find("blocker")) << error;
}

TEST(SmartStoreWriteTest, UserStorePath) {
  cantora::Config config;
  config.preferences = "/prefs";
  cantora::SetConfig(config);
  EXPECT_EQ("/prefs/alice/playlists/smart.playlist", cantora::UserSmartPlaylistStorePath("alice"));
  EXPECT_EQ("", cantora::UserSmartPlaylistStorePath(".."));
  EXPECT_EQ("", cantora::UserSmartPlaylistStorePath("a/b"));
  cantora::SetConfig(cantora::Config());
}

}  // namespace
