// A folder's entries read at once say what a stat of each name would.
#include "platform/file/folder_listing.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <utility>

#include "platform/io/unique_fd.h"
#include "tests/unit/temp_folder.h"

namespace {

using Kind = cantora::FolderListing::Kind;

void Touch(const std::string& path) {
  FILE* f = std::fopen(path.c_str(), "w");
  ASSERT_NE(f, nullptr) << path;
  std::fclose(f);
}

TEST(FolderListingTest, EachEntryHasItsKindAndOtherNamesAreAbsent) {
  TempFolder dir;
  ASSERT_FALSE(dir.path().empty());
  Touch(dir.Path("song.mp3"));
  Touch(dir.Path("Song.mp3"));
  Touch(dir.Path("é ü \xe2\x80\x8b.flac"));
  ASSERT_EQ(mkdir(dir.Path("sub").c_str(), 0755), 0);
  ASSERT_EQ(symlink("song.mp3", dir.Path("link.mp3").c_str()), 0);
  ASSERT_EQ(mkfifo(dir.Path("pipe").c_str(), 0600), 0);
  cantora::UniqueFd handle;
  handle.Reset(open(dir.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_GE(handle.get(), 0);

  cantora::FolderListing listing;
  ASSERT_TRUE(listing.Read(handle.get()));
  // tmpfs and ext4 both tell the kinds; a file system that does not would
  // answer kUnknown, which callers resolve with a stat.
  const std::pair<const char*, Kind> expected[] = {
      {"song.mp3", Kind::kRegular},
      {"Song.mp3", Kind::kRegular},
      {"é ü \xe2\x80\x8b.flac", Kind::kRegular},
      {"link.mp3", Kind::kLink},
      {"sub", Kind::kOther},
      {"pipe", Kind::kOther},
      {"SONG.mp3", Kind::kAbsent},
      {"song.mp", Kind::kAbsent},
      {"song.mp3 ", Kind::kAbsent},
      {"", Kind::kAbsent},
      {".", Kind::kAbsent},
      {"..", Kind::kAbsent},
      {"sub/x", Kind::kAbsent},
  };
  for (const auto& [name, kind] : expected) EXPECT_EQ(listing.KindOf(name), kind) << name;
}

// More entries than one directory read returns (32 KiB of them).
TEST(FolderListingTest, ALargeFolderIsReadWhole) {
  TempFolder dir;
  ASSERT_FALSE(dir.path().empty());
  const int kFiles = 3000;
  for (int i = 0; i < kFiles; ++i) Touch(dir.Path("track number " + std::to_string(i) + ".ogg"));
  cantora::UniqueFd handle;
  handle.Reset(open(dir.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  cantora::FolderListing listing;
  ASSERT_TRUE(listing.Read(handle.get()));
  for (int i = 0; i < kFiles; ++i)
    ASSERT_EQ(listing.KindOf("track number " + std::to_string(i) + ".ogg"), Kind::kRegular) << i;
  EXPECT_EQ(listing.KindOf("track number " + std::to_string(kFiles) + ".ogg"), Kind::kAbsent);
}

TEST(FolderListingTest, WhatCannotBeReadIsAnEmptyListing) {
  TempFolder dir;
  ASSERT_FALSE(dir.path().empty());
  Touch(dir.Path("file"));
  cantora::UniqueFd handle;
  handle.Reset(open(dir.Path("file").c_str(), O_RDONLY | O_CLOEXEC));  // no folder
  cantora::FolderListing listing;
  EXPECT_FALSE(listing.Read(handle.get()));
  EXPECT_EQ(listing.KindOf("file"), Kind::kAbsent);
  EXPECT_FALSE(listing.Read(-1));
  // A handle that reads nothing.
  handle.Reset(open(dir.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  EXPECT_FALSE(listing.Read(handle.get()));
  EXPECT_EQ(listing.KindOf("file"), Kind::kAbsent);
}

// A listing is of its time: a later read sees what changed, and a new read
// forgets what the last one held.
TEST(FolderListingTest, EachReadIsANewSnapshot) {
  TempFolder dir;
  ASSERT_FALSE(dir.path().empty());
  Touch(dir.Path("before"));
  cantora::UniqueFd handle;
  handle.Reset(open(dir.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  cantora::FolderListing listing;
  ASSERT_TRUE(listing.Read(handle.get()));
  EXPECT_EQ(listing.KindOf("before"), Kind::kRegular);
  ASSERT_EQ(unlink(dir.Path("before").c_str()), 0);
  Touch(dir.Path("after"));
  EXPECT_EQ(listing.KindOf("before"), Kind::kRegular);
  ASSERT_TRUE(listing.Read(handle.get()));
  EXPECT_EQ(listing.KindOf("before"), Kind::kAbsent);
  EXPECT_EQ(listing.KindOf("after"), Kind::kRegular);
}

}  // namespace
