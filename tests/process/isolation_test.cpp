// One process serving request after request (as FastCGI runs the gateway):
// alice, bob, a forged session and no session take turns over every action
// that shows personal data. Each in-process answer must be the one the CGI
// gives the same request, so nothing of one request, nor of one user,
// reaches the next: a forged or absent session gets the CGI's empty answer.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "enumerate/guard/run_as.h"
#include "enumerate/shared_name_lists.h"
#include "platform/config/platform_db.h"
#include "platform/config/process_state.h"
#include "tests/process/request_driver.h"
#include "tests/support/library_instance.h"

namespace {

using harness::Encode;
using harness::LibraryInstance;
using harness::Tune;
using process_test::Serve;
using process_test::Served;

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Replaces a file as an editor or a package manager does: a new file
// renamed over the old one.
void ReplaceFile(const std::string& path, const std::string& text) {
  WriteFile(path + ".new", text);
  ASSERT_EQ(0, std::rename((path + ".new").c_str(), path.c_str()));
}

void MakeDirs(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1))
    mkdir(path.substr(0, slash).c_str(), 0755);
  mkdir(path.c_str(), 0755);
}

// The start of an answer, printable, for a failure's message: covers are
// binary and long.
std::string Brief(const std::string& answer) {
  std::string text = answer.substr(0, 240);
  for (char& c : text)
    if ((c < 0x20 && c != '\n') || c == 0x7f) c = '.';
  if (answer.size() > text.size()) text += "... (" + std::to_string(answer.size()) + " bytes)";
  return text;
}

struct User {
  std::string name;   // "alice", "bob"
  std::string title;  // "Alice", "Bob": in every text of their personal data
  std::string session;
};

class OneProcess : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    instance_ = new LibraryInstance();
    instance_->AddSongs({Tune("shared/1.mp3", "Shared Song", "Shared Album", "Everyone", "Pop")});
    for (User* u : {&alice_, &bob_}) {
      u->session = instance_->AddUser(u->name, true);
      const std::string home = instance_->PersonalFolder(u->name);
      instance_->AddSongs({Tune(u->title + "Album/1.mp3", u->title + " Secret", u->title + " Album",
                                u->title + " Artist", u->title + "Genre")},
                          home);
      Copy(fixture::TemplateDir() + "/cover.jpg", home + "/" + u->title + "Album/cover.jpg");
      const std::string playlists = instance_->Path("preferences/" + u->name + "/playlists");
      MakeDirs(playlists);
      WriteFile(playlists + "/" + u->title + " List.m3u", home + "/" + u->title + "Album/1.mp3\n");
      const std::string genre = u->title + "Genre";
      const std::string rules = R"({"name": ")" + u->title +
                                R"( Smart", "match": "all", )"
                                R"("rules": [{"field": "genre", "op": "is", "value": ")" +
                                genre + R"("}]})";
      harness::CommandResult smart = instance_->Admin({"smart", "add", "--user", u->name}, rules);
      ASSERT_EQ(0, smart.status) << smart.err;
    }
    harness::CommandResult shared = instance_->Admin(
        {"smart", "add"},
        R"({"name": "Pop", "match": "all", "rules": [{"field": "genre", "op": "is", "value": "Pop"}]})");
    ASSERT_EQ(0, shared.status) << shared.err;
    instance_->Index();
    // The process is the gateway from here on: its configuration, and the
    // ids it returns to between requests.
    setenv("CANTORA_CONFIG", instance_->config().c_str(), 1);
    ASSERT_TRUE(DropToRealIds());
  }
  static void TearDownTestSuite() {
    delete instance_;
    instance_ = nullptr;
  }

  static void Copy(const std::string& from, const std::string& to) {
    WriteFile(to, ReadFile(from));
  }

  // The request of the CGI and of this process: both answers, which must agree.
  static std::string Both(const std::string& session, const std::string& query) {
    Served served = Serve(session, query);
    EXPECT_EQ("", served.busy_statements) << query;
    EXPECT_FALSE(served.transaction_left) << query;
    harness::CgiResult cgi = harness::Enumerate(*instance_, session, query);
    EXPECT_TRUE(cgi.out == served.out)
        << "in one process, not as the CGI: " << query << "\nthe CGI's: " << Brief(cgi.out)
        << "\nin one process: " << Brief(served.out);
    return served.out;
  }

  static LibraryInstance* instance_;
  static User alice_, bob_;
};

LibraryInstance* OneProcess::instance_ = nullptr;
User OneProcess::alice_{"alice", "Alice", ""};
User OneProcess::bob_{"bob", "Bob", ""};

// The actions that show personal data, as user u asks them. Every answer
// names u's own things only; other's names must not appear.
std::vector<std::string> PersonalQueries(const User& u, const User& other,
                                         const LibraryInstance& instance) {
  const std::string others_song =
      instance.PersonalFolder(other.name) + "/" + other.title + "Album/1.mp3";
  const std::string own_song = instance.PersonalFolder(u.name) + "/" + u.title + "Album/1.mp3";
  return {
      "action=song_enum&library=personal&album_name=" + Encode(u.title + " Album"),
      "action=song_enum&library=all&album_name=" + Encode(other.title + " Album"),
      "action=search&library=all&search_key=Secret",
      "action=artist_enum&library=personal",
      "action=artist_enum",
      "action=album_enum&library=shared",
      "action=genre_enum",
      "action=album_enum&library=all",
      "action=genre_enum&library=personal",
      "action=folder_enum&library=all",
      "action=folder_enum&library=personal",
      "action=all_playlist_enum&library=all",
      "action=playlist_song_enum&personal=yes&pls_id=" + Encode(u.title + " List"),
      "action=playlist_song_enum&personal=yes&pls_id=" + Encode(other.title + " List"),
      "action=smartpls_song_enum&personal=yes&pls_id=" + Encode(u.title + " Smart"),
      "action=smartpls_song_enum&personal=yes&pls_id=" + Encode(other.title + " Smart"),
      "action=smartplaylist_enum",
      "action=get_cover&path=" + Encode(own_song),
      "action=get_cover&path=" + Encode(others_song),
      "action=get_cover_for_album&library=personal&album_name=" + Encode(u.title + " Album"),
      "action=get_cover_for_album&library=all&album_name=" + Encode(other.title + " Album"),
  };
}

TEST_F(OneProcess, AlternatingUsersGetTheCgisAnswersAndNothingOfEachOther) {
  const std::string forged(64, 'a');
  for (int round = 0; round < 2; ++round) {
    for (const User* u : {&alice_, &bob_}) {
      const User& other = u == &alice_ ? bob_ : alice_;
      for (const std::string& query : PersonalQueries(*u, other, *instance_)) {
        const std::string answer = Both(u->session, query);
        EXPECT_EQ(std::string::npos, answer.find(other.title)) << u->name << ": " << query;
        EXPECT_EQ(std::string::npos, answer.find(instance_->PersonalFolder(other.name)))
            << u->name << ": " << query;
        // Nobody, and a session nobody opened, get nothing, whoever came before.
        EXPECT_EQ("", Both(forged, query)) << query;
        EXPECT_EQ("", Both("", query)) << query;
      }
    }
  }
  // Each saw their own: the comparisons above are not between empty answers.
  const std::string search = "action=search&library=all&search_key=Secret";
  EXPECT_NE(std::string::npos, Serve(alice_.session, search).out.find("Alice Secret"));
  EXPECT_NE(std::string::npos, Serve(bob_.session, search).out.find("Bob Secret"));
  for (const std::string& query :
       {std::string("action=playlist_song_enum&personal=yes&pls_id=Alice%20List"),
        std::string("action=smartpls_song_enum&personal=yes&pls_id=Alice%20Smart"),
        std::string("action=song_enum&library=personal&album_name=Alice%20Album")})
    EXPECT_NE(std::string::npos, Serve(alice_.session, query).out.find("Alice Secret")) << query;
  const std::string lists = Serve(alice_.session, "action=all_playlist_enum&library=all").out;
  EXPECT_NE(std::string::npos, lists.find("\"Alice List\"")) << lists;
  EXPECT_NE(std::string::npos, lists.find("\"Alice Smart\"")) << lists;
  const std::string cover =
      "action=get_cover&path=" + Encode(instance_->PersonalFolder("alice") + "/AliceAlbum/1.mp3");
  EXPECT_NE(std::string::npos, Serve(alice_.session, cover).out.find("Content-Type: image/"));
}

// The random playlist is drawn anew for every request: its songs are the
// shared ones and the asker's own, never another user's, and a user fills
// only their own file.
TEST_F(OneProcess, TheRandomPlaylistHoldsOnlyTheAskersSongs) {
  for (int round = 0; round < 3; ++round) {
    for (const User* u : {&alice_, &bob_}) {
      const User& other = u == &alice_ ? bob_ : alice_;
      for (const User* named : {u, &other}) {
        const std::string query =
            "action=playlist_song_enum&library=all&pls_id=-3&username=" + named->name;
        Served served = Serve(u->session, query);
        EXPECT_EQ(std::string::npos, served.out.find(other.title)) << u->name << ": " << query;
        EXPECT_EQ("", Serve("", query).out);
        EXPECT_EQ("", Serve(std::string(64, 'b'), query).out);
      }
    }
  }
  // Whoever asked last, the file of each is their own.
  EXPECT_EQ(std::string::npos,
            ReadFile(instance_->Path("tmp/alice==DynaRandom100==.m3u")).find("Bob"));
  EXPECT_EQ(std::string::npos,
            ReadFile(instance_->Path("tmp/bob==DynaRandom100==.m3u")).find("Alice"));
}

// An indexing run between two requests, a new library included: the next
// request sees its songs, as a new CGI would.
TEST_F(OneProcess, AnIndexRunBetweenRequestsIsSeenByTheNext) {
  const std::string query = "action=search&library=all&search_key=Fresh";
  EXPECT_EQ(std::string::npos, Both(alice_.session, query).find("Fresh"));
  instance_->AddSongs({Tune("later/1.mp3", "Fresh Song", "Fresh Album", "Newcomer", "Pop")});
  const std::string more = instance_->Path("more-music");
  mkdir(more.c_str(), 0755);
  instance_->AddSongs({Tune("1.mp3", "Fresh Library Song", "Fresh Library", "Newcomer", "Pop")},
                      more);
  ASSERT_EQ(0, instance_->Admin({"folder", "add", more, "--name", "More"}).status);
  instance_->Index();
  // The connection notices the run before the next request reads anything.
  EXPECT_TRUE(cantora::BeginPlatformRequest());
  EXPECT_FALSE(cantora::BeginPlatformRequest());
  cantora::EndPlatformRequest();
  const std::string answer = Both(alice_.session, query);
  EXPECT_NE(std::string::npos, answer.find("\"Fresh Song\"")) << answer;
  EXPECT_NE(std::string::npos, answer.find("\"Fresh Library Song\"")) << answer;
  ASSERT_EQ(0, instance_->Admin({"folder", "del", more}).status);
  instance_->Index();
  EXPECT_EQ(std::string::npos, Both(alice_.session, query).find("Fresh Library Song"));
}

// The whole name lists of the shared libraries are kept between requests
// (shared_name_lists.h); an indexing run, one that removes names included,
// is seen by the next request all the same, as a new CGI would see it.
TEST_F(OneProcess, KeptNameListsFollowTheIndex) {
  const std::string lists[] = {"action=artist_enum", "action=album_enum", "action=genre_enum"};
  const std::string names[] = {"\"Kept Newcomer\"", "\"Kept Album\"", "\"KeptGenre\""};
  const std::string shared[] = {"\"Everyone\"", "\"Shared Album\"", "\"Pop\""};
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 3; ++i) {
      const std::string answer = Both(alice_.session, lists[i]);
      EXPECT_EQ(std::string::npos, answer.find(names[i])) << answer;
      EXPECT_NE(std::string::npos, answer.find(shared[i])) << answer;
    }
  }
  const std::string song = instance_->Path("music/kept/1.mp3");
  instance_->AddSongs({Tune("kept/1.mp3", "Kept Song", "Kept Album", "Kept Newcomer", "KeptGenre")});
  instance_->Index();
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 3; ++i)
      EXPECT_NE(std::string::npos, Both(bob_.session, lists[i]).find(names[i])) << lists[i];
  }
  ASSERT_EQ(0, std::remove(song.c_str())) << song;
  instance_->Index();
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(std::string::npos, Both(alice_.session, lists[i]).find(names[i])) << lists[i];
}

// Only lists of the shared libraries alone are kept, and only those that
// turned no name away (whose log line must come at every request).
TEST_F(OneProcess, OnlySharedListsWithEveryNameAreKept) {
  ForgetSharedNameLists();
  auto kept = [](SharedNameList list) {
    std::optional<cantora::DatabaseStamp> stamp = cantora::PlatformDatabaseStamp();
    return stamp && FindSharedNameList(list, *stamp) != nullptr;
  };
  Both(alice_.session, "action=artist_enum&library=all");
  Both(alice_.session, "action=album_enum&library=personal");
  EXPECT_FALSE(kept(SharedNameList::kArtists));
  EXPECT_FALSE(kept(SharedNameList::kAlbums));
  Both(alice_.session, "action=album_enum&artist_name=Everyone");
  Both(alice_.session, "action=album_enum&latest_album=5");
  EXPECT_FALSE(kept(SharedNameList::kAlbums));
  Both(alice_.session, "action=artist_enum");
  Both(bob_.session, "action=album_enum");
  EXPECT_TRUE(kept(SharedNameList::kArtists));
  EXPECT_TRUE(kept(SharedNameList::kAlbums));
  EXPECT_FALSE(kept(SharedNameList::kGenres));

  // A genre whose name is not UTF-8: listed without it, and not kept.
  sqlite::Database index;
  instance_->OpenIndex(&index);
  ASSERT_TRUE(index.Exec("UPDATE song SET genre = 'Pop' || CAST(x'ff' AS TEXT) WHERE title = 'Shared Song';"
                         "UPDATE facet SET value = 'Pop' || CAST(x'ff' AS TEXT) WHERE value = 'Pop';"));
  const std::string genres = Both(alice_.session, "action=genre_enum");
  EXPECT_EQ(std::string::npos, genres.find("Pop")) << genres;
  EXPECT_FALSE(kept(SharedNameList::kGenres));
  instance_->Index(true);  // the tags as they are in the files again
  EXPECT_NE(std::string::npos, Both(alice_.session, "action=genre_enum").find("\"Pop\""));
}

// A change of the configuration file between requests is in force for the
// next one; so is a change of a store the configuration names.
TEST_F(OneProcess, ConfigurationAndStoreChangesAreSeenByTheNextRequest) {
  const std::string query = "action=smartplaylist_enum";
  EXPECT_NE(std::string::npos, Both(alice_.session, query).find("\"Pop\""));

  const std::string store = instance_->Path("data/smart.playlist");
  const std::string before = ReadFile(store);
  ReplaceFile(store, R"({"playlists": [{"name": "Edited", "rules": []}]})");
  std::string answer = Both(alice_.session, query);
  EXPECT_NE(std::string::npos, answer.find("\"Edited\"")) << answer;
  ReplaceFile(store, before);

  const std::string other = instance_->Path("data/other.playlist");
  WriteFile(other, R"({"playlists": [{"name": "Elsewhere", "rules": []}]})");
  const std::string config = ReadFile(instance_->config());
  ReplaceFile(instance_->config(), config + "smart_playlists = " + other + "\n");
  answer = Both(alice_.session, query);
  EXPECT_NE(std::string::npos, answer.find("\"Elsewhere\"")) << answer;
  ReplaceFile(instance_->config(), config);
  EXPECT_NE(std::string::npos, Both(alice_.session, query).find("\"Pop\""));
}

// After a request the connection holds no statement and no transaction: an
// indexer's checkpoint that must wait for every reader passes at once.
TEST_F(OneProcess, NoReadTransactionIsHeldBetweenRequests) {
  for (const std::string& query :
       {std::string("action=search&library=all&search_key=Secret"),
        std::string("action=all_playlist_enum&library=all"),
        std::string("action=playlist_song_enum&pls_id=-3&library=all&username=alice"),
        std::string("action=get_cover_for_album&library=all&album_name=Alice%20Album"),
        std::string("action=song_enum&album_name=%ff"), std::string("action=search")}) {
    Served served = Serve(alice_.session, query, [] {
      sqlite::Database other;
      LibraryInstance& instance = *instance_;
      instance.OpenIndex(&other);
      sqlite::Statement checkpoint = other.Prepare("PRAGMA wal_checkpoint(TRUNCATE)");
      ASSERT_EQ(SQLITE_ROW, checkpoint.Step());
      EXPECT_EQ(0, checkpoint.Int(0)) << "the checkpoint was blocked";
    });
    EXPECT_EQ("", served.busy_statements) << query;
    EXPECT_FALSE(served.transaction_left) << query;
  }
}

// What a request left running (a statement stepped and kept, a transaction
// begun) is released at its end, so that the next request, the indexer and
// checkpoints find the database as after a CGI's exit.
TEST_F(OneProcess, WhatARequestLeftOpenIsReleasedAtItsEnd) {
  sqlite::Statement kept;
  Served served = Serve(alice_.session, "action=genre_enum", [&kept] {
    sqlite::Database* db = cantora::PlatformDatabase();
    ASSERT_NE(nullptr, db);
    kept = db->Prepare("SELECT id FROM song");
    ASSERT_EQ(SQLITE_ROW, kept.Step());
    ASSERT_TRUE(db->Exec("BEGIN; SELECT count(*) FROM users;"));
  });
  EXPECT_FALSE(sqlite3_stmt_busy(kept.get()));
  EXPECT_NE(0, sqlite3_get_autocommit(cantora::PlatformDatabase()->get()));
  sqlite::Database other;
  instance_->OpenIndex(&other);
  sqlite::Statement checkpoint = other.Prepare("PRAGMA wal_checkpoint(TRUNCATE)");
  ASSERT_EQ(SQLITE_ROW, checkpoint.Step());
  EXPECT_EQ(0, checkpoint.Int(0)) << "the checkpoint was blocked";
  EXPECT_EQ(Both(alice_.session, "action=genre_enum"), served.out);
}

}  // namespace
