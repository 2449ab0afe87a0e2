// An instance with music: a shared folder "Music" (dir()/music) indexed by
// the real indexer, songs made by the fixture library, and the requests the
// library tests make of enumerate.cgi.
#ifndef CANTORA_TESTS_SUPPORT_LIBRARY_INSTANCE_H
#define CANTORA_TESTS_SUPPORT_LIBRARY_INSTANCE_H

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "platform/lib/sqlite/database.h"
#include "tests/support/fixture.h"
#include "tests/support/harness.h"

namespace harness {

class LibraryInstance : public Instance {
 public:
  // Makes dir()/music and adds it as the indexed folder "Music".
  LibraryInstance();

  std::string music() const { return Path("music"); }
  // The personal library folder of a user of this instance.
  std::string PersonalFolder(const std::string& user) const {
    return Path("home/" + user + "/music");
  }

  // Writes songs below folder (default: the shared one). Throws on failure.
  void AddSongs(const std::vector<fixture::Song>& songs, const std::string& folder = "") const;
  // cantora-admin index [--full]; throws unless it succeeds.
  CommandResult Index(bool full = false) const;
  // Runs SQL on the instance's database with the sqlite3 shell.
  CommandResult Sql(const std::string& sql) const;
  // Opens the instance's database with the index's SQL functions, which
  // its triggers call, to write rows directly. Throws on failure.
  void OpenIndex(sqlite::Database* db) const;
};

// A test suite whose tests share one indexed library and one signed-in user,
// "alice". A suite's SetUpTestSuite calls OpenLibrary with its songs (and
// then changes the instance as it needs); its TearDownTestSuite calls
// CloseLibrary. Suites run one after another, so they share the two slots.
class LibrarySuite : public ::testing::Test {
 protected:
  static void OpenLibrary(const std::vector<fixture::Song>& songs);
  static void CloseLibrary();

  static LibraryInstance* instance_;
  static std::string* session_;  // alice's
};

using fixture::Tune;

// The values of one key over the answer's "items", as text.
std::vector<std::string> Column(const Json::Value& answer, const char* key);

}  // namespace harness

#endif
