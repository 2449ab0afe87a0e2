#include "platform/text/utf8.h"

#include <gtest/gtest.h>

namespace {

TEST(Utf8Test, AcceptsWellFormedText) {
  EXPECT_TRUE(TryUTF8ToUTF16(""));
  EXPECT_TRUE(TryUTF8ToUTF16("plain ascii"));
  EXPECT_TRUE(TryUTF8ToUTF16("Stra\xC3\x9F" "e"));             // ß
  EXPECT_TRUE(TryUTF8ToUTF16("\xE2\x82\xAC"));                  // €
  EXPECT_TRUE(TryUTF8ToUTF16("\xF0\x9F\x98\x80"));              // U+1F600, a surrogate pair
  EXPECT_TRUE(TryUTF8ToUTF16("\xF4\x8F\xBF\xBF"));              // U+10FFFF
  EXPECT_TRUE(TryUTF8ToUTF16("\xEF\xBD\xB6\xEF\xBE\x80"));      // half-width katakana
}

TEST(Utf8Test, RefusesNull) { EXPECT_FALSE(TryUTF8ToUTF16(nullptr)); }

TEST(Utf8Test, RefusesOverlongForms) {
  EXPECT_FALSE(TryUTF8ToUTF16("\xC0\xAF"));
  EXPECT_FALSE(TryUTF8ToUTF16("\xC1\xBF"));
  EXPECT_FALSE(TryUTF8ToUTF16("\xE0\x80\xAF"));
  EXPECT_FALSE(TryUTF8ToUTF16("\xF0\x80\x80\xAF"));
}

TEST(Utf8Test, RefusesSurrogatesAndBeyondUnicode) {
  EXPECT_FALSE(TryUTF8ToUTF16("\xED\xA0\x80"));      // U+D800
  EXPECT_FALSE(TryUTF8ToUTF16("\xED\xBF\xBF"));      // U+DFFF
  EXPECT_FALSE(TryUTF8ToUTF16("\xF4\x90\x80\x80"));  // U+110000
  EXPECT_FALSE(TryUTF8ToUTF16("\xF5\x80\x80\x80"));
  EXPECT_FALSE(TryUTF8ToUTF16("\xFF"));
}

TEST(Utf8Test, RefusesBrokenSequences) {
  EXPECT_FALSE(TryUTF8ToUTF16("\x80"));              // lone continuation byte
  EXPECT_FALSE(TryUTF8ToUTF16("abc\xE2\x82"));       // cut short at the end
  EXPECT_FALSE(TryUTF8ToUTF16("\xE2\x82x"));         // interrupted
  EXPECT_FALSE(TryUTF8ToUTF16("Latin-1 caf\xE9"));   // ISO-8859-1 text
}

TEST(Utf8Test, EncodeAndDecodeAgree) {
  const int32_t samples[] = {0x41, 0xDF, 0x7FF, 0x800, 0x20AC, 0xFFFF, 0x10000, 0x10FFFF};
  for (int32_t cp : samples) {
    char buf[4];
    int len = cantora::EncodeUtf8(cp, buf);
    int32_t back = 0;
    EXPECT_EQ(len, cantora::DecodeUtf8(reinterpret_cast<unsigned char*>(buf), len, &back));
    EXPECT_EQ(cp, back);
  }
}

}  // namespace
