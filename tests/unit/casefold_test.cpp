#include "platform/text/casefold.h"

#include <gtest/gtest.h>

namespace {

using cantora::FoldLower;
using cantora::FoldUpper;

TEST(CasefoldTest, Ascii) {
  EXPECT_EQ("hello world 123", FoldLower("HeLLo World 123"));
  EXPECT_EQ("HELLO WORLD 123", FoldUpper("HeLLo World 123"));
}

TEST(CasefoldTest, SharpSHasNoSingleCharacterUpperCase) {
  EXPECT_EQ("STRA\xC3\x9F" "E", FoldUpper("Stra\xC3\x9F" "e"));
  EXPECT_EQ("stra\xC3\x9F" "e", FoldLower("STRA\xC3\x9F" "E"));
}

TEST(CasefoldTest, Umlauts) {
  EXPECT_EQ("\xC3\xA4rzte", FoldLower("\xC3\x84RZTE"));  // ÄRZTE -> ärzte
  EXPECT_EQ("\xC3\x84RZTE", FoldUpper("\xC3\xA4rzte"));
}

TEST(CasefoldTest, Greek) {
  // Ωμέγα <-> ΩΜΈΓΑ
  EXPECT_EQ("\xCE\xA9\xCE\x9C\xCE\x88\xCE\x93\xCE\x91", FoldUpper("\xCE\xA9\xCE\xBC\xCE\xAD\xCE\xB3\xCE\xB1"));
  EXPECT_EQ("\xCF\x89\xCE\xBC\xCE\xAD\xCE\xB3\xCE\xB1", FoldLower("\xCE\xA9\xCE\x9C\xCE\x88\xCE\x93\xCE\x91"));
  // One character at a time: a final capital sigma lowers to σ, not ς.
  EXPECT_EQ("\xCE\xBF\xCE\xB4\xCE\xBF\xCF\x83", FoldLower("\xCE\x9F\xCE\x94\xCE\x9F\xCE\xA3"));
}

TEST(CasefoldTest, HalfWidthKatakanaHasNoCase) {
  const char* katakana = "\xEF\xBD\xB6\xEF\xBE\x80\xEF\xBD\xB6\xEF\xBE\x85";  // ｶﾀｶﾅ
  EXPECT_EQ(katakana, FoldLower(katakana));
  EXPECT_EQ(katakana, FoldUpper(katakana));
}

TEST(CasefoldTest, FullWidthAndCyrillicLetters) {
  EXPECT_EQ("\xEF\xBD\x81", FoldLower("\xEF\xBC\xA1"));          // Ａ -> ａ
  EXPECT_EQ("\xD0\xBC\xD0\xB8\xD1\x80", FoldLower("\xD0\x9C\xD0\x98\xD0\xA0"));  // МИР -> мир
  EXPECT_EQ("\xF0\x90\x90\xA8", FoldLower("\xF0\x90\x90\x80"));  // Deseret, beyond the BMP
}

TEST(CasefoldTest, LengthMayChangeInBytesButNotInCharacters) {
  // U+023A (2 bytes) lowers to U+2C65 (3 bytes).
  EXPECT_EQ("\xE2\xB1\xA5", FoldLower("\xC8\xBA"));
}

TEST(CasefoldTest, InvalidBytesPassThrough) {
  EXPECT_EQ(std::string("a\xFF" "b\xC3"), FoldLower(std::string("A\xFF" "B\xC3")));
  EXPECT_EQ(std::string("\xED\xA0\x80X"), FoldUpper(std::string("\xED\xA0\x80x")));
}

TEST(CasefoldTest, CodePointMapping) {
  EXPECT_EQ(0x69, cantora::LowerCodePoint(0x130));  // İ -> i
  EXPECT_EQ(0x49, cantora::UpperCodePoint(0x131));  // ı -> I
  EXPECT_EQ(0xDF, cantora::UpperCodePoint(0xDF));
  EXPECT_EQ(0x1C6, cantora::LowerCodePoint(0x1C5));  // title case Dž
  EXPECT_EQ(0x1C4, cantora::UpperCodePoint(0x1C5));
}

}  // namespace
