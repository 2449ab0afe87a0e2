// smartpls_song_enum through enumerate.cgi, and cantora-admin smart, on an
// indexed library with shared and personal smart playlists.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

std::vector<fixture::Song> SharedSongs() {
  std::vector<fixture::Song> songs;
  for (int t = 1; t <= 8; ++t) {
    fixture::Song s = Tune("Jazz/" + std::to_string(t) + ".mp3", "Jazz " + std::to_string(t),
                           "Night Train", "Quartet", "Jazz");
    s.track = t;
    songs.push_back(s);
  }
  songs.push_back(Tune("Odd/quote.mp3", "Say 'Hi'", "Odd", "O'Brien", "Odd"));
  songs.push_back(Tune("Odd/quote2.mp3", "Say Hi", "Odd", "OBrien", "Odd"));
  songs.push_back(Tune("Odd/percent.mp3", "100% Pure", "Odd", "Percent", "Odd"));
  songs.push_back(Tune("Odd/percent2.mp3", "1000 Pure", "Odd", "Percent", "Odd"));
  songs.push_back(Tune("Odd/under.mp3", "a_b", "Odd", "Under", "Odd"));
  songs.push_back(Tune("Odd/under2.mp3", "axb", "Odd", "Under", "Odd"));
  songs.push_back(Tune("Odd/slash.mp3", "Back\\slash", "Odd", "AC\\DC", "Odd"));
  songs.push_back(Tune("Odd/slash2.mp3", "Backslash", "Odd", "ACDC", "Odd"));
  songs.push_back(Tune("Odd/sql.mp3", "x' or '1'='1", "Odd", "Tables", "Odd"));
  for (const char* which : {"title", "album", "artist", "genre", "ok"})
    songs.push_back(Tune(std::string("Broken/") + which + ".mp3", std::string("Broken ") + which,
                         "Broken album", "Broken artist", "Broken"));
  return songs;
}

// The smart playlists of the shared store, in file order (= their pls_id).
const char* const kSharedStore = R"({"playlists": [
  {"name": "Jazz", "rules": [{"field": "genre", "op": "is", "value": "Jazz"}]},
  {"name": "Everything"},
  {"name": "Quote", "rules": [{"field": "title", "op": "is", "value": "Say 'Hi'"}]},
  {"name": "Percent", "rules": [{"field": "title", "op": "contains", "value": "0%"}]},
  {"name": "Underscore", "rules": [{"field": "title", "op": "contains", "value": "_"}]},
  {"name": "Backslash", "rules": [{"field": "artist", "op": "is", "value": "AC\\DC"}]},
  {"name": "Sql", "rules": [{"field": "title", "op": "is", "value": "x' or '1'='1"}]},
  {"name": "Sql2", "rules": [{"field": "title", "op": "contains", "value": "' or title like '"}]},
  {"name": "Broken", "rules": [{"field": "path", "op": "contains", "value": "/Broken/"}]},
  {"name": "Refused", "rules": [{"field": "mood", "op": "is", "value": "calm"}]},
  {"name": "Personal everything", "rules": [{"field": "path", "op": "contains", "value": "/home/"}]},
  {"name": "Few jazz", "rules": [{"field": "genre", "op": "is", "value": "Jazz"}],
   "order": "track desc", "limit": 3},
  {"name": "Fresh", "rules": [{"field": "added", "op": "in_last_days", "value": 1}],
   "order": "added desc", "limit": 2},
  {"name": "Old", "rules": [{"field": "added", "op": "before", "value": "2000-01-01"}]}
]}
)";

enum SharedId { kJazz, kEverything, kQuote, kPercent, kUnderscore, kBackslash, kSql, kSql2,
                kBroken, kRefused, kPersonalEverything, kFewJazz, kFresh, kOld };

class SmartPlaylists : public LibrarySuite {
 protected:
  static void SetUpTestSuite() {
    OpenLibrary(SharedSongs());
    Admin({"user", "personal", "alice", "on"});
    bob_ = new std::string(instance_->AddUser("bob", true));
    carol_ = new std::string(instance_->AddUser("carol", false));
    instance_->AddSongs({Tune("a.mp3", "Alice own", "Alice album", "Alice", "Blues")},
                        instance_->PersonalFolder("alice"));
    instance_->AddSongs({Tune("b.mp3", "Bob own", "Bob album", "Bob", "Blues")},
                        instance_->PersonalFolder("bob"));
    instance_->AddSongs({Tune("c.mp3", "Carol own", "Carol album", "Carol", "Blues")},
                        instance_->PersonalFolder("carol"));
    instance_->Index();
    BreakUtf8();
    std::ofstream(SharedStorePath()) << kSharedStore;
    AddPersonal("alice", R"({"name": "Mine", "rules": [{"field": "genre", "op": "is", "value": "Blues"}]})");
    AddPersonal("alice", R"({"name": "42 Blues", "rules": [{"field": "genre", "op": "is", "value": "Blues"}]})");
    AddPersonal("alice", R"({"name": "Ever", "rules": [{"field": "path", "op": "contains", "value": "/home/"}]})");
  }
  static void TearDownTestSuite() {
    delete bob_;
    delete carol_;
    CloseLibrary();
  }

  static harness::CommandResult Admin(const std::vector<std::string>& args,
                                      const std::string& input = "") {
    harness::CommandResult r = instance_->Admin(args, input);
    EXPECT_EQ(0, r.status) << r.err;
    return r;
  }

  static void AddPersonal(const std::string& user, const std::string& json) {
    Admin({"smart", "add", "--user", user}, json);
  }

  static std::string SharedStorePath() { return instance_->Path("data/smart.playlist"); }

  // One song with a stray byte in each of title, album, artist and genre,
  // written into the index directly: a tag's bytes may not reach the index
  // unchanged, and the gateway must hold whatever the index holds.
  static void BreakUtf8() {
    sqlite::Database db;
    instance_->OpenIndex(&db);
    std::string error;
    for (const char* column : {"title", "album", "artist", "genre"}) {
      ASSERT_TRUE(db.Exec(std::string("UPDATE song SET ") + column +
                              " = CAST(X'4272ff6b656e' AS TEXT) WHERE title = 'Broken " + column +
                              "'",
                          &error))
          << error;
    }
  }

  // enumerate.cgi under a time limit: a request that would never end is
  // killed and fails its test instead of stalling the run.
  static CgiResult Request(const std::string& session, const std::string& query) {
    std::string wrapper = instance_->Path("timed-enumerate.sh");
    if (access(wrapper.c_str(), X_OK) != 0) {
      std::ofstream(wrapper) << "#!/bin/sh\nexec /usr/bin/timeout -s KILL 20 "
                             << harness::Bin("enumerate.cgi") << "\n";
      chmod(wrapper.c_str(), 0755);
    }
    CgiRequest request;
    request.program = wrapper;
    request.session = session;
    request.query = query;
    CgiResult r = harness::RunCgi(*instance_, request);
    EXPECT_EQ(0, r.status) << "the request did not end by itself";
    return r;
  }

  static CgiResult Shared(int id, const std::string& more = "", const std::string& session = "") {
    return Request(session.empty() ? *session_ : session,
                   "action=smartpls_song_enum&pls_id=" + std::to_string(id) + more);
  }

  static CgiResult Personal(const std::string& name, const std::string& session = "") {
    return Request(session.empty() ? *session_ : session,
                   "action=smartpls_song_enum&personal=yes&pls_id=" + Encode(name));
  }

  static std::vector<std::string> SortedTitles(const CgiResult& r) {
    std::vector<std::string> titles = Column(r.json, "title");
    std::sort(titles.begin(), titles.end());
    return titles;
  }

  static std::string* bob_;
  static std::string* carol_;
};

std::string* SmartPlaylists::bob_ = nullptr;
std::string* SmartPlaylists::carol_ = nullptr;

using Titles = std::vector<std::string>;

void ExpectAnswer(const CgiResult& r, long id) {
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ("text/plain; charset=\"UTF-8\"", r.headers.at("Content-Type"));
  EXPECT_TRUE(r.json["success"].isBool() && r.json["success"].asBool()) << r.body;
  ASSERT_TRUE(r.json["id"].isInt64()) << r.body;
  EXPECT_EQ(id, r.json["id"].asInt64());
  ASSERT_TRUE(r.json["items"].isArray());
  ASSERT_TRUE(r.json["total"].isUInt());
  EXPECT_EQ(r.json["items"].size(), r.json["total"].asUInt());
}

TEST_F(SmartPlaylists, SharedPlaylistByPositionInTheDefaultOrder) {
  CgiResult r = Shared(kJazz);
  ExpectAnswer(r, kJazz);
  EXPECT_EQ((Titles{"Jazz 1", "Jazz 2", "Jazz 3", "Jazz 4", "Jazz 5", "Jazz 6", "Jazz 7", "Jazz 8"}),
            Column(r.json, "title"));
  EXPECT_TRUE(r.log.empty());
  // The members JsonCpp would write, "id" first.
  EXPECT_EQ(0u, r.body.find("{\"id\":0,\"items\":[{\"album\":\"Night Train\""));
}

TEST_F(SmartPlaylists, SongIdsAreNumbersAndTheItemIsTheSongItem) {
  CgiResult r = Shared(kJazz);
  ASSERT_EQ(8u, r.json["items"].size());
  const Json::Value& item = r.json["items"][0];
  EXPECT_TRUE(item["id"].isUInt()) << item;
  EXPECT_GT(item["id"].asUInt(), 0u);
  EXPECT_TRUE(item["covercount"].isInt());
  for (const char* key : {"path", "title", "album", "artist", "genre", "duration", "frequency",
                          "bitrate", "channel", "filesize", "albumartist", "composer", "year",
                          "track", "disc", "comment"})
    EXPECT_TRUE(item[key].isString()) << key;
  EXPECT_EQ(18u, item.size());
  EXPECT_EQ(instance_->music() + "/Jazz/1.mp3", item["path"].asString());
  EXPECT_EQ("1", item["track"].asString());
  // The same song in song_enum carries the same id, there as text.
  CgiResult songs = Request(*session_, "action=song_enum&genre_name=Jazz");
  EXPECT_EQ(std::to_string(item["id"].asUInt()), songs.json["items"][0]["id"].asString());
}

TEST_F(SmartPlaylists, StartAndLimitAreIgnored) {
  CgiResult plain = Shared(kJazz);
  CgiResult paged = Shared(kJazz, "&start=10&limit=5");
  ExpectAnswer(paged, kJazz);
  EXPECT_EQ(8u, paged.json["total"].asUInt());
  EXPECT_EQ(plain.json, paged.json);
  EXPECT_EQ(plain.json, Shared(kJazz, "&start=2&limit=1").json);
  EXPECT_EQ(plain.json, Shared(kJazz, "&start=&limit=").json);
}

TEST_F(SmartPlaylists, OrderAndLimitOfThePlaylistItselfApply) {
  CgiResult r = Shared(kFewJazz);
  ExpectAnswer(r, kFewJazz);
  EXPECT_EQ((Titles{"Jazz 8", "Jazz 7", "Jazz 6"}), Column(r.json, "title"));
}

// The indexer dates a song when it first enters the index.
TEST_F(SmartPlaylists, AddedIsWhenTheIndexerFirstSawTheSong) {
  CgiResult fresh = Shared(kFresh);
  ExpectAnswer(fresh, kFresh);
  EXPECT_EQ(2u, fresh.json["total"].asUInt());
  CgiResult old = Shared(kOld);
  ExpectAnswer(old, kOld);
  EXPECT_EQ(0u, old.json["total"].asUInt());
}

TEST_F(SmartPlaylists, MissingPlsIdIsAFormError) {
  for (const std::string& query :
       {std::string("action=smartpls_song_enum"), std::string("action=smartpls_song_enum&pls_id=")}) {
    CgiResult r = Request(*session_, query);
    ASSERT_TRUE(r.has_json) << r.out;
    EXPECT_EQ(Json::Value(false), r.json["success"]);
    EXPECT_EQ("common", r.json["errinfo"]["sec"].asString());
    EXPECT_EQ("error_system", r.json["errinfo"]["key"].asString());
    EXPECT_EQ(574, r.json["errinfo"]["line"].asInt());
    EXPECT_FALSE(r.json.isMember("items"));
    EXPECT_TRUE(harness::Logged(r.log, kErr, "enumerate (573) Bad parameters."));
  }
}

TEST_F(SmartPlaylists, UnknownPositionAnswersNoSongs) {
  for (const char* id : {"99", "-1", "abc", "4294967296"}) {
    CgiResult r = Request(*session_, std::string("action=smartpls_song_enum&pls_id=") + id);
    ASSERT_TRUE(r.has_json) << r.out;
    EXPECT_TRUE(r.json["success"].asBool());
    EXPECT_EQ(std::strtol(id, nullptr, 10), r.json["id"].asInt64());
    // "abc" parses as 0, the first playlist: that is what the client asked for.
    if (std::string(id) == "abc") {
      EXPECT_EQ(8u, r.json["total"].asUInt());
    } else {
      EXPECT_EQ(0u, r.json["total"].asUInt()) << id;
    }
  }
}

TEST_F(SmartPlaylists, ThePositionNamesAnotherPlaylistAfterTheStoreChanges) {
  std::string before;
  {
    std::ifstream in(SharedStorePath());
    std::stringstream text;
    text << in.rdbuf();
    before = text.str();
  }
  EXPECT_EQ(8u, Shared(0).json["total"].asUInt());
  // A playlist added at the head of the store: every position moves by one.
  std::string added = before;
  added.insert(added.find('[') + 1,
               R"({"name": "Aaa first", "rules": [{"field": "title", "op": "is", "value": "axb"}]},)");
  std::ofstream(SharedStorePath()) << added;
  CgiResult now = Shared(0);
  EXPECT_EQ((Titles{"axb"}), Column(now.json, "title"));
  EXPECT_EQ(8u, Shared(1).json["total"].asUInt());  // Jazz, one further on
  // Removing it again (cantora-admin smart del) moves them back.
  Admin({"smart", "del", "Aaa first"});
  EXPECT_EQ(8u, Shared(0).json["total"].asUInt());
  std::ofstream(SharedStorePath()) << before;
}

TEST_F(SmartPlaylists, ValuesWithQuotesWildcardsBackslashesAndSqlSelectOnlyWhatTheySay) {
  EXPECT_EQ((Titles{"Say 'Hi'"}), Column(Shared(kQuote).json, "title"));
  EXPECT_EQ((Titles{"100% Pure"}), Column(Shared(kPercent).json, "title"));
  EXPECT_EQ((Titles{"a_b"}), Column(Shared(kUnderscore).json, "title"));
  EXPECT_EQ((Titles{"Back\\slash"}), Column(Shared(kBackslash).json, "title"));
  EXPECT_EQ((Titles{"x' or '1'='1"}), Column(Shared(kSql).json, "title"));
  CgiResult none = Shared(kSql2);
  ExpectAnswer(none, kSql2);
  EXPECT_EQ(0u, none.json["total"].asUInt());
}

TEST_F(SmartPlaylists, SongsWithInvalidUtf8AreLeftOutAndTheRequestEnds) {
  CgiResult r = Shared(kBroken);
  ExpectAnswer(r, kBroken);
  EXPECT_EQ((Titles{"Broken ok"}), Column(r.json, "title"));
  CgiResult all = Shared(kEverything);
  ExpectAnswer(all, kEverything);
  for (const std::string& title : Column(all.json, "title"))
    EXPECT_TRUE(title.rfind("Broken", 0) != 0 || title == "Broken ok") << title;
  EXPECT_EQ(19u, all.json["total"].asUInt());  // 18 valid shared songs and alice's own
}

TEST_F(SmartPlaylists, RefusedRulesSelectNoSongsAndSaySoInTheLog) {
  CgiResult r = Shared(kRefused);
  ExpectAnswer(r, kRefused);
  EXPECT_EQ(0u, r.json["total"].asUInt());
  EXPECT_TRUE(harness::Logged(r.log, kErr,
                              "smart playlist \"Refused\": rule 1: unknown field \"mood\""));
}

TEST_F(SmartPlaylists, PersonalLibraryOfTheUserOnlyAndOnlyWhenSwitchedOn) {
  // alice (personal library on): the shared songs and her own, never bob's.
  CgiResult alice = Shared(kPersonalEverything);
  EXPECT_EQ((Titles{"Alice own"}), Column(alice.json, "title"));
  EXPECT_EQ(19u, Shared(kEverything).json["total"].asUInt());
  // bob: his own only.
  EXPECT_EQ((Titles{"Bob own"}), Column(Shared(kPersonalEverything, "", *bob_).json, "title"));
  // carol's personal library is off: not even her own songs (which are not indexed).
  EXPECT_EQ(0u, Shared(kPersonalEverything, "", *carol_).json["total"].asUInt());
  // A personal song's id is a bare number, like a shared one.
  const Json::Value& item = alice.json["items"][0];
  EXPECT_TRUE(item["id"].isUInt()) << item;
}

TEST_F(SmartPlaylists, PersonalPlaylistByNameHasId0UnlessItsNameBeginsWithDigits) {
  CgiResult mine = Personal("Mine");
  ExpectAnswer(mine, 0);
  EXPECT_EQ((Titles{"Alice own"}), Column(mine.json, "title"));
  CgiResult blues = Personal("42 Blues");
  ExpectAnswer(blues, 42);
  EXPECT_EQ((Titles{"Alice own"}), Column(blues.json, "title"));
  // Another user's selection never reaches into alice's library, nor hers into bob's.
  EXPECT_EQ((Titles{"Alice own"}), Column(Personal("Ever").json, "title"));
  // bob has no smart playlists of his own: alice's names mean nothing to him.
  CgiResult bob = Personal("Mine", *bob_);
  ExpectAnswer(bob, 0);
  EXPECT_EQ(0u, bob.json["total"].asUInt());
  CgiResult unknown = Personal("No such");
  ExpectAnswer(unknown, 0);
  EXPECT_EQ(0u, unknown.json["total"].asUInt());
  EXPECT_TRUE(unknown.log.empty());
}

TEST_F(SmartPlaylists, PersonalWithoutPreferenceFolderAnswersNoSongs) {
  // carol has never stored anything: no preference folder.
  CgiResult r = Personal("Mine", *carol_);
  ExpectAnswer(r, 0);
  EXPECT_EQ(0u, r.json["total"].asUInt());
  EXPECT_TRUE(r.log.empty());
}

TEST_F(SmartPlaylists, AdminListShowAddDel) {
  harness::CommandResult list = Admin({"smart", "list"});
  EXPECT_EQ(0u, list.out.find("0\tJazz\n1\tEverything\n2\tQuote\n"));
  harness::CommandResult show = Admin({"smart", "show", "Few jazz"});
  std::vector<std::string> lines;
  std::stringstream out(show.out);
  for (std::string line; std::getline(out, line);) lines.push_back(line);
  ASSERT_EQ(4u, lines.size()) << show.out;
  EXPECT_NE(std::string::npos, lines[0].find("\tQuartet\tNight Train\tJazz 8\t"));
  EXPECT_EQ("3 songs", lines[3]);
  // Shown for alice: her own library joins in.
  std::string mine = Admin({"smart", "show", "Mine", "--user", "alice"}).out;
  EXPECT_NE(std::string::npos, mine.find("\tAlice\tAlice album\tAlice own\t")) << mine;
  EXPECT_EQ(mine.size() - 8, mine.rfind("\n1 song\n")) << mine;
  EXPECT_EQ("0\tMine\n1\t42 Blues\n2\tEver\n", Admin({"smart", "list", "--user", "alice"}).out);

  // add: checked first; the store is untouched by a refusal.
  harness::CommandResult bad = instance_->Admin(
      {"smart", "add", "--user", "alice"},
      R"({"name": "Bad", "rules": [{"any": [{"field": "year", "op": "between", "value": [2000]}]}]})");
  EXPECT_EQ(1, bad.status);
  EXPECT_EQ("cantora-admin: smart playlist \"Bad\": rule 1.1: the value of \"between\" must be "
            "[low, high]\n",
            bad.err);
  harness::CommandResult twice =
      instance_->Admin({"smart", "add", "--user", "alice"}, R"({"name": "Mine"})");
  EXPECT_EQ(1, twice.status);
  EXPECT_EQ("cantora-admin: smart add: a smart playlist named \"Mine\" exists\n", twice.err);
  EXPECT_EQ(1, instance_->Admin({"smart", "list", "--user", "nobody-here"}).status);
  EXPECT_EQ(1, instance_->Admin({"smart", "del", "Nope", "--user", "alice"}).status);
  EXPECT_EQ("0\tMine\n1\t42 Blues\n2\tEver\n", Admin({"smart", "list", "--user", "alice"}).out);

  // add from a file, then del.
  std::string file = instance_->Path("new.json");
  std::ofstream(file) << R"({"name": "Year", "rules": [{"field": "year", "op": "ge", "value": 0}], "limit": 2})";
  Admin({"smart", "add", file, "--user", "alice"});
  EXPECT_EQ("0\tMine\n1\t42 Blues\n2\tEver\n3\tYear\n",
            Admin({"smart", "list", "--user", "alice"}).out);
  Admin({"smart", "del", "Year", "--user", "alice"});
  EXPECT_EQ("0\tMine\n1\t42 Blues\n2\tEver\n", Admin({"smart", "list", "--user", "alice"}).out);
  // The store is a file of its own, readable by the web server, with no
  // temporary file left beside it.
  struct stat st;
  std::string store = instance_->Path("preferences/alice/playlists/smart.playlist");
  ASSERT_EQ(0, lstat(store.c_str(), &st));
  EXPECT_TRUE(S_ISREG(st.st_mode));
  EXPECT_EQ(0644u, st.st_mode & 07777);
  harness::CommandResult ls = harness::Run({"/bin/ls", instance_->Path("preferences/alice/playlists")});
  EXPECT_EQ("smart.playlist\n", ls.out);
}

TEST_F(SmartPlaylists, AdminReplacesALinkedStoreInsteadOfWritingThroughIt) {
  std::string target = instance_->Path("elsewhere.playlist");
  const std::string kept = "{\"playlists\": []}\n";
  std::ofstream(target) << kept;
  std::string dir = instance_->Path("preferences/dave/playlists");
  instance_->AddUser("dave");
  harness::Run({"/bin/mkdir", "-p", dir});
  std::string store = dir + "/smart.playlist";
  ASSERT_EQ(0, symlink(target.c_str(), store.c_str()));
  Admin({"smart", "add", "--user", "dave"}, R"({"name": "D"})");
  std::ifstream in(target);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(kept, text);
  struct stat st;
  ASSERT_EQ(0, lstat(store.c_str(), &st));
  EXPECT_TRUE(S_ISREG(st.st_mode));
  EXPECT_EQ("0\tD\n", Admin({"smart", "list", "--user", "dave"}).out);
}

// A text nested past the parser's limit is one more text that does not
// parse: in a user's store it leaves that user's lists answering, and the
// administrator's command refuses it in one line.
TEST_F(SmartPlaylists, ANestingTooDeepIsAnUnparsableText) {
  std::string deep = std::string(1000, '[') + std::string(1000, ']');
  std::string session = instance_->AddUser("erin");
  std::string dir = instance_->Path("preferences/erin/playlists");
  harness::Run({"/bin/mkdir", "-p", dir});
  std::ofstream(dir + "/smart.playlist")
      << R"({"playlists": [{"name": "Deep", "rules": )" << deep << "}]}";
  CgiResult songs = Personal("Deep", session);
  ExpectAnswer(songs, 0);
  EXPECT_EQ(0u, songs.json["total"].asUInt());
  CgiResult all = Request(session, "action=all_playlist_enum");
  ASSERT_TRUE(all.has_json) << all.out;
  EXPECT_TRUE(all.json["success"].asBool());

  harness::CommandResult add = instance_->Admin({"smart", "add", "--user", "erin"},
                                                R"({"name": "Deeper", "rules": )" + deep + "}");
  EXPECT_EQ(1, add.status);
  EXPECT_EQ(std::string::npos, add.err.find("terminate")) << add.err;
  EXPECT_EQ(0u, add.err.find("cantora-admin: ")) << add.err;
  EXPECT_EQ(add.err.find('\n'), add.err.size() - 1) << add.err;
}

// The personal store is found under the privilege guard; without the setuid
// bit the guard is refused, and the answer is an empty success.
TEST(SmartPlaylistGuard, WithoutSetuidThePersonalPartIsSkippedAndSaysSo) {
  ASSERT_EQ(0u, geteuid()) << "installing a setuid program needs root";
  harness::Instance instance("nobody");
  std::string session = instance.AddUser("alice");
  ASSERT_EQ(0, instance.Admin({"smart", "add", "--user", "alice"}, R"({"name": "7 Mine"})").status);
  CgiRequest request;
  request.program = harness::InstallGatewayCopy(instance, false);
  request.session = session;
  request.query = "action=smartpls_song_enum&personal=yes&pls_id=7%20Mine";
  request.run_as = "nobody";
  CgiResult r = harness::RunCgi(instance, request);
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ(7, r.json["id"].asInt());
  EXPECT_EQ(0u, r.json["total"].asUInt());
  ASSERT_EQ(2u, r.log.size());
  EXPECT_EQ(LOG_AUTH | LOG_ERR, r.log[0].priority);
  EXPECT_EQ("enumerate:608 ERROR: IF_RUN_AS(0, 0)", r.log[0].text);
  EXPECT_EQ(kErr, r.log[1].priority);
  EXPECT_EQ("enumerate:614 Failed to run as root.", r.log[1].text);
  // Installed setuid, the same request finds the playlist.
  request.program = harness::InstallGatewayCopy(instance, true);
  r = harness::RunCgi(instance, request);
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_TRUE(r.log.empty());
  EXPECT_EQ(7, r.json["id"].asInt());
}

}  // namespace
