#include "platform/auth/preference_dir.h"

#include <gtest/gtest.h>

#include "platform/config/config.h"

namespace {

TEST(PreferenceDirTest, UnderThePreferencesFolder) {
  cantora::Config config;
  config.preferences = "/srv/prefs";
  cantora::SetConfig(config);
  char dir[4095];
  ASSERT_EQ(ZARNUserPreferenceDirGet("alice", dir, sizeof dir), 0);
  EXPECT_STREQ(dir, "/srv/prefs/alice");
  cantora::SetConfig(cantora::Config());
}

TEST(PreferenceDirTest, NamesThatCannotBeAUsersAreRefused) {
  char dir[4095];
  for (const char* name : {"", ".", "..", "../root", "a/b", "a\nb", "-x"})
    EXPECT_EQ(ZARNUserPreferenceDirGet(name, dir, sizeof dir), -1) << name;
  EXPECT_EQ(ZARNUserPreferenceDirGet(nullptr, dir, sizeof dir), -1);
}

TEST(PreferenceDirTest, APathThatDoesNotFitIsRefused) {
  char dir[8];
  EXPECT_EQ(ZARNUserPreferenceDirGet("alice", dir, sizeof dir), -1);
}

}  // namespace
