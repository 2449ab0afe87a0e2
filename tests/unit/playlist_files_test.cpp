#include "platform/playlist/playlist_files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "platform/config/config.h"
#include "tests/unit/temp_folder.h"

namespace {

std::string Read(const std::string& path) {
  std::ifstream in(path);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

const cantora::PlaylistWriter kAdmin = cantora::PlaylistWriter::Administrator();

class PlaylistFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* d :
         {"tmp", "shared", "prefs", "prefs/alice", "prefs/alice/playlists", "other"})
      mkdir(dir_.Path(d).c_str(), 0755);
    cantora::Config config;
    config.root = dir_.path();
    config.shared_playlists = dir_.Path("shared");
    config.preferences = dir_.Path("prefs");
    cantora::SetConfig(config);
  }
  void TearDown() override { cantora::SetConfig(cantora::Config()); }

  TempFolder dir_;
};

TEST_F(PlaylistFilesTest, WritesIntoTheStoresOnly) {
  EXPECT_TRUE(cantora::WritePlaylistFile(dir_.Path("shared/a.m3u8").c_str(), "x\n", true, kAdmin));
  EXPECT_EQ(Read(dir_.Path("shared/a.m3u8")), "x\n");
  EXPECT_TRUE(cantora::WritePlaylistFile(dir_.Path("prefs/alice/playlists/b.m3u").c_str(), "y\n",
                                         true, kAdmin));
  EXPECT_TRUE(cantora::WritePlaylistFile(dir_.Path("tmp/alice==DynaRandom100==.m3u").c_str(), "z\n",
                                         false, kAdmin));
  for (const std::string& path :
       {dir_.Path("other/c.m3u"), dir_.Path("tmp/other.m3u"), dir_.Path("tmp/../other/d.m3u"),
        dir_.Path("tmp/../x==DynaRandom100==.m3u"), dir_.Path("shared/e.txt"),
        dir_.Path("shared/.hidden.m3u"), dir_.Path("prefs/alice/f.m3u"),
        dir_.Path("prefs/../other/playlists/g.m3u"), dir_.Path("tmp/a b==DynaRandom100==.m3u"),
        std::string("relative.m3u")})
    EXPECT_FALSE(cantora::WritePlaylistFile(path.c_str(), "no\n", false, kAdmin)) << path;
  EXPECT_FALSE(cantora::WritePlaylistFile(nullptr, "no\n", false, kAdmin));
  struct stat st;
  EXPECT_NE(stat(dir_.Path("other/c.m3u").c_str(), &st), 0);
}

TEST_F(PlaylistFilesTest, ALinkUnderTheNameIsReplacedNotFollowed) {
  std::ofstream(dir_.Path("other/victim")) << "keep";
  const std::string target = dir_.Path("tmp/alice==DynaRandom100==.m3u");
  ASSERT_EQ(symlink(dir_.Path("other/victim").c_str(), target.c_str()), 0);
  EXPECT_TRUE(cantora::WritePlaylistFile(target.c_str(), "new\n", false, kAdmin));
  EXPECT_EQ(Read(dir_.Path("other/victim")), "keep");
  struct stat st;
  ASSERT_EQ(lstat(target.c_str(), &st), 0);
  EXPECT_TRUE(S_ISREG(st.st_mode));
  EXPECT_EQ(Read(target), "new\n");
}

TEST_F(PlaylistFilesTest, AFolderLinkedOutOfTheStoreIsRefused) {
  ASSERT_EQ(symlink(dir_.Path("other").c_str(), dir_.Path("shared/out").c_str()), 0);
  EXPECT_FALSE(
      cantora::WritePlaylistFile(dir_.Path("shared/out/h.m3u").c_str(), "no\n", false, kAdmin));
  struct stat st;
  EXPECT_NE(stat(dir_.Path("other/h.m3u").c_str(), &st), 0);
}

TEST_F(PlaylistFilesTest, RemovesOnlyRandomPlaylists) {
  std::ofstream(dir_.Path("tmp/alice==DynaRandom100==.m3u")) << "r";
  std::ofstream(dir_.Path("tmp/keep.txt")) << "k";
  std::ofstream(dir_.Path("other/x==DynaRandom100==.m3u")) << "o";
  cantora::RemoveRandomPlaylistFile(dir_.Path("tmp/keep.txt").c_str(), kAdmin);
  cantora::RemoveRandomPlaylistFile(dir_.Path("tmp/../other/x==DynaRandom100==.m3u").c_str(),
                                    kAdmin);
  cantora::RemoveRandomPlaylistFile(dir_.Path("tmp/alice==DynaRandom100==.m3u").c_str(), kAdmin);
  struct stat st;
  EXPECT_EQ(stat(dir_.Path("tmp/keep.txt").c_str(), &st), 0);
  EXPECT_EQ(stat(dir_.Path("other/x==DynaRandom100==.m3u").c_str(), &st), 0);
  EXPECT_NE(stat(dir_.Path("tmp/alice==DynaRandom100==.m3u").c_str(), &st), 0);
}

TEST_F(PlaylistFilesTest, AUserFillsAndRemovesOnlyTheirOwnRandomPlaylist) {
  const std::string alices = dir_.Path("tmp/alice==DynaRandom100==.m3u");
  const cantora::PlaylistWriter bob = cantora::PlaylistWriter::User("bob");
  EXPECT_FALSE(cantora::WritePlaylistFile(alices.c_str(), "bob's\n", false, bob));
  EXPECT_FALSE(cantora::WritePlaylistFile(alices.c_str(), "nobody's\n", false,
                                          cantora::PlaylistWriter::User("")));
  struct stat st;
  EXPECT_NE(stat(alices.c_str(), &st), 0);
  EXPECT_TRUE(cantora::WritePlaylistFile(alices.c_str(), "alice's\n", false,
                                         cantora::PlaylistWriter::User("alice")));
  cantora::RemoveRandomPlaylistFile(alices.c_str(), bob);
  EXPECT_EQ(Read(alices), "alice's\n");
  cantora::RemoveRandomPlaylistFile(alices.c_str(), cantora::PlaylistWriter::User("alice"));
  EXPECT_NE(stat(alices.c_str(), &st), 0);
}

}  // namespace
