#include "platform/index/escape.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string EscapeString(const std::string& in) {
  std::string out(in.size() * 2 + 1, 'x');
  int n = ZARNDBEscapeString(&out[0], in.c_str(), in.size());
  EXPECT_EQ(std::strlen(out.c_str()), static_cast<size_t>(n));
  return out.c_str();
}

TEST(EscapeTest, DoublesSingleQuotes) {
  EXPECT_EQ("Guns N'' Roses", EscapeString("Guns N' Roses"));
  EXPECT_EQ("''''", EscapeString("''"));
  EXPECT_EQ("", EscapeString(""));
}

TEST(EscapeTest, LeavesBackslashAndPatternCharactersToThePatternEscape) {
  EXPECT_EQ("a\\b%c_d", EscapeString("a\\b%c_d"));
}

TEST(EscapeTest, StopsAtSourceLength) {
  char out[16];
  EXPECT_EQ(2, ZARNDBEscapeString(out, "ab'cd", 2));
  EXPECT_STREQ("ab", out);
}

TEST(EscapeTest, BackslashEscapesPatternCharacters) {
  char out[64];
  EXPECT_EQ(10, ZARNDBEscapeBackslash(out, sizeof(out), "50%_a\\b"));
  EXPECT_STREQ("50\\%\\_a\\\\b", out);
}

TEST(EscapeTest, ThreeTimesPlusOneAlwaysFits) {
  const char* worst = "''%%__\\\\";
  std::string quoted(std::strlen(worst) * 2 + 1, '\0');
  int m = ZARNDBEscapeString(&quoted[0], worst, std::strlen(worst));
  std::string out(m * 3 + 1, '\0');
  EXPECT_GE(ZARNDBEscapeBackslash(&out[0], out.size(), quoted.c_str()), 0);
}

TEST(EscapeTest, BackslashEscapeFailsWhenTooSmall) {
  char out[4];
  EXPECT_EQ(-1, ZARNDBEscapeBackslash(out, sizeof(out), "%%"));  // needs 5 bytes
  EXPECT_STREQ("", out);
  EXPECT_EQ(3, ZARNDBEscapeBackslash(out, sizeof(out), "abc"));
  EXPECT_EQ(-1, ZARNDBEscapeBackslash(out, sizeof(out), "abcd"));
}

TEST(EscapeTest, TemplateFillsQuotedEscapedValues) {
  char* text = ZARNDBEscapeStringEX3(1, "id = @ZARN:VAR", "4'2");
  ASSERT_NE(nullptr, text);
  EXPECT_STREQ("id = '4''2'", text);
  std::free(text);
  EXPECT_EQ(nullptr, ZARNDBEscapeStringEX3(1, "id = @ZARN:VAR", static_cast<const char*>(nullptr)));
}

}  // namespace
