// HTTPFileOutputer: headers, validators, X-Sendfile.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "platform/cgi/file_outputer.h"
#include "platform/media/cover/cover_scope.h"
#include "tests/unit/temp_folder.h"

namespace {

std::string Answer(const std::string& path, const HTTPFileOutputer::Conditions& c,
                   bool sendfile, int* result) {
  char* text = nullptr;
  size_t size = 0;
  FILE* out = open_memstream(&text, &size);
  *result = HTTPFileOutputer::OutputTo(out, path.c_str(), nullptr, c, sendfile);
  std::fclose(out);
  std::string answer(text, size);
  std::free(text);
  return answer;
}

TEST(FileOutputerTest, DatesRoundTrip) {
  EXPECT_EQ(cantora::HttpDate(784111777), "Sun, 06 Nov 1994 08:49:37 GMT");
  EXPECT_EQ(cantora::ParseHttpDate("Sun, 06 Nov 1994 08:49:37 GMT"), 784111777);
  EXPECT_EQ(cantora::ParseHttpDate("yesterday"), -1);
  EXPECT_EQ(cantora::ParseHttpDate("Sun, 06 Nov 1994 08:49:37 GMT junk"), -1);
}

TEST(FileOutputerTest, TypeFromTheFirstBytes) {
  auto type = [](const std::string& b) {
    return std::string(cantora::ContentTypeOfBytes(
        reinterpret_cast<const unsigned char*>(b.data()), b.size()));
  };
  EXPECT_EQ(type("\xFF\xD8\xFF\xE0"), "image/jpeg");
  EXPECT_EQ(type("\x89PNG\r\n\x1a\n...."), "image/png");
  EXPECT_EQ(type("GIF89a"), "image/gif");
  EXPECT_EQ(type(std::string("RIFF\x10\0\0\0WEBPVP8 ", 16)), "image/webp");
  EXPECT_EQ(type("hello"), "application/octet-stream");
}

TEST(FileOutputerTest, FileTagNotModifiedAndSendfile) {
  TempFolder dir;
  std::string path = dir.path() + "/a.png";
  std::ofstream(path, std::ios::binary) << "\x89PNG\r\n\x1a\nbody";
  int result = -1;
  std::string full = Answer(path, {}, false, &result);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(full.compare(0, 25, "Content-Type: image/png\r\n"), 0) << full;
  EXPECT_NE(full.find("Content-Length: 12\r\n"), std::string::npos);
  EXPECT_NE(full.find("Cache-Control: private, max-age=86400\r\n"), std::string::npos);
  EXPECT_EQ(full.substr(full.size() - 16), "\r\n\r\n\x89PNG\r\n\x1a\nbody");
  size_t at = full.find("ETag: ") + 6;
  std::string tag = full.substr(at, full.find("\r\n", at) - at);

  HTTPFileOutputer::Conditions c;
  std::string list = "\"x\", W/" + tag;
  c.if_none_match = list.c_str();
  std::string not_modified = Answer(path, c, false, &result);
  EXPECT_EQ(not_modified.compare(0, 26, "Status: 304 Not Modified\r\n"), 0);
  EXPECT_EQ(not_modified.substr(not_modified.size() - 4), "\r\n\r\n");
  EXPECT_EQ(not_modified.find("body"), std::string::npos);
  // If-None-Match decides alone when present.
  c.if_none_match = "\"other\"";
  c.if_modified_since = "Fri, 01 Jan 2100 00:00:00 GMT";
  EXPECT_NE(Answer(path, c, false, &result).find("body"), std::string::npos);

  std::string handed = Answer(path, {}, true, &result);
  EXPECT_NE(handed.find("X-Sendfile: " + path + "\r\n"), std::string::npos);
  EXPECT_EQ(handed.find("body"), std::string::npos);
  EXPECT_EQ(handed.find("Content-Length"), std::string::npos);
}

TEST(FileOutputerTest, LinksFoldersAndMissingFilesAreRefused) {
  TempFolder dir;
  std::string target = dir.path() + "/t.jpg";
  std::ofstream(target) << "x";
  std::string link = dir.path() + "/l.jpg";
  ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
  int result = 0;
  EXPECT_EQ(Answer(link, {}, false, &result), "");
  EXPECT_LT(result, 0);
  EXPECT_EQ(Answer(dir.path(), {}, false, &result), "");
  EXPECT_LT(result, 0);
  EXPECT_EQ(Answer(dir.path() + "/none", {}, false, &result), "");
  EXPECT_LT(result, 0);
}

TEST(CoverScopeTest, PlainAbsolutePaths) {
  EXPECT_TRUE(cantora::IsPlainAbsolutePath("/music/a b/c.mp3"));
  EXPECT_TRUE(cantora::IsPlainAbsolutePath("/music/..a/c.mp3"));
  EXPECT_FALSE(cantora::IsPlainAbsolutePath("music/c.mp3"));
  EXPECT_FALSE(cantora::IsPlainAbsolutePath("/music/../etc"));
  EXPECT_FALSE(cantora::IsPlainAbsolutePath("/music/./c"));
  EXPECT_FALSE(cantora::IsPlainAbsolutePath("/music//c"));
  EXPECT_FALSE(cantora::IsPlainAbsolutePath("/music/.."));
  EXPECT_FALSE(cantora::IsPlainAbsolutePath(""));
}

}  // namespace
