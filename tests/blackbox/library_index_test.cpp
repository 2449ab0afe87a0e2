// cantora-admin folder ... and index, seen from outside: the commands, their
// errors and summary, and what the gateway lists after each run.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

void ExpectOneLineError(const CommandResult& r) {
  EXPECT_NE(0, r.status);
  EXPECT_EQ("", r.out);
  ASSERT_FALSE(r.err.empty());
  EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
  EXPECT_EQ(0u, r.err.rfind("cantora-admin: ", 0)) << r.err;
}

// The counts of the summary line, which must be the whole output.
std::vector<int> Counts(const CommandResult& r) {
  static const std::regex line(
      "(\\d+) files seen, (\\d+) added, (\\d+) updated, (\\d+) removed, (\\d+) failed, "
      "\\d+\\.\\d\\d s\n");
  std::smatch m;
  if (!std::regex_match(r.out, m, line)) {
    ADD_FAILURE() << "not a summary line: " << r.out;
    return {};
  }
  std::vector<int> counts;
  for (size_t i = 1; i < m.size(); ++i) counts.push_back(std::stoi(m[i]));
  return counts;
}

TEST(IndexCommands, Help) {
  Instance instance;
  for (std::vector<std::string> args : {std::vector<std::string>{"folder", "--help"},
                                        {"folder", "add", "--help"},
                                        {"index", "--help"}}) {
    CommandResult r = instance.Admin(args);
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(0u, r.out.find("usage: cantora-admin")) << r.out;
  }
}

TEST(IndexCommands, FolderErrorsAreOneLine) {
  LibraryInstance instance;
  ExpectOneLineError(instance.Admin({"folder", "add", instance.Path("does-not-exist")}));
  ExpectOneLineError(instance.Admin({"folder", "add", instance.music()}));
  ExpectOneLineError(instance.Admin({"folder", "add", instance.music() + "/"}));
  ExpectOneLineError(instance.Admin({"folder", "add", instance.dir()}));
  ExpectOneLineError(instance.Admin({"folder", "add", instance.config()}));
  ExpectOneLineError(instance.Admin({"folder", "add"}));
  ExpectOneLineError(instance.Admin({"folder", "add", instance.Path("home"), "--name"}));
  ExpectOneLineError(instance.Admin({"folder", "add", instance.Path("home"), "--colour", "red"}));
  ExpectOneLineError(instance.Admin({"folder", "del", instance.Path("home")}));
  ExpectOneLineError(instance.Admin({"folder", "del"}));
  ExpectOneLineError(instance.Admin({"folder", "frobnicate"}));
  ExpectOneLineError(instance.Admin({"folder"}));
  ExpectOneLineError(instance.Admin({"index", "--fast"}));
}

TEST(IndexCommands, FolderAddListDel) {
  LibraryInstance instance;
  ASSERT_EQ(0, instance.Admin({"folder", "add", instance.Path("home"), "--name", "Homes"}).status);
  CommandResult list = instance.Admin({"folder", "list"});
  EXPECT_EQ(0, list.status);
  EXPECT_EQ(instance.Path("home") + "\tHomes\n" + instance.music() + "\tMusic\n", list.out);
  EXPECT_EQ(0, instance.Admin({"folder", "del", instance.Path("home") + "/"}).status);
  EXPECT_EQ(instance.music() + "\tMusic\n", instance.Admin({"folder", "list"}).out);
}

TEST(Indexing, SummaryIncrementalVanishedAndCorrupt) {
  LibraryInstance instance;
  std::string session = instance.AddUser("alice");
  instance.AddSongs({Tune("a/1.mp3", "One", "First", "Artist"),
                     Tune("a/2.flac", "Two", "First", "Artist"),
                     Tune("b/3.ogg", "Three", "Second", "Artist")});
  fixture::Song bad;
  bad.file = "b/broken.mp3";
  bad.corrupt = true;
  instance.AddSongs({bad});

  CommandResult first = instance.Admin({"index"});
  EXPECT_EQ(0, first.status);
  EXPECT_EQ((std::vector<int>{4, 3, 0, 0, 1}), Counts(first));
  EXPECT_NE(std::string::npos, first.err.find(instance.music() + "/b/broken.mp3")) << first.err;

  CommandResult again = instance.Admin({"index"});
  EXPECT_EQ((std::vector<int>{4, 0, 0, 0, 1}), Counts(again));

  ASSERT_EQ(0, unlink((instance.music() + "/b/3.ogg").c_str()));
  ASSERT_EQ(0, unlink((instance.music() + "/b/broken.mp3").c_str()));
  instance.AddSongs({Tune("a/2.flac", "Two (new mix)", "First", "Artist")});
  CommandResult third = instance.Admin({"index"});
  EXPECT_EQ((std::vector<int>{2, 0, 1, 1, 0}), Counts(third));
  EXPECT_EQ("", third.err);

  CgiResult r = harness::Enumerate(instance, session, "action=song_enum&artist_name=Artist");
  EXPECT_EQ((Names{"One", "Two (new mix)"}), Column(r.json, "title"));
  r = harness::Enumerate(instance, session, "action=album_enum");
  EXPECT_EQ((Names{"First"}), Column(r.json, "name"));

  CommandResult full = instance.Admin({"index", "--full"});
  EXPECT_EQ((std::vector<int>{2, 0, 2, 0, 0}), Counts(full));
}

TEST(Indexing, ARemovedFolderLeavesTheIndex) {
  LibraryInstance instance;
  std::string session = instance.AddUser("alice");
  instance.AddSongs({Tune("x.mp3", "Only", "Solo", "Single")});
  EXPECT_EQ((std::vector<int>{1, 1, 0, 0, 0}), Counts(instance.Index()));
  ASSERT_EQ(0, instance.Admin({"folder", "del", instance.music()}).status);
  EXPECT_EQ((std::vector<int>{0, 0, 0, 1, 0}), Counts(instance.Index()));
  CgiResult r = harness::Enumerate(instance, session, "action=artist_enum");
  EXPECT_TRUE(r.json["success"].asBool());
  EXPECT_EQ(0u, r.json["total"].asUInt());
}

TEST(Indexing, PersonalSwitchDecides) {
  LibraryInstance instance;
  std::string dana = instance.AddUser("dana", true);
  instance.AddSongs({Tune("d.mp3", "Dana's", "Mine", "Dana")}, instance.PersonalFolder("dana"));
  EXPECT_EQ((std::vector<int>{1, 1, 0, 0, 0}), Counts(instance.Index()));
  auto titles = [&] {
    return Column(
        harness::Enumerate(instance, dana, "action=song_enum&library=personal&album_name=Mine")
            .json,
        "title");
  };
  EXPECT_EQ((Names{"Dana's"}), titles());
  // Switched off, the library leaves the index at once; the next run has
  // nothing of it left to remove.
  ASSERT_EQ(0, instance.Admin({"user", "personal", "dana", "off"}).status);
  EXPECT_EQ((Names{}), titles());
  EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 0}), Counts(instance.Index()));
  EXPECT_EQ((Names{}), titles());
}

TEST(Indexing, RequestsAreAnsweredWhileIndexing) {
  LibraryInstance instance;
  std::string session = instance.AddUser("alice");
  std::vector<fixture::Song> songs;
  for (int i = 0; i < 3000; ++i)
    songs.push_back(Tune("bulk/" + std::to_string(i / 10) + "/" + std::to_string(i) + ".mp3",
                         "Song " + std::to_string(i), "Album " + std::to_string(i / 10), "Busy"));
  instance.AddSongs({Tune("early.mp3", "Early", "Before", "Punctual")});
  instance.Index();
  instance.AddSongs(songs);
  std::atomic<bool> done{false};
  CommandResult indexing;
  std::thread indexer([&] {
    indexing = instance.Admin({"index"});
    done = true;
  });
  int answered = 0;
  while (!done) {
    CgiResult r = harness::Enumerate(instance, session, "action=song_enum&album_name=Before");
    ASSERT_TRUE(r.has_json) << r.out;
    EXPECT_TRUE(r.json["success"].asBool()) << r.body;
    EXPECT_EQ((Names{"Early"}), Column(r.json, "title"));
    r = harness::Enumerate(instance, session, "action=artist_enum");
    EXPECT_TRUE(r.json["success"].asBool()) << r.body;
    ++answered;
  }
  indexer.join();
  EXPECT_EQ(0, indexing.status) << indexing.err;
  EXPECT_EQ((std::vector<int>{3001, 3000, 0, 0, 0}), Counts(indexing));
  EXPECT_GT(answered, 0);
  CgiResult r = harness::Enumerate(instance, session, "action=song_enum&artist_name=Busy");
  EXPECT_EQ(3000u, r.json["total"].asUInt());
}

}  // namespace
