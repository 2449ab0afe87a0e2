// The typed query: what its builders say in SQL, that they mean what the
// same text means, how orders are named, the song columns' one table, and
// the access method the planner chooses for a tree.
#include "platform/index/query.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "platform/index/browse_plan.h"
#include "platform/index/fragment.h"
#include "platform/index/query_sql.h"
#include "platform/index/schema.h"
#include "platform/index/song_columns.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {
namespace {

std::string Sql(const Expr& e, IndexTable table = IndexTable::kSong) {
  SqlPiece piece;
  AppendExpr(e, table, &piece);
  return piece.sql;
}

std::vector<std::string> Values(const SqlPiece& piece) {
  std::vector<std::string> out;
  for (const SqlValue& v : piece.values) {
    switch (v.type) {
      case SqlValue::Type::kText: out.push_back("t:" + v.text); break;
      case SqlValue::Type::kInteger: out.push_back("i:" + std::to_string(v.integer)); break;
      case SqlValue::Type::kReal: out.push_back("r:" + std::to_string(v.real)); break;
    }
  }
  return out;
}

// The SQL of a condition as the text path translates it, without its outer
// parentheses.
SqlPiece FromText(const std::string& text) {
  SqlPiece piece;
  std::string fts;
  EXPECT_TRUE(TranslateCondition(text, IndexTable::kSong, &piece, &fts)) << text;
  if (piece.sql.size() >= 2) piece.sql = piece.sql.substr(1, piece.sql.size() - 2);
  return piece;
}

std::vector<ExprPtr> List(ExprPtr a, ExprPtr b) {
  std::vector<ExprPtr> v;
  v.push_back(std::move(a));
  v.push_back(std::move(b));
  return v;
}

TEST(Query, IdInBindsEveryIdAsAnInteger) {
  const int64_t ids[] = {7, 3, 5000000000};
  ExprPtr e = query::IdIn(ids, 3);
  SqlPiece piece;
  AppendExpr(*e, IndexTable::kSong, &piece);
  EXPECT_EQ("(id IN (?, ?, ?))", piece.sql);
  EXPECT_EQ((std::vector<std::string>{"i:7", "i:3", "i:5000000000"}), Values(piece));
  EXPECT_TRUE(IsPredicate(*e));
  EXPECT_EQ("(id in (7, 3, 5000000000))", FragmentText(*e));
}

TEST(Query, BuiltTreesMeanWhatTheirTextMeans) {
  ExprPtr built = query::And(List(
      query::Compare(Column::kGenre, Expr::Op::kEq, query::Text("Rock 'n' Roll")),
      query::Or(List(query::Like(Column::kTitle, "%love%", true),
                     query::Between(Column::kYear, query::Number("1990"), query::Number("59.5"))))));
  std::string text = FragmentText(*built);
  EXPECT_EQ(
      "((genre = 'Rock ''n'' Roll') and ((title ilike '%love%') or (year between 1990 and 59.5)))",
      text);
  SqlPiece from_tree;
  AppendExpr(*built, IndexTable::kSong, &from_tree);
  SqlPiece from_text = FromText(text);
  EXPECT_EQ(from_text.sql, from_tree.sql);
  EXPECT_EQ(Values(from_text), Values(from_tree));
  EXPECT_EQ((std::vector<std::string>{"t:Rock 'n' Roll", "t:%love%", "i:1990", "r:59.500000"}),
            Values(from_tree));
  // Candidates come from the tree alone: one branch without them, none.
  EXPECT_EQ("", CandidateQuery(*built->kids[1]));
  ExprPtr search = query::Or(List(query::Like(Column::kTitle, "%love%", true),
                                  query::Like(Column::kArtist, "%love%", true)));
  EXPECT_EQ("(\"lov\" AND \"ove\")", CandidateQuery(*search));
  ExprPtr refused = query::Like(Column::kTitle, "%love%", true, true);
  EXPECT_EQ("", CandidateQuery(*refused));
}

TEST(Query, NumbersAreReadAsTheGrammarReadsThem) {
  EXPECT_EQ(Expr::Kind::kInteger, query::Number("42")->kind);
  EXPECT_EQ(Expr::Kind::kReal, query::Number("4.5")->kind);
  EXPECT_EQ(Expr::Kind::kReal, query::Number("99999999999999999999")->kind);
  EXPECT_EQ("(year > -5)", FragmentText(*query::Compare(Column::kYear, Expr::Op::kGt,
                                                        query::Integer(-5))));
}

TEST(Query, ATreeOfValuesIsNoCondition) {
  EXPECT_FALSE(IsPredicate(*query::ColumnRef(Column::kTitle)));
  EXPECT_FALSE(IsPredicate(*query::And({})));
  EXPECT_FALSE(IsPredicate(*query::Not(query::Text("x"))));
  EXPECT_TRUE(IsPredicate(*query::Not(query::Like(Column::kPath, "/m/%", false))));
}

TEST(Query, FolderIdentityTakesPathsLiterally) {
  EXPECT_EQ("(parent_id = (SELECT id FROM folder WHERE path = ?))",
            Sql(*query::ChildrenOf("/m/O'Neil"), IndexTable::kFolder));
  EXPECT_EQ("(folder_id = (SELECT id FROM folder WHERE path = ?))", Sql(*query::ChildrenOf("/m/a")));
  EXPECT_EQ("(path IN (?, ?))", Sql(*query::PathIn({"/m/a", "/m/b%"})));
  EXPECT_EQ("", FragmentText(*query::Below("/m/a")));
}

OrderBy Parsed(const std::string& text) {
  OrderBy order;
  EXPECT_TRUE(ParseOrder(text, IndexTable::kSong, &order)) << text;
  return order;
}

TEST(Query, OrdersAreNamedByTheirTerms) {
  EXPECT_EQ(SongOrder::kSongList, Parsed("lower(album) asc, disc asc, track asc, path asc").kind);
  EXPECT_EQ(SongOrder::kSongList, Parsed("LOWER( (album) ), disc, track ASC, (path)").kind);
  EXPECT_EQ(SongOrder::kOther, Parsed("lower(album) desc, disc, track, path").kind);
  EXPECT_EQ(SongOrder::kOther, Parsed("album, disc, track, path").kind);
  EXPECT_EQ(SongOrder::kOther, Parsed("lower(album), disc, track, path, title").kind);
  OrderBy song_list = SongListOrder();
  EXPECT_EQ(SongOrder::kSongList, NameOrder(song_list.terms));
  SqlPiece sql;
  AppendOrder(song_list, IndexTable::kSong, &sql);
  EXPECT_EQ(kSongListOrderSql, sql.sql);
  EXPECT_EQ("lower(album) asc, disc asc, track asc, path asc", FragmentText(song_list));
  EXPECT_TRUE(IsLowerAscending(Parsed("lower(genre)"), Column::kGenre));
  EXPECT_FALSE(IsLowerAscending(Parsed("lower(genre) desc"), Column::kGenre));
  EXPECT_FALSE(IsLowerAscending(Parsed("genre"), Column::kGenre));
}

// The song table is made from the one list of its columns: each column
// stands at the position its enum value names, with its type.
TEST(Query, TheSongTableIsItsColumnList) {
  sqlite::Database db;
  ASSERT_TRUE(db.Open(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr));
  std::string error;
  ASSERT_TRUE(CreateIndexSchema(db, &error)) << error;
  sqlite::Statement info = db.Prepare("PRAGMA table_info(song)");
  size_t n = 0;
  while (info.Step() == SQLITE_ROW) {
    ASSERT_LT(n, kSongColumnCount);
    const ColumnSpec& spec = kSongColumns[n];
    EXPECT_EQ(static_cast<size_t>(spec.column), n);
    EXPECT_EQ(static_cast<int64_t>(n), info.Int(0));
    EXPECT_STREQ(spec.name, info.Text(1));
    const char* type = spec.type == ColumnType::kText   ? "TEXT"
                       : spec.type == ColumnType::kReal ? "REAL"
                                                        : "INTEGER";
    EXPECT_STREQ(type, info.Text(2)) << spec.name;
    Column found;
    EXPECT_TRUE(ColumnOfName(IndexTable::kSong, spec.name, &found));
    EXPECT_EQ(spec.column, found);
    ++n;
  }
  EXPECT_EQ(kSongColumnCount, n);
  Column c;
  EXPECT_TRUE(ColumnOfName(IndexTable::kFolder, "parent_id", &c));
  EXPECT_FALSE(ColumnOfName(IndexTable::kSong, "parent_id", &c));
  EXPECT_FALSE(ColumnOfName(IndexTable::kFolder, "album", &c));
}

// ---- The planner: a query in, its access method out ----

Access AccessOf(const BrowseQuery& q) {
  Fragments f;
  Plan plan;
  EXPECT_TRUE(PlanQuery(q, &f, &plan));
  return plan.access;
}

class PlannerTest : public ::testing::Test {
 protected:
  PlannerTest() : search_(query::Or(List(query::Like(Column::kTitle, "%love%", true),
                                         query::Like(Column::kAlbum, "%love%", true)))) {}

  // A song list in the song lists' order.
  BrowseQuery SongList(const Expr* where, int limit = -1) {
    BrowseQuery q;
    q.where = where;
    q.order_by = &song_order_;
    q.limit = limit;
    return q;
  }

  OrderBy song_order_ = SongListOrder();
  ExprPtr search_;
  ExprPtr genre_ = query::Compare(Column::kGenre, Expr::Op::kEq, query::Text("Jazz"));
};

TEST_F(PlannerTest, WholeSongListsAreSortedInMemory) {
  EXPECT_EQ(Access::kSortRecords, AccessOf(SongList(nullptr)));
  EXPECT_EQ(Access::kSortRecords, AccessOf(SongList(genre_.get())));
  EXPECT_EQ(Access::kSortRecords, AccessOf(SongList(search_.get())));
  // Paged, a column subset, another order: SQLite orders them.
  EXPECT_EQ(Access::kStatement, AccessOf(SongList(genre_.get(), 10)));
  BrowseQuery q = SongList(genre_.get());
  q.offset = 5;
  EXPECT_EQ(Access::kStatement, AccessOf(q));
  q = SongList(genre_.get());
  q.columns = "path, title";
  EXPECT_EQ(Access::kStatement, AccessOf(q));
  q = SongList(genre_.get());
  q.order_by = nullptr;
  q.order = "path";
  EXPECT_EQ(Access::kStatement, AccessOf(q));
}

TEST_F(PlannerTest, LimitedSearchesOfOneLibraryCountTheirCandidates) {
  EXPECT_EQ(Access::kCandidates, AccessOf(SongList(search_.get(), 1000)));
  // No trigram candidates: the statement.
  ExprPtr short_key = query::Like(Column::kTitle, "%lo%", true);
  EXPECT_EQ(Access::kStatement, AccessOf(SongList(short_key.get(), 1000)));
  // Two libraries: SQLite merges them by sorting.
  BrowseQuery both = SongList(search_.get(), 1000);
  both.library = "all";
  both.uid = 7;
  EXPECT_EQ(Access::kStatement, AccessOf(both));
  // The handler's text names the same order and the same plan.
  BrowseQuery text;
  text.condition = "title ilike '%love%' or album ilike '%love%'";
  text.order = "lower(album) asc, disc asc, track asc, path asc";
  text.limit = 1000;
  EXPECT_EQ(Access::kCandidates, AccessOf(text));
}

TEST_F(PlannerTest, CandidatesAreWalkedWhenTheyOutnumberTwiceTheRowsWanted) {
  EXPECT_EQ(CandidateWalk::kSortMatches, ChooseCandidateWalk(100, 0, 50));
  EXPECT_EQ(CandidateWalk::kWalkOrder, ChooseCandidateWalk(101, 0, 50));
  EXPECT_EQ(CandidateWalk::kSortMatches, ChooseCandidateWalk(300, 100, 50));
  EXPECT_EQ(CandidateWalk::kWalkOrder, ChooseCandidateWalk(301, 100, 50));
}

TEST_F(PlannerTest, WholeLibraryListingsReadTheFacets) {
  BrowseQuery artists;
  artists.mode = kBrowseArtists;
  EXPECT_EQ(Access::kFacet, AccessOf(artists));
  artists.facets_current = false;
  EXPECT_EQ(Access::kStatement, AccessOf(artists));
  artists.facets_current = true;
  artists.where = genre_.get();
  EXPECT_EQ(Access::kStatement, AccessOf(artists));

  BrowseQuery genres;
  genres.columns = "genre";
  genres.grouping = "genre";
  EXPECT_EQ(Access::kFacet, AccessOf(genres));
  genres.order = "lower(genre) asc";
  EXPECT_EQ(Access::kFacet, AccessOf(genres));
  genres.order = "genre desc";
  EXPECT_EQ(Access::kStatement, AccessOf(genres));
  genres.order = nullptr;
  genres.grouping = "genre, year";
  EXPECT_EQ(Access::kStatement, AccessOf(genres));
}

TEST_F(PlannerTest, FoldersAndEmptyScopes) {
  BrowseQuery folders;
  folders.kind = kBrowseFolders;
  folders.order_by = &song_order_;
  ExprPtr children = query::ChildrenOf("/m");
  folders.where = children.get();
  EXPECT_EQ(Access::kStatement, AccessOf(folders));
  BrowseQuery personal = SongList(nullptr);
  personal.library = "personal";
  personal.uid = 0;
  EXPECT_EQ(Access::kNone, AccessOf(personal));
}

TEST_F(PlannerTest, AValueIsNoCondition) {
  ExprPtr value = query::ColumnRef(Column::kTitle);
  BrowseQuery q = SongList(value.get());
  Fragments f;
  Plan plan;
  EXPECT_FALSE(PlanQuery(q, &f, &plan));
}

}  // namespace
}  // namespace cantora
