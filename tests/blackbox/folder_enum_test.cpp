// folder_enum: the library walked by its folders, through enumerate.cgi, on
// libraries indexed by cantora-admin from real audio files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

// Folder names that a LIKE pattern gets wrong, each with a sibling that the
// pattern would also match (or match instead).
struct Special {
  const char* name;
  const char* sibling;
};
const Special kSpecials[] = {
    {"O'Neil & Sons", "O'Neil & Sonsy"},
    {"100% Hits", "100 Big Hits"},
    {"a_b", "aXb"},
    {"back\\slash", "backslash"},
};

void MakeFolder(const std::string& path) {
  ASSERT_EQ(0, mkdir(path.c_str(), 0755)) << path;
}

class FolderTest : public harness::LibrarySuite {
 protected:
  static CgiResult Get(const std::string& session, const std::string& query) {
    CgiResult r = harness::Enumerate(*instance_, session, query);
    EXPECT_TRUE(r.has_json) << query << ": " << r.out;
    EXPECT_EQ(r.json["items"].size(), r.json["total"].asUInt()) << query;
    return r;
  }
  // The titles of the folder items, then of the song items, of an answer.
  static Names Folders(const CgiResult& r) {
    Names out;
    for (const Json::Value& item : r.json["items"])
      if (item.isMember("folder")) out.push_back(item["title"].asString());
    return out;
  }
  static Names Songs(const CgiResult& r) {
    Names out;
    for (const Json::Value& item : r.json["items"])
      if (!item.isMember("folder")) out.push_back(item["title"].asString());
    return out;
  }
  // The id of the folder item titled title.
  static std::string IdOf(const CgiResult& r, const std::string& title) {
    for (const Json::Value& item : r.json["items"])
      if (item.isMember("folder") && item["title"].asString() == title) return item["id"].asString();
    ADD_FAILURE() << "no folder " << title;
    return "";
  }
  static bool Succeeded(const CgiResult& r) {
    return r.json.isMember("success") && r.json["success"].isBool() && r.json["success"].asBool();
  }
};

// One shared root holding a song, plain folders and the special names, at
// the top and one level down.
class OneRoot : public FolderTest {
 protected:
  static void SetUpTestSuite() {
    std::vector<fixture::Song> songs = {
        Tune("top.mp3", "Top Song", "Top Album", "Top Artist"),
        Tune("Rock/r1.flac", "Rock One", "Rock Album", "Rocker"),
        Tune("Rock/Live/r2.ogg", "Rock Live", "Rock Live Album", "Rocker"),
        Tune("Rock/Live/Encore/r3.mp3", "Rock Encore", "Rock Live Album", "Rocker"),
    };
    for (const Special& s : kSpecials) {
      for (const std::string& base : {std::string(""), std::string("Nest/")}) {
        std::string tag = base.empty() ? "" : " nested";
        songs.push_back(Tune(base + s.name + "/own.mp3", std::string(s.name) + tag + " own",
                             "Own", "Special"));
        songs.push_back(Tune(base + s.name + "/Inner/inner.mp3",
                             std::string(s.name) + tag + " inner", "Inner", "Special"));
        songs.push_back(Tune(base + s.sibling + "/sib.mp3", std::string(s.sibling) + tag + " sib",
                             "Sibling", "Special"));
        songs.push_back(Tune(base + s.sibling + "/Inner/sibinner.mp3",
                             std::string(s.sibling) + tag + " sibinner", "Sibling", "Special"));
      }
    }
    OpenLibrary(songs);
  }
  static void TearDownTestSuite() { CloseLibrary(); }
  static CgiResult Root() { return Get(*session_, "action=folder_enum"); }
  static CgiResult Folder(const std::string& id, const std::string& extra = "") {
    return Get(*session_, "action=folder_enum&folder=" + Encode(id) + extra);
  }
};

TEST_F(OneRoot, RootLevelShowsTheRootsContentsNotTheRoot) {
  CgiResult r = Root();
  Names folders = {"100 Big Hits", "100% Hits", "Nest", "O'Neil & Sons", "O'Neil & Sonsy", "Rock",
                   "aXb", "a_b", "back\\slash", "backslash"};
  EXPECT_EQ(folders, Folders(r));
  EXPECT_EQ((Names{"Top Song"}), Songs(r));
  EXPECT_TRUE(Succeeded(r));
  // Folder items come first and have exactly three members, in this order.
  const Json::Value& first = r.json["items"][0];
  EXPECT_EQ((std::vector<std::string>{"folder", "id", "title"}), first.getMemberNames());
  EXPECT_TRUE(first["folder"].isBool() && first["folder"].asBool());
  EXPECT_TRUE(first["id"].isString());
  EXPECT_EQ(std::string::npos, first["id"].asString().find_first_not_of("0123456789"));
  const Json::Value& last = r.json["items"][r.json["items"].size() - 1];
  EXPECT_FALSE(last.isMember("folder"));
  EXPECT_EQ("Top Album", last["album"].asString());
  EXPECT_EQ(18u, last.size());
}

TEST_F(OneRoot, NoLibraryParameterReadsTheSharedLibrary) {
  EXPECT_EQ(Root().json, Get(*session_, "action=folder_enum&library=shared").json);
  EXPECT_EQ(Root().json, Get(*session_, "action=folder_enum&library=nonsense").json);
}

TEST_F(OneRoot, OneLevelBelowAFolderIsItsSubFoldersThenItsSongs) {
  CgiResult rock = Folder(IdOf(Root(), "Rock"));
  EXPECT_EQ((Names{"Live"}), Folders(rock));
  EXPECT_EQ((Names{"Rock One"}), Songs(rock));
  EXPECT_TRUE(Succeeded(rock));
  CgiResult live = Folder(IdOf(rock, "Live"));
  EXPECT_EQ((Names{"Encore"}), Folders(live));
  EXPECT_EQ((Names{"Rock Live"}), Songs(live));
}

TEST_F(OneRoot, RecursiveListsEverySongBelowInSongOrderAndNoFolders) {
  std::string rock = IdOf(Root(), "Rock");
  CgiResult all = Folder(rock, "&recursive=yes");
  EXPECT_TRUE(Succeeded(all));
  EXPECT_EQ((Names{}), Folders(all));
  // Ordered by album first: "Rock Album" before "Rock Live Album".
  EXPECT_EQ((Names{"Rock One", "Rock Encore", "Rock Live"}), Songs(all));
}

TEST_F(OneRoot, RecursiveIsOnOnlyForExactlyYes) {
  std::string rock = IdOf(Root(), "Rock");
  for (const char* value : {"YES", "Yes", "true", "1", "no", ""}) {
    CgiResult r = Folder(rock, std::string("&recursive=") + value);
    EXPECT_EQ((Names{"Live"}), Folders(r)) << value;
    EXPECT_EQ((Names{"Rock One"}), Songs(r)) << value;
  }
}

TEST_F(OneRoot, RecursiveWithoutAFolderIsRefused) {
  CgiResult r = Get(*session_, "action=folder_enum&recursive=yes");
  EXPECT_EQ(0u, r.json["items"].size());
  EXPECT_EQ(0u, r.json["total"].asUInt());
  EXPECT_FALSE(r.json.isMember("success"));
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate:884 can not recursive enum without folder id"));
}

TEST_F(OneRoot, SpecialNamesBrowseAsThemselvesAtTheRoot) {
  CgiResult root = Root();
  for (const Special& s : kSpecials) {
    std::string name = s.name;
    CgiResult own = Folder(IdOf(root, name));
    EXPECT_TRUE(Succeeded(own)) << name;
    EXPECT_EQ((Names{"Inner"}), Folders(own)) << name;
    EXPECT_EQ((Names{name + " own"}), Songs(own)) << name;
    CgiResult below = Folder(IdOf(root, name), "&recursive=yes");
    EXPECT_TRUE(Succeeded(below)) << name;
    EXPECT_EQ((Names{name + " inner", name + " own"}), Songs(below)) << name;
    CgiResult inner = Folder(IdOf(own, "Inner"));
    EXPECT_EQ((Names{name + " inner"}), Songs(inner)) << name;
    // The sibling sees only its own songs too.
    CgiResult sibling = Folder(IdOf(root, s.sibling), "&recursive=yes");
    EXPECT_EQ((Names{std::string(s.sibling) + " sib", std::string(s.sibling) + " sibinner"}),
              Songs(sibling))
        << s.sibling;
  }
}

TEST_F(OneRoot, SpecialNamesBrowseAsThemselvesOneLevelDown) {
  CgiResult nest = Folder(IdOf(Root(), "Nest"));
  EXPECT_EQ(8u, Folders(nest).size());
  for (const Special& s : kSpecials) {
    std::string name = s.name;
    CgiResult own = Folder(IdOf(nest, name));
    EXPECT_EQ((Names{"Inner"}), Folders(own)) << name;
    EXPECT_EQ((Names{name + " nested own"}), Songs(own)) << name;
    CgiResult below = Folder(IdOf(nest, name), "&recursive=yes");
    EXPECT_EQ((Names{name + " nested inner", name + " nested own"}), Songs(below)) << name;
  }
  // Nest itself, recursively: every nested song, none from the root level.
  CgiResult all = Folder(IdOf(Root(), "Nest"), "&recursive=yes");
  EXPECT_EQ(16u, Songs(all).size());
  for (const std::string& title : Songs(all))
    EXPECT_NE(std::string::npos, title.find(" nested ")) << title;
}

TEST_F(OneRoot, UnknownAndMalformedFolderIdsFailWithTheLogLine) {
  for (const char* id : {"999999", "abc", "12 OR 1=1", "-1", ""}) {
    CgiResult r = Folder(id);
    EXPECT_EQ(0u, r.json["items"].size()) << id;
    EXPECT_FALSE(r.json.isMember("success")) << id;
    EXPECT_TRUE(Logged(r.log, kErr, "enumerate:908 Get path by Id failed, Id: [" +
                                        std::string(id) + "]"))
        << id;
  }
  // A personal id that cannot be stripped: no answer items and no line.
  CgiResult bad = Folder("personal_x");
  EXPECT_FALSE(bad.json.isMember("success"));
  EXPECT_TRUE(bad.log.empty());
}

TEST_F(OneRoot, AFolderOfMissingFilesListsNoSongsButSucceeds) {
  std::string id = IdOf(Root(), "a_b");
  std::string file = instance_->music() + "/a_b/own.mp3";
  std::string moved = instance_->Path("own.mp3");
  ASSERT_EQ(0, rename(file.c_str(), moved.c_str()));
  CgiResult r = Folder(id);
  EXPECT_EQ((Names{"Inner"}), Folders(r));
  EXPECT_EQ((Names{}), Songs(r));
  EXPECT_TRUE(Succeeded(r));
  ASSERT_EQ(0, rename(moved.c_str(), file.c_str()));
}

// Three shared roots, and the personal libraries of two users.
class ThreeRoots : public FolderTest {
 protected:
  static void SetUpTestSuite() {
    instance_ = new LibraryInstance();
    MakeFolder(instance_->Path("second"));
    MakeFolder(instance_->Path("third%_"));
    EXPECT_EQ(0, instance_->Admin({"folder", "add", instance_->Path("second"), "--name",
                                   "Second Shelf"}).status);
    EXPECT_EQ(0, instance_->Admin({"folder", "add", instance_->Path("third%_")}).status);
    instance_->AddSongs({Tune("m.mp3", "Music Song", "A", "X"),
                         Tune("Sub/m2.mp3", "Music Sub Song", "A", "X")});
    instance_->AddSongs({Tune("s.mp3", "Second Song", "B", "X")}, instance_->Path("second"));
    instance_->AddSongs({Tune("t.mp3", "Third Song", "C", "X")}, instance_->Path("third%_"));
    alice_ = new std::string(instance_->AddUser("alice", true));
    bob_ = new std::string(instance_->AddUser("bob", true));
    carol_ = new std::string(instance_->AddUser("carol", false));
    instance_->AddSongs({Tune("home.mp3", "Alice Home Song", "H", "Alice"),
                         Tune("Mix/mix.flac", "Alice Mix Song", "H", "Alice"),
                         Tune("Mix/Deep/deep.ogg", "Alice Deep Song", "H", "Alice")},
                        instance_->PersonalFolder("alice"));
    instance_->AddSongs({Tune("Secret/bob.mp3", "Bob Secret Song", "S", "Bob")},
                        instance_->PersonalFolder("bob"));
    instance_->Index();
  }
  static void TearDownTestSuite() {
    delete alice_;
    delete bob_;
    delete carol_;
    delete instance_;
    instance_ = nullptr;
  }

  static std::string* alice_;
  static std::string* bob_;
  static std::string* carol_;
};

std::string* ThreeRoots::alice_ = nullptr;
std::string* ThreeRoots::bob_ = nullptr;
std::string* ThreeRoots::carol_ = nullptr;

TEST_F(ThreeRoots, RootLevelListsTheRootsByDisplayNameAndNoSongs) {
  CgiResult r = Get(*alice_, "action=folder_enum");
  EXPECT_EQ((Names{"Music", "Second Shelf", "third%_"}),
            [&] { Names n = Folders(r); std::sort(n.begin(), n.end()); return n; }());
  EXPECT_EQ((Names{}), Songs(r));
  EXPECT_TRUE(Succeeded(r));
  for (const Json::Value& item : r.json["items"])
    EXPECT_EQ(std::string::npos, item["id"].asString().find_first_not_of("0123456789"));
}

TEST_F(ThreeRoots, AllViewAddsTheHomeFolder) {
  CgiResult r = Get(*alice_, "action=folder_enum&library=all");
  Names folders = Folders(r);
  std::sort(folders.begin(), folders.end());
  EXPECT_EQ((Names{"Music", "Second Shelf", "alice (home)", "third%_"}), folders);
  EXPECT_EQ((Names{}), Songs(r));
  EXPECT_TRUE(Succeeded(r));
  EXPECT_EQ(0u, IdOf(r, "alice (home)").rfind("personal_", 0));
  EXPECT_EQ(std::string::npos, IdOf(r, "Music").find_first_not_of("0123456789"));
  // Bob sees his own home, never Alice's.
  Names bobs = Folders(Get(*bob_, "action=folder_enum&library=all"));
  std::sort(bobs.begin(), bobs.end());
  EXPECT_EQ((Names{"Music", "Second Shelf", "bob (home)", "third%_"}), bobs);
  // Without a personal library the "all" view is the shared roots.
  Names carols = Folders(Get(*carol_, "action=folder_enum&library=all"));
  std::sort(carols.begin(), carols.end());
  EXPECT_EQ((Names{"Music", "Second Shelf", "third%_"}), carols);
}

TEST_F(ThreeRoots, ARootWithAPatternNameListsItsOwnSongs) {
  CgiResult root = Get(*alice_, "action=folder_enum");
  CgiResult third = Get(*alice_, "action=folder_enum&folder=" + IdOf(root, "third%_"));
  EXPECT_EQ((Names{"Third Song"}), Songs(third));
  CgiResult music = Get(*alice_, "action=folder_enum&folder=" + IdOf(root, "Music"));
  EXPECT_EQ((Names{"Sub"}), Folders(music));
  EXPECT_EQ((Names{"Music Song"}), Songs(music));
}

TEST_F(ThreeRoots, PersonalViewIsTheHomeFolderWithPrefixedIds) {
  CgiResult r = Get(*alice_, "action=folder_enum&library=personal");
  EXPECT_TRUE(Succeeded(r));
  EXPECT_EQ((Names{"Mix"}), Folders(r));
  EXPECT_EQ((Names{"Alice Home Song"}), Songs(r));
  for (const Json::Value& item : r.json["items"])
    EXPECT_EQ(0u, item["id"].asString().rfind("personal_", 0)) << item["id"].asString();

  CgiResult mix = Get(*alice_, "action=folder_enum&library=personal&folder=" + IdOf(r, "Mix"));
  EXPECT_TRUE(Succeeded(mix));
  EXPECT_EQ((Names{"Deep"}), Folders(mix));
  EXPECT_EQ((Names{"Alice Mix Song"}), Songs(mix));
  for (const Json::Value& item : mix.json["items"])
    EXPECT_EQ(0u, item["id"].asString().rfind("personal_", 0)) << item["id"].asString();

  CgiResult deep = Get(*alice_, "action=folder_enum&library=personal&recursive=yes&folder=" +
                                    IdOf(r, "Mix"));
  EXPECT_EQ((Names{"Alice Deep Song", "Alice Mix Song"}),
            [&] { Names n = Songs(deep); std::sort(n.begin(), n.end()); return n; }());
}

TEST_F(ThreeRoots, TheHomeFolderOfTheAllViewBrowses) {
  CgiResult all = Get(*alice_, "action=folder_enum&library=all");
  CgiResult home =
      Get(*alice_, "action=folder_enum&library=all&folder=" + IdOf(all, "alice (home)"));
  EXPECT_TRUE(Succeeded(home));
  EXPECT_EQ((Names{"Mix"}), Folders(home));
  EXPECT_EQ((Names{"Alice Home Song"}), Songs(home));
  EXPECT_EQ(0u, IdOf(home, "Mix").rfind("personal_", 0));
}

TEST_F(ThreeRoots, DisabledPersonalLibrarySucceedsEmpty) {
  CgiResult r = Get(*carol_, "action=folder_enum&library=personal");
  EXPECT_TRUE(Succeeded(r));
  EXPECT_EQ(0u, r.json["items"].size());
  EXPECT_TRUE(r.log.empty());
}

TEST_F(ThreeRoots, AnotherUsersPersonalFolderIdAnswersNothingOfTheirs) {
  CgiResult bobs = Get(*bob_, "action=folder_enum&library=personal");
  std::string secret = IdOf(bobs, "Secret");
  ASSERT_EQ(0u, secret.rfind("personal_", 0));
  for (const char* library : {"personal", "all", "shared"}) {
    for (const char* recursive : {"no", "yes"}) {
      CgiResult r = Get(*alice_, std::string("action=folder_enum&library=") + library +
                                     "&recursive=" + recursive + "&folder=" + secret);
      EXPECT_EQ(0u, r.json["items"].size()) << library;
      EXPECT_FALSE(r.json.isMember("success")) << library;
      EXPECT_TRUE(Logged(r.log, kErr, "enumerate:903 Get path by Id failed, Id: [" +
                                           secret.substr(9) + "]"))
          << library;
    }
  }
  // The bare id names no shared folder either.
  CgiResult bare = Get(*alice_, "action=folder_enum&folder=" + secret.substr(9));
  EXPECT_EQ(0u, bare.json["items"].size());
  EXPECT_TRUE(Logged(bare.log, kErr,
                     "enumerate:908 Get path by Id failed, Id: [" + secret.substr(9) + "]"));
}

// One shared root and Alice's enabled personal library: "all" is several
// roots, anything else the one root.
TEST(OneRootAndHome, AllWithAnEnabledHomeListsTwoRoots) {
  LibraryInstance instance;
  instance.AddSongs({Tune("Sub/a.mp3", "Shared Sub", "A", "X"), Tune("b.mp3", "Shared Top", "A", "X")});
  std::string alice = instance.AddUser("alice", true);
  instance.AddSongs({Tune("h.mp3", "Home Song", "H", "A")}, instance.PersonalFolder("alice"));
  instance.Index();
  CgiResult shared = harness::Enumerate(instance, alice, "action=folder_enum");
  Names shared_items = Column(shared.json, "title");
  EXPECT_EQ((Names{"Sub", "Shared Top"}), shared_items);
  CgiResult all = harness::Enumerate(instance, alice, "action=folder_enum&library=all");
  Names all_items = Column(all.json, "title");
  std::sort(all_items.begin(), all_items.end());
  EXPECT_EQ((Names{"Music", "alice (home)"}), all_items);
  EXPECT_TRUE(all.json["success"].asBool());
}

TEST(NoRoots, RootLevelWithoutIndexedFoldersFails) {
  LibraryInstance instance;
  std::string alice = instance.AddUser("alice");
  ASSERT_EQ(0, instance.Admin({"folder", "del", instance.music()}).status);
  CgiResult r = harness::Enumerate(instance, alice, "action=folder_enum");
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ(0u, r.json["items"].size());
  EXPECT_FALSE(r.json.isMember("success"));
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate:964 get indexed music folder map error."));
}

// Folders that appear and vanish between indexing runs.
TEST(FolderRecords, IndexingKeepsThemCurrent) {
  LibraryInstance instance;
  std::string alice = instance.AddUser("alice");
  instance.AddSongs({Tune("Old/a.mp3", "Old Song", "A", "X")});
  instance.Index();
  auto folders = [&] {
    CgiResult r = harness::Enumerate(instance, alice, "action=folder_enum");
    return Column(r.json, "title");
  };
  EXPECT_EQ((Names{"Old"}), folders());
  instance.AddSongs({Tune("New/Deeper/b.mp3", "New Song", "B", "X")});
  ASSERT_EQ(0, rename((instance.music() + "/Old/a.mp3").c_str(), instance.Path("a.mp3").c_str()));
  instance.Index();
  EXPECT_EQ((Names{"New"}), folders());
}

}  // namespace

namespace {

TEST(FolderTitles, AFolderNameThatIsNotUtf8IsLeftOutAndLogged) {
  LibraryInstance instance;
  std::string alice = instance.AddUser("alice");
  instance.AddSongs({Tune("Good/a.mp3", "Good Song", "A", "X"),
                     Tune("Bad\xFF\xFE/b.mp3", "Bad Song", "B", "X")});
  instance.Index();
  CgiResult r = harness::Enumerate(instance, alice, "action=folder_enum");
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ((Names{"Good"}), Column(r.json, "title"));
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_TRUE(Logged(r.log, kErr, "folder title Bad\xFF\xFE is not valid utf8"));
}

// Installed without the setuid bit the gateway cannot test the songs' files:
// the folders gathered so far are answered, without "success".
TEST(FolderPrivilege, WithoutRootTheSongsAreNotListed) {
  harness::Instance instance("nobody");
  std::string alice = instance.AddUser("alice");
  std::string music = instance.Path("music");
  ASSERT_EQ(0, mkdir(music.c_str(), 0755));
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(music, Tune("top.mp3", "Top", "A", "X"), &error)) << error;
  ASSERT_TRUE(fixture::MakeSong(music, Tune("Sub/s.mp3", "Sub", "A", "X"), &error)) << error;
  ASSERT_EQ(0, instance.Admin({"folder", "add", music}).status);
  ASSERT_EQ(0, instance.Admin({"index"}).status);
  std::string dir = instance.Path("cgi-plain");
  ASSERT_EQ(0, mkdir(dir.c_str(), 0755));
  std::string cgi = dir + "/enumerate.cgi";
  harness::Run({"/bin/cp", harness::Bin("enumerate.cgi"), cgi});
  ASSERT_EQ(0, chmod(cgi.c_str(), 0755));
  CgiResult r = RunAsWebUser(instance, cgi, alice, "action=folder_enum");
  ASSERT_TRUE(r.has_json) << r.out;
  EXPECT_EQ((Names{"Sub"}), Column(r.json, "title"));
  EXPECT_EQ(1u, r.json["total"].asUInt());
  EXPECT_FALSE(r.json.isMember("success"));
  EXPECT_TRUE(Logged(r.log, LOG_AUTH | LOG_ERR, "enumerate:1059 ERROR: IF_RUN_AS(0, 0)"));
  EXPECT_TRUE(Logged(r.log, kErr, "enumerate:1065 Failed to run as root."));
}

}  // namespace
