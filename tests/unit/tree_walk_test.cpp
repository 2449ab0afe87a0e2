#include "platform/indexer/tree_walk.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/unit/temp_folder.h"

namespace {

using cantora::LibraryTree;
using cantora::WalkLibrary;
using cantora::WalkResult;

void MakeFolder(const std::string& path) { ASSERT_EQ(0, mkdir(path.c_str(), 0755)) << path; }

void MakeFile(const std::string& path) {
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
  ASSERT_GE(fd, 0) << path;
  close(fd);
}

// The walk as lines, in its order: each folder with its parent's path, each
// file and side file with its folder's path.
struct Listing {
  std::vector<std::string> folders, files, lyrics, playlists;
};

template <typename T>
std::vector<std::string> Named(const LibraryTree& tree, const std::vector<T>& found) {
  std::vector<std::string> out;
  for (const T& f : found) out.push_back(tree.folders[f.folder].path + " | " + f.name);
  return out;
}

Listing ListingOf(const LibraryTree& tree) {
  Listing l;
  for (const cantora::FoundFolder& f : tree.folders)
    l.folders.push_back(f.path + " < " + (f.parent < 0 ? "-" : tree.folders[f.parent].path) +
                        (f.holds_audio ? " audio" : "") + " covers " +
                        std::to_string(f.covercount));
  l.files = Named(tree, tree.files);
  l.lyrics = Named(tree, tree.lyrics_files);
  l.playlists = Named(tree, tree.playlist_files);
  return l;
}

// Folders and files of the root interleave in byte order of their names
// ("b" before "b.mp3"); each folder's part follows its parent, and the
// root's own files keep their places among the folders.
TEST(TreeWalkTest, ListsEverythingInByteOrderDepthFirst) {
  TempFolder tmp;
  const std::string r = tmp.Path("music");
  MakeFolder(r);
  MakeFile(r + "/a.mp3");
  MakeFolder(r + "/b");
  MakeFile(r + "/b/1.mp3");
  MakeFolder(r + "/b/c");
  MakeFile(r + "/b/c/2.mp3");
  MakeFile(r + "/b/c/2.lrc");
  MakeFile(r + "/b.mp3");
  MakeFile(r + "/c.m3u");
  MakeFolder(r + "/d");
  MakeFile(r + "/d/3.flac");
  MakeFile(r + "/d/cover.jpg");
  MakeFolder(r + "/e");
  MakeFile(r + "/e/readme.md");
  MakeFile(r + "/z.mp3");
  MakeFile(r + "/z.txt");
  MakeFolder(r + "/.hidden");
  MakeFile(r + "/.hidden/x.mp3");

  LibraryTree tree;
  tree.root = r;
  std::vector<std::string> warnings;
  ASSERT_EQ(WalkResult::kOk, WalkLibrary(&tree, &warnings));
  Listing l = ListingOf(tree);
  EXPECT_EQ((std::vector<std::string>{
                r + " < - audio covers 0", r + "/b < " + r + " audio covers 0",
                r + "/b/c < " + r + "/b audio covers 0", r + "/d < " + r + " audio covers 1",
                r + "/e < " + r + " covers 0"}),
            l.folders);
  EXPECT_EQ((std::vector<std::string>{r + " | a.mp3", r + "/b | 1.mp3", r + "/b/c | 2.mp3",
                                      r + " | b.mp3", r + "/d | 3.flac", r + " | z.mp3"}),
            l.files);
  EXPECT_EQ((std::vector<std::string>{r + "/b/c | 2.lrc", r + " | z.txt"}), l.lyrics);
  EXPECT_EQ((std::vector<std::string>{r + " | c.m3u"}), l.playlists);
  EXPECT_TRUE(warnings.empty());
}

// Many folders at the root, walked side by side, list exactly as one
// recursive walk in byte order does: folder by folder, the root's own files
// between them.
TEST(TreeWalkTest, ManyRootFoldersListAsOneWalkDoes) {
  TempFolder tmp;
  const std::string r = tmp.Path("music");
  MakeFolder(r);
  std::vector<std::string> folders = {r + " < - audio covers 0"};
  std::vector<std::string> files;
  for (int a = 0; a < 40; ++a) {
    const std::string artist = "artist " + std::to_string(100 + a);
    MakeFolder(r + "/" + artist);
    // Artists with a multiple of 7 hold no audio at all.
    bool audio = a % 7 != 0;
    folders.push_back(r + "/" + artist + " < " + r + (audio ? " audio" : "") + " covers 0");
    for (int b = 0; b < 3 && audio; ++b) {
      const std::string album = r + "/" + artist + "/album " + std::to_string(b);
      MakeFolder(album);
      folders.push_back(album + " < " + r + "/" + artist + " audio covers 0");
      for (int t = 0; t < 4; ++t) {
        MakeFile(album + "/" + std::to_string(t) + ".ogg");
        files.push_back(album + " | " + std::to_string(t) + ".ogg");
      }
    }
    // A file of the root that sorts right after this artist's folder.
    MakeFile(r + "/" + artist + " live.mp3");
    files.push_back(r + " | " + artist + " live.mp3");
  }
  LibraryTree tree;
  tree.root = r;
  std::vector<std::string> warnings;
  ASSERT_EQ(WalkResult::kOk, WalkLibrary(&tree, &warnings));
  Listing l = ListingOf(tree);
  EXPECT_EQ(folders, l.folders);
  EXPECT_EQ(files, l.files);
  // Twice the same tree, twice the same listing.
  LibraryTree again;
  again.root = r;
  ASSERT_EQ(WalkResult::kOk, WalkLibrary(&again, &warnings));
  EXPECT_EQ(l.folders, ListingOf(again).folders);
  EXPECT_EQ(l.files, ListingOf(again).files);
}

TEST(TreeWalkTest, AMissingRootIsMissingAndARootLinkIsNotFollowed) {
  TempFolder tmp;
  LibraryTree tree;
  std::vector<std::string> warnings;
  tree.root = tmp.Path("absent");
  EXPECT_EQ(WalkResult::kMissing, WalkLibrary(&tree, &warnings));
  MakeFolder(tmp.Path("real"));
  MakeFile(tmp.Path("real/a.mp3"));
  ASSERT_EQ(0, symlink(tmp.Path("real").c_str(), tmp.Path("link").c_str()));
  tree.root = tmp.Path("link");
  EXPECT_EQ(WalkResult::kMissing, WalkLibrary(&tree, &warnings));
  EXPECT_TRUE(tree.files.empty());
}

}  // namespace
