// Shared and personal libraries: who sees which songs, and their ids.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

class Scope : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    instance_ = new LibraryInstance();
    instance_->AddSongs(
        {Tune("shared/1.mp3", "Shared Private Joke", "Shared Album", "Everyone", "Pop")});
    anna_ = new std::string(instance_->AddUser("anna", true));
    bert_ = new std::string(instance_->AddUser("bert", true));
    carol_ = new std::string(instance_->AddUser("carol", false));
    instance_->AddSongs({Tune("a.mp3", "Anna Private Song", "Anna Album", "Anna Artist", "Secret")},
                        instance_->PersonalFolder("anna"));
    instance_->AddSongs(
        {Tune("b.flac", "Bert Private Song", "Bert Album", "Bert Artist", "Hidden")},
        instance_->PersonalFolder("bert"));
    instance_->AddSongs({Tune("c.mp3", "Carol Private Song", "Carol Album", "Carol Artist", "Off")},
                        instance_->PersonalFolder("carol"));
    instance_->Index();
  }
  static void TearDownTestSuite() {
    delete anna_;
    delete bert_;
    delete carol_;
    delete instance_;
  }

  static CgiResult Get(const std::string& session, const std::string& query) {
    CgiResult r = harness::Enumerate(*instance_, session, query);
    EXPECT_TRUE(r.has_json) << query << ": " << r.out;
    EXPECT_EQ(r.json["items"].size(), r.json["total"].asUInt()) << query;
    return r;
  }
  static Names Titles(const std::string& session, const std::string& query) {
    return Column(Get(session, query).json, "title");
  }

  static LibraryInstance* instance_;
  static std::string* anna_;
  static std::string* bert_;
  static std::string* carol_;
};

LibraryInstance* Scope::instance_ = nullptr;
std::string* Scope::anna_ = nullptr;
std::string* Scope::bert_ = nullptr;
std::string* Scope::carol_ = nullptr;

TEST_F(Scope, SearchSeesOnlyTheChosenLibrary) {
  EXPECT_EQ((Names{"Shared Private Joke"}), Titles(*anna_, "action=search&search_key=Private"));
  EXPECT_EQ((Names{"Shared Private Joke"}),
            Titles(*anna_, "action=search&library=shared&search_key=Private"));
  EXPECT_EQ((Names{"Anna Private Song"}),
            Titles(*anna_, "action=search&library=personal&search_key=Private"));
  EXPECT_EQ((Names{"Bert Private Song"}),
            Titles(*bert_, "action=search&library=personal&search_key=Private"));
  // A library whose switch is off is not indexed at all.
  EXPECT_EQ((Names{}), Titles(*carol_, "action=search&library=personal&search_key=Private"));
}

TEST_F(Scope, AnotherUsersSongsStayInvisible) {
  EXPECT_EQ((Names{}),
            Titles(*bert_, "action=song_enum&library=personal&album_name=" + Encode("Anna Album")));
  EXPECT_EQ((Names{}),
            Titles(*bert_, "action=song_enum&library=all&artist_name=" + Encode("Anna Artist")));
  EXPECT_EQ((Names{}), Titles(*bert_, "action=song_enum&album_name=" + Encode("Anna Album")));
  EXPECT_EQ((Names{}), Titles(*carol_, "action=song_enum&library=personal&genre_name=Secret"));
  Names albums = Column(Get(*bert_, "action=album_enum&library=personal").json, "name");
  EXPECT_EQ((Names{"Bert Album"}), albums);
  Names genres = Column(Get(*bert_, "action=genre_enum&library=all").json, "name");
  EXPECT_EQ((Names{"Hidden", "Pop"}), genres);
  Names artists = Column(Get(*anna_, "action=artist_enum&library=personal").json, "name");
  EXPECT_EQ((Names{"Anna Artist"}), artists);
}

TEST_F(Scope, PersonalIdsCarryThePrefixOutsideTheSharedLibrary) {
  CgiResult personal =
      Get(*anna_, "action=song_enum&library=personal&album_name=" + Encode("Anna Album"));
  ASSERT_EQ(1u, personal.json["total"].asUInt());
  const std::string id = personal.json["items"][0]["id"].asString();
  EXPECT_EQ(0u, id.rfind("personal_", 0)) << id;
  EXPECT_EQ(std::string::npos, id.substr(9).find_first_not_of("0123456789")) << id;

  CgiResult all = Get(*anna_, "action=search&library=all&search_key=Private");
  ASSERT_EQ(2u, all.json["total"].asUInt());
  for (const Json::Value& item : all.json["items"]) {
    const std::string item_id = item["id"].asString();
    if (item["title"].asString() == "Anna Private Song")
      EXPECT_EQ(id, item_id);
    else
      EXPECT_EQ(std::string::npos, item_id.find_first_not_of("0123456789")) << item_id;
  }
}

}  // namespace
