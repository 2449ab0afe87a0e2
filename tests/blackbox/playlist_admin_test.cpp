// cantora-admin playlist: administrators' view of the playlist stores, and
// the UI texts that init installs.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "tests/support/blackbox.h"
#include "tests/support/admin_errors.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;
using harness::ExpectOneLineError;

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

TEST(PlaylistAdmin, InitInstallsTheShippedTexts) {
  harness::Instance instance;
  for (const char* language : {"en", "de", "fr", "es", "ja", "zh-Hans"}) {
    std::string text = ReadFile(instance.Path(
        std::string("var/packages/Cantora/target/app/texts/") + language + "/strings"));
    EXPECT_NE(text.find("[common]"), std::string::npos) << language;
    EXPECT_NE(text.find("random_playlist = \""), std::string::npos) << language;
  }
}

TEST(PlaylistAdmin, HelpAndOneLineErrors) {
  LibraryInstance instance;
  CommandResult help = instance.Admin({"playlist", "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("usage: cantora-admin playlist"), std::string::npos);
  for (std::vector<std::string> args : {std::vector<std::string>{"playlist"},
                                        {"playlist", "frob"},
                                        {"playlist", "show"},
                                        {"playlist", "show", "12345"},
                                        {"playlist", "show", "abc"},
                                        {"playlist", "del", "-1"},
                                        {"playlist", "import", "/nonexistent.m3u"},
                                        {"playlist", "import", "/etc/passwd"},
                                        {"playlist", "list", "--user", "nobody-here"},
                                        {"playlist", "show", "--user"},
                                        {"playlist", "list", "--bogus"},
                                        {"playlist", "show", "1", "--name", "x"}})
    ExpectOneLineError(instance.Admin(args));
}

TEST(PlaylistAdmin, ImportListShowDeleteShared) {
  LibraryInstance instance;
  instance.AddSongs({Tune("a.mp3", "Alpha", "Al", "Ar"), Tune("b.mp3", "Beta", "Al", "Ar")});
  instance.Index();
  std::string source = instance.Path("incoming.m3u");
  std::ofstream(source) << "#EXTM3U\n#EXTINF:10,Ar - Alpha\nmusic/a.mp3\nmusic\\b.mp3\n";
  CommandResult imported = instance.Admin({"playlist", "import", source, "--name", "Party"});
  ASSERT_EQ(imported.status, 0) << imported.err;
  EXPECT_EQ(imported.out, instance.Path("data/playlists/Party.m3u8") + "\n");
  ExpectOneLineError(instance.Admin({"playlist", "import", source, "--name", "party"}));

  CommandResult list = instance.Admin({"playlist", "list"});
  ASSERT_EQ(list.status, 0);
  size_t tab = list.out.find('\t');
  ASSERT_NE(tab, std::string::npos) << list.out;
  std::string id = list.out.substr(0, tab);
  EXPECT_EQ(list.out, id + "\tParty\t" + instance.Path("data/playlists/Party.m3u8") + "\n");

  CommandResult show = instance.Admin({"playlist", "show", id});
  EXPECT_EQ(show.out, instance.music() + "/a.mp3\tAlpha\n" + instance.music() + "/b.mp3\n");

  // The gateway sees it too.
  std::string session = instance.AddUser("alice");
  harness::CgiResult r =
      harness::Enumerate(instance, session, "action=playlist_song_enum&pls_id=" + id);
  EXPECT_EQ(harness::Column(r.json, "title"), (std::vector<std::string>{"Alpha", "Beta"}));

  EXPECT_EQ(instance.Admin({"playlist", "del", id}).status, 0);
  EXPECT_EQ(instance.Admin({"playlist", "list"}).out, "");
  struct stat st;
  EXPECT_NE(stat(instance.Path("data/playlists/Party.m3u8").c_str(), &st), 0);
}

TEST(PlaylistAdmin, UsersOwnPlaylists) {
  LibraryInstance instance;
  instance.AddUser("carol");
  std::string source = instance.Path("mine.m3u8");
  std::ofstream(source) << "/x/one.mp3\n";
  ASSERT_EQ(instance.Admin({"playlist", "import", source, "--user", "carol"}).status, 0);
  EXPECT_EQ(instance.Admin({"playlist", "list", "--user", "carol"}).out,
            "0\tmine\t" + instance.Path("preferences/carol/playlists/mine.m3u") + "\n");
  EXPECT_EQ(instance.Admin({"playlist", "show", "--user", "carol", "mine"}).out, "/x/one.mp3\n");
  ExpectOneLineError(
      instance.Admin({"playlist", "show", "--user", "carol", "../carol/playlists/mine"}));
  EXPECT_EQ(instance.Admin({"playlist", "list"}).out, "");  // not shared
  EXPECT_EQ(instance.Admin({"playlist", "del", "--user", "carol", "mine"}).status, 0);
  EXPECT_EQ(instance.Admin({"playlist", "list", "--user", "carol"}).out, "");
}

}  // namespace
