// Playlists through enumerate.cgi: the listings, the songs of a playlist
// with paging, the random playlist, playlist creation, and what hostile
// names and paths can reach.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/text/utf8.h"
#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  if (!out) throw std::runtime_error("cannot write " + path);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

void MakeDirs(const std::string& path) {
  for (size_t pos = 1; pos != std::string::npos;) {
    pos = path.find('/', pos + 1);
    mkdir(path.substr(0, pos).c_str(), 0755);
  }
}

bool Exists(const std::string& path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0;
}

class Playlists : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    instance_ = new LibraryInstance();
    std::vector<fixture::Song> songs;
    for (int i = 1; i <= 30; ++i) {
      char file[64], title[64];
      std::snprintf(file, sizeof file, "album/%02d.mp3", i);
      std::snprintf(title, sizeof title, "Song %02d", i);
      fixture::Song s = Tune(file, title, "Album", "Artist", "Pop");
      s.track = i;
      songs.push_back(s);
    }
    fixture::Song bad = Tune("bad.mp3", "Bad Genre", "Album", "Artist", "Bad \xff genre");
    songs.push_back(bad);
    instance_->AddSongs(songs);
    alice_ = new std::string(instance_->AddUser("alice", true));
    bob_ = new std::string(instance_->AddUser("bob", true));
    instance_->AddSongs({Tune("mine.mp3", "Alice Secret", "Alice Album", "Alice", "Private")},
                        instance_->PersonalFolder("alice"));
    instance_->AddSongs({Tune("his.mp3", "Bob Secret", "Bob Album", "Bob", "Hidden")},
                        instance_->PersonalFolder("bob"));
    const std::string m = instance_->music();
    // Three entries: two indexed songs and a file that is not indexed.
    WriteFile(m + "/Mix.m3u",
              "#EXTM3U\n#EXTINF:3,Artist - Song 01\nalbum/01.mp3\n"
              "album\\02.mp3\n#EXTINF:61,Nobody - Not Indexed\n/nowhere/x.mp3\n");
    // The whole album in order, absolute paths.
    std::string album = "#EXTM3U\n";
    for (int i = 1; i <= 30; ++i) {
      char line[512];
      std::snprintf(line, sizeof line, "%s/album/%02d.mp3\n", m.c_str(), i);
      album += line;
    }
    WriteFile(m + "/Album.m3u8", album);
    // Entries other users' libraries hold, and a song with a bad genre.
    WriteFile(m + "/Peek.m3u", "#EXTINF:5,Guess\n" + instance_->PersonalFolder("bob") +
                                   "/his.mp3\nbad.mp3\n/nowhere/y.mp3\n");
    WriteFile(instance_->PersonalFolder("alice") + "/Own Library List.m3u", "mine.mp3\n");
    instance_->Index();
    // Alice's own playlist files (preference folder).
    MakeDirs(Prefs("alice"));
    WriteFile(Prefs("alice") + "/Road Trip.m3u", m + "/album/03.mp3\n" + m + "/album/04.mp3\n");
  }
  static void TearDownTestSuite() {
    delete alice_;
    delete bob_;
    delete instance_;
  }

  static std::string Prefs(const std::string& user) {
    return instance_->Path("preferences/" + user + "/playlists");
  }
  static CgiResult Get(const std::string& session, const std::string& query) {
    CgiResult r = harness::Enumerate(*instance_, session, query);
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(r.has_json) << query << ": " << r.out;
    return r;
  }
  // The id of the shared playlist called name, from playlist_enum.
  static std::string SharedId(const std::string& name) {
    CgiResult r = Get(*alice_, "action=playlist_enum");
    for (const Json::Value& item : r.json["items"])
      if (item["name"].asString() == name) return item["id"].asString();
    return "";
  }
  static CgiResult Songs(const std::string& session, const std::string& query) {
    CgiResult r = Get(session, "action=playlist_song_enum&" + query);
    if (r.json.isMember("items")) EXPECT_EQ(r.json["items"].size(), r.json["total"].asUInt());
    return r;
  }
  static std::string RandomFile(const std::string& user) {
    return instance_->Path("tmp/" + user + "==DynaRandom100==.m3u");
  }

  static LibraryInstance* instance_;
  static std::string* alice_;
  static std::string* bob_;
};

LibraryInstance* Playlists::instance_ = nullptr;
std::string* Playlists::alice_ = nullptr;
std::string* Playlists::bob_ = nullptr;

// ---- Listings ----

TEST_F(Playlists, PlaylistEnumRandomFirstThenSharedWithTextIds) {
  CgiResult r = Get(*alice_, "action=playlist_enum&username=alice");
  ASSERT_GE(r.json["items"].size(), 4u);
  const Json::Value& random = r.json["items"][0];
  EXPECT_TRUE(random["id"].isInt());
  EXPECT_EQ(random["id"].asInt(), -3);
  EXPECT_EQ(random["name"].asString(), "Random 100");
  EXPECT_EQ(random["path"].asString(), RandomFile("alice"));
  EXPECT_EQ(r.json["total"].asUInt(), r.json["items"].size());
  EXPECT_TRUE(r.json["success"].asBool());
  std::set<std::string> names;
  for (const Json::Value& item : r.json["items"]) {
    EXPECT_FALSE(item.isMember("type"));
    EXPECT_FALSE(item.isMember("personal"));
    names.insert(item["name"].asString());
    if (item["name"].asString() == "Mix") {
      EXPECT_TRUE(item["id"].isString());
      EXPECT_EQ(item["path"].asString(), instance_->music() + "/Mix.m3u");
    }
  }
  EXPECT_EQ(names.count("Mix"), 1u);
  EXPECT_EQ(names.count("Album"), 1u);
  // Personal-library and personal playlists are not shared.
  EXPECT_EQ(names.count("Own Library List"), 0u);
  EXPECT_EQ(names.count("Road Trip"), 0u);
}

TEST_F(Playlists, AllPlaylistEnumTypesEveryItemAndMarksPersonalOnes) {
  CgiResult r = Get(*alice_, "action=all_playlist_enum&username=alice");
  const Json::Value& items = r.json["items"];
  ASSERT_GE(items.size(), 4u);
  EXPECT_EQ(items[0]["type"].asString(), "random100");
  EXPECT_EQ(items[0]["id"].asInt(), -3);
  bool road_trip = false;
  for (const Json::Value& item : items) {
    EXPECT_TRUE(item.isMember("type")) << item.toStyledString();
    if (item["name"].asString() == "Road Trip") {
      road_trip = true;
      EXPECT_EQ(item["type"].asString(), "normal_playlist");
      EXPECT_TRUE(item["personal"].asBool());
      EXPECT_FALSE(item.isMember("id"));  // opened by name
    }
  }
  EXPECT_TRUE(road_trip);
  // The default library is "shared": the personal list comes from the
  // preference folder, not from the personal library.
  Names names = Column(r.json, "name");
  EXPECT_EQ(std::count(names.begin(), names.end(), "Own Library List"), 0);
}

TEST_F(Playlists, AllPlaylistEnumPersonalLibraryLeavesSharedOut) {
  CgiResult r = Get(*alice_, "action=all_playlist_enum&library=personal&username=alice");
  const Json::Value& items = r.json["items"];
  ASSERT_GE(items.size(), 1u);
  EXPECT_EQ(items[0]["id"].asInt(), -3);
  Names names = Column(r.json, "name");
  EXPECT_EQ(std::count(names.begin(), names.end(), "Mix"), 0);
  EXPECT_EQ(std::count(names.begin(), names.end(), "Own Library List"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), "Road Trip"), 1);
  for (const Json::Value& item : items) {
    if (item["name"].asString() == "Own Library List") {
      EXPECT_TRUE(item["id"].isString());  // indexed with the personal library
      EXPECT_TRUE(item["personal"].asBool());
    }
  }
}

TEST_F(Playlists, UsersDoNotSeeEachOthersPersonalPlaylists) {
  for (const char* library : {"shared", "personal", "all"}) {
    CgiResult r = Get(*bob_, std::string("action=all_playlist_enum&library=") + library);
    Names names = Column(r.json, "name");
    EXPECT_EQ(std::count(names.begin(), names.end(), "Road Trip"), 0) << library;
    EXPECT_EQ(std::count(names.begin(), names.end(), "Own Library List"), 0) << library;
  }
  // Nor open them: by name, or by alice's personal-library id.
  CgiResult own = Get(*alice_, "action=all_playlist_enum&library=personal");
  std::string id;
  for (const Json::Value& item : own.json["items"])
    if (item["name"].asString() == "Own Library List") id = item["id"].asString();
  ASSERT_FALSE(id.empty());
  EXPECT_EQ(Songs(*alice_, "pls_id=x&personal=yes&personal_pls_id=" + id).json["total"].asUInt(),
            1u);
  CgiResult r = Songs(*bob_, "pls_id=x&personal=yes&personal_pls_id=" + id);
  EXPECT_EQ(r.json["total"].asUInt(), 0u);
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate:483 Failed to get playlist path."));
  EXPECT_EQ(Songs(*bob_, "pls_id=" + Encode("../../alice/playlists/Road Trip") + "&personal=yes")
                .json["total"]
                .asUInt(),
            0u);
}

TEST_F(Playlists, SmartPlaylistsSortedWithoutCaseTiesInFileOrder) {
  WriteFile(
      instance_->Path("data/smart.playlist"),
      R"({"playlists":[{"name":"rock","match":"all","rules":[]},)"
      R"({"name":"Rock","match":"all","rules":[]},{"name":"Abba","match":"any","rules":[]}]})");
  CgiResult r = Get(*alice_, "action=smartplaylist_enum");
  ASSERT_EQ(r.json["items"].size(), 3u);
  EXPECT_EQ(Column(r.json, "name"), (Names{"Abba", "rock", "Rock"}));
  EXPECT_EQ(r.json["items"][0]["id"].asUInt(), 2u);
  EXPECT_EQ(r.json["items"][1]["id"].asUInt(), 0u);
  EXPECT_EQ(r.json["items"][2]["id"].asUInt(), 1u);
  EXPECT_TRUE(r.json["items"][0]["id"].isUInt());
  EXPECT_FALSE(r.json["items"][0].isMember("type"));
  EXPECT_EQ(r.json["total"].asInt(), 3);
  // all_playlist_enum: the same, typed; and the user's own file, without ids.
  MakeDirs(Prefs("alice"));
  WriteFile(Prefs("alice") + "/smart.playlist",
            R"({"playlists":[{"name":"zed","rules":[]},{"name":"Mine","rules":[]}]})");
  CgiResult all = Get(*alice_, "action=all_playlist_enum");
  Names smart, personal_smart;
  for (const Json::Value& item : all.json["items"]) {
    if (item["type"].asString() != "smart_playlist") continue;
    if (item.isMember("personal")) {
      EXPECT_FALSE(item.isMember("id"));
      personal_smart.push_back(item["name"].asString());
    } else {
      smart.push_back(item["name"].asString());
    }
  }
  EXPECT_EQ(smart, (Names{"Abba", "rock", "Rock"}));
  EXPECT_EQ(personal_smart, (Names{"Mine", "zed"}));
  unlink((Prefs("alice") + "/smart.playlist").c_str());
  WriteFile(instance_->Path("data/smart.playlist"), "{ not json");
  CgiResult broken = Get(*alice_, "action=smartplaylist_enum");
  EXPECT_EQ(broken.json["items"].size(), 0u);
  EXPECT_EQ(broken.json["total"].asInt(), 0);
  unlink(instance_->Path("data/smart.playlist").c_str());
}

TEST_F(Playlists, RandomPlaylistNameInTheSessionsLanguage) {
  harness::CgiRequest signin;
  signin.program = "auth.cgi";
  signin.method = "POST";
  signin.content_type = "application/x-www-form-urlencoded";
  signin.body = "account=alice&passwd=secret-alice&lang=de";
  CgiResult s = harness::RunCgi(*instance_, signin);
  ASSERT_TRUE(s.json["success"].asBool()) << s.out;
  std::string german = s.json["sid"].asString();
  EXPECT_EQ(Get(german, "action=playlist_enum").json["items"][0]["name"].asString(),
            "Zuf\xC3\xA4llige 100");
  // Without a language at sign-in: Accept-Language, else English.
  harness::CgiRequest req;
  req.query = "action=playlist_enum";
  req.session = *alice_;
  req.env["HTTP_ACCEPT_LANGUAGE"] = "it, ja;q=0.8, fr;q=0.9";
  EXPECT_EQ(harness::RunCgi(*instance_, req).json["items"][0]["name"].asString(), "100 au hasard");
  req.env["HTTP_ACCEPT_LANGUAGE"] = "zh-CN";
  EXPECT_EQ(harness::RunCgi(*instance_, req).json["items"][0]["name"].asString(),
            "\xE9\x9A\x8F\xE6\x9C\xBA 100 \xE9\xA6\x96");
  req.env["HTTP_ACCEPT_LANGUAGE"] = "ko";
  EXPECT_EQ(harness::RunCgi(*instance_, req).json["items"][0]["name"].asString(), "Random 100");
}

// ---- Songs of a playlist ----

TEST_F(Playlists, MissingPlsIdIsAFormError) {
  for (const char* query : {"action=playlist_song_enum", "action=playlist_song_enum&pls_id="}) {
    CgiResult r = Get(*alice_, query);
    EXPECT_FALSE(r.json["success"].asBool());
    EXPECT_EQ(r.json["errinfo"]["sec"].asString(), "common");
    EXPECT_EQ(r.json["errinfo"]["key"].asString(), "error_system");
    EXPECT_EQ(r.json["errinfo"]["line"].asInt(), 422);
    EXPECT_TRUE(Logged(r.log, kErr, "enumerate (421) Bad parameters."));
  }
}

TEST_F(Playlists, EntriesIndexedAndNotWithCompoundIds) {
  std::string id = SharedId("Mix");
  ASSERT_FALSE(id.empty());
  CgiResult r = Songs(*alice_, "pls_id=" + id);
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_TRUE(r.json["id"].isInt());
  EXPECT_EQ(r.json["id"].asString(), id);
  ASSERT_EQ(r.json["items"].size(), 3u);
  EXPECT_EQ(Column(r.json, "title"), (Names{"Song 01", "Song 02", "Not Indexed"}));
  EXPECT_TRUE(r.json["items"][0]["id"].isString());
  EXPECT_NE(r.json["items"][0]["id"].asString(), "0");
  EXPECT_EQ(r.json["items"][1]["path"].asString(), instance_->music() + "/album/02.mp3");
  const Json::Value& loose = r.json["items"][2];
  EXPECT_EQ(loose["id"].asString(), "PLSID_ZARNPLSSPTR_" + id +
                                        "_ZARNPLSSPTR_0_ZARNPLSSPTR_no_ZARNPLSSPTR_0_ZARNPLSSPTR_"
                                        "100000_ZARNPLSSPTR_2");
  EXPECT_EQ(loose["path"].asString(), "/nowhere/x.mp3");
  EXPECT_EQ(loose["artist"].asString(), "Nobody");
  EXPECT_EQ(loose["duration"].asString(), "61");
  // The position is the entry's place in the page, not in the playlist.
  CgiResult page = Songs(*alice_, "pls_id=" + id + "&start=2&limit=5");
  ASSERT_EQ(page.json["items"].size(), 1u);
  EXPECT_EQ(page.json["items"][0]["id"].asString(),
            "PLSID_ZARNPLSSPTR_" + id +
                "_ZARNPLSSPTR_0_ZARNPLSSPTR_no_ZARNPLSSPTR_2_ZARNPLSSPTR_5_ZARNPLSSPTR_0");
}

TEST_F(Playlists, PagingAtTheEnds) {
  std::string id = SharedId("Album");
  ASSERT_FALSE(id.empty());
  auto titles = [&](const std::string& paging) {
    return Column(Songs(*alice_, "pls_id=" + id + paging).json, "title");
  };
  EXPECT_EQ(titles("").size(), 30u);
  EXPECT_EQ(titles("&start=&limit=").size(), 30u);  // empty means absent
  EXPECT_EQ(titles("&start=28"), (Names{"Song 29", "Song 30"}));
  EXPECT_EQ(titles("&start=5&limit=2"), (Names{"Song 06", "Song 07"}));
  EXPECT_TRUE(titles("&start=30").empty());
  EXPECT_TRUE(titles("&start=1000000").empty());
  EXPECT_TRUE(titles("&limit=0").empty());
  EXPECT_TRUE(titles("&limit=abc").empty());                    // parses as 0
  EXPECT_EQ(titles("&start=abc&limit=1"), (Names{"Song 01"}));  // start 0
  EXPECT_EQ(titles("&start=-5&limit=2"), (Names{"Song 01", "Song 02"}));
  EXPECT_EQ(titles("&limit=-1").size(), 30u);  // a negative limit is no limit
  EXPECT_EQ(titles("&start=29&limit=2147483647"), (Names{"Song 30"}));
  EXPECT_EQ(titles("&start=-99999999999999999999&limit=1"), (Names{"Song 01"}));
}

TEST_F(Playlists, UnknownPlaylistAnswersAnEmptyList) {
  CgiResult r = Songs(*alice_, "pls_id=abc");
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ(r.json["id"].asInt(), 0);
  EXPECT_EQ(r.json["total"].asUInt(), 0u);
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate:490 Failed to get playlist path."));
}

TEST_F(Playlists, FilesOutsideTheUsersLibrariesGiveNoTags) {
  CgiResult r = Songs(*alice_, "pls_id=" + SharedId("Peek"));
  ASSERT_EQ(r.json["items"].size(), 2u);  // the bad genre's song is left out
  const Json::Value& his = r.json["items"][0];
  EXPECT_EQ(his["title"].asString(), "Guess");
  EXPECT_EQ(his["album"].asString(), "");
  EXPECT_EQ(his["genre"].asString(), "");
  EXPECT_NE(r.out.find("PLSID_"), std::string::npos);
  EXPECT_EQ(r.out.find("Bob Secret"), std::string::npos);
  // Later positions keep their numbers after a skipped song.
  std::string last = r.json["items"][1]["id"].asString();
  EXPECT_EQ(last.substr(last.size() - 2), "_2");
  EXPECT_TRUE(Logged(r.log, kErr, "MediaInfo contains invalid utf8"));
  // Bob sees his own song's tags through the same shared playlist.
  CgiResult b = Songs(*bob_, "pls_id=" + SharedId("Peek"));
  EXPECT_EQ(b.json["items"][0]["title"].asString(), "Bob Secret");
  EXPECT_EQ(b.json["items"][0]["id"].asString().rfind("personal_", 0), 0u);
}

TEST_F(Playlists, PersonalPlaylistByName) {
  CgiResult r = Songs(*alice_, "pls_id=" + Encode("Road Trip") + "&personal=yes");
  EXPECT_EQ(r.json["id"].asInt(), 0);
  EXPECT_EQ(Column(r.json, "title"), (Names{"Song 03", "Song 04"}));
  // "-3" is the random playlist, even as a personal playlist's name.
  CgiResult random = Songs(*alice_, "pls_id=-3&personal=yes&username=alice");
  EXPECT_EQ(random.json["id"].asInt(), -3);
  EXPECT_EQ(random.json["items"].size(), 30u);
}

TEST_F(Playlists, HostilePersonalNamesOpenNothing) {
  // A playlist outside the stores, to aim at.
  const std::string target = instance_->Path("data/target.m3u");
  WriteFile(target, instance_->music() + "/album/05.mp3\n");
  MakeDirs(Prefs("bob"));
  WriteFile(Prefs("bob") + "/Bobs.m3u", instance_->music() + "/album/06.mp3\n");
  symlink(target.c_str(), (Prefs("alice") + "/Link.m3u").c_str());
  std::string long_name = "../../../data/target";
  while (long_name.size() < 4100) long_name = "./" + long_name;
  Songs(*bob_, "pls_id=-3&username=bob");  // bob's random playlist, a file alice must not open
  for (const std::string& name :
       {std::string("../../../data/target"), target.substr(0, target.size() - 4),
        std::string("../../bob/playlists/Bobs"), std::string("Link"),
        std::string("/../../../../../../../../..") + target.substr(0, target.size() - 4), long_name,
        std::string("Road Trip\n"), std::string("../../../tmp/bob==DynaRandom100==")}) {
    CgiResult r = Songs(*alice_, "pls_id=" + Encode(name) + "&personal=yes");
    EXPECT_TRUE(r.json["success"].asBool());
    EXPECT_EQ(r.json["total"].asUInt(), 0u) << name;
  }
  unlink((Prefs("alice") + "/Link.m3u").c_str());
}

TEST_F(Playlists, RandomPlaylistOfFewerThanAHundredSongs) {
  CgiResult first = Songs(*alice_, "pls_id=-3&username=alice");
  EXPECT_EQ(first.json["id"].asInt(), -3);
  EXPECT_EQ(first.json["items"].size(), 30u);  // every song but the bad genre's, shared only
  std::set<std::string> titles;
  for (const std::string& t : Column(first.json, "title")) titles.insert(t);
  EXPECT_EQ(titles.size(), 30u);
  EXPECT_EQ(titles.count("Alice Secret"), 0u);
  const std::string text = ReadFile(RandomFile("alice"));
  ASSERT_EQ(text.rfind("#EXTM3U\n", 0), 0u);
  const std::string old_link = instance_->Path("data/old-random.m3u");
  ASSERT_EQ(link(RandomFile("alice").c_str(), old_link.c_str()), 0);
  CgiResult second = Songs(*alice_, "pls_id=-3&username=alice");
  EXPECT_NE(Column(first.json, "title"), Column(second.json, "title"));  // 30! orders
  // Replaced, not rewritten in place: the old file is untouched.
  EXPECT_EQ(ReadFile(old_link), text);
  EXPECT_NE(ReadFile(RandomFile("alice")), text);
  // library=all takes her personal song in.
  CgiResult all = Songs(*alice_, "pls_id=-3&username=alice&library=all");
  Names t = Column(all.json, "title");
  EXPECT_EQ(std::count(t.begin(), t.end(), "Alice Secret"), 1);
  for (const Json::Value& item : all.json["items"])
    if (item["title"].asString() == "Alice Secret")
      EXPECT_EQ(item["id"].asString().rfind("personal_", 0), 0u);
  // Paging applies to the fresh playlist: 31 entries, the bad genre's song
  // left out if it falls in the page.
  size_t tail = Songs(*alice_, "pls_id=-3&username=alice&start=25&limit=100").json["items"].size();
  EXPECT_TRUE(tail == 5 || tail == 6) << tail;
  EXPECT_EQ(Songs(*alice_, "pls_id=-3&username=alice&start=31").json["items"].size(), 0u);
}

TEST_F(Playlists, RandomPlaylistStaysInTmpAndNeverFollowsALink) {
  const std::string victim = instance_->Path("data/victim.txt");
  WriteFile(victim, "precious\n");
  // A link planted under alice's random playlist name is replaced, not followed.
  unlink(RandomFile("alice").c_str());
  ASSERT_EQ(symlink(victim.c_str(), RandomFile("alice").c_str()), 0);
  CgiResult r = Songs(*alice_, "pls_id=-3&username=alice");
  EXPECT_EQ(r.json["items"].size(), 30u);
  EXPECT_EQ(ReadFile(victim), "precious\n");
  struct stat st;
  ASSERT_EQ(lstat(RandomFile("alice").c_str(), &st), 0);
  EXPECT_TRUE(S_ISREG(st.st_mode));
  // A user name that climbs out of tmp writes nothing and is a form error.
  CgiResult out = Songs(*alice_, "pls_id=-3&username=" + Encode("../data/evil"));
  EXPECT_EQ(out.json["errinfo"]["line"].asInt(), 684);
  EXPECT_TRUE(Logged(out.log, kErr,
                     "enumerate (683) Failed to create playlist " + instance_->Path("tmp/") +
                         "../data/evil==DynaRandom100==.m3u"));
  EXPECT_FALSE(Exists(instance_->Path("data/evil==DynaRandom100==.m3u")));
  // A name long enough to cut the suffix off removes and writes nothing.
  std::string cut = "../data/victim.txt";
  while (instance_->Path("tmp/").size() + cut.size() < 4095) cut = "./" + cut;
  CgiResult cut_r = Songs(*alice_, "pls_id=-3&username=" + Encode(cut));
  EXPECT_EQ(cut_r.json["errinfo"]["line"].asInt(), 684);
  EXPECT_EQ(ReadFile(victim), "precious\n");
  // Another user's random playlist is neither written nor read for alice.
  Songs(*bob_, "pls_id=-3&username=bob&library=all");
  const std::string bobs = ReadFile(RandomFile("bob"));
  ASSERT_FALSE(bobs.empty());
  CgiResult peek = Songs(*alice_, "pls_id=-3&username=bob");
  EXPECT_EQ(peek.json["errinfo"]["line"].asInt(), 684);
  EXPECT_EQ(peek.out.find("Bob Secret"), std::string::npos);
  EXPECT_EQ(ReadFile(RandomFile("bob")), bobs);
}

// The name of the random playlist's file comes from the client: whatever
// it says, the file lies in tmp, never in another user's playlist folder
// or the shared one, where it would be listed and opened.
TEST_F(Playlists, RandomPlaylistNeverLandsInAnotherStore) {
  MakeDirs(Prefs("bob"));
  const std::string bobs = Prefs("bob") + "/Evil==DynaRandom100==.m3u";
  const std::string shared = instance_->Path("data/playlists/X==DynaRandom100==.m3u");
  for (const std::string& name : {std::string("../preferences/bob/playlists/Evil"),
                                  std::string("../data/playlists/X")}) {
    CgiResult r = Songs(*alice_, "pls_id=-3&library=personal&username=" + Encode(name));
    EXPECT_EQ(r.json["errinfo"]["line"].asInt(), 684) << name;
  }
  EXPECT_FALSE(Exists(bobs));
  EXPECT_FALSE(Exists(shared));
}

// ---- Creation ----

TEST_F(Playlists, CreateFromMixedIdsAndReadItBack) {
  CgiResult songs = Songs(*alice_, "pls_id=" + SharedId("Mix"));
  std::string compound = songs.json["items"][2]["id"].asString();
  CgiResult all = Songs(*alice_, "pls_id=-3&username=alice&library=all");
  std::string mine, song5;
  for (const Json::Value& item : all.json["items"]) {
    if (item["title"].asString() == "Alice Secret") mine = item["id"].asString();
    if (item["title"].asString() == "Song 05") song5 = item["id"].asString();
  }
  CgiResult b = Songs(*bob_, "pls_id=-3&username=bob&library=personal");
  ASSERT_EQ(b.json["items"].size(), 1u);
  std::string his = b.json["items"][0]["id"].asString();
  std::string list = "[" + song5 + ",\"" + song5 + "\",\"" + mine + "\",\"" + compound + "\",\"" +
                     his + "\",\"" + his.substr(9) + "\",999999,\"junk\",-4,\"PLSID_x\"]";
  CgiResult r =
      Get(*alice_, "action=playlist_create&name=" + Encode("Picked") + "&id_list=" + Encode(list));
  EXPECT_TRUE(r.json["success"].asBool()) << r.out;
  EXPECT_EQ(r.json["playlist_name"].asString(), "Picked");
  // Shared: listed at once, with an id, and its songs in list order.
  std::string id = SharedId("Picked");
  ASSERT_FALSE(id.empty());
  CgiResult back = Songs(*alice_, "pls_id=" + id);
  EXPECT_EQ(Column(back.json, "title"),
            (Names{"Song 05", "Song 05", "Alice Secret", "Not Indexed"}));
  std::string text = ReadFile(instance_->Path("data/playlists/Picked.m3u8"));
  EXPECT_EQ(text.rfind("#EXTM3U\n#EXTINF:", 0), 0u);
  EXPECT_EQ(text.find("his.mp3"), std::string::npos);
}

TEST_F(Playlists, CreatePersonalAndOpenByName) {
  std::string song;
  CgiResult album = Songs(*alice_, "pls_id=" + SharedId("Album"));
  for (const Json::Value& item : album.json["items"])
    if (item["title"].asString() == "Song 07") song = item["id"].asString();
  CgiResult r = Get(*alice_, "action=playlist_create&personal=yes&name=Evening&id_list=" +
                                 Encode("[\"" + song + "\"]"));
  EXPECT_TRUE(r.json["success"].asBool()) << r.out;
  EXPECT_TRUE(Exists(Prefs("alice") + "/Evening.m3u"));
  EXPECT_EQ(Column(Songs(*alice_, "pls_id=Evening&personal=yes").json, "title"),
            (Names{"Song 07"}));
  Names bobs = Column(Get(*bob_, "action=all_playlist_enum").json, "name");
  EXPECT_EQ(std::count(bobs.begin(), bobs.end(), "Evening"), 0);
  // "Yes" and "1" are not "yes": shared playlists.
  EXPECT_TRUE(Get(*alice_, "action=playlist_create&personal=Yes&name=CapYes&id_list=[]")
                  .json["success"]
                  .asBool());
  EXPECT_TRUE(Get(*alice_, "action=playlist_create&personal=1&name=One&id_list=[]")
                  .json["success"]
                  .asBool());
  EXPECT_FALSE(SharedId("CapYes").empty());
  EXPECT_FALSE(SharedId("One").empty());
}

TEST_F(Playlists, CreateNameLimitInBytes) {
  std::string ok(250, 'n'), too_long(251, 'n'), wide;
  for (int i = 0; i < 100; ++i) wide += "\xE6\x97\xA5";  // 300 bytes, 100 characters
  EXPECT_TRUE(
      Get(*alice_, "action=playlist_create&name=" + ok + "&id_list=[]").json["success"].asBool());
  for (const std::string& name : {too_long, wide}) {
    CgiResult r = Get(*alice_, "action=playlist_create&name=" + Encode(name) + "&id_list=[]");
    EXPECT_TRUE(r.json.isNull()) << r.out;
    EXPECT_TRUE(Logged(r.log, kErr, "enumerate:1757 Playlist name is too long: " + name));
    EXPECT_FALSE(Exists(instance_->Path("data/playlists/" + name + ".m3u8")));
  }
}

TEST_F(Playlists, CreateRefusesHostileAndTakenNames) {
  WriteFile(instance_->Path("data/playlists/Keep.m3u8"), "#EXTM3U\nkept.mp3\n");
  for (const std::string& name :
       {std::string("a/b"), std::string(".hidden"), std::string("x\x01y"), std::string("../up"),
        std::string("Keep"), std::string("KEEP"), std::string("Mix"), std::string(""),
        std::string("back\\slash")}) {
    CgiResult r = Get(*alice_, "action=playlist_create&name=" + Encode(name) + "&id_list=[]");
    EXPECT_TRUE(r.json.isNull()) << name << ": " << r.out;
    EXPECT_TRUE(Logged(r.log, kErr, "enumerate:1763 Failed to create playlist")) << name;
  }
  EXPECT_EQ(ReadFile(instance_->Path("data/playlists/Keep.m3u8")), "#EXTM3U\nkept.mp3\n");
  EXPECT_FALSE(Exists(instance_->Path("data/up.m3u8")));
  // A NUL cannot reach the platform: the parameter is dropped.
  CgiResult nul = Get(*alice_, "action=playlist_create&name=x%00y&id_list=[]");
  EXPECT_TRUE(nul.json.isNull());
  EXPECT_TRUE(Logged(nul.log, kErr, "enumerate:1751 Bad parameter"));
}

// Listings are JSON, which is UTF-8: a name that is not is refused at
// creation, and a file dropped into a store by other means is left out of
// every listing, with a line in the log, rather than break it.
TEST_F(Playlists, NamesThatAreNotUtf8AreRefusedAndLeftOut) {
  CgiResult r = Get(*alice_, "action=playlist_create&name=Bob%C3%28Alb&id_list=[]");
  EXPECT_TRUE(r.json.isNull()) << r.out;
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate:1763 Failed to create playlist"));
  EXPECT_FALSE(Exists(instance_->Path("data/playlists/Bob\xC3(Alb.m3u8")));

  const std::string dropped = instance_->music() + "/Dropped\xC3(.m3u";
  WriteFile(dropped, "album/01.mp3\n");
  MakeDirs(Prefs("alice"));
  const std::string own = Prefs("alice") + "/Own\xFF.m3u";
  WriteFile(own, "#EXTM3U\n");
  instance_->Index();
  auto left_out = [](const std::string& folder) {
    return "playlist left out of a listing, its name is not UTF-8: a file in " + folder;
  };
  const std::string in_music = left_out(instance_->music()), in_prefs = left_out(Prefs("alice"));
  const struct {
    const char* query;
    std::vector<std::string> lines;
  } kLists[] = {{"action=playlist_enum", {in_music}},
                {"action=all_playlist_enum", {in_music, in_prefs}},
                {"action=all_playlist_enum&library=personal", {in_prefs}}};
  for (const auto& list : kLists) {
    CgiResult r = Get(*alice_, list.query);
    EXPECT_TRUE(TryUTF8ToUTF16(r.body.c_str())) << list.query;
    EXPECT_EQ(r.body.find("Dropped"), std::string::npos) << list.query;
    EXPECT_EQ(r.body.find("Own\xFF"), std::string::npos) << list.query;
    for (const std::string& line : list.lines) EXPECT_TRUE(Logged(r.log, kErr, line)) << list.query;
  }
  unlink(dropped.c_str());
  unlink(own.c_str());
  instance_->Index();
}

TEST_F(Playlists, EntryIdsOfPlaylistsTheOwnerCannotReadAreLeftOut) {
  MakeDirs(Prefs("bob"));
  WriteFile(Prefs("bob") + "/Bobs.m3u", "#EXTINF:1,Bob - Private Entry\n/nowhere/bob.mp3\n");
  const std::string sep = "_ZARNPLSSPTR_";
  std::string as_bob =
      "PLSID" + sep + "Bobs" + sep + "0" + sep + "yes" + sep + "0" + sep + "100000" + sep + "0";
  // Bob's own id works for bob...
  CgiResult mine = Get(*bob_, "action=playlist_create&personal=yes&name=Copy&id_list=" +
                                  Encode("[\"" + as_bob + "\"]"));
  ASSERT_TRUE(mine.json["success"].asBool()) << mine.out;
  EXPECT_EQ(ReadFile(Prefs("bob") + "/Copy.m3u"),
            "#EXTM3U\n#EXTINF:1,Bob - Private Entry\n/nowhere/bob.mp3\n");
  // ...and names nothing for alice, however the name climbs.
  std::string climbing = "PLSID" + sep + "../../bob/playlists/Bobs" + sep + "0" + sep + "yes" +
                         sep + "0" + sep + "100000" + sep + "0";
  std::string random_of_bob =
      "PLSID" + sep + "-3" + sep + "" + sep + "no" + sep + "0" + sep + "100000" + sep + "0";
  CgiResult r = Get(
      *alice_, "action=playlist_create&name=Stolen&id_list=" +
                   Encode("[\"" + as_bob + "\",\"" + climbing + "\",\"" + random_of_bob + "\"]"));
  ASSERT_TRUE(r.json["success"].asBool()) << r.out;
  std::string stolen = ReadFile(instance_->Path("data/playlists/Stolen.m3u8"));
  EXPECT_EQ(stolen.find("bob"), std::string::npos) << stolen;
}

TEST_F(Playlists, CreateBadParametersAndUnparsableList) {
  CgiResult none = Get(*alice_, "action=playlist_create&id_list=[]");
  EXPECT_TRUE(none.json.isNull());
  EXPECT_TRUE(Logged(none.log, kErr, "enumerate:1751 Bad parameter"));
  CgiResult no_list = Get(*alice_, "action=playlist_create&name=Lonely");
  EXPECT_TRUE(no_list.json.isNull());
  EXPECT_TRUE(Logged(no_list.log, kErr, "enumerate:1751 Bad parameter"));
  EXPECT_FALSE(Exists(instance_->Path("data/playlists/Lonely.m3u8")));
  CgiResult bad = Get(*alice_, "action=playlist_create&name=Broken&id_list=" + Encode("{oops"));
  EXPECT_TRUE(bad.json.isNull());
  EXPECT_EQ(bad.body, "null");
  EXPECT_TRUE(Logged(bad.log, kErr, "enumerate:1768 Failed to parse json."));
  // The empty playlist stays, under the name asked for.
  std::string id = SharedId("Broken");
  ASSERT_FALSE(id.empty());
  EXPECT_EQ(Songs(*alice_, "pls_id=" + id).json["total"].asUInt(), 0u);
}

// A list nested past the parser's limit is one more unparsable list: the
// process answers as for any other, it does not end half-way.
TEST_F(Playlists, CreateWithAListNestedTooDeepIsAnUnparsableList) {
  CgiResult deep = Get(*alice_, "action=playlist_create&name=Deep&id_list=" +
                                    Encode(std::string(2000, '[')));
  EXPECT_EQ(deep.body, "null");
  EXPECT_TRUE(Logged(deep.log, kErr, "enumerate:1768 Failed to parse json."));
  std::string id = SharedId("Deep");
  ASSERT_FALSE(id.empty());
  EXPECT_EQ(Songs(*alice_, "pls_id=" + id).json["total"].asUInt(), 0u);
}

// ---- The index keeps playlist ids ----

TEST_F(Playlists, IdsSurviveIndexRunsAndAreNeverReused) {
  std::string mix = SharedId("Mix");
  WriteFile(instance_->music() + "/Later.m3u", "album/09.mp3\n");
  instance_->Index();
  EXPECT_EQ(SharedId("Mix"), mix);
  std::string later = SharedId("Later");
  ASSERT_FALSE(later.empty());
  instance_->Index(true);
  EXPECT_EQ(SharedId("Mix"), mix);
  EXPECT_EQ(SharedId("Later"), later);
  unlink((instance_->music() + "/Later.m3u").c_str());
  instance_->Index();
  EXPECT_TRUE(SharedId("Later").empty());
  WriteFile(instance_->music() + "/Later.m3u", "album/09.mp3\n");
  instance_->Index();
  EXPECT_GT(std::stol(SharedId("Later")), std::stol(later));
  unlink((instance_->music() + "/Later.m3u").c_str());
  instance_->Index();
}

}  // namespace

namespace {

// An instance with songs but no playlist files at all.
TEST(PlaylistsEmpty, OnlyTheRandomPlaylistAndANullNameWithoutTexts) {
  LibraryInstance instance;
  std::string session = IndexAndSignIn(instance, {Tune("a.mp3", "A", "Al", "Ar")});
  CgiResult r = harness::Enumerate(instance, session, "action=playlist_enum&username=alice");
  ASSERT_EQ(r.json["items"].size(), 1u) << r.out;
  EXPECT_EQ(r.json["total"].asUInt(), 1u);
  EXPECT_EQ(r.json["items"][0]["id"].asInt(), -3);
  EXPECT_EQ(r.json["items"][0]["name"].asString(), "Random 100");
  CgiResult all = harness::Enumerate(instance, session, "action=all_playlist_enum");
  EXPECT_EQ(all.json["total"].asUInt(), 1u);
  CgiResult smart = harness::Enumerate(instance, session, "action=smartplaylist_enum");
  EXPECT_EQ(smart.json["items"].size(), 0u);
  EXPECT_EQ(smart.json["total"].asInt(), 0);
  EXPECT_TRUE(smart.json["success"].asBool());
  // Without the language's texts the random playlist is still listed, its
  // name null.
  harness::Run({"/bin/rm", "-rf", instance.Path("var/packages/Cantora/target/app/texts/en")});
  CgiResult bare = harness::Enumerate(instance, session, "action=playlist_enum&username=alice");
  ASSERT_EQ(bare.json["items"].size(), 1u);
  EXPECT_TRUE(bare.json["items"][0].isMember("name"));
  EXPECT_TRUE(bare.json["items"][0]["name"].isNull());
  // Without username the path is made from a null text.
  CgiResult anonymous = harness::Enumerate(instance, session, "action=playlist_enum");
  EXPECT_EQ(anonymous.json["items"][0]["path"].asString(),
            instance.Path("tmp/(null)==DynaRandom100==.m3u"));
}

}  // namespace
