// How enumerate.cgi is installed on a box: owned by root with the setuid bit,
// started by the web server as its own user. The effective ids are dropped at
// once; only the guarded step (testing that a music file exists) runs as root.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "tests/support/harness.h"

namespace {

using harness::CgiRequest;
using harness::CgiResult;
using harness::Instance;

class PrivilegeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(geteuid(), 0u) << "installing a setuid program needs root";
    // A music folder only root can look into: the web user cannot stat its songs.
    std::string music = instance.Path("music");
    ASSERT_EQ(mkdir(music.c_str(), 0700), 0);
    harness::Run({"/bin/cp", std::string(CANTORA_SOURCE_DIR) + "/tests/data/templates/tone.mp3",
                  music + "/tone.mp3"});
    ASSERT_EQ(instance.Admin({"folder", "add", music}).status, 0);
    harness::CommandResult r = instance.Admin({"index"});
    ASSERT_EQ(r.status, 0) << r.err;
    session = instance.AddUser("alice");
  }

  CgiResult SongsOfTheUntaggedAlbum(const std::string& program) {
    CgiRequest request;
    request.program = program;
    request.session = session;
    request.query = "action=song_enum&album_name=";
    request.run_as = "nobody";
    return RunCgi(instance, request);
  }

  Instance instance{"nobody"};
  std::string session;
};

TEST_F(PrivilegeTest, SetuidInstallReadsTheSongAsRoot) {
  CgiResult r = SongsOfTheUntaggedAlbum(harness::InstallGatewayCopy(instance, true));
  EXPECT_EQ(r.status, 0);
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ(r.json["total"].asUInt(), 1u);
  EXPECT_TRUE(r.log.empty());
}

TEST_F(PrivilegeTest, WithoutSetuidTheGuardIsRefusedAndSaysSo) {
  CgiResult r = SongsOfTheUntaggedAlbum(harness::InstallGatewayCopy(instance, false));
  EXPECT_EQ(r.status, 0);
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_FALSE(r.json.isMember("success"));
  EXPECT_EQ(r.json["total"].asUInt(), 0u);
  EXPECT_EQ(r.json["items"].size(), 0u);
  ASSERT_EQ(r.log.size(), 2u);
  EXPECT_EQ(r.log[0].priority, LOG_AUTH | LOG_ERR);
  EXPECT_EQ(r.log[0].text, "enumerate:1307 ERROR: IF_RUN_AS(0, 0)");
  EXPECT_EQ(r.log[1].priority, LOG_USER | LOG_ERR);
  EXPECT_EQ(r.log[1].text, "enumerate:1313 Failed to run as root.");
}

TEST_F(PrivilegeTest, SetuidProgramIsNotRootOutsideTheGuard) {
  // The database folder of this instance belongs to root alone: a program
  // that kept root outside the guard would read the session; ours cannot,
  // and answers nothing.
  Instance root_owned;
  std::string sid = root_owned.AddUser("bob");
  ASSERT_EQ(chmod(root_owned.Path("data").c_str(), 0700), 0);
  CgiRequest request;
  request.program = harness::InstallGatewayCopy(root_owned, true);
  request.session = sid;
  request.query = "action=radio_enum";
  request.run_as = "nobody";
  CgiResult r = RunCgi(root_owned, request);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  // The same request run as root is answered: the session itself is fine.
  request.run_as.clear();
  EXPECT_TRUE(RunCgi(root_owned, request).has_json);
}

}  // namespace
