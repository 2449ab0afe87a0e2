#include "platform/playlist/random_songs.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/index/schema.h"
#include "platform/index/sql_functions.h"
#include "tests/unit/song_rows.h"

namespace {

// An index of `shared` songs of library 0 with `personal` songs of library 7
// spread among them.
void Fill(sqlite::Database* db, int shared, int personal) {
  std::string error;
  ASSERT_TRUE(db->Open(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, &error)) << error;
  ASSERT_TRUE(cantora::RegisterIndexFunctions(db->get()));
  ASSERT_TRUE(cantora::CreateIndexSchema(*db, &error)) << error;
  db->Exec("BEGIN");
  SongRows songs(db);
  const int total = shared + personal;
  const int step = personal > 0 ? total / personal : 0;
  int placed = 0;
  for (int i = 0; i < total; ++i) {
    bool mine = step > 0 && i % step == 0 && placed < personal;
    if (mine) ++placed;
    SongRow row;
    row.library = mine ? 7 : 0;
    row.path = "/m/" + std::to_string(i);
    ASSERT_TRUE(songs.Add(row));
  }
  db->Exec("COMMIT");
}

std::set<int64_t> LibraryOf(sqlite::Database& db, int64_t library) {
  std::set<int64_t> ids;
  sqlite::Statement st = db.Prepare("SELECT id FROM song WHERE library = ?");
  st.Bind(1, library);
  while (st.Step() == SQLITE_ROW) ids.insert(st.Int(0));
  return ids;
}

TEST(RandomSongsTest, SmallScopeGivesEverySongOnceInRandomOrder) {
  sqlite::Database db;
  Fill(&db, 3000, 40);
  std::set<int64_t> mine = LibraryOf(db, 7);
  ASSERT_EQ(mine.size(), 40u);
  std::vector<int64_t> first, second;
  ASSERT_TRUE(cantora::RandomSongIds(db, {7}, 100, &first));
  ASSERT_TRUE(cantora::RandomSongIds(db, {7}, 100, &second));
  EXPECT_EQ(std::set<int64_t>(first.begin(), first.end()), mine);
  EXPECT_EQ(first.size(), 40u);
  EXPECT_NE(first, second);
}

TEST(RandomSongsTest, LargeScopeDistinctSongsOfTheScopeOnly) {
  sqlite::Database db;
  Fill(&db, 5000, 100);
  std::set<int64_t> shared = LibraryOf(db, 0);
  std::vector<int64_t> ids;
  ASSERT_TRUE(cantora::RandomSongIds(db, {0}, 100, &ids));
  ASSERT_EQ(ids.size(), 100u);
  std::set<int64_t> distinct(ids.begin(), ids.end());
  EXPECT_EQ(distinct.size(), 100u);
  for (int64_t id : ids) EXPECT_EQ(shared.count(id), 1u) << id;
  std::vector<int64_t> again;
  ASSERT_TRUE(cantora::RandomSongIds(db, {0}, 100, &again));
  EXPECT_NE(ids, again);
  ASSERT_TRUE(cantora::RandomSongIds(db, {0, 7}, 10, &ids));
  EXPECT_EQ(ids.size(), 10u);
}

TEST(RandomSongsTest, EmptyScopeOrNothingAsked) {
  sqlite::Database db;
  Fill(&db, 10, 0);
  std::vector<int64_t> ids = {1};
  ASSERT_TRUE(cantora::RandomSongIds(db, {3}, 100, &ids));
  EXPECT_TRUE(ids.empty());
  ASSERT_TRUE(cantora::RandomSongIds(db, {}, 100, &ids));
  EXPECT_TRUE(ids.empty());
  ASSERT_TRUE(cantora::RandomSongIds(db, {0}, 0, &ids));
  EXPECT_TRUE(ids.empty());
}

}  // namespace
