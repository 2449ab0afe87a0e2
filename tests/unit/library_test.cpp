#include "platform/index/library.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(LibraryTest, ActualLibraryMapping) {
  EXPECT_STREQ("shared", ChangeToActualLib("shared"));
  EXPECT_STREQ("personal", ChangeToActualLib("personal"));
  EXPECT_STREQ("all", ChangeToActualLib("all"));
  EXPECT_STREQ("shared", ChangeToActualLib("actual_shared"));
  EXPECT_STREQ("personal", ChangeToActualLib("actual_personal"));
  EXPECT_STREQ("all", ChangeToActualLib("actual_all"));
}

TEST(LibraryTest, UnknownLibraryNeverWidens) {
  EXPECT_STREQ("shared", ChangeToActualLib(nullptr));
  EXPECT_STREQ("shared", ChangeToActualLib(""));
  EXPECT_STREQ("shared", ChangeToActualLib("Personal"));
  EXPECT_STREQ("shared", ChangeToActualLib("ALL"));
  EXPECT_STREQ("shared", ChangeToActualLib("all "));
  EXPECT_EQ(cantora::LibraryScope::kShared, cantora::ScopeOfLibrary("everything"));
}

TEST(LibraryTest, PersonalRecordsAreThoseWithAnOwner) {
  MediaInfo info{};
  EXPECT_EQ(0, ZARNMusicIsPersonalLibrary(&info));
  info.library = 1001;
  EXPECT_NE(0, ZARNMusicIsPersonalLibrary(&info));
  EXPECT_EQ(0, ZARNMusicIsPersonalLibrary(nullptr));
}

TEST(LibraryTest, PrefixRoundTrip) {
  char id[4096] = "42";
  ASSERT_EQ(0, AddPersonalLibraryPrefix(id, sizeof(id)));
  EXPECT_STREQ("personal_42", id);
  EXPECT_NE(0, IsPersonalLibraryID(id));
  EXPECT_STREQ("42", RemovePersonalLibraryPrefix(id));
}

TEST(LibraryTest, PrefixThatDoesNotFitLeavesIdAlone) {
  char id[10] = "42";
  EXPECT_EQ(-1, AddPersonalLibraryPrefix(id, sizeof(id)));
  EXPECT_STREQ("42", id);
  char exact[12] = "42";
  EXPECT_EQ(0, AddPersonalLibraryPrefix(exact, sizeof(exact)));
}

TEST(LibraryTest, RemoveRefusesAnythingButDigits) {
  EXPECT_EQ(nullptr, RemovePersonalLibraryPrefix("42"));
  EXPECT_EQ(nullptr, RemovePersonalLibraryPrefix("personal_"));
  EXPECT_EQ(nullptr, RemovePersonalLibraryPrefix("personal_12a"));
  EXPECT_EQ(nullptr, RemovePersonalLibraryPrefix("personal_-1"));
  EXPECT_EQ(nullptr, RemovePersonalLibraryPrefix("personal_1 or 1=1"));
  EXPECT_EQ(nullptr, RemovePersonalLibraryPrefix(nullptr));
  EXPECT_EQ(0, IsPersonalLibraryID("Personal_1"));
  EXPECT_EQ(0, IsPersonalLibraryID(nullptr));
}

}  // namespace
