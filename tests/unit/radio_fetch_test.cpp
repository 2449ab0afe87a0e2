#include <dirent.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "platform/file/atomic_file.h"
#include "platform/radio/fetch/directory.h"
#include "platform/radio/fetch/refresh.h"
#include "platform/radio/legacy_shoutcast_update.h"
#include "platform/radio/store/radiolist.h"
#include "tests/unit/radio_root.h"

extern char** environ;

namespace {

class RadioFetch : public ::testing::Test {
 protected:
  RadioFetch() : server_(RadioDataDir(), 3) {}

  void Serve(const std::string& path) {
    root_.config().shoutcast_url = server_.Url(path);
    root_.Apply();
  }
  bool Fetch(Json::Value* list, std::string* error) {
    return cantora::FetchGenreStations(root_.config(), "Hip%20Hop", list, error);
  }
  std::vector<std::string> RadioFiles() {
    std::vector<std::string> names;
    if (DIR* d = opendir(root_.RadioDir().c_str())) {
      while (dirent* e = readdir(d))
        if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0)
          names.push_back(e->d_name);
      closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  RadioRoot root_;
  testserver::RecordedServer server_;
};

TEST_F(RadioFetch, NormalAnswerBecomesStationList) {
  ASSERT_TRUE(server_.ok());
  Serve("/normal");
  Json::Value list;
  std::string error;
  ASSERT_TRUE(Fetch(&list, &error)) << error;
  ASSERT_EQ(list["stations"].size(), 4u);
  EXPECT_EQ(list["total"].asInt(), 4);
  const Json::Value& first = list["stations"][0];
  EXPECT_EQ(first["name"], Json::Value("Test Beats One"));
  EXPECT_EQ(first["url"], Json::Value("http://tune.invalid/play?id=1001"));
  EXPECT_EQ(first["desc"], Json::Value("Hip Hop"));
  EXPECT_EQ(first["bitrate"], Json::Value("128"));
  EXPECT_EQ(list["stations"][1]["bitrate"], Json::Value("64"));
  EXPECT_EQ(list["stations"][2]["url"], Json::Value("http://tune.invalid/play?id=1003"));
  EXPECT_EQ(list["stations"][2]["bitrate"], Json::Value("320"));
  // The entry without an id is skipped; an unknown bit rate is "0".
  EXPECT_EQ(list["stations"][3]["name"], Json::Value("Test Beats Five"));
  EXPECT_EQ(list["stations"][3]["bitrate"], Json::Value("0"));
}

TEST_F(RadioFetch, AsksWithTheGenresQueryForm) {
  Serve("/normal");
  Json::Value list;
  std::string error;
  ASSERT_TRUE(Fetch(&list, &error)) << error;
  ASSERT_EQ(server_.Requests().size(), 1u);
  const std::string request = server_.Requests()[0];
  EXPECT_EQ(request.rfind("POST /normal HTTP/1.1\r\n", 0), 0u) << request;
  EXPECT_NE(request.find("User-Agent: cantora-radio-fetch/1\r\n"), std::string::npos) << request;
  EXPECT_NE(request.find("Content-Type: application/x-www-form-urlencoded"), std::string::npos);
  EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4), "genrename=Hip%20Hop");
}

TEST_F(RadioFetch, EmptyListIsAnEmptyGenre) {
  Serve("/empty");
  Json::Value list;
  std::string error;
  ASSERT_TRUE(Fetch(&list, &error)) << error;
  EXPECT_TRUE(list["stations"].isArray());
  EXPECT_EQ(list["stations"].size(), 0u);
  EXPECT_EQ(list["total"].asInt(), 0);
}

TEST_F(RadioFetch, FailuresAreReported) {
  const struct {
    const char* path;
    const char* expected;
  } cases[] = {
      {"/blank", "malformed"},
      {"/malformed", "malformed"},
      {"/status/500", "HTTP status 500"},
      {"/status/404", "HTTP status 404"},
      {"/oversized", "larger than 4096"},
      {"/nolength/oversized", "larger than 4096"},
  };
  for (const auto& c : cases) {
    Serve(c.path);
    Json::Value list;
    list["untouched"] = true;
    std::string error;
    EXPECT_FALSE(Fetch(&list, &error)) << c.path;
    EXPECT_NE(error.find(c.expected), std::string::npos) << c.path << ": " << error;
    EXPECT_EQ(list["untouched"], Json::Value(true)) << c.path;
  }
}

TEST_F(RadioFetch, OversizedFitsUnderALargerCap) {
  Serve("/nolength/oversized");
  root_.config().radio_max_bytes = 1 << 20;
  Json::Value list;
  std::string error;
  ASSERT_TRUE(Fetch(&list, &error)) << error;
  EXPECT_EQ(list["stations"].size(), 80u);
}

TEST_F(RadioFetch, SlowAnswerTimesOut) {
  Serve("/slow/normal");
  time_t start = time(nullptr);
  Json::Value list;
  std::string error;
  EXPECT_FALSE(Fetch(&list, &error));
  EXPECT_LT(time(nullptr) - start, 3);
  EXPECT_NE(error.find("imed out"), std::string::npos) << error;
}

TEST_F(RadioFetch, NoServerIsAFailure) {
  root_.config().shoutcast_url = "http://127.0.0.1:" + std::to_string(testserver::ClosedPort()) + "/";
  Json::Value list;
  std::string error;
  EXPECT_FALSE(Fetch(&list, &error));
  EXPECT_FALSE(error.empty());
}

TEST_F(RadioFetch, OnlyHttpIsSpoken) {
  root_.config().shoutcast_url = "file://" + RadioDataDir() + "/normal.json";
  Json::Value list;
  std::string error;
  EXPECT_FALSE(Fetch(&list, &error));
}

TEST(RadioDirectoryAnswer, ShapesOtherThanAListAreMalformed) {
  Json::Value list;
  std::string error;
  EXPECT_FALSE(cantora::StationsFromDirectoryAnswer("{\"ID\": 1}", "t=", &list, &error));
  EXPECT_FALSE(cantora::StationsFromDirectoryAnswer("[1, 2]", "t=", &list, &error));
  EXPECT_FALSE(cantora::StationsFromDirectoryAnswer("[] trailing", "t=", &list, &error));
  EXPECT_FALSE(cantora::StationsFromDirectoryAnswer("", "t=", &list, &error));
  // Nesting past the parser's depth limit is malformed, not an exception.
  EXPECT_FALSE(cantora::StationsFromDirectoryAnswer(
      std::string(5000, '[') + std::string(5000, ']'), "t=", &list, &error));
  EXPECT_NE(error.find("malformed"), std::string::npos) << error;
  ASSERT_TRUE(cantora::StationsFromDirectoryAnswer(
      R"([{"ID": 7, "Name": "N", "Bitrate": 56.0}, {"ID": -1, "Name": "negative"},
          {"ID": 8, "Name": ""}, {"ID": "9x", "Name": "bad id"}])",
      "t=", &list, &error))
      << error;
  ASSERT_EQ(list["stations"].size(), 1u);
  EXPECT_EQ(list["stations"][0]["url"], Json::Value("t=7"));
  EXPECT_EQ(list["stations"][0]["bitrate"], Json::Value("56"));
  EXPECT_EQ(list["stations"][0]["desc"], Json::Value(""));
}

TEST_F(RadioFetch, RefreshReplacesTheCacheFile) {
  Serve("/normal");
  root_.Write("shoutcast_Hip Hop.json", "old");
  int count = -1;
  std::string error;
  ASSERT_TRUE(cantora::RefreshShoutcastGenre(root_.config(), "shoutcast_Hip Hop", &count, &error))
      << error;
  EXPECT_EQ(count, 4);
  Json::Value stored = root_.ReadJson("shoutcast_Hip Hop.json");
  EXPECT_EQ(stored["total"], Json::Value(4));
  EXPECT_EQ(stored["stations"][0]["bitrate"], Json::Value("128"));
  // Styled, as the store writes its own files.
  EXPECT_EQ(root_.Read("shoutcast_Hip Hop.json"), Json::StyledWriter().write(stored));
  struct stat st;
  ASSERT_EQ(stat(root_.Path("shoutcast_Hip Hop.json").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0644u);
  EXPECT_EQ(RadioFiles(), std::vector<std::string>{"shoutcast_Hip Hop.json"});
}

TEST_F(RadioFetch, FailedRefreshLeavesTheOldFile) {
  for (const char* path : {"/malformed", "/blank", "/status/500", "/oversized", "/slow/normal"}) {
    Serve(path);
    root_.Write("shoutcast_R&B.json", "old content");
    int count = -1;
    std::string error;
    EXPECT_FALSE(cantora::RefreshShoutcastGenre(root_.config(), "shoutcast_R&B", &count, &error))
        << path;
    EXPECT_EQ(root_.Read("shoutcast_R&B.json"), "old content") << path;
    EXPECT_EQ(RadioFiles(), std::vector<std::string>{"shoutcast_R&B.json"}) << path;
  }
  ASSERT_GE(server_.Requests().size(), 1u);
  EXPECT_NE(server_.Requests()[0].find("genrename=RnB"), std::string::npos);
}

TEST_F(RadioFetch, RefreshRefusesStemsThatAreNotGenres) {
  Serve("/normal");
  int count = -1;
  std::string error;
  for (const char* stem : {"Hip Hop", "shoutcast_", "shoutcast_hip hop", "shoutcast_../x", "userdef"}) {
    EXPECT_FALSE(cantora::RefreshShoutcastGenre(root_.config(), stem, &count, &error)) << stem;
  }
  EXPECT_TRUE(server_.Requests().empty());
}

TEST_F(RadioFetch, RefreshCreatesTheRadioFolder) {
  Serve("/normal");
  ASSERT_EQ(rmdir(root_.RadioDir().c_str()), 0);
  int count = -1;
  std::string error;
  ASSERT_TRUE(cantora::RefreshShoutcastGenre(root_.config(), "shoutcast_Jazz", &count, &error))
      << error;
  struct stat st;
  ASSERT_EQ(stat(root_.Path("shoutcast_Jazz.json").c_str(), &st), 0);
}

TEST_F(RadioFetch, AtomicReplaceFailsWithoutAFolder) {
  std::string error;
  EXPECT_FALSE(cantora::ReplaceFileAtomically(root_.root() + "/no/such/file.json", "x", &error));
  EXPECT_FALSE(error.empty());
}

struct Ran {
  int status = -1;
  std::string out;
};

// Runs the helper program with the test root's configuration.
Ran RunHelper(const std::vector<std::string>& args) {
  std::string program = std::string(CANTORA_BIN_DIR) + "/cantora-radio-fetch";
  char out_path[] = "/tmp/radio-fetch-out-XXXXXX";
  int fd = mkstemp(out_path);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fd, STDOUT_FILENO);
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  Ran ran;
  pid_t pid;
  if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ) == 0) {
    int status = 0;
    waitpid(pid, &status, 0);
    ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  posix_spawn_file_actions_destroy(&actions);
  close(fd);
  std::ifstream in(out_path);
  ran.out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  unlink(out_path);
  return ran;
}

TEST_F(RadioFetch, HelperProgramPrintsTheCount) {
  Serve("/normal");
  Ran ran = RunHelper({"shoutcast_Hip Hop"});
  EXPECT_EQ(ran.status, 0);
  EXPECT_EQ(ran.out, "4 stations\n");
  EXPECT_EQ(root_.ReadJson("shoutcast_Hip Hop.json")["total"], Json::Value(4));
}

TEST_F(RadioFetch, HelperProgramFailsWithStatus) {
  Serve("/malformed");
  EXPECT_EQ(RunHelper({"shoutcast_Hip Hop"}).status, 1);
  EXPECT_EQ(RunHelper({"shoutcast_Nothing"}).status, 1);
  EXPECT_EQ(RunHelper({}).status, 2);
  EXPECT_EQ(RunHelper({"a", "b"}).status, 2);
}

TEST_F(RadioFetch, UpdateRunsTheHelper) {
  Serve("/normal");
  EXPECT_EQ(cantora::RadioFetchProgramPath(),
            std::string(CANTORA_BIN_DIR) + "/cantora-radio-fetch");
  EXPECT_EQ(ZarnAudioUtils::RadioUpdateShoutcastByGenre("shoutcast_Hip Hop"), 0);
  EXPECT_EQ(root_.ReadJson("shoutcast_Hip Hop.json")["total"], Json::Value(4));
  Serve("/status/500");
  EXPECT_NE(ZarnAudioUtils::RadioUpdateShoutcastByGenre("shoutcast_Hip Hop"), 0);
  EXPECT_EQ(root_.ReadJson("shoutcast_Hip Hop.json")["total"], Json::Value(4));
}

TEST_F(RadioFetch, UpdateRefusesOtherStems) {
  Serve("/normal");
  EXPECT_EQ(ZarnAudioUtils::RadioUpdateShoutcastByGenre("shoutcast_"), -1);
  EXPECT_EQ(ZarnAudioUtils::RadioUpdateShoutcastByGenre("shoutcast_../../etc/x"), -1);
  EXPECT_EQ(ZarnAudioUtils::RadioUpdateShoutcastByGenre("favorite"), -1);
  EXPECT_TRUE(server_.Requests().empty());
}

TEST_F(RadioFetch, HelperIsFoundBesideTheProgramWhenLibexecLacksIt) {
  root_.config().libexec = root_.root() + "/nothing-here";
  root_.Apply();
  // The test program itself lives in the build's bin folder, beside the helper.
  EXPECT_EQ(cantora::RadioFetchProgramPath(),
            std::string(CANTORA_BIN_DIR) + "/cantora-radio-fetch");
}

}  // namespace
