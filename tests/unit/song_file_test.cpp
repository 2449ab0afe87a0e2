// The existence test of song files stays inside the libraries.
#include "platform/index/song_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/temp_folder.h"

namespace {

class SongFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(dir.path().empty());
    library = dir.Path("library");
    outside = dir.Path("outside");
    mkdir(library.c_str(), 0755);
    mkdir((library + "/album").c_str(), 0755);
    mkdir(outside.c_str(), 0755);
    Touch(library + "/album/song.mp3");
    Touch(outside + "/secret.mp3");
    files = std::make_unique<cantora::SongFiles>(
        cantora::LibraryRoots{{library}, {{7, dir.Path("home/bob/music")}}});
  }

  static void Touch(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr) << path;
    std::fclose(f);
  }

  bool Exists(const std::string& path, int library = 0) {
    MediaInfo info{};
    info.path = path.c_str();
    info.library = library;
    return Exists(info);
  }
  // As a list tests a song: located, then tested whatever the location said.
  bool Exists(const MediaInfo& info) {
    bool located = files->Locate(info);
    return files->LocatedExists() && located;
  }

  // In album, beside song.mp3: one entry of every kind a song's path may
  // name (a second file, links in, out and nowhere, a folder, a FIFO),
  // and in the library a folder that links out ("door"). kEveryKind says
  // which of them, and which names that are not there, are songs.
  void MakeEntriesOfEveryKind() {
    const std::string album = library + "/album";
    Touch(album + "/b.mp3");
    ASSERT_EQ(symlink("song.mp3", (album + "/again.mp3").c_str()), 0);
    ASSERT_EQ(symlink((outside + "/secret.mp3").c_str(), (album + "/out.mp3").c_str()), 0);
    ASSERT_EQ(symlink("../../outside/secret.mp3", (album + "/up.mp3").c_str()), 0);
    ASSERT_EQ(symlink("missing.mp3", (album + "/dangling.mp3").c_str()), 0);
    ASSERT_EQ(mkdir((album + "/disc 2").c_str(), 0755), 0);
    ASSERT_EQ(mkfifo((album + "/pipe.mp3").c_str(), 0600), 0);
    ASSERT_EQ(symlink(outside.c_str(), (library + "/door").c_str()), 0);
  }
  static constexpr std::pair<const char*, bool> kEveryKind[] = {
      {"song.mp3", true}, {"b.mp3", true},         {"gone.mp3", false},  {"again.mp3", true},
      {"out.mp3", false}, {"up.mp3", false},       {"dangling.mp3", false}, {"disc 2", false},
      {"pipe.mp3", false}, {"SONG.mp3", false},
  };

  struct Song {
    std::string path;
    int library = 0;
  };
  // The songs' records, each linked to the next as a list's are (unless
  // not linked). They point into songs, which must outlive them.
  static std::vector<MediaInfo> Records(const std::vector<Song>& songs, bool linked = true) {
    std::vector<MediaInfo> list(songs.size());
    for (size_t i = 0; i < songs.size(); ++i) {
      list[i].path = songs[i].path.c_str();
      list[i].library = songs[i].library;
      list[i].next = linked && i + 1 < songs.size() ? &list[i + 1] : nullptr;
    }
    return list;
  }
  // Tests the songs in order as a list does.
  std::vector<bool> ExistInList(const std::vector<Song>& songs) {
    std::vector<bool> exist;
    for (const MediaInfo& info : Records(songs)) exist.push_back(Exists(info));
    return exist;
  }

  TempFolder dir;
  std::unique_ptr<cantora::SongFiles> files;
  std::string library, outside;
};

TEST_F(SongFileTest, FilesInsideTheLibraryExist) {
  EXPECT_TRUE(Exists(library + "/album/song.mp3"));
  EXPECT_FALSE(Exists(library + "/album/gone.mp3"));
  EXPECT_FALSE(Exists(library + "/album"));  // a folder is no song
}

TEST_F(SongFileTest, PathsOutsideEveryLibraryDoNotExist) {
  EXPECT_FALSE(Exists(outside + "/secret.mp3"));
  EXPECT_FALSE(Exists(library + "/../outside/secret.mp3"));
  EXPECT_FALSE(Exists(library + "/album/../../outside/secret.mp3"));
  EXPECT_FALSE(Exists(library + "//album/song.mp3"));
  EXPECT_FALSE(Exists(library));
  EXPECT_FALSE(Exists(library + "-other/album/song.mp3"));
}

TEST_F(SongFileTest, LinksOutOfTheLibraryAreNotFollowed) {
  ASSERT_EQ(symlink((outside + "/secret.mp3").c_str(), (library + "/album/link.mp3").c_str()), 0);
  ASSERT_EQ(symlink(outside.c_str(), (library + "/linked").c_str()), 0);
  ASSERT_EQ(symlink("../../outside/secret.mp3", (library + "/album/up.mp3").c_str()), 0);
  EXPECT_FALSE(Exists(library + "/album/link.mp3"));
  EXPECT_FALSE(Exists(library + "/linked/secret.mp3"));
  EXPECT_FALSE(Exists(library + "/album/up.mp3"));
}

// The lookup runs as root: a link whose text passes through a folder
// outside the library (one only root may enter, say) and comes back in must
// not tell whether that folder exists.
TEST_F(SongFileTest, ALinkWhoseTextLeavesTheLibraryIsNoSongWhateverExistsOnTheWay) {
  mkdir((outside + "/private").c_str(), 0700);
  const std::string back = "/../../library/album/song.mp3";
  for (const std::string& folder : {outside + "/private", outside + "/absent"}) {
    std::string name = folder.substr(folder.rfind('/') + 1);
    ASSERT_EQ(symlink((folder + back).c_str(), (library + "/album/abs-" + name + ".mp3").c_str()), 0);
    ASSERT_EQ(symlink(("../../outside/" + name + back).c_str(),
                      (library + "/album/rel-" + name + ".mp3").c_str()), 0);
    EXPECT_FALSE(Exists(library + "/album/abs-" + name + ".mp3")) << folder;
    EXPECT_FALSE(Exists(library + "/album/rel-" + name + ".mp3")) << folder;
  }
  // A link out through a folder of the library that links out.
  ASSERT_EQ(symlink(outside.c_str(), (library + "/door").c_str()), 0);
  ASSERT_EQ(symlink("../door/secret.mp3", (library + "/album/through.mp3").c_str()), 0);
  EXPECT_FALSE(Exists(library + "/album/through.mp3"));
}

TEST_F(SongFileTest, LinksInsideTheLibraryAreFollowed) {
  ASSERT_EQ(symlink("song.mp3", (library + "/album/again.mp3").c_str()), 0);
  ASSERT_EQ(symlink("missing.mp3", (library + "/album/dangling.mp3").c_str()), 0);
  ASSERT_EQ(symlink((library + "/album/song.mp3").c_str(), (library + "/album/abs.mp3").c_str()), 0);
  ASSERT_EQ(symlink("album/./../album/song.mp3", (library + "/top.mp3").c_str()), 0);
  EXPECT_TRUE(Exists(library + "/album/again.mp3"));
  EXPECT_TRUE(Exists(library + "/album/abs.mp3"));
  EXPECT_TRUE(Exists(library + "/top.mp3"));
  EXPECT_FALSE(Exists(library + "/album/dangling.mp3"));
}

// A list tests many songs of one folder in a row, and from the third on the
// answer comes from the folder's entries read once: every kind of entry must
// be judged as a stat of it would be, and confinement holds the same way.
TEST_F(SongFileTest, ManySongsOfOneFolderAreJudgedAsOne) {
  const std::string album = library + "/album";
  MakeEntriesOfEveryKind();
  for (int round = 0; round < 2; ++round) {
    for (const auto& [name, exists] : kEveryKind)
      EXPECT_EQ(Exists(album + "/" + name), exists) << name << " round " << round;
  }
  // Interleaved with another folder: each return starts the count again.
  for (const auto& [name, exists] : kEveryKind) {
    EXPECT_FALSE(Exists(outside + "/secret.mp3"));
    EXPECT_EQ(Exists(album + "/" + name), exists) << name;
  }
}

// A search's hits lie in a folder each, nearly: the one song of a folder
// is looked up by its whole path. Every kind of entry, and every way out,
// must be judged as in a run of songs of one folder.
TEST_F(SongFileTest, TheOneSongOfAFolderIsJudgedAsInARun) {
  const std::string album = library + "/album";
  const std::string other = library + "/other";
  ASSERT_EQ(mkdir(other.c_str(), 0755), 0);
  Touch(other + "/x.mp3");
  MakeEntriesOfEveryKind();
  ASSERT_EQ(symlink("album", (library + "/alias").c_str()), 0);
  ASSERT_EQ(symlink("../album/song.mp3", (other + "/back.mp3").c_str()), 0);
  Touch(library + "/top.mp3");
  std::vector<std::pair<std::string, bool>> songs;
  for (const auto& [name, exists] : kEveryKind) songs.emplace_back(album + "/" + name, exists);
  songs.insert(songs.end(), {{library + "/door/secret.mp3", false},
                             {library + "/alias/song.mp3", true},
                             {library + "/absent/song.mp3", false},
                             {other + "/back.mp3", true},
                             {library + "/top.mp3", true}});
  // A song of another folder than path's, which exists.
  auto elsewhere = [&](const std::string& path) {
    return library + (path.rfind(other, 0) == 0 ? "/top.mp3" : "/other/x.mp3");
  };
  // Each song the first of its folder: another folder's song between.
  for (const auto& [path, exists] : songs) {
    EXPECT_EQ(Exists(path), exists) << path;
    EXPECT_TRUE(Exists(elsewhere(path)));
  }
  // And the same songs with a second one of the folder after each.
  for (const auto& [path, exists] : songs) {
    EXPECT_EQ(Exists(path), exists) << path << " first";
    EXPECT_EQ(Exists(path), exists) << path << " second";
    EXPECT_TRUE(Exists(elsewhere(path)));
  }
}

// A list shows which songs follow: a run of songs of one folder is judged
// from the folder's entries from its first song on, two songs of a folder
// by a stat each, one alone by its whole path. Every kind of entry, every
// way out, and runs cut by another folder or another library, must be
// judged as one song at a time would be.
TEST_F(SongFileTest, SongsOfAListAreJudgedAsOneAtATime) {
  const std::string album = library + "/album";
  const std::string other = library + "/other";
  const std::string music = dir.Path("home/bob/music");
  for (const std::string& d : {other, dir.Path("home"), dir.Path("home/bob"), music})
    ASSERT_EQ(mkdir(d.c_str(), 0755), 0);
  ASSERT_EQ(mkdir((music + "/album").c_str(), 0755), 0);
  Touch(music + "/album/mine.mp3");
  Touch(other + "/x.mp3");
  MakeEntriesOfEveryKind();
  // Each name at each place of runs of one, two and three of its folder,
  // cut by another folder's song, a song of the same folder in another
  // library, a folder that links out, and the end of the list.
  const Song cuts[] = {{other + "/x.mp3"},
                       {album + "/song.mp3", 7},
                       {library + "/door/secret.mp3"},
                       {music + "/album/mine.mp3", 7}};
  const bool cut_exists[] = {true, false, false, true};
  for (int run = 1; run <= 3; ++run) {
    for (const auto& [name, exists] : kEveryKind) {
      for (size_t cut = 0; cut < std::size(cuts); ++cut) {
        std::vector<Song> list;
        std::vector<bool> expected;
        for (int i = 0; i < run; ++i) {
          // The name tested at every place of the run, the first song's
          // neighbours in the run being songs that exist.
          list.push_back({album + "/" + (i == run - 1 ? name : "b.mp3")});
          expected.push_back(i == run - 1 ? exists : true);
        }
        list.push_back(cuts[cut]);
        expected.push_back(cut_exists[cut]);
        list.push_back({album + "/" + name});
        expected.push_back(exists);
        EXPECT_EQ(ExistInList(list), expected) << name << " run " << run << " cut " << cut;
      }
    }
  }
  // A whole folder's names in one list, twice: one run.
  std::vector<Song> list;
  std::vector<bool> expected;
  for (int round = 0; round < 2; ++round) {
    for (const auto& [name, exists] : kEveryKind) {
      list.push_back({album + "/" + name});
      expected.push_back(exists);
    }
  }
  EXPECT_EQ(ExistInList(list), expected);
  // Runs in a folder that is a link inside the library, and in one that
  // links out.
  ASSERT_EQ(symlink("album", (library + "/alias").c_str()), 0);
  EXPECT_EQ(ExistInList({{library + "/alias/song.mp3"},
                         {library + "/alias/b.mp3"},
                         {library + "/alias/gone.mp3"},
                         {library + "/alias/again.mp3"}}),
            std::vector<bool>({true, true, false, true}));
  Touch(outside + "/other.mp3");
  EXPECT_EQ(ExistInList({{library + "/door/secret.mp3"},
                         {library + "/door/other.mp3"},
                         {library + "/door/secret.mp3"}}),
            std::vector<bool>({false, false, false}));
}

// What decides the way is the list: three songs of a folder in a row are
// judged from one reading of its entries, made at the first of them, so a
// file that appears meanwhile is not seen in that run, as in any listing.
// Tested one by one, unlinked, the folder is read at the third song.
TEST_F(SongFileTest, ARunThatTheListShowsIsReadAtItsFirstSong) {
  const std::string album = library + "/album";
  Touch(album + "/1.mp3");
  Touch(album + "/2.mp3");
  const std::vector<Song> songs = {{album + "/1.mp3"}, {album + "/2.mp3"}, {album + "/3.mp3"}};
  auto third_seen = [&](bool linked) {
    const std::vector<MediaInfo> list = Records(songs, linked);
    files = std::make_unique<cantora::SongFiles>(cantora::LibraryRoots{{library}, {}});
    unlink(songs[2].path.c_str());
    EXPECT_TRUE(Exists(list[0]));
    Touch(songs[2].path);
    EXPECT_TRUE(Exists(list[1]));
    return Exists(list[2]);
  };
  EXPECT_FALSE(third_seen(true));
  EXPECT_TRUE(third_seen(false));
}

// A folder's entries are read when its songs are tested, not before: a file
// removed or added between two lists is seen by the next one.
TEST_F(SongFileTest, ANewListSeesTheFolderAsItIsNow) {
  const std::string album = library + "/album";
  for (int i = 0; i < 5; ++i) Touch(album + "/" + std::to_string(i) + ".mp3");
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(Exists(album + "/" + std::to_string(i) + ".mp3"));
  ASSERT_EQ(unlink((album + "/3.mp3").c_str()), 0);
  files = std::make_unique<cantora::SongFiles>(cantora::LibraryRoots{{library}, {}});
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Exists(album + "/" + std::to_string(i) + ".mp3"), i != 3) << i;
}

// Folders are held open for reading, to list them; one whose caller may
// search it but not read it is still looked into, a song at a time. (The
// gateway looks as root, who reads every folder; a caller without that
// right sees what a stat of each name shows.)
TEST_F(SongFileTest, AFolderThatCannotBeReadIsSearchedNameByName) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to take another user's ids";
  const std::string album = library + "/album";
  for (int i = 0; i < 4; ++i) Touch(album + "/" + std::to_string(i) + ".mp3");
  for (const std::string& d : {dir.path(), library}) ASSERT_EQ(chmod(d.c_str(), 0711), 0);
  ASSERT_EQ(chmod(album.c_str(), 0711), 0);  // searched, not read
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    int wrong = 0;
    if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0) _exit(2);
    for (int round = 0; round < 2; ++round) {
      for (int i = 0; i < 4; ++i)
        if (!Exists(album + "/" + std::to_string(i) + ".mp3")) ++wrong;
      if (Exists(album + "/gone.mp3")) ++wrong;
    }
    _exit(wrong == 0 ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST_F(SongFileTest, PersonalSongsLieInTheirOwnersFolder) {
  std::string music = dir.Path("home/bob/music");
  for (const std::string& d : {dir.Path("home"), dir.Path("home/bob"), music})
    mkdir(d.c_str(), 0755);
  Touch(music + "/mine.mp3");
  EXPECT_TRUE(Exists(music + "/mine.mp3", 7));
  EXPECT_FALSE(Exists(music + "/mine.mp3", 0));       // not a shared song
  EXPECT_FALSE(Exists(library + "/album/song.mp3", 7));  // not bob's
  EXPECT_FALSE(Exists(music + "/mine.mp3", 8));       // nobody's library
}

TEST_F(SongFileTest, APersonalFolderThatIsALinkIsNotFollowed) {
  for (const std::string& d : {dir.Path("home"), dir.Path("home/bob")}) mkdir(d.c_str(), 0755);
  ASSERT_EQ(symlink(outside.c_str(), dir.Path("home/bob/music").c_str()), 0);
  EXPECT_FALSE(Exists(dir.Path("home/bob/music/secret.mp3"), 7));
}

}  // namespace
