#include "platform/indexer/indexer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/auth/account.h"
#include "platform/config/config.h"
#include "platform/config/platform_db.h"
#include "platform/index/browse.h"
#include "platform/index/indexed_folder.h"
#include "platform/index/schema.h"
#include "platform/index/song_walk.h"
#include "tests/support/fixture.h"
#include "tests/unit/temp_folder.h"

namespace {

using cantora::IndexSummary;

fixture::Song MakeTrack(const std::string& file, const std::string& title, const std::string& album,
                        const std::string& artist, int track) {
  fixture::Song s = fixture::Tune(file, title, album, artist);
  s.track = track;
  return s;
}

class IndexerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(dir_.path().empty());
    cantora::Config config;
    config.root = dir_.path();
    config.database = dir_.Path("cantora.db");
    config.homes = dir_.Path("home");
    cantora::SetConfig(config);
    std::string error;
    ASSERT_TRUE(cantora::OpenPlatformDatabase(config.database, true, &db_, &error)) << error;
    ASSERT_TRUE(cantora::CreateAccountSchema(db_, &error)) << error;
    ASSERT_TRUE(cantora::CreateIndexSchema(db_, &error)) << error;
    music_ = dir_.Path("music");
    ASSERT_TRUE(
        fixture::MakeSongs(music_,
                           {
                               MakeTrack("A/One/01 First.mp3", "First", "One", "Alpha", 1),
                               MakeTrack("A/One/02 Second.flac", "Second", "One", "Alpha", 2),
                               MakeTrack("B/Two/01 Third.ogg", "Third", "Two", "Beta", 1),
                           },
                           &error))
        << error;
    ASSERT_TRUE(cantora::AddIndexedFolder(db_, music_, "Music", &error)) << error;
  }

  IndexSummary Index(bool full = false) {
    cantora::IndexOptions options;
    options.full = full;
    options.report = nullptr;
    IndexSummary summary;
    std::string error;
    EXPECT_TRUE(cantora::RunIndex(db_, options, &summary, &error)) << error;
    return summary;
  }

  // A scoped run (the watcher's) of the given folders of the library.
  IndexSummary IndexScope(const std::vector<cantora::ScopeFolder>& scope) {
    cantora::IndexOptions options;
    options.report = nullptr;
    options.scope = &scope;
    IndexSummary summary;
    std::string error;
    EXPECT_TRUE(cantora::RunIndex(db_, options, &summary, &error)) << error;
    return summary;
  }

  std::string Query(const std::string& sql) {
    sqlite::Statement st = db_.Prepare(sql);
    EXPECT_TRUE(st.IsValid()) << db_.ErrorMessage();
    std::string out;
    while (st.Step() == SQLITE_ROW) {
      for (int c = 0; c < st.ColumnCount(); ++c) out += std::string(c ? "|" : "") + st.Text(c);
      out += "\n";
    }
    return out;
  }

  TempFolder dir_;
  sqlite::Database db_;
  std::string music_;
};

void ExpectCounts(const IndexSummary& s, int seen, int added, int updated, int removed,
                  int failed) {
  EXPECT_EQ(seen, s.seen);
  EXPECT_EQ(added, s.added);
  EXPECT_EQ(updated, s.updated);
  EXPECT_EQ(removed, s.removed);
  EXPECT_EQ(failed, s.failed);
}

long long SizeOf(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? static_cast<long long>(st.st_size) : -1;
}

TEST_F(IndexerTest, IndexesTagsPropertiesAndFolders) {
  ExpectCounts(Index(), 3, 3, 0, 0, 0);
  // Ids follow the walk order; the sizes are the files' own.
  EXPECT_EQ("1|0|" + music_ + "/A/One/01 First.mp3|First|One|Alpha|ALPHA|Alpha|1|" +
                std::to_string(SizeOf(music_ + "/A/One/01 First.mp3")) + "\n" + "2|0|" + music_ +
                "/A/One/02 Second.flac|Second|One|Alpha|ALPHA|Alpha|2|" +
                std::to_string(SizeOf(music_ + "/A/One/02 Second.flac")) + "\n" + "3|0|" + music_ +
                "/B/Two/01 Third.ogg|Third|Two|Beta|BETA|Beta|1|" +
                std::to_string(SizeOf(music_ + "/B/Two/01 Third.ogg")) + "\n",
            Query("SELECT id, library, path, title, album, artist, artist_search, artist_sort, "
                  "track, filesize FROM song ORDER BY id"));
  // Every folder on the way to audio has a record, linked to its parent.
  EXPECT_EQ(music_ + "|0|music\n" + music_ + "/A|" + music_ + "|A\n" + music_ + "/A/One|" + music_ +
                "/A|One\n" + music_ + "/B|" + music_ + "|B\n" + music_ + "/B/Two|" + music_ +
                "/B|Two\n",
            Query("SELECT f.path, coalesce(p.path, 0), f.title FROM folder f "
                  "LEFT JOIN folder p ON p.id = f.parent_id ORDER BY f.path"));
  // Each song points at the record of its own folder.
  EXPECT_EQ("0\n", Query("SELECT count(*) FROM song s JOIN folder f ON f.id = s.folder_id "
                         "WHERE s.path NOT LIKE f.path || '/%' OR instr(substr(s.path, "
                         "length(f.path) + 2), '/') > 0"));
  EXPECT_EQ("0\n", Query("SELECT count(*) FROM song WHERE create_date <= 0 OR mtime <= 0"));
  // The summaries are rebuilt with the songs.
  EXPECT_EQ("Alpha\nBeta\n", Query("SELECT value FROM facet WHERE kind = 1 ORDER BY value"));
}

TEST_F(IndexerTest, LeavesTheWriteAheadLogEmpty) {
  Index();
  struct stat st;
  ASSERT_EQ(0, stat(dir_.Path("cantora.db-wal").c_str(), &st));
  EXPECT_EQ(0, st.st_size);
}

TEST_F(IndexerTest, AnUnchangedLibraryIsNotReadAgain) {
  Index();
  const std::string before =
      Query("SELECT id, path, title, create_date, mtime FROM song ORDER BY id");
  ExpectCounts(Index(), 3, 0, 0, 0, 0);
  EXPECT_EQ(before, Query("SELECT id, path, title, create_date, mtime FROM song ORDER BY id"));
}

// The song walk: every song of the library, in the song lists' order, kept
// by each run that changes something, and written again by an unchanged run
// that finds it missing.
TEST_F(IndexerTest, TheSongWalkListsTheSongsInTheSongListsOrder) {
  auto walk = [this]() {
    std::string ids;
    cantora::SongWalkReader reader(db_, 0);
    int64_t id;
    while (reader.Next(&id)) ids += std::to_string(id) + "\n";
    EXPECT_FALSE(reader.failed());
    return ids;
  };
  const std::string in_order =
      "SELECT id FROM song WHERE library = 0 ORDER BY lower(album), disc, track, path";
  Index();
  EXPECT_EQ(Query(in_order), walk());
  EXPECT_EQ("3\n", Query("SELECT count(*) FROM song"));
  // A new song drops the walk until the run's end writes it again.
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(music_, MakeTrack("A/One/00 Intro.mp3", "Intro", "One", "Alpha", 0),
                                &error))
      << error;
  Index();
  EXPECT_EQ(Query(in_order), walk());
  EXPECT_EQ("4\n", Query("SELECT count(*) FROM song"));
  // A walk lost (an index made before it was kept) comes back with an
  // unchanged run.
  ASSERT_TRUE(db_.Exec("DELETE FROM song_walk"));
  ExpectCounts(Index(), 4, 0, 0, 0, 0);
  EXPECT_EQ(Query(in_order), walk());
}

TEST_F(IndexerTest, AChangedFileIsReadAgainAndKeepsItsIdAndDate) {
  Index();
  ASSERT_TRUE(db_.Exec("UPDATE song SET create_date = 1000"));
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(
      music_, MakeTrack("A/One/01 First.mp3", "First (remastered)", "One", "Alpha", 1), &error))
      << error;
  ExpectCounts(Index(), 3, 0, 1, 0, 0);
  EXPECT_EQ("1|First (remastered)|1000\n",
            Query("SELECT id, title, create_date FROM song WHERE path LIKE '%First.mp3'"));
}

TEST_F(IndexerTest, VanishedFilesAndEmptyFoldersLeave) {
  Index();
  ASSERT_EQ(0, unlink((music_ + "/B/Two/01 Third.ogg").c_str()));
  ExpectCounts(Index(), 2, 0, 0, 1, 0);
  EXPECT_EQ("2\n", Query("SELECT count(*) FROM song"));
  EXPECT_EQ("0\n", Query("SELECT count(*) FROM folder WHERE path LIKE '%/B%'"));
  EXPECT_EQ("Alpha\n", Query("SELECT value FROM facet WHERE kind = 1"));
  // The root keeps its record even with nothing directly in it.
  EXPECT_EQ("1\n", Query("SELECT count(*) FROM folder WHERE path = '" + music_ + "'"));
}

// A scoped run sees only its folders: a change elsewhere waits for a run
// that covers it, and the facets follow what it changed.
TEST_F(IndexerTest, AScopedRunTouchesOnlyItsFolders) {
  Index();
  std::string error;
  ASSERT_TRUE(fixture::MakeSongs(music_,
                                 {MakeTrack("A/One/03 Fourth.mp3", "Fourth", "One", "Gamma", 3),
                                  MakeTrack("B/Two/02 Fifth.mp3", "Fifth", "Two", "Beta", 2)},
                                 &error))
      << error;
  ASSERT_EQ(0, unlink((music_ + "/A/One/01 First.mp3").c_str()));
  // Shallow: A/One's own files, nothing of B.
  ExpectCounts(IndexScope({{music_ + "/A/One", false}}), 2, 1, 0, 1, 0);
  EXPECT_EQ("Fourth\nSecond\nThird\n", Query("SELECT title FROM song ORDER BY title"));
  EXPECT_EQ("Alpha\nBeta\nGamma\n", Query("SELECT value FROM facet WHERE kind = 1 ORDER BY value"));
  // A folder made below the root, deep, with a parent new to the index.
  ASSERT_TRUE(fixture::MakeSongs(
      music_, {MakeTrack("C/Inner/Deeper/x.mp3", "Sixth", "Six", "Delta", 1)}, &error))
      << error;
  ExpectCounts(IndexScope({{music_ + "/C/Inner", true}}), 1, 1, 0, 0, 0);
  EXPECT_EQ(Query("SELECT id FROM folder WHERE path = '" + music_ + "/C'"),
            Query("SELECT parent_id FROM folder WHERE path = '" + music_ + "/C/Inner'"));
  EXPECT_EQ(Query("SELECT id FROM folder WHERE path = '" + music_ + "'"),
            Query("SELECT parent_id FROM folder WHERE path = '" + music_ + "/C'"));
  // Gone again: its records go, up to the folder that no longer leads to audio.
  std::filesystem::remove_all(music_ + "/C/Inner");
  ExpectCounts(IndexScope({{music_ + "/C/Inner", true}}), 0, 0, 0, 1, 0);
  EXPECT_EQ("0\n", Query("SELECT count(*) FROM folder WHERE path GLOB '" + music_ + "/C*'"));
  // What the scoped runs left out, the whole run still finds.
  ExpectCounts(Index(), 4, 1, 0, 0, 0);
}

TEST_F(IndexerTest, ACorruptFileIsCountedAndSkipped) {
  fixture::Song bad;
  bad.file = "A/One/03 Broken.flac";
  bad.corrupt = true;
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(music_, bad, &error)) << error;
  IndexSummary s = Index();
  ExpectCounts(s, 4, 3, 0, 0, 1);
  EXPECT_EQ("0\n", Query("SELECT count(*) FROM song WHERE path LIKE '%Broken%'"));
  // It is tried again, and fails again, on the next run.
  ExpectCounts(Index(), 4, 0, 0, 0, 1);
}

TEST_F(IndexerTest, AFileThatTurnsCorruptLosesItsRow) {
  Index();
  fixture::Song bad;
  bad.file = "A/One/02 Second.flac";
  bad.corrupt = true;
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(music_, bad, &error)) << error;
  ExpectCounts(Index(), 3, 0, 0, 0, 1);
  EXPECT_EQ("0\n", Query("SELECT count(*) FROM song WHERE path LIKE '%Second%'"));
}

TEST_F(IndexerTest, AFullRunReadsEverythingAndKeepsIds) {
  Index();
  ASSERT_TRUE(db_.Exec("UPDATE song SET title = 'stale', create_date = 77"));
  ExpectCounts(Index(true), 3, 0, 3, 0, 0);
  EXPECT_EQ("1|First|77\n2|Second|77\n3|Third|77\n",
            Query("SELECT id, title, create_date FROM song ORDER BY id"));
}

TEST_F(IndexerTest, BytesThatAreNotUtf8ReachTheIndexUnchanged) {
  fixture::Song s = MakeTrack("C/raw.mp3", "Raw", "Raw", "Raw", 1);
  s.genre = "Bad\xff";
  s.composer = "\xc3\x28";
  std::string error;
  ASSERT_TRUE(fixture::MakeSong(music_, s, &error)) << error;
  Index();
  EXPECT_EQ("Bad\xff|\xc3\x28\n", Query("SELECT genre, composer FROM song WHERE title = 'Raw'"));
}

TEST_F(IndexerTest, PersonalLibrariesBelongToTheirOwners) {
  std::string error;
  ASSERT_TRUE(cantora::AddUser(db_, "anna", "secret-anna", true, &error)) << error;
  ASSERT_TRUE(cantora::AddUser(db_, "bert", "secret-bert", false, &error)) << error;
  ASSERT_TRUE(fixture::MakeSongs(dir_.Path("home/anna/music"),
                                 {MakeTrack("mine.mp3", "Anna's", "Hers", "Anna", 1)}, &error))
      << error;
  ASSERT_TRUE(fixture::MakeSongs(dir_.Path("home/bert/music"),
                                 {MakeTrack("his.mp3", "Bert's", "His", "Bert", 1)}, &error))
      << error;
  ExpectCounts(Index(), 4, 4, 0, 0, 0);
  EXPECT_EQ("Anna's|1\n", Query("SELECT title, library = (SELECT id FROM users WHERE name = "
                                "'anna') FROM song WHERE library != 0"));
  EXPECT_EQ("1\n", Query("SELECT count(*) FROM folder WHERE path = '" +
                         dir_.Path("home/anna/music") + "' AND parent_id = 0 AND library != 0"));
  // Switching the library off takes its songs out at once.
  ASSERT_TRUE(db_.Exec("UPDATE users SET personal = 0"));
  EXPECT_EQ("0\n", Query("SELECT count(*) FROM song WHERE library != 0"));
  EXPECT_EQ("0\n", Query("SELECT count(*) FROM folder WHERE library != 0"));
  EXPECT_EQ("0\n", Query("SELECT count(*) FROM facet WHERE library != 0"));
  ExpectCounts(Index(), 3, 0, 0, 0, 0);

  // Deleting a user takes their library along, and their id is not given again.
  ASSERT_TRUE(db_.Exec("UPDATE users SET personal = 1 WHERE name = 'anna'"));
  Index();
  EXPECT_EQ("1\n", Query("SELECT count(*) FROM song WHERE library != 0"));
  std::string anna_id = Query("SELECT id FROM users WHERE name = 'anna'");
  ASSERT_TRUE(cantora::DeleteUser(db_, "anna", &error)) << error;
  EXPECT_EQ("0|0|0\n", Query("SELECT (SELECT count(*) FROM song WHERE library != 0), "
                             "(SELECT count(*) FROM folder WHERE library != 0), "
                             "(SELECT count(*) FROM facet WHERE library != 0)"));
  ASSERT_TRUE(cantora::AddUser(db_, "anna", "secret-anna", true, &error)) << error;
  EXPECT_GT(std::stoi(Query("SELECT id FROM users WHERE name = 'anna'")), std::stoi(anna_id));
}

// The indexer runs as root: a link that an owner of a music folder puts
// there must not bring a file from outside the library into the index.
TEST_F(IndexerTest, LinksLeadingOutOfTheLibraryAreNotFollowed) {
  std::string error;
  ASSERT_TRUE(fixture::MakeSongs(dir_.Path("private"),
                                 {MakeTrack("secret.mp3", "Secret", "Root's", "Root", 1)}, &error))
      << error;
  ASSERT_TRUE(cantora::AddUser(db_, "anna", "secret-anna", true, &error)) << error;
  ASSERT_TRUE(fixture::MakeSongs(dir_.Path("home/anna/music"),
                                 {MakeTrack("mine.mp3", "Anna's", "Hers", "Anna", 1)}, &error))
      << error;
  std::string anna = dir_.Path("home/anna/music");
  ASSERT_EQ(symlink(dir_.Path("private/secret.mp3").c_str(), (anna + "/out.mp3").c_str()), 0);
  ASSERT_EQ(symlink("../../../private/secret.mp3", (anna + "/up.mp3").c_str()), 0);
  ASSERT_EQ(symlink("mine.mp3", (anna + "/again.mp3").c_str()), 0);
  ASSERT_EQ(symlink((music_ + "/A/One/01 First.mp3").c_str(), (music_ + "/B/in.mp3").c_str()), 0);
  ASSERT_EQ(symlink(dir_.Path("private/secret.mp3").c_str(), (music_ + "/B/out.mp3").c_str()), 0);
  Index();
  EXPECT_EQ("0\n", Query("SELECT count(*) FROM song WHERE title = 'Secret'"));
  EXPECT_EQ(anna + "/again.mp3\n" + anna + "/mine.mp3\n",
            Query("SELECT path FROM song WHERE library != 0 ORDER BY path"));
  EXPECT_EQ("1\n", Query("SELECT count(*) FROM song WHERE path = '" + music_ + "/B/in.mp3'"));
}

// Nor may such a link tell the indexer's owner what exists outside: a link
// whose text passes through a folder outside and comes back in is no song,
// whether that folder exists or not.
TEST_F(IndexerTest, ALinkWhoseTextLeavesTheLibraryIsNotIndexedWhateverExistsOnTheWay) {
  std::string error;
  ASSERT_TRUE(cantora::AddUser(db_, "anna", "secret-anna", true, &error)) << error;
  std::string anna = dir_.Path("home/anna/music");
  ASSERT_TRUE(fixture::MakeSongs(anna, {MakeTrack("mine.mp3", "Anna's", "Hers", "Anna", 1)}, &error))
      << error;
  ASSERT_EQ(mkdir(dir_.Path("private").c_str(), 0700), 0);
  for (const std::string name : {"private", "absent"}) {
    std::string text = dir_.Path(name) + "/../home/anna/music/mine.mp3";
    ASSERT_EQ(symlink(text.c_str(), (anna + "/abs-" + name + ".mp3").c_str()), 0);
    ASSERT_EQ(symlink(("../../../" + std::string(name) + "/../home/anna/music/mine.mp3").c_str(),
                      (anna + "/rel-" + name + ".mp3").c_str()), 0);
  }
  Index();
  EXPECT_EQ(anna + "/mine.mp3\n", Query("SELECT path FROM song WHERE library != 0 ORDER BY path"));
}

// A personal folder that is itself a link is not a library: its owner
// could point it at any folder of the box.
TEST_F(IndexerTest, APersonalFolderThatIsALinkIsNotIndexed) {
  std::string error;
  ASSERT_TRUE(fixture::MakeSongs(dir_.Path("private"),
                                 {MakeTrack("secret.mp3", "Secret", "Root's", "Root", 1)}, &error))
      << error;
  ASSERT_TRUE(cantora::AddUser(db_, "anna", "secret-anna", true, &error)) << error;
  mkdir(dir_.Path("home").c_str(), 0755);
  mkdir(dir_.Path("home/anna").c_str(), 0755);
  ASSERT_EQ(symlink(dir_.Path("private").c_str(), dir_.Path("home/anna/music").c_str()), 0);
  Index();
  EXPECT_EQ("0\n", Query("SELECT count(*) FROM song WHERE library != 0"));
}

// A run cut short (here by a write that fails, as when the disk fills or the
// process is killed) keeps the songs it committed. Listings of artists,
// albums and genres must agree with them, though their summary was not
// rebuilt: they group the songs until a run completes.
TEST_F(IndexerTest, ARunCutShortLeavesListingsThatAgreeWithTheSongs) {
  ASSERT_TRUE(db_.Exec(
      "CREATE TRIGGER cut_short BEFORE INSERT ON song WHEN (SELECT count(*) FROM song) >= 2 "
      "BEGIN SELECT RAISE(FAIL, 'disk full'); END"));
  cantora::IndexOptions options;
  options.report = nullptr;
  options.batch = 1;
  IndexSummary summary;
  std::string error;
  EXPECT_FALSE(cantora::RunIndex(db_, options, &summary, &error));
  ASSERT_EQ("2\n", Query("SELECT count(*) FROM song"));

  auto artists = [&] {
    cantora::BrowseQuery q;
    q.mode = cantora::kBrowseArtists;
    MediaInfo* head = nullptr;
    EXPECT_GE(cantora::MusicBrowse(db_, q, &head), 0);
    std::string names;
    for (MediaInfo* m = head; m != nullptr; m = m->next) names += std::string(m->artist) + ";";
    ZARNPlaylistRecFree(head);
    return names;
  };
  EXPECT_EQ("Alpha;", artists());

  ASSERT_TRUE(db_.Exec("DROP TRIGGER cut_short"));
  Index();
  EXPECT_EQ("Alpha;Beta;", artists());
  EXPECT_EQ("0\n", Query("SELECT facets_stale FROM index_state"));
}

TEST_F(IndexerTest, ARemovedRootTakesItsSongsAlong) {
  Index();
  std::string error;
  ASSERT_TRUE(cantora::RemoveIndexedFolder(db_, music_, &error)) << error;
  ExpectCounts(Index(), 0, 0, 0, 3, 0);
  EXPECT_EQ("0|0|0\n", Query("SELECT (SELECT count(*) FROM song), (SELECT count(*) FROM folder), "
                             "(SELECT count(*) FROM facet)"));
}

TEST_F(IndexerTest, SummaryLine) {
  IndexSummary s;
  s.seen = 12;
  s.added = 5;
  s.updated = 4;
  s.removed = 2;
  s.failed = 1;
  s.seconds = 1.5;
  EXPECT_EQ("12 files seen, 5 added, 4 updated, 2 removed, 1 failed, 1.50 s",
            cantora::FormatIndexSummary(s));
}

// A run that changes a tenth of the library or more writes the database
// again compactly; a smaller change leaves its free pages for later.
TEST_F(IndexerTest, LargeChangesCompactTheDatabase) {
  std::vector<fixture::Song> more;
  for (int i = 0; i < 9; ++i)
    more.push_back(MakeTrack("C/Many/" + std::to_string(i) + ".mp3", "T", "Many", "Gamma", i));
  fixture::Song bulky = MakeTrack("C/Bulky.mp3", "Bulky", "Many", "Gamma", 10);
  bulky.comment = std::string(200000, 'c');  // fills pages of its own
  more.push_back(bulky);
  std::string error;
  ASSERT_TRUE(fixture::MakeSongs(music_, more, &error)) << error;
  ExpectCounts(Index(), 13, 13, 0, 0, 0);
  EXPECT_EQ("0\n", Query("PRAGMA freelist_count"));

  // One of thirteen gone: under a tenth, the freed pages stay free.
  ASSERT_EQ(0, unlink((music_ + "/C/Bulky.mp3").c_str()));
  ExpectCounts(Index(), 12, 0, 0, 1, 0);
  EXPECT_NE("0\n", Query("PRAGMA freelist_count"));

  // Two of twelve gone: compacted.
  ASSERT_EQ(0, unlink((music_ + "/C/Many/0.mp3").c_str()));
  ASSERT_EQ(0, unlink((music_ + "/C/Many/1.mp3").c_str()));
  ExpectCounts(Index(), 10, 0, 0, 2, 0);
  EXPECT_EQ("0\n", Query("PRAGMA freelist_count"));
  EXPECT_EQ("10\n", Query("SELECT count(*) FROM song"));
}

// A database made before song_order held the path gets the new index, and
// one made before the indexer kept its runs and failures gets their tables.
TEST(IndexSchema, UpgradesAnOlderDatabase) {
  TempFolder dir;
  sqlite::Database db;
  std::string error;
  ASSERT_TRUE(cantora::OpenPlatformDatabase(dir.Path("db"), true, &db, &error)) << error;
  ASSERT_TRUE(cantora::CreateIndexSchema(db, &error)) << error;
  ASSERT_TRUE(
      db.Exec("DROP INDEX song_order; "
              "CREATE INDEX song_order ON song(library, lower(album), disc, track); "
              "DROP TABLE index_run; DROP TABLE index_failure; "
              "PRAGMA user_version = 0"));
  ASSERT_TRUE(cantora::CreateIndexSchema(db, &error)) << error;
  sqlite::Statement index = db.Prepare("SELECT sql FROM sqlite_master WHERE name = 'song_order'");
  ASSERT_EQ(SQLITE_ROW, index.Step());
  EXPECT_NE(std::string::npos, std::string(index.Text(0)).find("track, path)")) << index.Text(0);
  sqlite::Statement version = db.Prepare("PRAGMA user_version");
  ASSERT_EQ(SQLITE_ROW, version.Step());
  EXPECT_EQ(3, version.Int(0));
  for (const char* table : {"index_run", "index_failure"}) {
    sqlite::Statement made = db.Prepare("SELECT 1 FROM sqlite_master WHERE name = ?");
    made.Bind(1, table);
    EXPECT_EQ(SQLITE_ROW, made.Step()) << table;
  }
  // Made again, a current database is left as it is.
  ASSERT_TRUE(cantora::CreateIndexSchema(db, &error)) << error;
}

TEST(IndexedFolders, AddListRemove) {
  TempFolder dir;
  sqlite::Database db;
  std::string error;
  ASSERT_TRUE(cantora::OpenPlatformDatabase(dir.Path("db"), true, &db, &error)) << error;
  ASSERT_TRUE(cantora::CreateIndexSchema(db, &error)) << error;
  ASSERT_EQ(0, mkdir(dir.Path("a").c_str(), 0755));
  ASSERT_EQ(0, mkdir(dir.Path("a/inner").c_str(), 0755));
  ASSERT_EQ(0, mkdir(dir.Path("b").c_str(), 0755));
  EXPECT_TRUE(cantora::AddIndexedFolder(db, dir.Path("a") + "/", "", &error)) << error;
  EXPECT_TRUE(cantora::AddIndexedFolder(db, dir.Path("b/../b"), "Bee", &error)) << error;
  EXPECT_FALSE(cantora::AddIndexedFolder(db, dir.Path("a"), "", &error));
  EXPECT_FALSE(cantora::AddIndexedFolder(db, dir.Path("a/inner"), "", &error));
  EXPECT_FALSE(cantora::AddIndexedFolder(db, dir.path(), "", &error));
  EXPECT_FALSE(cantora::AddIndexedFolder(db, dir.Path("missing"), "", &error));
  std::vector<cantora::IndexedFolder> folders;
  ASSERT_TRUE(cantora::ListIndexedFolders(db, &folders, &error));
  ASSERT_EQ(2u, folders.size());
  EXPECT_EQ(dir.Path("a"), folders[0].path);
  EXPECT_EQ("a", folders[0].name);
  EXPECT_EQ(dir.Path("b"), folders[1].path);
  EXPECT_EQ("Bee", folders[1].name);
  EXPECT_FALSE(cantora::RemoveIndexedFolder(db, dir.Path("a/inner"), &error));
  EXPECT_TRUE(cantora::RemoveIndexedFolder(db, dir.Path("a"), &error)) << error;
  ASSERT_TRUE(cantora::ListIndexedFolders(db, &folders, &error));
  EXPECT_EQ(1u, folders.size());
}

}  // namespace
