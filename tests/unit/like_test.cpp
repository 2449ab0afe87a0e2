#include "platform/index/like.h"

#include <gtest/gtest.h>

#include "platform/index/sql_functions.h"
#include "platform/lib/sqlite/database.h"

namespace {

using cantora::LikeMatch;
using cantora::LikeResult;

bool Like(const char* text, const char* pattern) {
  return LikeMatch(text, pattern) == LikeResult::kMatch;
}

TEST(LikeTest, Wildcards) {
  EXPECT_TRUE(Like("abc", "abc"));
  EXPECT_TRUE(Like("abc", "%"));
  EXPECT_TRUE(Like("", "%"));
  EXPECT_FALSE(Like("", "_"));
  EXPECT_TRUE(Like("abc", "a%"));
  EXPECT_TRUE(Like("abc", "%c"));
  EXPECT_TRUE(Like("abc", "%b%"));
  EXPECT_TRUE(Like("abc", "a_c"));
  EXPECT_FALSE(Like("abc", "a_"));
  EXPECT_FALSE(Like("abc", "ab"));
  EXPECT_TRUE(Like("mississippi", "%iss%ippi"));
  EXPECT_FALSE(Like("mississippi", "%iss%ippix"));
  EXPECT_TRUE(Like("aaa", "%%a%%"));
}

TEST(LikeTest, CaseSensitive) {
  EXPECT_FALSE(Like("ABC", "abc"));
  EXPECT_FALSE(Like("Love", "%love%"));
}

TEST(LikeTest, UnderscoreIsOneCharacterNotOneByte) {
  EXPECT_TRUE(Like("\xC3\xA4", "_"));                 // ä
  EXPECT_TRUE(Like("\xF0\x9F\x98\x80x", "_x"));       // emoji then x
  EXPECT_FALSE(Like("\xC3\xA4", "__"));
}

TEST(LikeTest, BackslashEscapes) {
  EXPECT_TRUE(Like("100%", "100\\%"));
  EXPECT_FALSE(Like("1000", "100\\%"));
  EXPECT_TRUE(Like("a_b", "a\\_b"));
  EXPECT_FALSE(Like("axb", "a\\_b"));
  EXPECT_TRUE(Like("a\\b", "a\\\\b"));
  EXPECT_TRUE(Like("abc", "\\a\\b\\c"));  // escaping an ordinary character is harmless
}

TEST(LikeTest, TrailingEscapeIsAnError) {
  EXPECT_EQ(LikeResult::kBadPattern, LikeMatch("a\\", "a\\"));
  EXPECT_EQ(LikeResult::kBadPattern, LikeMatch("abc", "%\\"));
  EXPECT_EQ(LikeResult::kMatch, LikeMatch("a\\", "a\\\\"));
}

class SqlFunctionsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(db_.Open(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, &error));
    ASSERT_TRUE(cantora::RegisterIndexFunctions(db_.get()));
  }
  std::string Text(const std::string& sql) {
    sqlite::Statement s = db_.Prepare(sql);
    EXPECT_TRUE(s.IsValid()) << sql;
    EXPECT_EQ(SQLITE_ROW, s.Step()) << sql;
    return s.IsNull(0) ? "NULL" : s.Text(0);
  }
  sqlite::Database db_;
};

TEST_F(SqlFunctionsTest, LowerAndUpperAreUnicode) {
  EXPECT_EQ("\xC3\xA4rzte", Text("SELECT lower('\xC3\x84RZTE')"));
  EXPECT_EQ("STRA\xC3\x9F" "E", Text("SELECT upper('Stra\xC3\x9F" "e')"));
  EXPECT_EQ("\xC3\xA4rzte", Text("SELECT fold('\xC3\x84rZTE')"));
  EXPECT_EQ("NULL", Text("SELECT lower(NULL)"));
}

TEST_F(SqlFunctionsTest, LikeIsCaseSensitiveIlikeIsNot) {
  EXPECT_EQ("0", Text("SELECT pg_like('Love Song', '%love%')"));
  EXPECT_EQ("1", Text("SELECT pg_like('Love Song', '%Love%')"));
  EXPECT_EQ("1", Text("SELECT pg_ilike('Love Song', '%LOVE%')"));
  EXPECT_EQ("1", Text("SELECT pg_ilike('\xCE\xA9\xCE\xBC\xCE\xAD\xCE\xB3\xCE\xB1', '%\xCE\x9C\xCE\x88\xCE\x93%')"));
  EXPECT_EQ("1", Text("SELECT pg_ilike('\xC3\x84RZTE', '\xC3\xA4rzte')"));
  EXPECT_EQ("0", Text("SELECT pg_ilike('STRASSE', 'stra\xC3\x9F" "e')"));
  EXPECT_EQ("NULL", Text("SELECT pg_ilike(NULL, 'a')"));
}

TEST_F(SqlFunctionsTest, BadPatternFailsTheStatement) {
  sqlite::Statement s = db_.Prepare("SELECT pg_like('a', 'a\\')");
  ASSERT_TRUE(s.IsValid());
  EXPECT_EQ(SQLITE_ERROR, s.Step());
}

TEST_F(SqlFunctionsTest, KnowsItsOwnNames) {
  EXPECT_TRUE(cantora::IsIndexFunction("LOWER"));
  EXPECT_TRUE(cantora::IsIndexFunction("pg_ilike"));
  EXPECT_FALSE(cantora::IsIndexFunction("load_extension"));
}

}  // namespace
