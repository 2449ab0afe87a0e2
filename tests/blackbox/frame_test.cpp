// The request frame as a web server sees it: who gets an answer, and that
// nothing is ever written for a request that is not signed in or names no
// known action.
#include <gtest/gtest.h>

#include "platform/lib/sqlite/database.h"
#include "tests/support/blackbox.h"
#include "tests/support/harness.h"

namespace {

using namespace blackbox;
using harness::Enumerate;

class FrameTest : public ::testing::Test {
 protected:
  Instance instance;
  std::string session = instance.AddUser("alice");
};

TEST_F(FrameTest, SignedInRadioRootAnswersJsonWithTextPlain) {
  CgiResult r = Enumerate(instance, session, "action=radio_enum");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.headers["Content-Type"], "text/plain; charset=\"UTF-8\"");
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ(r.json["total"].asUInt(), 3u);
}

TEST_F(FrameTest, NoSessionWritesNothingEvenForAValidAction) {
  CgiResult r = Enumerate(instance, "", "action=radio_enum");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_TRUE(r.log.empty());
}

TEST_F(FrameTest, ForgedSessionWritesNothing) {
  std::string forged(64, 'a');
  EXPECT_EQ(Enumerate(instance, forged, "action=radio_enum").out, "");
  EXPECT_EQ(Enumerate(instance, "' OR 1=1 --", "action=radio_enum").out, "");
  std::string almost = session;
  almost[0] = almost[0] == '0' ? '1' : '0';
  EXPECT_EQ(Enumerate(instance, almost, "action=radio_enum").out, "");
}

TEST_F(FrameTest, ExpiredSessionWritesNothing) {
  sqlite::Database db;
  std::string error;
  ASSERT_TRUE(db.Open(instance.Path("data/cantora.db"), SQLITE_OPEN_READWRITE, &error)) << error;
  ASSERT_TRUE(db.Exec("UPDATE sessions SET expires = strftime('%s','now') - 1"));
  db.Close();
  CgiResult r = Enumerate(instance, session, "action=radio_enum");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
}

TEST_F(FrameTest, SessionMayComeAsTheSidParameter) {
  CgiResult r = Enumerate(instance, "", "action=radio_enum&_sid=" + session);
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_TRUE(r.json["success"].asBool());
}

TEST_F(FrameTest, MissingOrUnknownActionWritesNothing) {
  for (const char* query : {"", "action=", "action=nosuch", "other=1", "action=RADIO_ENUM",
                            "action=Radio_enum", "action=radio_enum%00x", "action=radio_enum+"}) {
    CgiResult r = Enumerate(instance, session, query);
    EXPECT_EQ(r.status, 0) << query;
    EXPECT_EQ(r.out, "") << query;
  }
}

TEST_F(FrameTest, ParametersComeFromAPostBodyToo) {
  CgiRequest form;
  form.method = "POST";
  form.session = session;
  form.content_type = "application/x-www-form-urlencoded";
  form.body = "action=radio_enum&id=inetradio_sc";
  CgiResult r = RunCgi(instance, form);
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.json["total"].asUInt(), 26u);

  CgiRequest multipart = form;
  multipart.content_type = "multipart/form-data; boundary=XyZ";
  multipart.body =
      "--XyZ\r\nContent-Disposition: form-data; name=\"action\"\r\n\r\nradio_enum\r\n"
      "--XyZ\r\nContent-Disposition: form-data; name=\"id\"\r\n\r\ninetradio_sc\r\n--XyZ--\r\n";
  r = RunCgi(instance, multipart);
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.json["total"].asUInt(), 26u);
}

TEST_F(FrameTest, QueryStringWinsOverBodyForARepeatedName) {
  CgiRequest req;
  req.method = "POST";
  req.session = session;
  req.query = "action=radio_enum&id=inetradio_sc";
  req.content_type = "application/x-www-form-urlencoded";
  req.body = "id=&id=x";
  CgiResult r = RunCgi(instance, req);
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.json["total"].asUInt(), 26u);
}

TEST_F(FrameTest, OversizedOrMalformedBodiesGiveNoParameters) {
  CgiRequest big;
  big.method = "POST";
  big.session = session;
  big.content_type = "application/x-www-form-urlencoded";
  big.body = "action=radio_enum&pad=" + std::string((1 << 20) + 10, 'x');
  CgiResult r = RunCgi(instance, big);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");

  CgiRequest broken = big;
  broken.content_type = "multipart/form-data; boundary=XyZ";
  broken.body = "--XyZ\r\nContent-Disposition: form-data; name=\"action\"\r\n\r\nradio_enum";
  r = RunCgi(instance, broken);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");

  CgiRequest lying = big;
  lying.body = "action=radio_enum";
  lying.env["CONTENT_LENGTH"] = "-5";
  r = RunCgi(instance, lying);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
}

}  // namespace
