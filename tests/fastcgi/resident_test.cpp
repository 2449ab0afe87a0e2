// enumerate.cgi as a resident FastCGI process (harness::RunResident): what
// a process that answers request after request must keep true between them.
#include <gtest/gtest.h>

#include <pwd.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/proc_status.h"
#include "tests/support/harness.h"

namespace {

using harness::CgiRequest;
using harness::CgiResult;
using harness::Instance;

class ResidentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(geteuid(), 0u) << "installing a setuid program needs root";
    music = instance.Path("music");
    // Only root may look into the library: the guard must raise to list it.
    ASSERT_EQ(mkdir(music.c_str(), 0700), 0);
    AddSong("tone.mp3");
    ASSERT_EQ(instance.Admin({"folder", "add", music}).status, 0);
    Index();
    session = instance.AddUser("alice");
  }

  void AddSong(const std::string& name) {
    harness::Run({"/bin/cp", std::string(CANTORA_SOURCE_DIR) + "/tests/data/templates/tone.mp3",
                  music + "/" + name});
  }
  void Index() {
    harness::CommandResult r = instance.Admin({"index"});
    ASSERT_EQ(r.status, 0) << r.err;
  }
  void AppendConfig(const std::string& lines) {
    std::ofstream(instance.config(), std::ios::app) << lines;
  }

  CgiRequest Request(const std::string& query) const {
    CgiRequest request;
    request.program = program;
    request.session = session;
    request.query = query;
    request.run_as = run_as;
    return request;
  }
  CgiResult Ask(const std::string& query) { return harness::RunResident(instance, Request(query)); }
  pid_t Pid() { return harness::ResidentPid(instance, Request("")); }

  // The songs of the untagged album: every song of the library.
  CgiResult Songs() { return Ask("action=song_enum&album_name="); }

  Instance instance{"nobody"};
  std::string music;
  std::string session;
  std::string program = "enumerate.cgi";
  std::string run_as;
};

TEST_F(ResidentTest, BetweenRequestsTheIdsAreTheWebServers) {
  program = harness::InstallGatewayCopy(instance, true);
  run_as = "nobody";
  struct passwd* nobody = getpwnam("nobody");
  ASSERT_NE(nobody, nullptr);
  for (int i = 0; i < 3; ++i) {
    CgiResult r = Songs();
    ASSERT_EQ(r.status, 0);
    ASSERT_TRUE(r.has_json) << r.out;
    // Listing the song needed root: the guard was raised and put back.
    EXPECT_EQ(r.json["total"].asUInt(), 1u);
    EXPECT_TRUE(r.log.empty());
    std::vector<long> uid = StatusLine(Pid(), "Uid:"), gid = StatusLine(Pid(), "Gid:");
    ASSERT_EQ(uid.size(), 4u);
    ASSERT_EQ(gid.size(), 4u);
    // Real, effective and file-system user: the web server's; the saved id
    // stays root, for the guard to come back to.
    EXPECT_EQ(uid[0], static_cast<long>(nobody->pw_uid));
    EXPECT_EQ(uid[1], static_cast<long>(nobody->pw_uid));
    EXPECT_EQ(uid[2], 0);
    EXPECT_EQ(uid[3], static_cast<long>(nobody->pw_uid));
    // Every group id is the web server's: only the guard raises the group.
    for (long g : gid) EXPECT_EQ(g, static_cast<long>(nobody->pw_gid));
  }
}

TEST_F(ResidentTest, AfterAGuardFailureTheIdsStayTheWebServersAndTheProcessServesOn) {
  program = harness::InstallGatewayCopy(instance, false);  // no setuid: raising fails
  run_as = "nobody";
  struct passwd* nobody = getpwnam("nobody");
  ASSERT_NE(nobody, nullptr);
  pid_t pid = Pid();
  for (int i = 0; i < 2; ++i) {
    CgiResult r = Songs();
    ASSERT_EQ(r.status, 0);
    ASSERT_TRUE(r.has_json) << r.out;
    EXPECT_FALSE(r.json.isMember("success"));
    EXPECT_FALSE(r.log.empty());  // the guard's failure, logged as by the CGI
    std::vector<long> uid = StatusLine(pid, "Uid:"), gid = StatusLine(pid, "Gid:");
    ASSERT_EQ(uid.size(), 4u);
    for (long id : uid) EXPECT_EQ(id, static_cast<long>(nobody->pw_uid));
    for (long id : gid) EXPECT_EQ(id, static_cast<long>(nobody->pw_gid));
  }
  EXPECT_EQ(Pid(), pid);
}

TEST_F(ResidentTest, AnIndexRunBetweenTwoRequestsIsSeenByTheNext) {
  ASSERT_EQ(Songs().json["total"].asUInt(), 1u);
  AddSong("tone2.mp3");
  Index();
  CgiResult r = Songs();
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(r.json["total"].asUInt(), 2u);
}

TEST_F(ResidentTest, AnOpenIndexingTransactionDoesNotHoldARequestBack) {
  ASSERT_EQ(Songs().json["total"].asUInt(), 1u);
  std::string database = instance.Path("data/cantora.db");
  sqlite3* writer = nullptr;
  ASSERT_EQ(sqlite3_open(database.c_str(), &writer), SQLITE_OK);
  // What an indexing run holds while it writes a batch: the write lock and
  // uncommitted rows (in a table of their own: the song table's triggers
  // call the indexer's SQL functions).
  ASSERT_EQ(sqlite3_exec(writer,
                         "BEGIN IMMEDIATE; CREATE TABLE batch(x); "
                         "INSERT INTO batch SELECT id FROM song;",
                         nullptr, nullptr, nullptr),
            SQLITE_OK)
      << sqlite3_errmsg(writer);
  auto start = std::chrono::steady_clock::now();
  CgiResult r = Songs();
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  sqlite3_exec(writer, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(writer);
  ASSERT_TRUE(r.has_json) << r.out;
  // The last committed index, at once (a wait for the lock would be the
  // busy timeout, seconds).
  EXPECT_EQ(r.json["total"].asUInt(), 1u);
  EXPECT_LT(seconds, 1.0);
}

TEST_F(ResidentTest, HelpersAreReaped) {
  // Helpers that note that they ran and fail: the radio directory's, the
  // lyrics service's, the cover scaler's (every cover is scaled: covers are
  // at most 16 pixels).
  std::string libexec = instance.Path("libexec"), ran = instance.Path("ran");
  ASSERT_EQ(mkdir(libexec.c_str(), 0755), 0);
  for (const char* helper : {"cantora-radio-fetch", "cantora-lyrics-fetch", "cantora-cover-scale"}) {
    std::string path = libexec + "/" + helper;
    std::ofstream(path) << "#!/bin/sh\necho " << helper << " >> " << ran << "\nexit 1\n";
    ASSERT_EQ(chmod(path.c_str(), 0755), 0);
  }
  harness::Run({"/bin/cp", std::string(CANTORA_SOURCE_DIR) + "/tests/data/templates/cover.jpg",
                music + "/cover.jpg"});
  AppendConfig("libexec = " + libexec + "\nlyrics_url = http://127.0.0.1:9/\n" +
               "shoutcast_url = http://127.0.0.1:9/\ncover_size = 16\n");
  CgiResult songs = Songs();
  ASSERT_EQ(songs.json["items"].size(), 1u) << songs.out;
  std::string id = songs.json["items"][0]["id"].asString();
  pid_t pid = Pid();
  for (int i = 0; i < 3; ++i) {
    Ask("action=get_lyrics&id=" + id);
    Ask("action=radio_enum&id=inetradio_genre_Jazz");
    Ask("action=get_cover&music_id=" + id);
  }
  std::ifstream in(ran);
  std::string helpers((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_NE(helpers.find("cantora-radio-fetch"), std::string::npos) << helpers;
  EXPECT_NE(helpers.find("cantora-cover-scale"), std::string::npos) << helpers;
  EXPECT_EQ(Pid(), pid);
  EXPECT_TRUE(ChildrenOf(pid).empty());
}

TEST_F(ResidentTest, MemoryStaysFlatOverManyRequests) {
#ifdef CANTORA_SANITIZED
  GTEST_SKIP() << "a sanitizer's heap holds freed memory back on purpose";
#endif
  // A mix of small answers, errors and refusals.
  const std::vector<std::string> queries = {
      "action=song_enum&album_name=", "action=artist_enum", "action=album_enum",
      "action=genre_enum", "action=search&search_key=tone", "action=folder_enum&library=all",
      "action=no_such_action", "action=song_enum&album_name=%27"};
  auto run = [&](int count) {
    for (int i = 0; i < count; ++i) Ask(queries[i % queries.size()]);
  };
  run(1000);
  long after_warm_up = StatusLine(Pid(), "VmRSS:").at(0);
  run(99000);
  long after_many = StatusLine(Pid(), "VmRSS:").at(0);
  EXPECT_LE(after_many, after_warm_up * 11 / 10)
      << after_warm_up << " kB after 1,000 requests, " << after_many << " kB after 100,000";
}

}  // namespace
