// One resident process serves alice, bob, a forged session and no session in
// turn: nothing of one user's personal library reaches another's answer,
// and the forged and absent sessions get empty answers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/harness.h"
#include "tests/support/library_instance.h"

namespace {

using harness::CgiRequest;
using harness::CgiResult;
using harness::Encode;
using harness::LibraryInstance;
using harness::Tune;

// alice's and bob's personal libraries, each an album with a cover, beside
// a shared song.
void MakeLibraries(LibraryInstance* instance, std::string* alice, std::string* bob) {
  LibraryInstance& i = *instance;
  *alice = i.AddUser("alice", true);
  *bob = i.AddUser("bob", true);
  i.AddSongs({Tune("a/1.mp3", "Alicesong", "Alicealbum", "Aliceartist", "Alicegenre")},
             i.PersonalFolder("alice"));
  i.AddSongs({Tune("b/1.mp3", "Bobsong", "Bobalbum", "Bobartist", "Bobgenre")},
             i.PersonalFolder("bob"));
  const std::string cover = std::string(CANTORA_SOURCE_DIR) + "/tests/data/templates/cover.jpg";
  harness::Run({"/bin/cp", cover, i.PersonalFolder("alice") + "/a/cover.jpg"});
  harness::Run({"/bin/cp", cover, i.PersonalFolder("bob") + "/b/cover.jpg"});
  i.Index();
}

TEST(Isolation, AlternatingUsersNeverSeeEachOthersLibraries) {
  LibraryInstance instance;
  instance.AddSongs({Tune("shared/1.mp3", "Shared Song", "Shared Album", "Everyone", "Pop")});
  std::string alice, bob;
  MakeLibraries(&instance, &alice, &bob);
  const std::string forged(alice.size(), 'f');

  // Every action that answers from a personal library, each asked for
  // everything the caller may see.
  const std::vector<std::string> queries = {
      "action=song_enum&library=all&album_name=",
      "action=song_enum&library=personal&album_name=" + Encode("Alicealbum"),
      "action=song_enum&library=personal&album_name=" + Encode("Bobalbum"),
      "action=album_enum&library=all",
      "action=artist_enum&library=all",
      "action=genre_enum&library=all",
      "action=search&library=all&search_key=song",
      "action=folder_enum&library=all",
      "action=folder_enum&library=personal",
      "action=all_playlist_enum&library=all",
      "action=playlist_song_enum&pls_id=-3",
  };
  struct Caller {
    std::string name, session, own, other;
  };
  const std::vector<Caller> callers = {{"alice", alice, "Alice", "Bob"},
                                       {"bob", bob, "Bob", "Alice"},
                                       {"forged", forged, "", ""},
                                       {"none", "", "", ""}};
  bool saw_own[2] = {false, false};
  for (int round = 0; round < 2; ++round) {
    for (const std::string& query : queries) {
      for (size_t c = 0; c < callers.size(); ++c) {
        CgiRequest request;
        request.session = callers[c].session;
        request.query = query;
        CgiResult r = harness::RunResident(instance, request);
        if (callers[c].own.empty()) {
          EXPECT_EQ(r.out, "") << callers[c].name << ": " << query;
          continue;
        }
        EXPECT_EQ(r.out.find(callers[c].other), std::string::npos)
            << callers[c].name << " saw " << callers[c].other << "'s: " << query << "\n" << r.out;
        if (r.out.find(callers[c].own) != std::string::npos) saw_own[c] = true;
      }
    }
  }
  // The answers were about the personal libraries at all.
  EXPECT_TRUE(saw_own[0]);
  EXPECT_TRUE(saw_own[1]);
}

// Covers: each asks for its own album's cover and the other's, in turn, of
// one process. The other's is refused (500) as by the CGI.
TEST(Isolation, AlternatingUsersGetOnlyTheirOwnCovers) {
  LibraryInstance instance;
  std::string alice, bob;
  MakeLibraries(&instance, &alice, &bob);
  auto cover = [&](const std::string& session, const std::string& album) {
    CgiRequest request;
    request.session = session;
    request.query = "action=get_cover_for_album&library=personal&album_name=" + Encode(album);
    return harness::RunResident(instance, request).out;
  };
  const std::string image = "Content-Type: image/jpeg";
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(cover(alice, "Alicealbum").compare(0, image.size(), image), 0);
    EXPECT_EQ(cover(alice, "Bobalbum").find(image), std::string::npos);
    EXPECT_EQ(cover(bob, "Bobalbum").compare(0, image.size(), image), 0);
    EXPECT_EQ(cover(bob, "Alicealbum").find(image), std::string::npos);
    EXPECT_EQ(cover("", "Bobalbum"), "");
  }
}

}  // namespace
