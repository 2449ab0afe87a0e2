#include "platform/playlist/entry_id.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/playlist/random_playlist.h"

namespace {

using cantora::FormatPlaylistEntryId;
using cantora::ParsePlaylistEntryId;
using cantora::PlaylistEntryId;

const std::string kSep = "_ZARNPLSSPTR_";

TEST(EntryIdTest, FormatsTheFieldsInTheirFixedOrder) {
  PlaylistEntryId e{"12", "0", "no", 0, 100000, 2};
  EXPECT_EQ(FormatPlaylistEntryId(e), "PLSID" + kSep + "12" + kSep + "0" + kSep + "no" + kSep +
                                          "0" + kSep + "100000" + kSep + "2");
  e = {"-3", "0", "no", -1, -1, 0};
  EXPECT_EQ(FormatPlaylistEntryId(e), "PLSID" + kSep + "-3" + kSep + "0" + kSep + "no" + kSep +
                                          "-1" + kSep + "-1" + kSep + "0");
}

TEST(EntryIdTest, RoundTripsEvenWhenThePlaylistNameHoldsTheSeparator) {
  for (const PlaylistEntryId& e :
       {PlaylistEntryId{"7", "0", "no", 0, 100000, 0},
        PlaylistEntryId{"Road Trip", "0", "yes", 5, 10, 9},
        PlaylistEntryId{"a" + kSep + "b" + kSep, "3", "yes", 0, 1, 0},
        PlaylistEntryId{"", "", "", 2147483647, -2147483647 - 1, 2147483647}}) {
    PlaylistEntryId back;
    ASSERT_TRUE(ParsePlaylistEntryId(FormatPlaylistEntryId(e), &back)) << e.pls_id;
    EXPECT_EQ(back.pls_id, e.pls_id);
    EXPECT_EQ(back.personal_id, e.personal_id);
    EXPECT_EQ(back.personal, e.personal);
    EXPECT_EQ(back.IsPersonal(), e.personal == "yes");
    EXPECT_EQ(back.start, e.start);
    EXPECT_EQ(back.limit, e.limit);
    EXPECT_EQ(back.position, e.position);
  }
}

TEST(EntryIdTest, OnlyTheTextYesMeansPersonal) {
  PlaylistEntryId e;
  ASSERT_TRUE(ParsePlaylistEntryId(
      "PLSID" + kSep + "x" + kSep + "0" + kSep + "YES" + kSep + "0" + kSep + "1" + kSep + "0", &e));
  EXPECT_FALSE(e.IsPersonal());
}

TEST(EntryIdTest, RefusesHostileAndMalformedIds) {
  const std::string tail = kSep + "0" + kSep + "no" + kSep + "0" + kSep + "100000" + kSep;
  for (const std::string& text : {
           std::string(), std::string("PLSID"), std::string("PLSID_x"),
           "PLSID" + kSep + "1" + kSep + "0" + kSep + "no" + kSep + "0" + kSep + "1",  // six fields
           "plsid" + kSep + "1" + tail + "0",  // the tag's case
           "XPLSID" + kSep + "1" + tail + "0",
           "PLSID" + kSep + "1" + tail + "-1",                    // a negative position
           "PLSID" + kSep + "1" + tail + "",                      // an empty position
           "PLSID" + kSep + "1" + tail + "2x",                    // trailing text
           "PLSID" + kSep + "1" + tail + "99999999999999999999",  // past a long
           "PLSID" + kSep + "1" + kSep + "0" + kSep + "no" + kSep + "a" + kSep + "1" + kSep + "0",
           "PLSID" + kSep + "1" + kSep + "0" + kSep + "no" + kSep + "0" + kSep + "" + kSep + "0",
           std::string("PLSID") + "_ZARNPLSSPTR" + "1" + tail + "0",  // a separator cut short
       }) {
    PlaylistEntryId e;
    EXPECT_FALSE(ParsePlaylistEntryId(text, &e)) << text;
  }
}

TEST(EntryIdTest, AClimbingNameIsKeptAsTextForTheStoresToRefuse) {
  PlaylistEntryId e;
  ASSERT_TRUE(ParsePlaylistEntryId("PLSID" + kSep + "../../bob/playlists/Bobs" + kSep + "0" + kSep +
                                       "yes" + kSep + "0" + kSep + "100000" + kSep + "0",
                                   &e));
  EXPECT_EQ(e.pls_id, "../../bob/playlists/Bobs");
}

TEST(EntryIdTest, LooksLikeAnEntryIdByItsFirstFiveCharacters) {
  EXPECT_TRUE(cantora::LooksLikePlaylistEntryId("PLSID"));
  EXPECT_TRUE(cantora::LooksLikePlaylistEntryId("PLSIDanything"));
  EXPECT_FALSE(cantora::LooksLikePlaylistEntryId("PLSI"));
  EXPECT_FALSE(cantora::LooksLikePlaylistEntryId("plsid_1"));
  EXPECT_FALSE(cantora::LooksLikePlaylistEntryId("personal_1"));
  EXPECT_FALSE(cantora::LooksLikePlaylistEntryId(nullptr));
}

TEST(RandomPlaylistTest, PathAndSuffix) {
  EXPECT_EQ(cantora::RandomPlaylistPath("/r/tmp/", "anna"), "/r/tmp/anna==DynaRandom100==.m3u");
  EXPECT_TRUE(cantora::IsRandomPlaylistFileName("anna==DynaRandom100==.m3u"));
  EXPECT_TRUE(cantora::IsRandomPlaylistFileName("/r/tmp/anna==DynaRandom100==.m3u"));
  EXPECT_FALSE(cantora::IsRandomPlaylistFileName("==DynaRandom100==.m3u"));
  EXPECT_FALSE(cantora::IsRandomPlaylistFileName("anna==DynaRandom100==.m3u8"));
}

}  // namespace
