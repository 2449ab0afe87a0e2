// Deleting a user, and switching a personal library off, as an administrator
// does it: what the user had leaves the index at once, and never passes to a
// later account.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>

#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

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

// What the user kept in files goes with the account: a new account of the
// same name finds none of the old one's playlists, smart playlists or
// random playlist.
TEST_F(UserRemovalTest, ADeletedUsersFilesGoWithTheAccount) {
  const std::string prefs = instance.Path("preferences/anna");
  const std::string random = instance.Path("tmp/anna==DynaRandom100==.m3u");
  ASSERT_EQ(instance.Admin({"smart", "add", "--user", "anna"}, R"({"name": "Hers"})").status, 0);
  std::ofstream(prefs + "/playlists/Diary.m3u") << "a.mp3\n";
  ASSERT_TRUE(harness::Enumerate(instance, anna, "action=playlist_song_enum&pls_id=-3&username=anna")
                  .has_json);
  ASSERT_EQ(access(random.c_str(), F_OK), 0);
  // A link planted in the folder is removed, not what it names.
  const std::string outside = instance.Path("keep.txt");
  std::ofstream(outside) << "kept\n";
  ASSERT_EQ(symlink(outside.c_str(), (prefs + "/playlists/link.m3u").c_str()), 0);

  ASSERT_EQ(instance.Admin({"user", "del", "anna"}).status, 0);
  EXPECT_NE(access(prefs.c_str(), F_OK), 0);
  EXPECT_NE(access(random.c_str(), F_OK), 0);
  EXPECT_EQ(access(outside.c_str(), F_OK), 0);
  EXPECT_EQ(harness::Run({"/bin/ls", "-A", instance.Path("preferences")}).out, "");

  std::string again = instance.AddUser("anna", true);
  harness::CgiResult all = harness::Enumerate(instance, again, "action=all_playlist_enum");
  ASSERT_TRUE(all.has_json) << all.out;
  std::vector<std::string> names = Column(all.json, "name");
  EXPECT_EQ(std::count(names.begin(), names.end(), "Diary"), 0);
  EXPECT_EQ(std::count(names.begin(), names.end(), "Hers"), 0);
  EXPECT_EQ(instance.Admin({"smart", "list", "--user", "anna"}).out, "");
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
