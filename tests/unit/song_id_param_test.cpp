#include "enumerate/song_id_param.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(SongIdParamTest, SharedIdsGoAsTheyStandPersonalOnesLoseTheirPrefix) {
  SongIdParam id;
  ASSERT_TRUE(ParseSongIdParam("42", 1, &id));
  EXPECT_STREQ(id.library, "actual_shared");
  EXPECT_EQ(id.id, "42");
  // Not checked here: the condition grammar and the scope confine it.
  ASSERT_TRUE(ParseSongIdParam("7 or 1=1", 1, &id));
  EXPECT_STREQ(id.library, "actual_shared");
  EXPECT_EQ(id.id, "7 or 1=1");
  ASSERT_TRUE(ParseSongIdParam("personal_42", 1, &id));
  EXPECT_STREQ(id.library, "actual_personal");
  EXPECT_EQ(id.id, "42");
}

TEST(SongIdParamTest, RefusesEntryIdsBrokenPersonalIdsAndZero) {
  for (const char* text : {"PLSID_ZARNPLSSPTR_1_ZARNPLSSPTR_x", "PLSID", "personal_", "personal_4x",
                           "personal_-4", "0", "personal_0"}) {
    SongIdParam id;
    EXPECT_FALSE(ParseSongIdParam(text, 1, &id)) << text;
  }
}

TEST(SongIdParamTest, CutAsTheActionsBuffersCutIt) {
  SongIdParam id;
  ASSERT_TRUE(ParseSongIdParam(std::string(5000, '9').c_str(), 1, &id));
  EXPECT_EQ(id.id, std::string(4095, '9'));
  ASSERT_TRUE(ParseSongIdParam(("personal_" + std::string(5000, '8')).c_str(), 1, &id));
  EXPECT_EQ(id.id, std::string(4095 - 9, '8'));
}

}  // namespace
