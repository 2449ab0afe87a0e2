// Which redirects the HTTP layer follows: only within the service asked.
#include <gtest/gtest.h>

#include "platform/lib/curl/easy.h"

namespace {

TEST(SameService, SameSchemeHostAndPortOnly) {
  const std::string from = "http://lyrics.example:8080/api/get?x=1";
  EXPECT_TRUE(curl::SameService(from, "http://lyrics.example:8080/other"));
  EXPECT_TRUE(curl::SameService(from, "HTTP://LYRICS.example:8080/other"));
  EXPECT_FALSE(curl::SameService(from, "http://lyrics.example/other"));
  EXPECT_FALSE(curl::SameService(from, "http://lyrics.example:8081/other"));
  EXPECT_FALSE(curl::SameService(from, "http://other.example:8080/other"));
  EXPECT_FALSE(curl::SameService(from, "http://lyrics.example.evil:8080/"));
  EXPECT_FALSE(curl::SameService(from, "http://127.0.0.1:8080/"));
  EXPECT_FALSE(curl::SameService(from, "https://lyrics.example:8080/other"));
  EXPECT_FALSE(curl::SameService("https://a.example/x", "http://a.example/x"));
  EXPECT_FALSE(curl::SameService("https://a.example/x", "http://a.example:443/x"));
}

TEST(SameService, PlainHttpMayMoveToHttpsOnTheSameHost) {
  EXPECT_TRUE(curl::SameService("http://a.example/x", "https://a.example/x"));
  EXPECT_TRUE(curl::SameService("http://a.example:80/x", "https://a.example:443/y"));
  EXPECT_FALSE(curl::SameService("http://a.example:8080/x", "https://a.example/x"));
  EXPECT_FALSE(curl::SameService("http://a.example/x", "https://a.example:8443/x"));
  EXPECT_FALSE(curl::SameService("http://a.example/x", "https://b.example/x"));
}

TEST(SameService, OtherSchemesAndNonsenseAreRefused) {
  for (const char* target : {"file:///etc/passwd", "ftp://a.example/x", "gopher://a.example/",
                             "dict://a.example:80/", "", "http://", "not a url"})
    EXPECT_FALSE(curl::SameService("http://a.example/x", target)) << target;
  EXPECT_FALSE(curl::SameService("file:///etc/passwd", "file:///etc/passwd"));
}

}  // namespace
