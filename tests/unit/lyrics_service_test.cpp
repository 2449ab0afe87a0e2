#include "platform/media/lyrics/fetch/lyrics_service.h"

#include <gtest/gtest.h>

#include "platform/text/plain_text.h"

namespace cantora {
namespace {

ServiceAnswer Read(long status, const std::string& body, std::string* lyrics) {
  std::string error;
  return ReadServiceAnswer(status, body, lyrics, &error);
}

TEST(LyricsService, SyncedLyricsWinOverPlainOnes) {
  std::string lyrics;
  EXPECT_EQ(ServiceAnswer::kFound,
            Read(200, R"({"plainLyrics":"plain","syncedLyrics":"[00:01.00]synced"})", &lyrics));
  EXPECT_EQ("[00:01.00]synced", lyrics);
  EXPECT_EQ(ServiceAnswer::kFound, Read(200, R"({"plainLyrics":"plain","syncedLyrics":""})", &lyrics));
  EXPECT_EQ("plain", lyrics);
}

TEST(LyricsService, NoneAndFailures) {
  std::string lyrics;
  EXPECT_EQ(ServiceAnswer::kNotFound, Read(404, "", &lyrics));
  EXPECT_EQ(ServiceAnswer::kNotFound,
            Read(200, R"({"instrumental":true,"plainLyrics":null,"syncedLyrics":null})", &lyrics));
  EXPECT_EQ(ServiceAnswer::kFailed, Read(500, "{}", &lyrics));
  EXPECT_EQ(ServiceAnswer::kFailed, Read(200, "", &lyrics));
  EXPECT_EQ(ServiceAnswer::kFailed, Read(200, "[1,2]", &lyrics));
  EXPECT_EQ(ServiceAnswer::kFailed, Read(200, "<html>", &lyrics));
}

TEST(LyricsService, NestingPastTheParsersLimitIsAFailure) {
  std::string lyrics, error;
  const std::string deep = std::string(5000, '[') + std::string(5000, ']');
  EXPECT_EQ(ServiceAnswer::kFailed, ReadServiceAnswer(200, deep, &lyrics, &error));
  EXPECT_EQ(ServiceAnswer::kFailed,
            ReadServiceAnswer(200, "{\"plainLyrics\":" + deep + "}", &lyrics, &error));
  EXPECT_NE(std::string::npos, error.find("not a JSON object")) << error;
}

TEST(PlainText, Utf8KeptLatin1ConvertedBomDropped) {
  EXPECT_EQ("caf\xC3\xA9", PlainTextToUtf8("caf\xC3\xA9"));
  EXPECT_EQ("caf\xC3\xA9", PlainTextToUtf8("caf\xE9"));
  EXPECT_EQ("words", PlainTextToUtf8("\xEF\xBB\xBFwords"));
  EXPECT_EQ("ab", PlainTextToUtf8(std::string("a\0b", 3)));
}

}  // namespace
}  // namespace cantora
