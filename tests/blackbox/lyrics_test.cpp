// get_lyrics through enumerate.cgi: lyrics stored in each tag kind and in
// side files (read by the indexer), the local lyrics folder, and the lyrics
// service asked through cantora-lyrics-fetch, here a recorded server.
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "tests/support/blackbox.h"
#include "tests/support/fixture_lyrics.h"
#include "tests/support/library_instance.h"
#include "tests/support/recorded_server.h"

namespace {

using fixture::LyricsTag;
using namespace blackbox;

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  ASSERT_TRUE(out.good()) << path;
}

void AppendConfig(const harness::Instance& instance, const std::string& lines) {
  std::ofstream out(instance.config(), std::ios::app);
  out << lines;
}

Json::Value Answer(const std::string& lyrics) {
  Json::Value v(Json::objectValue);
  v["success"] = true;
  if (!lyrics.empty()) v["lyrics"] = lyrics;
  return v;
}

Json::Value Failure() {
  Json::Value v(Json::objectValue);
  v["success"] = false;
  return v;
}

struct TagCase {
  const char* file;
  LyricsTag kind;
  const char* text;
};

const TagCase kTagCases[] = {
    {"uslt.mp3", LyricsTag::kID3v2Uslt, "USLT words\nsecond line \xC3\xA9t\xC3\xA9"},
    {"sylt.mp3", LyricsTag::kID3v2Sylt, "first timed line\nsecond timed line"},
    {"uslt.wav", LyricsTag::kID3v2Uslt, "words in a wav"},
    {"vorbis.flac", LyricsTag::kVorbisLyrics, "flac LYRICS words"},
    {"vorbis.ogg", LyricsTag::kVorbisLyrics, "ogg LYRICS words"},
    {"unsynced.opus", LyricsTag::kVorbisUnsynced, "opus UNSYNCEDLYRICS words"},
    {"mp4.m4a", LyricsTag::kMp4, "mp4 lyr words"},
    {"ape.wv", LyricsTag::kApe, "APE Lyrics words"},
    {"asf.wma", LyricsTag::kAsf, "WM/Lyrics words"},
};

class Lyrics : public harness::LibrarySuite {
 protected:
  static void SetUpTestSuite() {
    std::vector<fixture::Song> songs;
    for (const TagCase& c : kTagCases)
      songs.push_back(Tune(std::string("tags/") + c.file, c.file, "Tag Album", "Tagger"));
    songs.push_back(Tune("side/lrc.mp3", "Side Lrc", "Side Album", "Sider"));
    songs.push_back(Tune("side/txt.flac", "Side Txt", "Side Album", "Sider"));
    songs.push_back(Tune("side/both.mp3", "Both", "Side Album", "Sider"));
    songs.push_back(Tune("side/link.mp3", "Linked Side", "Side Album", "Sider"));
    songs.push_back(Tune("side/latin1.mp3", "Latin Side", "Side Album", "Sider"));
    songs.push_back(Tune("none/plain.mp3", "Plain Song", "None Album", "Nobody Sings"));
    songs.push_back(Tune("none/local.mp3", "Local Title", "None Album", "Local Artist"));
    songs.push_back(Tune("none/gone.mp3", "Gone Song", "None Album", "Nobody Sings"));
    songs.push_back(Tune("none/tagged.mp3", "Tagged Title", "None Album", "Local Artist"));
    OpenLibrary(songs);
    std::string m = instance_->music();
    std::string error;
    for (const TagCase& c : kTagCases)
      ASSERT_TRUE(fixture::WriteTagLyrics(m + "/tags/" + c.file, c.kind, c.text, &error)) << error;
    ASSERT_TRUE(fixture::WriteTagLyrics(m + "/side/both.mp3", LyricsTag::kID3v2Uslt,
                                        "tag wins", &error));
    ASSERT_TRUE(fixture::WriteTagLyrics(m + "/none/tagged.mp3", LyricsTag::kID3v2Uslt,
                                        "stored words", &error));
    WriteFile(m + "/side/lrc.lrc", "[00:01.00]lrc line\n");
    WriteFile(m + "/side/lrc.txt", "txt loses to lrc\n");
    WriteFile(m + "/side/txt.TXT", "\xEF\xBB\xBFtxt side words");
    WriteFile(m + "/side/both.lrc", "side loses to tags");
    WriteFile(m + "/side/latin1.txt", "caf\xE9");
    WriteFile(instance_->Path("secret.txt"), "not lyrics: a private file");
    ASSERT_EQ(0, symlink(instance_->Path("secret.txt").c_str(), (m + "/side/link.lrc").c_str()));
    WriteFile(instance_->Path("lyrics/local artist - LOCAL TITLE.txt"), "from the local folder");
    WriteFile(instance_->Path("lyrics/Local Artist - Tagged Title.lrc"), "folder must not win");
    // The files changed since OpenLibrary indexed them: read again.
    instance_->Index();
  }
  static void TearDownTestSuite() { CloseLibrary(); }

  static std::string IdOf(const std::string& title) {
    CgiResult r = harness::Enumerate(*instance_, *session_, "action=search&search_key=" + Encode(title));
    for (const Json::Value& item : r.json["items"])
      if (item["title"].asString() == title) return item["id"].asString();
    ADD_FAILURE() << "no song " << title;
    return "";
  }
  static CgiResult Get(const std::string& query) {
    CgiResult r = harness::Enumerate(*instance_, *session_, query);
    EXPECT_TRUE(r.has_json) << query << ": " << r.out;
    EXPECT_EQ("text/plain; charset=\"UTF-8\"", r.headers["Content-Type"]);
    return r;
  }
  static CgiResult LyricsOf(const std::string& title) {
    return Get("action=get_lyrics&id=" + Encode(IdOf(title)));
  }
};

TEST_F(Lyrics, EachTagKindIsRead) {
  for (const TagCase& c : kTagCases) {
    CgiResult r = LyricsOf(c.file);
    EXPECT_EQ(Answer(c.text), r.json) << c.file;
    EXPECT_TRUE(r.log.empty()) << c.file;
  }
}

TEST_F(Lyrics, SideFilesLrcThenTxtAndTagsWin) {
  EXPECT_EQ(Answer("[00:01.00]lrc line\n"), LyricsOf("Side Lrc").json);
  EXPECT_EQ(Answer("txt side words"), LyricsOf("Side Txt").json);
  EXPECT_EQ(Answer("tag wins"), LyricsOf("Both").json);
  EXPECT_EQ(Answer("caf\xC3\xA9"), LyricsOf("Latin Side").json);
  // A side file that is a symbolic link is not followed.
  EXPECT_EQ(Answer(""), LyricsOf("Linked Side").json);
}

TEST_F(Lyrics, NoStoredLyricsAndNoHitSucceedsWithoutLyrics) {
  CgiResult r = LyricsOf("Plain Song");
  EXPECT_EQ(Answer(""), r.json);
  EXPECT_EQ("{\"success\":true}", r.body.substr(0, r.body.find_last_not_of("\n") + 1));
  EXPECT_TRUE(r.log.empty());
}

TEST_F(Lyrics, LocalFolderMatchesWithoutRegardToCase) {
  EXPECT_EQ(Answer("from the local folder"), LyricsOf("Local Title").json);
}

TEST_F(Lyrics, StoredLyricsNeverTriggerTheSearch) {
  testserver::RecordedServer server(instance_->Path("lyrics"));
  ASSERT_TRUE(server.ok());
  AppendConfig(*instance_, "lyrics_url = " + server.Url("/status/404") + "\n");
  EXPECT_EQ(Answer("stored words"), LyricsOf("Tagged Title").json);
  EXPECT_EQ(0u, server.Requests().size());
  AppendConfig(*instance_, "lyrics_url =\n");
}

TEST_F(Lyrics, MissingIdIsInvalid) {
  CgiResult r = Get("action=get_lyrics");
  EXPECT_EQ(Failure(), r.json);
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate (178) Invalid music id."));
  CgiResult zero = Get("action=get_lyrics&id=0");
  EXPECT_TRUE(Logged(zero.log, kErr, "enumerate (178) Invalid music id."));
}

TEST_F(Lyrics, PersonalZeroIsInvalid) {
  CgiResult r = Get("action=get_lyrics&id=personal_0");
  EXPECT_EQ(Failure(), r.json);
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate (178) Invalid music id."));
}

TEST_F(Lyrics, PlaylistEntryIdsAnswerFalseSilently) {
  CgiResult r = Get("action=get_lyrics&id=" + Encode("PLSID_ZARNPLSSPTR_1_ZARNPLSSPTR_x"));
  EXPECT_EQ(Failure(), r.json);
  EXPECT_TRUE(r.log.empty());
}

TEST_F(Lyrics, UnknownAndHostileIdsAnswerFalseSilently) {
  for (const char* id : {"999999", "1 OR 1=1", "1' OR '1'='1", "personal_x", "abc"}) {
    CgiResult r = Get("action=get_lyrics&id=" + Encode(id));
    EXPECT_EQ(Failure(), r.json) << id;
    EXPECT_TRUE(r.log.empty()) << id;
  }
}

TEST_F(Lyrics, AFileGoneSinceIndexingIsAReadFailure) {
  std::string id = IdOf("Gone Song");
  ASSERT_EQ(0, unlink((instance_->music() + "/none/gone.mp3").c_str()));
  CgiResult r = Get("action=get_lyrics&id=" + id);
  EXPECT_EQ(Failure(), r.json);
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate:199 Read lyrics failed."));
}

TEST_F(Lyrics, AdminListsShowsAndSearches) {
  harness::CommandResult list = instance_->Admin({"lyrics", "list"});
  ASSERT_EQ(0, list.status) << list.err;
  const std::string m = instance_->music();
  EXPECT_NE(std::string::npos, list.out.find("tags\t" + m + "/tags/uslt.mp3\n")) << list.out;
  EXPECT_NE(std::string::npos, list.out.find("lrc\t" + m + "/side/lrc.mp3\n")) << list.out;
  EXPECT_NE(std::string::npos, list.out.find("txt\t" + m + "/side/txt.flac\n")) << list.out;
  EXPECT_EQ(std::string::npos, list.out.find("link.mp3")) << list.out;
  harness::CommandResult show = instance_->Admin({"lyrics", "show", m + "/tags/vorbis.flac"});
  EXPECT_EQ(0, show.status);
  EXPECT_EQ("flac LYRICS words\n", show.out);
  harness::CommandResult none = instance_->Admin({"lyrics", "show", m + "/none/plain.mp3"});
  EXPECT_EQ(1, none.status);
  EXPECT_NE(std::string::npos, none.err.find("has no stored lyrics")) << none.err;
  harness::CommandResult found = instance_->Admin({"lyrics", "search", "LOCAL ARTIST", "local title"});
  EXPECT_EQ(0, found.status) << found.err;
  EXPECT_EQ("from the local folder\n", found.out);
  EXPECT_EQ(1, instance_->Admin({"lyrics", "search", "No One", "Nothing"}).status);
  EXPECT_EQ(1, instance_->Admin({"lyrics", "bogus"}).status);
}

TEST(LyricsIndex, SideFilesThatAppearChangeAndVanishAreFollowed) {
  LibraryInstance instance;
  std::string alice = IndexAndSignIn(instance, {Tune("a/song.mp3", "Song", "Album", "Artist")});
  CgiResult list = harness::Enumerate(instance, alice, "action=song_enum&album_name=Album");
  ASSERT_EQ(1u, list.json["items"].size());
  std::string query = "action=get_lyrics&id=" + list.json["items"][0]["id"].asString();
  EXPECT_EQ(Answer(""), harness::Enumerate(instance, alice, query).json);
  WriteFile(instance.music() + "/a/song.txt", "first text");
  instance.Index();
  EXPECT_EQ(Answer("first text"), harness::Enumerate(instance, alice, query).json);
  WriteFile(instance.music() + "/a/song.lrc", "[00:00.00]lrc now");
  instance.Index();
  EXPECT_EQ(Answer("[00:00.00]lrc now"), harness::Enumerate(instance, alice, query).json);
  unlink((instance.music() + "/a/song.lrc").c_str());
  unlink((instance.music() + "/a/song.txt").c_str());
  instance.Index();
  EXPECT_EQ(Answer(""), harness::Enumerate(instance, alice, query).json);
}

// One side file of a folder goes, its neighbour stays: each song follows
// its own file.
TEST(LyricsIndex, EachSongFollowsItsOwnSideFile) {
  LibraryInstance instance;
  instance.AddSongs({Tune("a/one.mp3", "One", "Album", "Artist"),
                     Tune("a/two.mp3", "Two", "Album", "Artist")});
  WriteFile(instance.music() + "/a/one.txt", "one words");
  WriteFile(instance.music() + "/a/two.txt", "two words");
  instance.Index();
  std::string alice = instance.AddUser("alice");
  CgiResult list = harness::Enumerate(instance, alice, "action=song_enum&album_name=Album");
  ASSERT_EQ(2u, list.json["items"].size());
  std::map<std::string, std::string> query;
  for (const Json::Value& item : list.json["items"])
    query[item["title"].asString()] = "action=get_lyrics&id=" + item["id"].asString();
  EXPECT_EQ(Answer("one words"), harness::Enumerate(instance, alice, query["One"]).json);
  EXPECT_EQ(Answer("two words"), harness::Enumerate(instance, alice, query["Two"]).json);

  unlink((instance.music() + "/a/two.txt").c_str());
  instance.Index();
  EXPECT_EQ(Answer("one words"), harness::Enumerate(instance, alice, query["One"]).json);
  EXPECT_EQ(Answer(""), harness::Enumerate(instance, alice, query["Two"]).json);

}

// The setuid arrangement: the gateway runs as the web server's user, the
// music folder is readable by root alone, the song is personal.
TEST(LyricsPrivilege, StoredLyricsAreFoundAsTheWebUser) {
  ASSERT_EQ(geteuid(), 0u);
  harness::Instance instance("nobody");
  std::string alice = instance.AddUser("alice", true);
  std::string home = instance.Path("home/alice");
  std::string music = home + "/music";
  ASSERT_EQ(0, mkdir(home.c_str(), 0700));
  ASSERT_EQ(0, mkdir(music.c_str(), 0700));
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(music, Tune("s.mp3", "Private", "P", "Me"), &error)) << error;
  ASSERT_TRUE(fixture::MakeSong(music, Tune("t.mp3", "Private Side", "P", "Me"), &error)) << error;
  ASSERT_TRUE(fixture::WriteTagLyrics(music + "/s.mp3", LyricsTag::kID3v2Uslt, "private words",
                                      &error));
  WriteFile(music + "/t.lrc", "private side words");
  ASSERT_EQ(0, instance.Admin({"index"}).status);
  std::string cgi = harness::InstallGatewayCopy(instance, true);
  auto ask = [&](const std::string& query) { return RunAsWebUser(instance, cgi, alice, query); };
  CgiResult songs = ask("action=song_enum&library=personal&album_name=P");
  ASSERT_EQ(2u, songs.json["items"].size()) << songs.out;
  for (const Json::Value& item : songs.json["items"]) {
    std::string expected =
        item["title"].asString() == "Private" ? "private words" : "private side words";
    CgiResult r = ask("action=get_lyrics&id=" + item["id"].asString());
    EXPECT_EQ(Answer(expected), r.json) << r.out;
    EXPECT_TRUE(r.log.empty());
  }
  // Another user reaches none of them, with or without the prefix.
  std::string bob = instance.AddUser("bob", true);
  for (const Json::Value& item : songs.json["items"]) {
    std::string id = item["id"].asString();
    for (const std::string& asked : {id, id.substr(9)}) {
      CgiResult r = RunAsWebUser(instance, cgi, bob, "action=get_lyrics&id=" + asked);
      EXPECT_EQ(Failure(), r.json) << asked << ": " << r.out;
    }
  }
}

// The fetch helper is started outside the privilege guard: it must run with
// the web server's user and group, not with anything of the setuid program's
// root. A stand-in helper writes down the ids it was given.
TEST(LyricsPrivilege, TheFetchHelperRunsAsTheWebUser) {
  ASSERT_EQ(geteuid(), 0u);
  harness::Instance instance("nobody");
  std::string music = instance.Path("music");
  ASSERT_EQ(0, mkdir(music.c_str(), 0755));
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(music, Tune("s.mp3", "Song", "Album", "Singer"), &error)) << error;
  ASSERT_EQ(0, instance.Admin({"folder", "add", music}).status);
  ASSERT_EQ(0, instance.Admin({"index"}).status);
  std::string alice = instance.AddUser("alice");
  std::string libexec = instance.Path("libexec");
  std::string seen = instance.Path("seen");
  ASSERT_EQ(0, mkdir(libexec.c_str(), 0755));
  ASSERT_EQ(0, mkdir(seen.c_str(), 0777));
  ASSERT_EQ(0, chmod(seen.c_str(), 0777));
  // "-p": the shell keeps the ids it is started with, as a compiled helper does.
  std::string helper = libexec + "/cantora-lyrics-fetch";
  WriteFile(helper, "#!/bin/sh -p\n/usr/bin/id > " + seen + "/ids\n");
  ASSERT_EQ(0, chmod(helper.c_str(), 0755));
  AppendConfig(instance, "libexec = " + libexec + "\nlyrics_url = http://127.0.0.1:9/\n");

  std::string cgi = harness::InstallGatewayCopy(instance, true);
  harness::CgiRequest request;
  request.program = cgi;
  request.session = alice;
  request.query = "action=song_enum&album_name=Album";
  request.run_as = "nobody";
  CgiResult songs = harness::RunCgi(instance, request);
  ASSERT_EQ(1u, songs.json["items"].size()) << songs.out;
  request.query = "action=get_lyrics&id=" + songs.json["items"][0]["id"].asString();
  EXPECT_EQ(Answer(""), harness::RunCgi(instance, request).json);

  std::ifstream in(seen + "/ids");
  std::string ids((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  struct passwd* nobody = getpwnam("nobody");
  ASSERT_NE(nobody, nullptr);
  EXPECT_EQ(0u, ids.find("uid=" + std::to_string(nobody->pw_uid) + "(nobody) gid=" +
                         std::to_string(nobody->pw_gid) + "("))
      << ids;
  // id names the effective ids only when they differ from the real ones.
  EXPECT_EQ(std::string::npos, ids.find("euid=")) << ids;
  EXPECT_EQ(std::string::npos, ids.find("egid=")) << ids;
  EXPECT_EQ(std::string::npos, ids.find("(root)")) << ids;
}

// The lyrics service, a recorded server on 127.0.0.1.
class LyricsService : public ::testing::Test {
 protected:
  void SetUp() override {
    answers_ = instance_.Path("answers");
    ASSERT_EQ(0, mkdir(answers_.c_str(), 0755));
    WriteFile(answers_ + "/found.json",
              "{\"id\":7,\"trackName\":\"Song\",\"artistName\":\"Singer\","
              "\"plainLyrics\":\"plain words\",\"syncedLyrics\":\"[00:01.00] synced words\"}");
    WriteFile(answers_ + "/plain.json",
              "{\"id\":8,\"plainLyrics\":\"only plain\",\"syncedLyrics\":null}");
    WriteFile(answers_ + "/instrumental.json",
              "{\"id\":9,\"instrumental\":true,\"plainLyrics\":null,\"syncedLyrics\":null}");
    WriteFile(answers_ + "/oversized.json",
              "{\"plainLyrics\":\"" + std::string(200000, 'x') + "\"}");
    WriteFile(answers_ + "/broken.json", "<html>not json</html>");
    server_ = std::make_unique<testserver::RecordedServer>(answers_, 6);
    ASSERT_TRUE(server_->ok());
    instance_.AddSongs({Tune("s.mp3", "Song", "Album", "Singer")});
    instance_.Index();
    session_ = instance_.AddUser("alice");
    CgiResult list = harness::Enumerate(instance_, session_, "action=song_enum&album_name=Album");
    ASSERT_EQ(1u, list.json["items"].size());
    query_ = "action=get_lyrics&id=" + list.json["items"][0]["id"].asString();
  }

  // Points lyrics_url at route, with a clean cache.
  void Use(const std::string& route) {
    AppendConfig(instance_, "lyrics_url = " + server_->Url(route) +
                                "\nlyrics_connect_timeout = 2\nlyrics_timeout = 2\n"
                                "lyrics_max_bytes = 65536\n");
    harness::Run({"/bin/rm", "-rf", instance_.Path("cache/lyrics")});
  }
  // One request: its answer, and the seconds it took.
  CgiResult Ask(double* seconds = nullptr) {
    auto start = std::chrono::steady_clock::now();
    CgiResult r = harness::Enumerate(instance_, session_, query_);
    if (seconds != nullptr)
      *seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_TRUE(r.has_json) << r.out;
    return r;
  }

  LibraryInstance instance_;
  std::string answers_;
  std::unique_ptr<testserver::RecordedServer> server_;
  std::string session_;
  std::string query_;
};

TEST_F(LyricsService, FoundIsCachedAndAsksOnce) {
  Use("/found");
  EXPECT_EQ(Answer("[00:01.00] synced words"), Ask().json);
  ASSERT_EQ(1u, server_->Requests().size());
  const std::string request = server_->Requests()[0];
  EXPECT_EQ(0u, request.rfind("GET /found?artist_name=Singer&track_name=Song ", 0)) << request;
  EXPECT_EQ(Answer("[00:01.00] synced words"), Ask().json);
  EXPECT_EQ(1u, server_->Requests().size());
}

TEST_F(LyricsService, PlainLyricsWhenNoSyncedOnes) {
  Use("/plain");
  EXPECT_EQ(Answer("only plain"), Ask().json);
}

TEST_F(LyricsService, NotFoundAndInstrumentalAreCachedMisses) {
  for (const char* route : {"/status/404", "/instrumental"}) {
    Use(route);
    size_t before = server_->Requests().size();
    EXPECT_EQ(Answer(""), Ask().json) << route;
    EXPECT_EQ(before + 1, server_->Requests().size()) << route;
    EXPECT_EQ(Answer(""), Ask().json) << route;
    EXPECT_EQ(before + 1, server_->Requests().size()) << route;
  }
}

TEST_F(LyricsService, FailuresAnswerWithoutLyricsWithinTheTimeOut) {
  for (const char* route : {"/slow/found", "/status/500", "/oversized", "/broken", "/blank"}) {
    Use(route);
    double seconds = 0;
    CgiResult r = Ask(&seconds);
    EXPECT_EQ(Answer(""), r.json) << route;
    EXPECT_LT(seconds, 4.5) << route;
    // The failure is remembered for a while: no second call.
    size_t asked = server_->Requests().size();
    EXPECT_EQ(Answer(""), Ask().json) << route;
    EXPECT_EQ(asked, server_->Requests().size()) << route;
  }
}

TEST_F(LyricsService, AServiceThatIsNotThereAnswersWithoutLyrics) {
  AppendConfig(instance_, "lyrics_url = http://127.0.0.1:" +
                              std::to_string(testserver::ClosedPort()) + "/api/get\n");
  EXPECT_EQ(Answer(""), Ask().json);
  AppendConfig(instance_, "lyrics_url = file:///etc/passwd\n");
  harness::Run({"/bin/rm", "-rf", instance_.Path("cache/lyrics")});
  EXPECT_EQ(Answer(""), Ask().json);
}

TEST_F(LyricsService, WithoutAServiceNothingIsAsked) {
  Use("/found");
  AppendConfig(instance_, "lyrics_url =\n");
  EXPECT_EQ(Answer(""), Ask().json);
  EXPECT_EQ(0u, server_->Requests().size());
}

}  // namespace
