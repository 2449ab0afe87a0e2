// Deleting a user, and switching a personal library off, as an administrator
// does it: what the user had leaves the index at once, and never passes to a
// later account.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/support/library_instance.h"

namespace {

using harness::Column;
using harness::LibraryInstance;
using harness::Tune;

class UserRemovalTest : public ::testing::Test {
 protected:
  void SetUp() override {
    anna = instance.AddUser("anna", true);
    instance.AddSongs({Tune("a.mp3", "Anna Private Song", "Anna Album", "Anna Artist", "Secret")},
                      instance.PersonalFolder("anna"));
    std::ofstream(instance.PersonalFolder("anna") + "/Mine.m3u") << "a.mp3\n";
    instance.Index();
  }

  std::vector<std::string> PersonalTitles(const std::string& session) {
    harness::CgiResult r = harness::Enumerate(instance, session, "action=search&search_key=Private&library=personal");
    EXPECT_TRUE(r.has_json) << r.out;
    return Column(r.json, "title");
  }

  std::string Count(const std::string& sql) {
    std::string out = instance.Sql(sql).out;
    return out.substr(0, out.find('\n'));
  }

  LibraryInstance instance;
  std::string anna;
};

TEST_F(UserRemovalTest, ADeletedUsersLibraryIsGoneAndTheirIdNeverReturns) {
  ASSERT_EQ(PersonalTitles(anna), std::vector<std::string>{"Anna Private Song"});
  std::string anna_id = Count("SELECT id FROM users WHERE name = 'anna'");
  ASSERT_EQ(Count("SELECT count(*) FROM playlist WHERE library = " + anna_id), "1");
  harness::CommandResult r = instance.Admin({"user", "del", "anna"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Count("SELECT count(*) FROM song WHERE library = " + anna_id), "0");
  EXPECT_EQ(Count("SELECT count(*) FROM folder WHERE library = " + anna_id), "0");
  EXPECT_EQ(Count("SELECT count(*) FROM facet WHERE library = " + anna_id), "0");
  EXPECT_EQ(Count("SELECT count(*) FROM playlist WHERE library = " + anna_id), "0");
  EXPECT_EQ(Count("SELECT count(*) FROM sessions"), "0");
  EXPECT_EQ(harness::Enumerate(instance, anna, "action=radio_enum").out, "");

  // The next account, even under the same name, is someone else.
  std::string again = instance.AddUser("anna", true);
  EXPECT_NE(Count("SELECT id FROM users WHERE name = 'anna'"), anna_id);
  EXPECT_TRUE(PersonalTitles(again).empty());
  std::string zed = instance.AddUser("zed", true);
  EXPECT_TRUE(PersonalTitles(zed).empty());
}

TEST_F(UserRemovalTest, SwitchingAPersonalLibraryOffHidesItAtOnce) {
  harness::CommandResult r = instance.Admin({"user", "personal", "anna", "off"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(PersonalTitles(anna).empty());
  EXPECT_EQ(Count("SELECT count(*) FROM playlist WHERE library <> 0"), "0");
  harness::CgiResult artists = harness::Enumerate(instance, anna, "action=artist_enum&library=personal");
  ASSERT_TRUE(artists.has_json) << artists.out;
  EXPECT_EQ(artists.json["total"].asUInt(), 0u);
  // Switched on again, the next index run brings it back.
  ASSERT_EQ(instance.Admin({"user", "personal", "anna", "on"}).status, 0);
  instance.Index();
  EXPECT_EQ(PersonalTitles(anna), std::vector<std::string>{"Anna Private Song"});
}

}  // namespace
