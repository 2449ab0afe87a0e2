#include "platform/index/folder_condition.h"

#include <gtest/gtest.h>

namespace cantora {
namespace {

struct Translated {
  bool matched = false;
  std::string sql;
  std::vector<std::string> values;
};

Translated Translate(const std::string& condition, IndexTable table = IndexTable::kFolder) {
  Translated t;
  SqlPiece piece;
  t.matched = TranslateFolderCondition(condition, table, &piece);
  t.sql = piece.sql;
  for (const SqlValue& v : piece.values) t.values.push_back(v.text);
  return t;
}

using Values = std::vector<std::string>;

TEST(FolderCondition, OneLevelTemplatesTakeThePathLiterally) {
  for (const std::string path : {"/m/O'Neil & Sons", "/m/100% Hits", "/m/a_b", "/m/back\\slash",
                                 "/m/it's 50%_\\ off", "/m/plain"}) {
    Translated upper = Translate(" path LIKE '" + path + "/%' AND path NOT LIKE '" + path + "/%/%' ");
    ASSERT_TRUE(upper.matched) << path;
    EXPECT_EQ("(parent_id = (SELECT id FROM folder WHERE path = ?))", upper.sql);
    EXPECT_EQ(Values{path}, upper.values);
    Translated lower = Translate("path like '" + path + "/%' and path not like '" + path + "/%/%' ",
                                 IndexTable::kSong);
    ASSERT_TRUE(lower.matched) << path;
    EXPECT_EQ("(folder_id = (SELECT id FROM folder WHERE path = ?))", lower.sql);
    EXPECT_EQ(Values{path}, lower.values);
  }
}

TEST(FolderCondition, EverythingBelowIsAPathRange) {
  Translated t = Translate("path like '/m/a_b/%' ", IndexTable::kSong);
  ASSERT_TRUE(t.matched);
  EXPECT_EQ("(id IN (SELECT id FROM song WHERE path >= ? AND path < ?))", t.sql);
  EXPECT_EQ((Values{"/m/a_b/", "/m/a_b0"}), t.values);
}

TEST(FolderCondition, RootsAndTheHomeFolder) {
  Translated roots = Translate("path IN ('/m/one', '/m/O''Neil')");
  ASSERT_TRUE(roots.matched);
  EXPECT_EQ("(path IN (?, ?))", roots.sql);
  EXPECT_EQ((Values{"/m/one", "/m/O'Neil"}), roots.values);
  Translated home = Translate("path IN ('/m/one') OR path LIKE '/h/o'neil_1/music' ");
  ASSERT_TRUE(home.matched);
  EXPECT_EQ("(path IN (?, ?))", home.sql);
  EXPECT_EQ((Values{"/m/one", "/h/o'neil_1/music"}), home.values);
}

// Whatever stands between the fixed parts is one literal path: it can only
// name a folder, never add a condition.
TEST(FolderCondition, TextBetweenTheFixedPartsIsOnePath) {
  Translated t = Translate("path like '/a/%' and path not like '/b/%/%' ", IndexTable::kSong);
  ASSERT_TRUE(t.matched);
  EXPECT_EQ((Values{"/a/%' and path not like '/b/%/", "/a/%' and path not like '/b/%0"}), t.values);
}

TEST(FolderCondition, OtherShapesAreLeftToTheTranslator) {
  for (const std::string c :
       {"path like '/a/%' and title = 'x' ",
        " path LIKE '/a/%' AND path NOT LIKE '/a/%/%'",   // the blank at the end missing
        "path like '/a/%'", "title = 'x'", "path IN ('/a' OR 1=1)", "path IN ('/a') OR title = 'x'",
        "path IN ('/a')) OR (1=1", ""}) {
    EXPECT_FALSE(Translate(c).matched) << c;
  }
}

}  // namespace
}  // namespace cantora
