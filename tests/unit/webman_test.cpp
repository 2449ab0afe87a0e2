#include <gtest/gtest.h>

#include <cstdio>

#include "platform/cgi/webman.h"
#include "platform/cgi/ui_language.h"

namespace {

using cantora::UrlDecode;

WebMan Get(const std::string& query, const std::string& cookie = "") {
  return WebMan::FromParts("GET", query, "", "", cookie, 1024);
}

WebMan Post(const std::string& query, const std::string& type, const std::string& body,
            long max = 1024) {
  return WebMan::FromParts("POST", query, type, body, "", max);
}

TEST(UrlDecode, PercentAndPlus) {
  EXPECT_EQ(UrlDecode("a%20b+c", true), "a b c");
  EXPECT_EQ(UrlDecode("a+c", false), "a+c");
  EXPECT_EQ(UrlDecode("%E6%97%A5", true), "\xE6\x97\xA5");
  EXPECT_EQ(UrlDecode("100%", true), "100%");
  EXPECT_EQ(UrlDecode("%zz%4", true), "%zz%4");
  EXPECT_EQ(UrlDecode("%00x", true), std::string("\0x", 2));
}

TEST(WebManIn, AbsentGivesTheDefaultAndEmptyIsPresent) {
  WebMan web = Get("a=1&b=&c");
  EXPECT_STREQ(web.In("a"), "1");
  EXPECT_STREQ(web.In("b", "d"), "");
  EXPECT_STREQ(web.In("c", "d"), "");
  EXPECT_EQ(web.In("zz"), nullptr);
  EXPECT_STREQ(web.In("zz", "shared"), "shared");
}

TEST(WebManIn, PairsWithAnEncodedNulAreDropped) {
  WebMan web = Get("action=radio_enum%00x&a%00b=1&ok=1");
  EXPECT_EQ(web.In("action"), nullptr);
  EXPECT_EQ(web.In("a"), nullptr);
  EXPECT_STREQ(web.In("ok"), "1");
}

TEST(WebManIn, RepeatedNameKeepsTheFirstValueQueryBeforeBody) {
  EXPECT_STREQ(Get("a=1&a=2").In("a"), "1");
  WebMan web = Post("a=q", "application/x-www-form-urlencoded", "a=b&c=%27x%27");
  EXPECT_STREQ(web.In("a"), "q");
  EXPECT_STREQ(web.In("c"), "'x'");
}

TEST(WebManIn, ContentTypeParametersAndCaseAreAccepted) {
  WebMan web = Post("", "Application/X-WWW-Form-Urlencoded; charset=UTF-8", "k=v");
  EXPECT_STREQ(web.In("k"), "v");
}

TEST(WebManIn, MultipartFields) {
  std::string body =
      "--b1\r\nContent-Disposition: form-data; name=\"action\"\r\n\r\nsearch\r\n"
      "--b1\r\nContent-Disposition: form-data; name=\"search_key\"\r\n"
      "Content-Type: text/plain\r\n\r\nline1\r\nline2\r\n--b1--\r\n";
  WebMan web = Post("", "multipart/form-data; boundary=b1", body);
  EXPECT_FALSE(web.BodyRejected());
  EXPECT_STREQ(web.In("action"), "search");
  EXPECT_STREQ(web.In("search_key"), "line1\r\nline2");
}

TEST(WebManIn, QuotedBoundary) {
  std::string body = "--a b\r\nContent-Disposition: form-data; name=\"x\"\r\n\r\n1\r\n--a b--";
  WebMan web = Post("", "multipart/form-data; boundary=\"a b\"", body);
  EXPECT_STREQ(web.In("x"), "1");
}

TEST(WebManIn, MalformedMultipartGivesNoBodyParameters) {
  for (const char* body : {"--b1\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n1",
                           "garbage", "--b1\r\nno headers end",
                           "--b1xx\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n1\r\n--b1--"}) {
    WebMan web = Post("q=1", "multipart/form-data; boundary=b1", body);
    EXPECT_TRUE(web.BodyRejected()) << body;
    EXPECT_EQ(web.In("a"), nullptr) << body;
    EXPECT_STREQ(web.In("q"), "1");
  }
  EXPECT_TRUE(Post("", "multipart/form-data", "--\r\n").BodyRejected());
}

TEST(WebManIn, OversizedBodyIsRefusedWhole) {
  WebMan web = Post("q=1", "application/x-www-form-urlencoded", "a=" + std::string(2000, 'x'));
  EXPECT_TRUE(web.BodyRejected());
  EXPECT_EQ(web.In("a"), nullptr);
  EXPECT_STREQ(web.In("q"), "1");
}

TEST(WebManSession, CookieIdThenSidParameter) {
  EXPECT_STREQ(Get("_sid=p", "x=1; id=c; y=2").GetSessionID(), "c");
  EXPECT_STREQ(Get("_sid=p", "x=1").GetSessionID(), "p");
  EXPECT_STREQ(Get("", "").GetSessionID(), "");
  EXPECT_STREQ(Get("", "id=first; id=second").GetSessionID(), "first");
}

TEST(WebManLanguage, SessionLanguageThenDefault) {
  EXPECT_EQ(Get("").GetUILanguage(), "en");
  // A request parameter does not choose it: the session does.
  EXPECT_EQ(Get("lang=de").GetUILanguage(), "en");
  WebMan web = Get("");
  web.SetSessionLanguage("fr");
  EXPECT_EQ(web.GetUILanguage(), "fr");
  web.SetSessionLanguage("../../etc");
  EXPECT_EQ(web.GetUILanguage(), "en");
}

TEST(UiLanguage, TagsMapToShippedLanguages) {
  EXPECT_EQ(cantora::ShippedLanguage("de-CH"), "de");
  EXPECT_EQ(cantora::ShippedLanguage("EN_us"), "en");
  EXPECT_EQ(cantora::ShippedLanguage("zh-CN"), "zh-Hans");
  EXPECT_EQ(cantora::ShippedLanguage("zh-Hans"), "zh-Hans");
  EXPECT_EQ(cantora::ShippedLanguage("zh-TW"), "");
  EXPECT_EQ(cantora::ShippedLanguage("it"), "");
  EXPECT_EQ(cantora::ShippedLanguage("../ja"), "");
}

TEST(UiLanguage, AcceptLanguageByQualityThenOrder) {
  EXPECT_EQ(cantora::LanguageOfAcceptLanguage("it, ja;q=0.8, fr;q=0.9"), "fr");
  EXPECT_EQ(cantora::LanguageOfAcceptLanguage("es-MX,de;q=0.5"), "es");
  EXPECT_EQ(cantora::LanguageOfAcceptLanguage("zh-TW, zh;q=0.7"), "zh-Hans");
  EXPECT_EQ(cantora::LanguageOfAcceptLanguage("de;q=0, ko"), "");
  EXPECT_EQ(cantora::LanguageOfAcceptLanguage(""), "");
}

TEST(WebManOutput, HeaderThenCompactJson) {
  char* text = nullptr;
  size_t size = 0;
  FILE* out = open_memstream(&text, &size);
  WebMan web = Get("");
  web.SetOutput(out);
  web.WriteHeader("text/plain; charset=\"UTF-8\"", {"Set-Cookie: id=1"});
  Json::Value v(Json::objectValue);
  v["name"] = "Ærø \"q\"";
  v["n"] = 1;
  web.WriteBody(v);
  std::fclose(out);
  EXPECT_EQ(std::string(text, size),
            "Content-Type: text/plain; charset=\"UTF-8\"\r\nSet-Cookie: id=1\r\n\r\n"
            "{\"n\":1,\"name\":\"\xC3\x86r\xC3\xB8 \\\"q\\\"\"}");
  free(text);
}

}  // namespace

namespace {

TEST(WebManOrigin, MethodAndQueryStringNames) {
  WebMan web = WebMan::FromParts("POST", "a=1&pass%77d=x", "application/x-www-form-urlencoded",
                                 "b=2", "", 1024);
  EXPECT_EQ(web.Method(), "POST");
  EXPECT_TRUE(web.InQueryString("a"));
  EXPECT_TRUE(web.InQueryString("passwd"));
  EXPECT_FALSE(web.InQueryString("b"));
  EXPECT_FALSE(WebMan::FromParts("GET", "xpasswd=1", "", "", "", 1024).InQueryString("passwd"));
}

}  // namespace
