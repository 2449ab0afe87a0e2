#include "platform/index/browse.h"

#include <ftw.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/config/platform_db.h"
#include "platform/index/facets.h"
#include "platform/index/schema.h"
#include "platform/index/song_walk.h"
#include "platform/index/sql_functions.h"
#include "platform/text/casefold.h"
#include "tests/unit/song_rows.h"

namespace {

using cantora::BrowseQuery;

constexpr int kUser = 1001;
constexpr int kOtherUser = 1002;
const char* const kSongOrder = "lower(album) asc, disc asc, track asc, path asc";

// A field left unset is written as the schema's default ('' or 0).
using Song = SongRow;

class BrowseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/cantora-browse-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    dir_ = dir;
    std::string error;
    ASSERT_TRUE(cantora::OpenPlatformDatabase(dir_ + "/index.db", true, &db_, &error)) << error;
    ASSERT_TRUE(cantora::RegisterIndexFunctions(db_.get()));
    ASSERT_TRUE(cantora::CreateIndexSchema(db_, &error)) << error;
  }

  void Reopen() {
    songs_.Reset();
    db_.Close();
    std::string error;
    ASSERT_TRUE(cantora::OpenPlatformDatabase(dir_ + "/index.db", false, &db_, &error)) << error;
    ASSERT_TRUE(cantora::RegisterIndexFunctions(db_.get()));
  }

  void TearDown() override {
    songs_.Reset();
    db_.Close();
    nftw(dir_.c_str(), [](const char* p, const struct stat*, int, struct FTW*) { return remove(p); },
         16, FTW_DEPTH | FTW_PHYS);
  }

  void Add(Song s) {
    s.search_keys = true;
    s.duration = 59.9;
    s.filesize = 5000000000LL;
    std::string error;
    ASSERT_TRUE(songs_.Add(s, &error)) << error;
  }

  void AddSimple(int library, const std::string& path, const std::string& title,
                 const std::string& album, const std::string& artist, const std::string& genre,
                 long create_date = 0) {
    Song s;
    s.library = library;
    s.path = path;
    s.title = title;
    s.album = album;
    s.artist = artist;
    s.genre = genre;
    s.create_date = create_date;
    Add(s);
  }

  // 3000 shared songs, 2000 of them with "Common" in the title, over albums
  // that differ in case and accents. Every third title only looks like a
  // match to the trigrams ("mon" and "com" in other words); the condition
  // itself must turn it away.
  void AddCommonWordSongs() {
    for (int i = 0; i < 3000; ++i) {
      Song s;
      s.path = "/m/w/" + std::to_string(i) + ".mp3";
      s.title = i % 3 ? "Common " + std::to_string(i) : "Mon com " + std::to_string(i);
      const char* albums[] = {"beta", "Alpha", "\xC3\x84rger", "alpha", "Zulu"};
      s.album = albums[i % 5];
      s.disc = i % 2;
      s.track = i % 17;
      Add(s);
    }
  }

  void AddLibrary() {
    AddSimple(0, "/m/1.mp3", "Love Song", "Alpha", "Band A", "Rock", 10);
    AddSimple(0, "/m/2.mp3", "Glove Story", "beta", "Band B", "Jazz", 30);
    AddSimple(0, "/m/3.mp3", "Nothing", "Alpha", "\xC3\x84rzte", "Rock", 20);
    AddSimple(0, "/m/4.mp3", "100% Pure", "Gamma", "Band A", "Pop", 40);
    AddSimple(0, "/m/5.mp3", "1000 Pure", "Gamma", "Band A", "Pop", 40);
    AddSimple(kUser, "/home/u/music/1.mp3", "Secret Love", "Private", "Solo", "Rock", 50);
    AddSimple(kOtherUser, "/home/v/music/1.mp3", "Other Love", "Hidden", "Them", "Metal", 60);
  }

  // n songs over albums that differ in case, accents and trailing spaces,
  // many equal in album, disc and track (their path decides), every
  // other_every-th titled "Other", the rest "Song"; in three libraries, or
  // all shared.
  void AddTiedSongs(int n, int songs_an_album, int other_every, bool libraries) {
    ASSERT_TRUE(db_.Exec("BEGIN"));
    const char* albums[] = {"beta", "Alpha", "\xC3\x84rger", "alpha", "ALPHA", "", "\xC3\xA4rger",
                            "Stra\xC3\x9F" "e", "STRASSE", "Zulu", "zulu ", "a\\b"};
    for (int i = 0; i < n; ++i) {
      Song s;
      s.library = !libraries ? 0 : i % 5 == 0 ? kUser : i % 7 == 0 ? kOtherUser : 0;
      s.path = "/m/t/" + std::to_string((i * 7919) % n) + (i % 4 ? ".mp3" : ".flac");
      s.album = albums[(i / songs_an_album) % 12];
      s.title = i % other_every ? "Song" : "Other";
      s.disc = i % 3 == 0 ? 2147483647 : i % 2;
      s.track = (i * 31) % 7 - 2;
      Add(s);
    }
    ASSERT_TRUE(db_.Exec("COMMIT"));
  }

  struct Result {
    int rc = -1;
    std::vector<std::string> titles;
    std::vector<std::string> albums;
    std::vector<std::string> artists;
    std::vector<std::string> paths;
    std::vector<int> libraries;
  };

  Result Browse(BrowseQuery q) {
    Result r;
    MediaInfo* head = reinterpret_cast<MediaInfo*>(1);  // must be reset by the call
    r.rc = cantora::MusicBrowse(db_, q, &head);
    int count = 0;
    for (MediaInfo* m = head; m != nullptr; m = m->next, ++count) {
      r.titles.push_back(m->title);
      r.albums.push_back(m->album);
      r.artists.push_back(m->artist);
      r.paths.push_back(m->path);
      r.libraries.push_back(m->library);
    }
    if (r.rc >= 0) {
      EXPECT_EQ(r.rc, count);
    } else {
      EXPECT_EQ(nullptr, head);
    }
    ZARNPlaylistRecFree(head);
    return r;
  }

  static BrowseQuery SongList(const char* library, int uid, const char* condition,
                              int limit = -1) {
    BrowseQuery q;
    q.library = library;
    q.uid = uid;
    q.columns = "*";
    q.condition = condition;
    q.order = kSongOrder;
    q.limit = limit;
    return q;
  }

  Result Songs(const char* library, int uid, const char* condition, int limit = -1) {
    return Browse(SongList(library, uid, condition, limit));
  }

  int64_t Count(const std::string& sql) {
    sqlite::Statement st = db_.Prepare(sql);
    EXPECT_TRUE(st.IsValid()) << db_.ErrorMessage();
    return st.Step() == SQLITE_ROW ? st.Int(0) : -1;
  }

  std::string Plan(const BrowseQuery& q) {
    cantora::SqlPiece statement;
    bool empty = false;
    EXPECT_TRUE(cantora::BuildBrowseStatement(q, &statement, &empty));
    sqlite::Statement st = db_.Prepare("EXPLAIN QUERY PLAN " + statement.sql);
    EXPECT_TRUE(st.IsValid()) << db_.ErrorMessage();
    std::string plan;
    while (st.Step() == SQLITE_ROW) plan += std::string(st.Text(3)) + "\n";
    return plan;
  }

  // A digest of everything stored, to show that a query changed nothing.
  std::string Digest() {
    std::string out;
    for (const char* sql :
         {"SELECT count(*), total(id), group_concat(title || album || artist, '|') FROM song",
          "SELECT count(*), group_concat(value, '|') FROM facet",
          "SELECT count(*), group_concat(path, '|') FROM folder",
          "SELECT count(*), group_concat(name || sql, '|') FROM sqlite_master",
          "PRAGMA query_only"}) {
      sqlite::Statement st = db_.Prepare(sql);
      EXPECT_TRUE(st.IsValid()) << sql;
      while (st.Step() == SQLITE_ROW) {
        for (int i = 0; i < st.ColumnCount(); ++i) out += std::string(st.Text(i)) + ";";
      }
    }
    return out;
  }

  std::string dir_;
  sqlite::Database db_;
  SongRows songs_{&db_};
};

TEST_F(BrowseTest, SongsOfAnAlbumInOrder) {
  AddLibrary();
  Result r = Songs("shared", kUser, "album = 'Alpha'");
  ASSERT_EQ(2, r.rc);
  EXPECT_EQ((std::vector<std::string>{"/m/1.mp3", "/m/3.mp3"}), r.paths);
}

TEST_F(BrowseTest, RecordsCarryEveryField) {
  AddLibrary();
  MediaInfo* head = nullptr;
  BrowseQuery q;
  q.condition = "path = '/m/1.mp3'";
  ASSERT_EQ(1, cantora::MusicBrowse(db_, q, &head));
  EXPECT_STREQ("Love Song", head->title);
  EXPECT_STREQ("Band A", head->artist);
  EXPECT_STREQ("Rock", head->genre);
  EXPECT_FLOAT_EQ(59.9f, head->duration);
  EXPECT_EQ(5000000000ULL, head->filesize);
  EXPECT_EQ(1u, head->id);
  EXPECT_EQ(0, head->library);
  ZARNPlaylistRecFree(head);
}

TEST_F(BrowseTest, PersonalSongsStayWithTheirOwner) {
  AddLibrary();
  EXPECT_EQ(0, Songs("shared", kUser, "title = 'Secret Love'").rc);
  EXPECT_EQ(1, Songs("personal", kUser, "title = 'Secret Love'").rc);
  EXPECT_EQ(0, Songs("personal", kOtherUser, "title = 'Secret Love'").rc);
  EXPECT_EQ(0, Songs("all", kOtherUser, "title = 'Secret Love'").rc);
  Result all = Songs("all", kUser, "title ilike '%love%'");
  EXPECT_EQ((std::vector<std::string>{"Love Song", "Glove Story", "Secret Love"}), all.titles);
  EXPECT_EQ(1, Songs("actual_personal", kUser, "title = 'Secret Love'").rc);
}

TEST_F(BrowseTest, UnknownLibraryOrUserNeverWidens) {
  AddLibrary();
  EXPECT_EQ(5, Songs("everything", kUser, nullptr).rc);
  EXPECT_EQ(5, Songs(nullptr, kUser, nullptr).rc);
  EXPECT_EQ(0, Songs("personal", -1, nullptr).rc);
  EXPECT_EQ(0, Songs("personal", 0, nullptr).rc);
  EXPECT_EQ(5, Songs("all", -1, nullptr).rc);
}

TEST_F(BrowseTest, ArtistConditionFoldsUnicode) {
  AddLibrary();
  Result r = Songs("shared", 0,
                   "artist_search = UPPER('\xC3\xA4RZTE') or album_artist_search = UPPER('\xC3\xA4RZTE')");
  EXPECT_EQ((std::vector<std::string>{"Nothing"}), r.titles);
}

TEST_F(BrowseTest, EmptyArtistMatchesOnlySongsWithoutArtists) {
  AddLibrary();
  AddSimple(0, "/m/6.mp3", "Anonymous", "Delta", "", "Pop");
  Result r = Songs("shared", 0, "artist_search = UPPER('') and album_artist_search = UPPER('')");
  EXPECT_EQ((std::vector<std::string>{"Anonymous"}), r.titles);
}

TEST_F(BrowseTest, SubstringSearchUsesTheTrigramIndex) {
  AddLibrary();
  const char* condition =
      "title ilike '%LOVE%' or album ilike '%LOVE%' or artist ilike '%LOVE%' or album_artist "
      "ilike '%LOVE%'";
  Result r = Songs("shared", 0, condition, 1000);
  EXPECT_EQ((std::vector<std::string>{"Love Song", "Glove Story"}), r.titles);
  // A connection that has not touched the trigram index yet, as in a new process.
  Reopen();
  EXPECT_EQ(r.titles, Songs("shared", 0, condition, 1000).titles);
  BrowseQuery q;
  q.condition = condition;
  EXPECT_NE(std::string::npos, Plan(q).find("song_fts")) << Plan(q);
}

TEST_F(BrowseTest, ShortKeysScanAndStillFind) {
  AddLibrary();
  Result r = Songs("shared", 0, "title ilike '%lo%' or album ilike '%lo%'");
  EXPECT_EQ((std::vector<std::string>{"Love Song", "Glove Story"}), r.titles);
  BrowseQuery q;
  q.condition = "title ilike '%lo%'";
  EXPECT_EQ(std::string::npos, Plan(q).find("song_fts"));
}

TEST_F(BrowseTest, CandidatesFollowUpdatesAndDeletes) {
  AddLibrary();
  ASSERT_TRUE(db_.Exec("UPDATE song SET title = 'Hate Song' WHERE path = '/m/1.mp3'"));
  ASSERT_TRUE(db_.Exec("DELETE FROM song WHERE path = '/m/2.mp3'"));
  EXPECT_EQ(0, Songs("shared", 0, "title ilike '%love%'").rc);
  EXPECT_EQ(1, Songs("shared", 0, "title ilike '%hate%'").rc);
}

TEST_F(BrowseTest, PatternCharactersInKeysMatchLiterally) {
  AddLibrary();
  AddSimple(0, "/m/7.mp3", "a_b", "x", "x", "x");
  AddSimple(0, "/m/8.mp3", "axb", "x", "x", "x");
  AddSimple(0, "/m/9.mp3", "back\\slash", "x", "x", "x");
  EXPECT_EQ((std::vector<std::string>{"100% Pure"}), Songs("shared", 0, "title ilike '%100\\%%'").titles);
  EXPECT_EQ((std::vector<std::string>{"a_b"}), Songs("shared", 0, "title ilike '%a\\_b%'").titles);
  EXPECT_EQ((std::vector<std::string>{"back\\slash"}),
            Songs("shared", 0, "title ilike '%k\\\\s%'").titles);
  // A pattern that ends in a lone escape fails the query, as PostgreSQL does.
  EXPECT_LT(Songs("shared", 0, "title ilike '%a\\'").rc, 0);
}

TEST_F(BrowseTest, LimitAndOrderOfLargeResults) {
  ASSERT_TRUE(db_.Exec("BEGIN"));
  for (int i = 0; i < 1500; ++i) {
    Song s;
    s.path = "/m/many/" + std::to_string(i) + ".mp3";
    s.title = "Common word " + std::to_string(i);
    s.album = (i % 2) ? "zeta" : "Zeta";
    s.disc = i % 3;
    s.track = 1500 - i;
    Add(s);
  }
  ASSERT_TRUE(db_.Exec("COMMIT"));
  Result r = Songs("shared", 0, "title ilike '%common%'", 1000);
  ASSERT_EQ(1000, r.rc);
  // lower(album) ties, then disc, then track: the first rows are disc 0 with the lowest tracks.
  EXPECT_EQ("/m/many/1497.mp3", r.paths[0]);
  EXPECT_EQ("/m/many/1494.mp3", r.paths[1]);
}

TEST_F(BrowseTest, CommonWordWalksTheSongOrderAndAnswersTheSame) {
  ASSERT_TRUE(db_.Exec("BEGIN"));
  AddCommonWordSongs();
  AddSimple(kUser, "/home/u/music/c.mp3", "Common mine", "Aaa", "Solo", "Rock");
  ASSERT_TRUE(db_.Exec("COMMIT"));
  Result all = Songs("shared", 0, "title ilike '%common%'");
  // 2000 candidates, more than twice the 500 wanted: the walk.
  Result walked = Songs("shared", 0, "title ilike '%common%'", 500);
  // Few enough candidates for this limit: SQLite sorts every match.
  Result sorted = Songs("shared", 0, "title ilike '%common%'", 5000);
  ASSERT_EQ(2000, all.rc);
  ASSERT_EQ(500, walked.rc);
  EXPECT_EQ(sorted.paths, all.paths);
  EXPECT_EQ(std::vector<std::string>(all.paths.begin(), all.paths.begin() + 500), walked.paths);
  EXPECT_EQ(0, walked.libraries[0]);
}

// With the song walk kept, a limited list of a common word reads the ids in
// order and only the candidates' rows: the same songs, pages and order as
// the index walk, for the shared library and a personal one. A change to
// the songs drops the walk, and the answer stays right without it.
TEST_F(BrowseTest, TheSongWalkAnswersAsTheIndexWalkDoes) {
  ASSERT_TRUE(db_.Exec("BEGIN"));
  AddCommonWordSongs();
  for (int i = 0; i < 40; ++i)
    AddSimple(kUser, "/home/u/music/" + std::to_string(i) + ".mp3", "Common mine",
              i % 2 ? "Aaa" : "Bbb", "Solo", "Rock");
  ASSERT_TRUE(db_.Exec("COMMIT"));
  auto page = [this](const char* library, int uid, int offset, int limit) {
    BrowseQuery q;
    q.library = library;
    q.uid = uid;
    q.columns = "*";
    q.condition = "title ilike '%common%'";
    q.order = kSongOrder;
    q.offset = offset;
    q.limit = limit;
    return Browse(q).paths;
  };
  struct Case {
    const char* library;
    int uid, offset, limit;
  };
  const Case cases[] = {{"shared", 0, 0, 500}, {"shared", 0, 700, 300}, {"shared", 0, 1999, 5},
                        {"shared", 0, 2000, 5}, {"personal", kUser, 0, 7},
                        {"personal", kUser, 36, 7}};
  std::vector<std::vector<std::string>> by_index;
  for (const Case& c : cases) by_index.push_back(page(c.library, c.uid, c.offset, c.limit));
  EXPECT_EQ(500u, by_index[0].size());
  EXPECT_EQ(1u, by_index[2].size());
  EXPECT_EQ(0u, by_index[3].size());
  EXPECT_EQ(7u, by_index[4].size());
  EXPECT_EQ(4u, by_index[5].size());

  std::string error;
  ASSERT_TRUE(db_.Exec("BEGIN"));
  ASSERT_TRUE(cantora::RebuildSongWalk(db_, &error)) << error;
  ASSERT_TRUE(db_.Exec("COMMIT"));
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(by_index[i], page(cases[i].library, cases[i].uid, cases[i].offset, cases[i].limit))
        << i;

  // The walk is what is read: reversed behind the triggers' back, it
  // reverses the answer.
  std::vector<std::string> reversed_first;
  {
    sqlite::Statement ids = db_.Prepare(
        "SELECT path FROM song WHERE library = 0 AND title LIKE '%common%' "
        "ORDER BY lower(album) DESC, disc DESC, track DESC, path DESC LIMIT 3");
    while (ids.Step() == SQLITE_ROW) reversed_first.push_back(ids.Text(0));
  }
  ASSERT_TRUE(db_.Exec("DELETE FROM song_walk WHERE library = 0"));
  {
    sqlite::Statement all = db_.Prepare(
        "SELECT id FROM song WHERE library = 0 "
        "ORDER BY lower(album) DESC, disc DESC, track DESC, path DESC");
    std::string blob;
    while (all.Step() == SQLITE_ROW)
      for (int b = 0; b < 8; ++b) blob.push_back(static_cast<char>(all.Int(0) >> (8 * b) & 0xFF));
    sqlite::Statement put = db_.Prepare("INSERT INTO song_walk(library, chunk, ids) VALUES (0, 0, ?)");
    put.BindBlob(1, blob.data(), static_cast<int>(blob.size()));
    ASSERT_EQ(SQLITE_DONE, put.Step());
  }
  EXPECT_EQ(reversed_first, page("shared", 0, 0, 3));

  // A new song that comes first drops the walk: the index walk answers it.
  AddSimple(0, "/m/w/new.mp3", "Common new", "Aardvark", "X", "Rock");
  EXPECT_EQ(0, Count("SELECT count(*) FROM song_walk WHERE library = 0"));
  EXPECT_EQ("/m/w/new.mp3", page("shared", 0, 0, 3)[0]);
  // Written again, the walk agrees; then a moved song drops it again.
  ASSERT_TRUE(cantora::RebuildSongWalk(db_, &error)) << error;
  EXPECT_EQ("/m/w/new.mp3", page("shared", 0, 0, 3)[0]);
  ASSERT_TRUE(db_.Exec("UPDATE song SET album = 'Zzz' WHERE path = '/m/w/new.mp3'"));
  EXPECT_EQ(0, Count("SELECT count(*) FROM song_walk WHERE library = 0"));
  EXPECT_EQ(by_index[0], page("shared", 0, 0, 500));
  // An index made before the walk was kept (no table) answers the same.
  ASSERT_TRUE(db_.Exec("DROP TABLE song_walk"));
  EXPECT_EQ(by_index[0], page("shared", 0, 0, 500));
  ASSERT_TRUE(db_.Exec("CREATE TABLE song_walk(library INTEGER, chunk INTEGER, ids BLOB, "
                       "PRIMARY KEY (library, chunk)) WITHOUT ROWID"));
  ASSERT_TRUE(cantora::RebuildSongWalk(db_, &error)) << error;
  // The personal library's walk was left alone by the shared songs' changes.
  EXPECT_LT(0, Count("SELECT count(*) FROM song_walk WHERE library = " + std::to_string(kUser)));
}

// Song ids too large for the candidate bits: the search sorts every match.
TEST_F(BrowseTest, CommonWordWithHugeIdsStillAnswers) {
  ASSERT_TRUE(db_.Exec("BEGIN"));
  SongRow huge;
  huge.id = 8589934592;
  huge.library = 0;
  huge.path = "/m/h/0";
  huge.title = "Love";
  huge.album = "A";
  huge.artist = "B";
  huge.genre = "C";
  ASSERT_TRUE(songs_.Add(huge));
  for (int i = 1; i < 10; ++i) AddSimple(0, "/m/h/" + std::to_string(i), "Love", "A", "B", "C");
  ASSERT_TRUE(db_.Exec("COMMIT"));
  Result r = Songs("shared", 0, "title ilike '%love%'", 2);
  ASSERT_EQ(2, r.rc);
  EXPECT_EQ((std::vector<std::string>{"/m/h/0", "/m/h/1"}), r.paths);
}

// A whole song list is sorted on its records (SongOrder), a paged one by
// SQLite: both give the same order, ties on lower(album) included.
TEST_F(BrowseTest, WholeListsAreInTheSameOrderAsPagedOnes) {
  ASSERT_TRUE(db_.Exec("BEGIN"));
  const char* albums[] = {"beta", "Alpha", "\xC3\x84rger", "alpha", "ALPHA", "", "\xC3\xA4rger",
                          "Stra\xC3\x9F" "e", "STRASSE", "\xCE\xA9\xCE\xBC\xCE\xAD\xCE\xB3\xCE\xB1",
                          "Zulu", "zulu ", "a\\b"};
  for (int i = 0; i < 600; ++i) {
    Song s;
    s.path = "/m/o/" + std::to_string((i * 7919) % 600) + (i % 4 ? ".mp3" : ".flac");
    s.album = albums[i % 13];
    s.title = "Song";
    s.disc = i % 3 == 0 ? 2147483647 : i % 2;
    s.track = (i * 31) % 7 - 2;
    Add(s);
  }
  ASSERT_TRUE(db_.Exec("COMMIT"));
  Result whole = Songs("shared", 0, "title = 'Song'");
  Result paged = Songs("shared", 0, "title = 'Song'", 100000);
  ASSERT_EQ(600, whole.rc);
  EXPECT_EQ(paged.paths, whole.paths);
  // The whole list's statement leaves the sorting to the records.
  BrowseQuery q;
  q.condition = "title = 'Song'";
  q.order = kSongOrder;
  cantora::SqlPiece statement;
  bool empty = false;
  ASSERT_TRUE(cantora::BuildBrowseStatement(q, &statement, &empty));
  EXPECT_EQ(std::string::npos, statement.sql.find("ORDER BY")) << statement.sql;
  q.limit = 10;
  ASSERT_TRUE(cantora::BuildBrowseStatement(q, &statement, &empty));
  EXPECT_NE(std::string::npos, statement.sql.find("ORDER BY")) << statement.sql;
}

// MusicBrowseEach hands out what MusicBrowse lists, in its order, one
// record at a time: a whole list read as keys and then records by id
// breaks ties of album, disc and track by path as SongOrder does.
TEST_F(BrowseTest, RecordsHandedOutOneByOneComeInTheListsOrder) {
  AddTiedSongs(1500, 1, 3, true);
  auto paths_each = [this](const BrowseQuery& q, int* rc) {
    std::vector<std::string> paths;
    *rc = cantora::MusicBrowseEach(db_, q, [&](const MediaInfo& m) {
      paths.push_back(std::string(m.path) + "|" + m.album + "|" + std::to_string(m.library));
      return true;
    });
    return paths;
  };
  auto paths_list = [this](const BrowseQuery& q) {
    Result r = Browse(q);
    std::vector<std::string> paths;
    for (size_t i = 0; i < r.paths.size(); ++i)
      paths.push_back(r.paths[i] + "|" + r.albums[i] + "|" + std::to_string(r.libraries[i]));
    return paths;
  };
  for (const char* library : {"shared", "all", "personal"}) {
    for (const char* condition : {"title = 'Song'", "", "album = 'alpha' or disc = 1"}) {
      for (const char* order : {kSongOrder, "", "path desc"}) {
        for (int limit : {-1, 7, 1000}) {
          BrowseQuery q = SongList(library, kUser, condition, limit);
          q.order = order;
          int rc = -1;
          std::vector<std::string> each = paths_each(q, &rc);
          std::vector<std::string> list = paths_list(q);
          EXPECT_EQ(static_cast<int>(list.size()), rc) << library << condition << order << limit;
          EXPECT_EQ(list, each) << library << " / " << condition << " / " << order << " / " << limit;
        }
      }
    }
  }
}

// A whole list longer than what is read in one pass (8,192 songs) is read
// as keys, then its records by id: still the same list. Either way the
// handing out stops when asked and leaves the connection as it was.
TEST_F(BrowseTest, LongWholeListsHandedOutAreTheSameList) {
  AddTiedSongs(9000, 3, 100, false);
  for (const auto& [library, condition] :
       {std::pair<const char*, const char*>{"shared", ""}, {"all", "title = 'Song'"}}) {
    BrowseQuery q = SongList(library, kUser, condition);
    Result list = Browse(q);
    ASSERT_GT(list.rc, 8192);
    std::vector<std::string> each;
    int rc = cantora::MusicBrowseEach(db_, q, [&](const MediaInfo& m) {
      each.push_back(m.path);
      return true;
    });
    EXPECT_EQ(list.rc, rc);
    EXPECT_EQ(list.paths, each) << library << " / " << condition;
  }
  BrowseQuery q = SongList("shared", 0, nullptr);
  int seen = 0;
  int64_t tables = -1;
  int rc = cantora::MusicBrowseEach(db_, q, [&](const MediaInfo&) {
    // Outside the query's confinement, which reads no schema.
    tables = Count("SELECT count(*) FROM sqlite_master WHERE type = 'table'");
    return ++seen < 300;
  });
  EXPECT_EQ(300, rc);
  EXPECT_EQ(300, seen);
  EXPECT_GT(tables, 0);
  // Whatever happened inside, the connection is as it was.
  EXPECT_EQ(0, Count("PRAGMA query_only"));
  EXPECT_TRUE(sqlite3_get_autocommit(db_.get()));
  q.condition = "no_such_column = 1";
  EXPECT_EQ(-1, cantora::MusicBrowseEach(db_, q, [](const MediaInfo&) { return true; }));
  // The shorter list read in one pass stops alike.
  q.condition = "album = 'Alpha'";
  seen = 0;
  EXPECT_EQ(5, cantora::MusicBrowseEach(db_, q, [&](const MediaInfo&) { return ++seen < 5; }));
}

TEST_F(BrowseTest, IdsOfASelectionWithoutRecords) {
  AddLibrary();
  auto ids = [this](const char* library, const char* condition) {
    BrowseQuery q;
    q.library = library;
    q.uid = kUser;
    q.condition = condition;
    std::vector<int64_t> out;
    int rc = cantora::MusicBrowseIds(db_, q, [&](int64_t id) { out.push_back(id); });
    EXPECT_EQ(static_cast<int>(out.size()), rc);
    std::sort(out.begin(), out.end());
    return out;
  };
  auto expected = [this](const std::string& where) {
    std::vector<int64_t> out;
    sqlite::Statement st = db_.Prepare("SELECT id FROM song WHERE " + where + " ORDER BY id");
    while (st.Step() == SQLITE_ROW) out.push_back(st.Int(0));
    return out;
  };
  EXPECT_EQ(expected("library = 0"), ids("shared", nullptr));
  EXPECT_EQ(expected("library IN (0, 1001)"), ids("all", nullptr));
  EXPECT_EQ(expected("library = 0 AND genre = 'Rock'"), ids("shared", "genre = 'Rock'"));
  // Another user's songs stay out whatever the condition names.
  EXPECT_EQ(expected("library = 1001"), ids("personal", "library = 1002 or title <> ''"));
  BrowseQuery grouped;
  grouped.grouping = "genre";
  EXPECT_EQ(-1, cantora::MusicBrowseIds(db_, grouped, [](int64_t) {}));
}

TEST_F(BrowseTest, FoldersOneLevelBelowARoot) {
  // Records as the indexer makes them: each knows its parent's record.
  ASSERT_TRUE(db_.Exec(
      "INSERT INTO folder(id, library, path, parent_id, title) VALUES (1, 0, '/m', 0, 'm'), "
      "(2, 0, '/m/a', 1, 'a'), (3, 0, '/m/b', 1, 'b'), (4, 0, '/m/a/deeper', 2, 'deeper'), "
      "(5, 1001, '/home/u/music', 0, 'u'), (6, 1001, '/home/u/music/x', 5, 'x')"));
  BrowseQuery q;
  q.kind = cantora::kBrowseFolders;
  q.columns = "*";
  q.condition = " path LIKE '/m/%' AND path NOT LIKE '/m/%/%' ";
  q.order = "title asc";
  Result r = Browse(q);
  EXPECT_EQ((std::vector<std::string>{"a", "b"}), r.titles);
  q.library = "personal";
  q.uid = kUser;
  q.condition = "path like '/home/u/music/%' and path not like '/home/u/music/%/%' ";
  EXPECT_EQ(1, Browse(q).rc);
}

TEST_F(BrowseTest, FolderWithoutTitleIsCalledByItsName) {
  ASSERT_TRUE(db_.Exec("INSERT INTO folder(library, path, title) VALUES (0, '/m/Some Name', '')"));
  BrowseQuery q;
  q.kind = cantora::kBrowseFolders;
  EXPECT_EQ((std::vector<std::string>{"Some Name"}), Browse(q).titles);
}

TEST_F(BrowseTest, ColumnSubsetsAndUnquotedIds) {
  AddLibrary();
  BrowseQuery q;
  q.columns = "path, artist, title";
  q.condition = "id = 3";
  Result r = Browse(q);
  ASSERT_EQ(1, r.rc);
  EXPECT_EQ("\xC3\x84rzte", r.artists[0]);
  EXPECT_EQ("", r.albums[0]);
  q.condition = "id = '3'";
  EXPECT_EQ(1, Browse(q).rc);
  q.columns = "path; DROP TABLE song";
  EXPECT_LT(Browse(q).rc, 0);
}

TEST_F(BrowseTest, GroupedGenresArriveInTheTitle) {
  AddLibrary();
  BrowseQuery q;
  q.columns = "genre";
  q.grouping = "genre";
  q.order = "lower(genre) asc";
  ASSERT_TRUE(cantora::RebuildFacets(db_));
  Result facets = Browse(q);
  EXPECT_EQ((std::vector<std::string>{"Jazz", "Pop", "Rock"}), facets.titles);
  // The same through a scan of the songs.
  q.condition = "1 = 1";
  EXPECT_EQ(facets.titles, Browse(q).titles);
}

TEST_F(BrowseTest, AlbumsWholeLibraryAndByArtist) {
  AddLibrary();
  ASSERT_TRUE(cantora::RebuildFacets(db_));
  BrowseQuery q;
  q.columns = "album";
  q.grouping = "album";
  q.order = "lower(album) asc";
  EXPECT_EQ((std::vector<std::string>{"Alpha", "beta", "Gamma"}), Browse(q).albums);
  q.library = "all";
  q.uid = kUser;
  EXPECT_EQ((std::vector<std::string>{"Alpha", "beta", "Gamma", "Private"}), Browse(q).albums);
  q.library = "shared";
  q.condition = "artist_search = UPPER('band a') OR album_artist_search = UPPER('band a')";
  EXPECT_EQ((std::vector<std::string>{"Alpha", "Gamma"}), Browse(q).albums);
}

TEST_F(BrowseTest, ArtistsInSortOrder) {
  Song s;
  s.path = "/m/1";
  s.artist = "The Zombies";
  s.artist_sort = "Zombies, The";
  Add(s);
  s.path = "/m/2";
  s.artist = "abba";
  s.artist_sort = "";
  Add(s);
  s.path = "/m/3";
  s.artist = "Beatles";
  s.artist_sort = "Beatles";
  Add(s);
  s.path = "/m/4";
  Add(s);
  ASSERT_TRUE(cantora::RebuildFacets(db_));
  BrowseQuery q;
  q.order = "artist_sort asc";
  q.mode = cantora::kBrowseArtists;
  Result facets = Browse(q);
  EXPECT_EQ((std::vector<std::string>{"abba", "Beatles", "The Zombies"}), facets.artists);
  EXPECT_EQ(facets.artists, facets.titles);
  q.condition = "1 = 1";  // the same through a scan of the songs
  EXPECT_EQ(facets.artists, Browse(q).artists);
}

TEST_F(BrowseTest, NewestAlbums) {
  AddLibrary();
  ASSERT_TRUE(cantora::RebuildFacets(db_));
  BrowseQuery q;
  q.columns = "album";
  q.order = "create_date desc";
  q.mode = cantora::kBrowseNewestAlbums;
  q.limit = 2;
  EXPECT_EQ((std::vector<std::string>{"Gamma", "beta"}), Browse(q).albums);
  q.library = "all";
  q.uid = kUser;
  EXPECT_EQ((std::vector<std::string>{"Private", "Gamma"}), Browse(q).albums);
  q.condition = "genre = 'Rock'";
  EXPECT_EQ((std::vector<std::string>{"Private", "Alpha"}), Browse(q).albums);
}

TEST_F(BrowseTest, EmptyLibrary) {
  BrowseQuery q;
  q.columns = "album";
  q.grouping = "album";
  EXPECT_EQ(0, Browse(q).rc);
  q.mode = cantora::kBrowseArtists;
  EXPECT_EQ(0, Browse(q).rc);
}

TEST_F(BrowseTest, AttacksGiveNothingMoreAndChangeNothing) {
  AddLibrary();
  ASSERT_TRUE(cantora::RebuildFacets(db_));
  std::string before = Digest();
  // What an honest request for one album of user kUser's own library gives.
  Result honest = Songs("personal", kUser, "album = 'Private'");
  const char* attacks[] = {
      "1) OR (1=1",
      "album = 'x') OR (1=1",
      "1; DELETE FROM song",
      "album = 'Private'; DELETE FROM song",
      "album = 'Private' --",
      "album = 'Private' /*",
      "1 = 1 OR library = 1002",
      "library = 1002",
      "library <> 1001",
      "ATTACH DATABASE '/tmp/evil.db' AS evil",
      "pragma writable_schema=1",
      "id IN (SELECT id FROM song WHERE library = 1002)",
      "album = (SELECT sql FROM sqlite_master)",
      "EXISTS (SELECT 1 FROM sqlite_master)",
      "album = 'x' UNION SELECT * FROM song",
  };
  for (const char* attack : attacks) {
    Result r = Songs("personal", kUser, attack);
    EXPECT_LE(r.rc, honest.rc) << attack;
    for (int library : r.libraries) EXPECT_EQ(kUser, library) << attack;
    // Also through the order and grouping fragments.
    BrowseQuery q;
    q.library = "personal";
    q.uid = kUser;
    q.order = attack;
    EXPECT_LE(Browse(q).rc, 1) << attack;
    q.order = nullptr;
    q.grouping = attack;
    EXPECT_LT(Browse(q).rc, 0) << attack;
    q.grouping = nullptr;
    q.columns = attack;
    EXPECT_LT(Browse(q).rc, 0) << attack;
  }
  EXPECT_EQ(before, Digest());
  // The connection is left writable for its other users.
  EXPECT_TRUE(db_.Exec("UPDATE song SET title = title"));
}

TEST_F(BrowseTest, OnlyKnownKindsAndModes) {
  AddLibrary();
  BrowseQuery q;
  q.kind = 2;
  EXPECT_LT(Browse(q).rc, 0);
  q.kind = 0;
  q.mode = 3;
  EXPECT_LT(Browse(q).rc, 0);
  q.kind = cantora::kBrowseFolders;
  q.mode = cantora::kBrowseArtists;
  EXPECT_LT(Browse(q).rc, 0);
}

TEST_F(BrowseTest, QueriesUseTheIndexes) {
  ASSERT_TRUE(db_.Exec("BEGIN"));
  for (int i = 0; i < 3000; ++i) {
    Song s;
    s.library = i % 10 == 0 ? kUser : 0;
    s.path = "/m/" + std::to_string(i);
    s.title = "Title " + std::to_string(i);
    s.album = "Album " + std::to_string(i / 12);
    s.artist = "Artist " + std::to_string(i / 40);
    s.album_artist = "Artist " + std::to_string(i / 120);
    s.genre = "Genre " + std::to_string(i % 25);
    Add(s);
  }
  ASSERT_TRUE(db_.Exec("COMMIT"));
  ASSERT_TRUE(cantora::RebuildFacets(db_));
  BrowseQuery q;
  q.order = kSongOrder;
  q.condition = "album = 'Alpha'";
  EXPECT_NE(std::string::npos, Plan(q).find("INDEX song_album ")) << Plan(q);
  q.condition = "genre = 'Rock'";
  EXPECT_NE(std::string::npos, Plan(q).find("INDEX song_genre ")) << Plan(q);
  q.condition = "genre = 'Rock' and album = 'Alpha'";
  EXPECT_EQ(std::string::npos, Plan(q).find("SCAN song")) << Plan(q);
  q.condition = "artist_search = UPPER('x') or album_artist_search = UPPER('x')";
  std::string plan = Plan(q);
  EXPECT_NE(std::string::npos, plan.find("MULTI-INDEX OR")) << plan;
  EXPECT_NE(std::string::npos, plan.find("INDEX song_artist ")) << plan;
  EXPECT_NE(std::string::npos, plan.find("INDEX song_album_artist ")) << plan;
  q.library = "all";
  q.uid = kUser;
  plan = Plan(q);
  EXPECT_NE(std::string::npos, plan.find("MULTI-INDEX OR")) << plan;
  q.condition = "album = 'Alpha' and (artist_search = UPPER('x') or album_artist_search = UPPER('x'))";
  EXPECT_EQ(std::string::npos, Plan(q).find("SCAN song")) << Plan(q);
  q.library = "shared";
  q.condition = "title ilike '%love%' or album ilike '%love%' or artist ilike '%love%' or "
                "album_artist ilike '%love%'";
  plan = Plan(q);
  EXPECT_NE(std::string::npos, plan.find("song_fts")) << plan;
  EXPECT_EQ(std::string::npos, plan.find("SCAN song ")) << plan;
  EXPECT_EQ(std::string::npos, plan.find("INDEX song_")) << plan;
}

TEST_F(BrowseTest, WholeLibraryListingsReadFacets) {
  BrowseQuery q;
  q.columns = "album";
  q.grouping = "album";
  q.order = "lower(album) asc";
  EXPECT_EQ(std::string::npos, Plan(q).find("song")) << Plan(q);
  q.mode = cantora::kBrowseNewestAlbums;
  q.grouping = nullptr;
  EXPECT_EQ(std::string::npos, Plan(q).find("song")) << Plan(q);
  q.mode = cantora::kBrowseArtists;
  EXPECT_EQ(std::string::npos, Plan(q).find("song")) << Plan(q);
}

}  // namespace
