#include "platform/index/audio_file.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/config/config.h"

namespace {

class PersonalFolder : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = cantora::GetConfig();
    cantora::Config c = saved_;
    c.homes = "/srv/homes/";
    c.personal_folder = "Music Library";
    cantora::SetConfig(c);
  }
  void TearDown() override { cantora::SetConfig(saved_); }

  cantora::Config saved_;
};

TEST_F(PersonalFolder, IsUnderTheUsersHome) {
  EXPECT_EQ("/srv/homes/anna/Music Library", cantora::PersonalLibraryFolder("anna"));
  char path[8192];
  ASSERT_NE(0, AudioFile::GetPersonalLibraryFolderPath("anna", path, sizeof path));
  EXPECT_STREQ("/srv/homes/anna/Music Library", path);
}

TEST_F(PersonalFolder, RefusesNamesThatAreNotUsers) {
  char path[64] = "unchanged";
  for (const char* name : {"", "..", "../etc", "a/b", ".hidden"}) {
    EXPECT_EQ("", cantora::PersonalLibraryFolder(name)) << name;
    EXPECT_EQ(0, AudioFile::GetPersonalLibraryFolderPath(name, path, sizeof path)) << name;
  }
  EXPECT_EQ(0, AudioFile::GetPersonalLibraryFolderPath(nullptr, path, sizeof path));
  EXPECT_STREQ("unchanged", path);
}

TEST_F(PersonalFolder, IsCutToTheBuffer) {
  char path[12];
  ASSERT_NE(0, AudioFile::GetPersonalLibraryFolderPath("anna", path, sizeof path));
  EXPECT_STREQ("/srv/homes/", path);
}

}  // namespace
