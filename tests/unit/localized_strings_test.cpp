#include "platform/locale/localized_strings.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/unit/temp_folder.h"

namespace {

using ZARN::PVX::LocalizedStringParser;

TEST(LocalizedStringsTest, SectionsKeysAndQuotedValues) {
  Json::Value t = LocalizedStringParser::ParseText(
      "\xEF\xBB\xBF# comment\n[common]\nrandom_playlist = \"Random 100\"\r\n"
      "; another comment\nbare =  plain text  \nquoted = \"say \\\"hi\\\"\\nnow\"\n"
      "no equals sign\n= no key\n[other]\nrandom_playlist=Other\n");
  EXPECT_EQ(t["common"]["random_playlist"].asString(), "Random 100");
  EXPECT_EQ(t["common"]["bare"].asString(), "plain text");
  EXPECT_EQ(t["common"]["quoted"].asString(), "say \"hi\"\nnow");
  EXPECT_EQ(t["other"]["random_playlist"].asString(), "Other");
  EXPECT_EQ(t["common"].size(), 3u);
}

TEST(LocalizedStringsTest, KeysBeforeAnySectionAreSkipped) {
  Json::Value t = LocalizedStringParser::ParseText("orphan = 1\n[s]\nk = v\n");
  EXPECT_EQ(t.size(), 1u);
  EXPECT_EQ(t["s"]["k"].asString(), "v");
}

TEST(LocalizedStringsTest, FolderFileOrAnEmptyObject) {
  TempFolder dir;
  std::ofstream(dir.Path("strings")) << "[common]\nrandom_playlist = \"Zuf\xC3\xA4llige 100\"\n";
  Json::Value t = LocalizedStringParser::ParseTexts(dir.path());
  EXPECT_EQ(t["common"]["random_playlist"].asString(), "Zuf\xC3\xA4llige 100");
  Json::Value missing = LocalizedStringParser::ParseTexts(dir.Path("nothing"));
  EXPECT_TRUE(missing.isObject());
  EXPECT_TRUE(missing["common"]["random_playlist"].isNull());
}

}  // namespace
