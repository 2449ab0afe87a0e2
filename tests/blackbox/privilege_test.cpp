// How enumerate.cgi is installed on a box: owned by root with the setuid bit,
// started by the web server as its own user. The effective ids are dropped at
// once; only the guarded step (testing that a music file exists) runs as root.
#include <gtest/gtest.h>

#include <pwd.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/blackbox.h"
#include "tests/support/harness.h"

namespace {

using namespace blackbox;

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

  static constexpr const char* kUntaggedAlbum = "action=song_enum&album_name=";

  CgiResult SongsOfTheUntaggedAlbum(const std::string& program) {
    return RunAsWebUser(instance, program, session, kUntaggedAlbum);
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

// A long list: its songs' files are tested on two threads, each raising
// itself for each song. In a music folder only root can look into, the
// setuid program run by the web user must find exactly the files that root
// finds one by one: none missing, no link out of the library, no folder.
class LongListTest : public PrivilegeTest {
 protected:
  void SetUp() override {
    PrivilegeTest::SetUp();
    std::string music = instance.Path("music");
    std::string outside = instance.Path("outside.mp3");
    harness::Run({"/bin/cp", music + "/tone.mp3", outside});
    // Folders of one, two and five songs in turn, as a search's hits and
    // an artist's albums lie.
    std::vector<std::string> copies;
    for (int folder = 0; songs + copies.size() < 600; ++folder) {
      std::string path = music + "/f" + std::to_string(folder);
      ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
      for (int s = 0; s < (folder % 3 == 0 ? 1 : folder % 3 == 1 ? 2 : 5); ++s) {
        copies.push_back(path + "/s" + std::to_string(s) + ".mp3");
        harness::Run({"/bin/cp", music + "/tone.mp3", copies.back()});
      }
    }
    songs += static_cast<int>(copies.size());
    ASSERT_EQ(instance.Admin({"index"}).status, 0);
    // After indexing: every seventh song gone, every eleventh a link out of
    // the library, every thirteenth a folder.
    for (size_t i = 0; i < copies.size(); ++i) {
      if (i % 7 != 6 && i % 11 != 10 && i % 13 != 12) continue;
      ASSERT_EQ(unlink(copies[i].c_str()), 0);
      if (i % 11 == 10) {
        ASSERT_EQ(symlink(outside.c_str(), copies[i].c_str()), 0);
      } else if (i % 13 == 12) {
        ASSERT_EQ(mkdir(copies[i].c_str(), 0755), 0);
      }
      ++gone;
    }
  }
  int songs = 1;  // tone.mp3
  int gone = 0;
};

TEST_F(LongListTest, TheSetuidProgramFindsWhatRootFinds) {
  std::string program = harness::InstallGatewayCopy(instance, true);
  CgiResult as_web_user = SongsOfTheUntaggedAlbum(program);
  EXPECT_EQ(as_web_user.status, 0);
  ASSERT_TRUE(as_web_user.has_json) << as_web_user.out;
  EXPECT_TRUE(as_web_user.log.empty());
  EXPECT_EQ(as_web_user.json["total"].asInt(), songs - gone);

  CgiRequest request;
  request.program = program;
  request.session = session;
  request.query = kUntaggedAlbum;
  CgiResult as_root = RunCgi(instance, request);
  EXPECT_EQ(as_web_user.out, as_root.out);
}

TEST_F(LongListTest, WithoutSetuidTheListEndsAtItsFirstSongAndSaysSoOnce) {
  CgiResult r = SongsOfTheUntaggedAlbum(harness::InstallGatewayCopy(instance, false));
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.json["items"].size(), 0u);
  ASSERT_EQ(r.log.size(), 2u);
  EXPECT_EQ(r.log[0].text, "enumerate:1307 ERROR: IF_RUN_AS(0, 0)");
  EXPECT_EQ(r.log[1].text, "enumerate:1313 Failed to run as root.");
}

// Asks for the radio list with session sid, first through the setuid copy
// started by the web user, which must answer nothing at all, then as root,
// which must answer: the session itself is fine.
void OnlyRootIsAnswered(const Instance& instance, const std::string& sid) {
  CgiRequest request;
  request.program = harness::InstallGatewayCopy(instance, true);
  request.session = sid;
  request.query = "action=radio_enum";
  request.run_as = "nobody";
  CgiResult r = RunCgi(instance, request);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  request.run_as.clear();
  EXPECT_TRUE(RunCgi(instance, request).has_json);
}

TEST_F(PrivilegeTest, SetuidProgramIsNotRootOutsideTheGuard) {
  // The database folder of this instance belongs to root alone: a program
  // that kept root outside the guard would read the session; ours cannot.
  Instance root_owned;
  std::string sid = root_owned.AddUser("bob");
  ASSERT_EQ(chmod(root_owned.Path("data").c_str(), 0700), 0);
  OnlyRootIsAnswered(root_owned, sid);
}

TEST_F(PrivilegeTest, OutsideTheGuardFilesAreOpenedWithTheCallersGroup) {
  // The configuration is readable by root and root's group alone. Outside the
  // guard the setuid program reaches files with the caller's group, which
  // cannot read it.
  Instance root_group;
  std::string sid = root_group.AddUser("bob");
  ASSERT_EQ(chown(root_group.config().c_str(), 0, 0), 0);
  ASSERT_EQ(chmod(root_group.config().c_str(), 0640), 0);
  OnlyRootIsAnswered(root_group, sid);
}

// The setuid program tests song paths as root, so its caller must not choose
// the configuration, nor so the database, that names them: a local user with
// a database of their own listing files of a folder only root can read would
// learn which of them exist.
class CallerChosenFilesTest : public PrivilegeTest {
 protected:
  // Gives path to the unprivileged caller, as if they had made it.
  static void GiveToCaller(const std::string& path) {
    struct passwd* nobody = getpwnam("nobody");
    ASSERT_NE(nobody, nullptr);
    ASSERT_EQ(chown(path.c_str(), nobody->pw_uid, nobody->pw_gid), 0) << path;
  }
  std::string Database() const { return instance.Path("data/cantora.db"); }
};

TEST_F(CallerChosenFilesTest, ConfigurationOwnedByTheCallerIsRefused) {
  GiveToCaller(instance.config());
  CgiResult r = SongsOfTheUntaggedAlbum(harness::InstallGatewayCopy(instance, true));
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_TRUE(harness::Logged(r.log, harness::kErr,
                              "cantora: refusing configuration " + instance.config() +
                                  ": not owned by root"));
}

TEST_F(CallerChosenFilesTest, DatabaseOwnedByTheCallerIsRefused) {
  for (const char* suffix : {"", "-wal", "-shm"}) GiveToCaller(Database() + suffix);
  CgiResult r = SongsOfTheUntaggedAlbum(harness::InstallGatewayCopy(instance, true));
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_TRUE(harness::Logged(r.log, harness::kErr,
                              "cantora: refusing database " + Database() + ": not owned by root"));
}

TEST_F(CallerChosenFilesTest, FilesEveryoneCanWriteAreRefused) {
  ASSERT_EQ(chmod(instance.config().c_str(), 0666), 0);
  CgiResult r = SongsOfTheUntaggedAlbum(harness::InstallGatewayCopy(instance, true));
  EXPECT_EQ(r.out, "");
  EXPECT_TRUE(harness::Logged(r.log, harness::kErr,
                              "cantora: refusing configuration " + instance.config() +
                                  ": writable by others"));

  ASSERT_EQ(chmod(instance.config().c_str(), 0644), 0);
  ASSERT_EQ(chmod(instance.Path("data").c_str(), 02777), 0);
  r = SongsOfTheUntaggedAlbum(harness::InstallGatewayCopy(instance, true));
  EXPECT_EQ(r.out, "");
  EXPECT_TRUE(harness::Logged(r.log, harness::kErr,
                              "cantora: refusing database " + instance.Path("data") +
                                  ": writable by others"));
}

TEST_F(CallerChosenFilesTest, WithoutSetuidTheCallersConfigurationIsRead) {
  // Nothing is gained by naming files to a program without privileges.
  GiveToCaller(instance.config());
  CgiResult r = SongsOfTheUntaggedAlbum(harness::InstallGatewayCopy(instance, false));
  ASSERT_TRUE(r.has_json) << r.out;
}

// Whoever can write into a music folder can replace an indexed song by a
// link. The guarded test of the song's file must not follow it out of the
// library: a link to a file that exists in a folder only root can read, and
// a link to nothing, must look the same.
TEST_F(PrivilegeTest, ASongReplacedByALinkOutOfTheLibraryTellsNothing) {
  std::string secret = instance.Path("secret");
  ASSERT_EQ(mkdir(secret.c_str(), 0700), 0);
  harness::Run({"/bin/cp", std::string(CANTORA_SOURCE_DIR) + "/tests/data/templates/tone.mp3",
                secret + "/tone.mp3"});
  std::string song = instance.Path("music/tone.mp3");
  std::string program = harness::InstallGatewayCopy(instance, true);
  for (const std::string& target : {secret + "/tone.mp3", secret + "/absent.mp3"}) {
    ASSERT_EQ(unlink(song.c_str()), 0);
    ASSERT_EQ(symlink(target.c_str(), song.c_str()), 0);
    CgiResult r = SongsOfTheUntaggedAlbum(program);
    ASSERT_TRUE(r.has_json) << r.out;
    EXPECT_TRUE(r.json["success"].asBool());
    EXPECT_EQ(r.json["total"].asUInt(), 0u) << target;
  }
}

}  // namespace
