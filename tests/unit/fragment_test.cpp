#include "platform/index/fragment.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using cantora::IndexTable;
using cantora::SqlPiece;
using cantora::SqlValue;

struct Translated {
  bool ok = false;
  SqlPiece piece;
  std::string fts;
};

Translated Condition(const std::string& text, IndexTable table = IndexTable::kSong) {
  Translated t;
  t.ok = cantora::TranslateCondition(text, table, &t.piece, &t.fts);
  return t;
}

TEST(FragmentTest, EqualityBecomesABoundParameter) {
  Translated t = Condition("album = 'It''s a \\ thing'");
  ASSERT_TRUE(t.ok);
  EXPECT_EQ("((album = ?))", t.piece.sql);
  ASSERT_EQ(1u, t.piece.values.size());
  EXPECT_EQ("It's a \\ thing", t.piece.values[0].text);  // backslash is ordinary text
  EXPECT_EQ("", t.fts);
}

TEST(FragmentTest, HandlerConditionsTranslate) {
  EXPECT_EQ("(((artist_search = upper(?)) OR (album_artist_search = upper(?))))",
            Condition("artist_search = UPPER('X') or album_artist_search = UPPER('X')").piece.sql);
  EXPECT_EQ("(((genre = ?) AND (album = ?)))", Condition("genre = 'g' and album = 'a'").piece.sql);
  EXPECT_EQ("(((album = ?) AND ((artist_search = upper(?)) AND (album_artist_search = upper(?)))))",
            Condition("album = 'a' and (artist_search = UPPER('') and album_artist_search = UPPER(''))")
                .piece.sql);
  EXPECT_EQ("((id = ?))", Condition("id = 42").piece.sql);
  EXPECT_EQ(SqlValue::Type::kInteger, Condition("id = 42").piece.values[0].type);
}

TEST(FragmentTest, LikeAndIlikeBecomeFunctions) {
  EXPECT_EQ("((pg_ilike(title, ?)))", Condition("title ilike '%a%'").piece.sql);
  EXPECT_EQ("((pg_like(path, ?)))", Condition("path LIKE '/m/%'").piece.sql);
  EXPECT_EQ("(((pg_like(path, ?)) AND (NOT pg_like(path, ?))))",
            Condition(" path LIKE '/m/%' AND path NOT LIKE '/m/%/%' ").piece.sql);
}

TEST(FragmentTest, OtherPredicates) {
  EXPECT_TRUE(Condition("path in ('/a', '/b') or path like '/home/u/music'").ok);
  EXPECT_TRUE(Condition("year between 1990 and 1999 and not (track is null)").ok);
  EXPECT_TRUE(Condition("title is not null and duration >= 59.9 and track <> -1").ok);
  EXPECT_TRUE(Condition("lower(album) = lower('X') || 'y'").ok);
  EXPECT_TRUE(Condition("covercount * 2 + 1 > 3 / 1").ok);
  EXPECT_TRUE(Condition("path not in ('/a')").ok);
}

TEST(FragmentTest, RefusesWhatIsNotAnExpressionOverTheTable) {
  const char* refused[] = {
      "1) OR (1=1",
      "(album = 'a'",
      "album = 'a')",
      "album = 'a'; DELETE FROM song",
      "1; DELETE FROM song",
      "album = 'a' -- comment",
      "album = 'a' /* comment */",
      "album = 'a' --",
      "1 --1",
      "album = \"a\"",
      "album = 'unterminated",
      "id IN (SELECT id FROM song)",
      "id = (select count(*) from users)",
      "ATTACH DATABASE '/tmp/x' AS x",
      "pragma writable_schema = 1",
      "name = 'root'",                 // not a column of the index
      "sqlite_master.sql like '%'",
      "EXISTS (SELECT 1 FROM sqlite_master)",
      "load_extension('x')",
      "random() > 0",
      "album = 'a' COLLATE nocase",
      "album = E'\\x41'",
      "album = 'a' ESCAPE '!'",
      "album",
      "1",
      "album or 1 = 1",
      "lower(album)",
      "not",
      "",
      "album = 1e5",
      "album = $1",
      "album = ?",
      "album = :name",
      "title = 'a' UNION SELECT path FROM song",
      "title ilike '%a%' and 1 = 1 or",
  };
  for (const char* text : refused) EXPECT_FALSE(Condition(text).ok) << text;
}

TEST(FragmentTest, FolderTableHasItsOwnColumns) {
  EXPECT_TRUE(Condition("path like '/a/%'", IndexTable::kFolder).ok);
  EXPECT_FALSE(Condition("album = 'a'", IndexTable::kFolder).ok);
}

TEST(FragmentTest, DepthIsBounded) {
  std::string deep(200, '(');
  deep += "1 = 1";
  deep += std::string(200, ')');
  EXPECT_FALSE(Condition(deep).ok);
  std::string nots;
  for (int i = 0; i < 200; ++i) nots += "not ";
  EXPECT_FALSE(Condition(nots + "1 = 1").ok);
  std::string minus;
  for (int i = 0; i < 200; ++i) minus += "- ";
  EXPECT_FALSE(Condition("id = " + minus + "1").ok);
  std::string sum = "id = 1";
  for (int i = 0; i < 5000; ++i) sum += " + 1";
  EXPECT_FALSE(Condition(sum).ok);
  EXPECT_TRUE(Condition("((((id = 1))))").ok);
  EXPECT_TRUE(Condition("id = 1 + 2 + 3 + 4").ok);
}

TEST(FragmentTest, TrigramCandidatesForSubstringSearch) {
  EXPECT_EQ("(\"lov\" AND \"ove\")", Condition("title ilike '%LOVE%'").fts);
  // One key over several columns is one query of the index.
  EXPECT_EQ("(\"lov\" AND \"ove\")",
            Condition("title ilike '%love%' or album_artist ilike '%LOVE%'").fts);
  EXPECT_EQ("((\"lov\" AND \"ove\") OR (\"hat\" AND \"ate\"))",
            Condition("title ilike '%love%' or album ilike '%hate%' or artist ilike '%love%'").fts);
  // Runs split at wildcards; escaped ones are literal characters.
  EXPECT_EQ("(\"100\" AND \"00%\")", Condition("title ilike '%100\\%%'").fts);
  EXPECT_EQ("(\"abc\")", Condition("title ilike '%ab_%abc'").fts);
  // Folded the way the index stores text.
  EXPECT_EQ("(\"\xC3\xA4rz\")", Condition("artist ilike '%\xC3\x84RZ%'").fts);
  // Quotes inside a token are doubled for the index's query syntax.
  EXPECT_EQ("(\"a\"\"b\")", Condition("title like '%a\"b%'").fts);
}

TEST(FragmentTest, NoCandidatesWhenTheIndexCannotServe) {
  EXPECT_EQ("", Condition("title ilike '%lo%'").fts);                       // too short
  EXPECT_EQ("", Condition("title ilike '%l_v%'").fts);
  EXPECT_EQ("", Condition("title ilike '%love%' or album ilike '%xy%'").fts);  // one branch short
  EXPECT_EQ("", Condition("composer ilike '%love%'").fts);                  // not indexed
  EXPECT_EQ("", Condition("title not ilike '%love%'").fts);
  EXPECT_EQ("", Condition("title ilike '%love%' or genre = 'x'").fts);
  EXPECT_EQ("(\"lov\" AND \"ove\")", Condition("title ilike '%love%' and genre = 'x'").fts);
  EXPECT_EQ("", Condition("path ilike '%love%'", IndexTable::kFolder).fts);
}

TEST(FragmentTest, ColumnLists) {
  std::vector<std::string> columns;
  EXPECT_TRUE(cantora::ParseColumnList("path, artist, TITLE", IndexTable::kSong, &columns));
  EXPECT_EQ((std::vector<std::string>{"path", "artist", "title"}), columns);
  for (const char* bad : {"", "*", "album,", "album; drop", "album album", "users", "lower(album)"}) {
    std::vector<std::string> c;
    EXPECT_FALSE(cantora::ParseColumnList(bad, IndexTable::kSong, &c)) << bad;
  }
}

TEST(FragmentTest, Orders) {
  SqlPiece order;
  ASSERT_TRUE(cantora::TranslateOrder("lower(album) asc, disc asc, track asc, path asc",
                                      IndexTable::kSong, &order));
  EXPECT_EQ("lower(album) ASC, disc ASC, track ASC, path ASC", order.sql);
  SqlPiece plain;
  ASSERT_TRUE(cantora::TranslateOrder("album, disc, track, title, artist, genre, year, path, duration",
                                      IndexTable::kSong, &plain));
  SqlPiece desc;
  ASSERT_TRUE(cantora::TranslateOrder("create_date DESC", IndexTable::kSong, &desc));
  EXPECT_EQ("create_date DESC", desc.sql);
  for (const char* bad : {"album; DELETE FROM song", "album asc desc", "(select 1)", "album,",
                          "random()", "1 --"}) {
    SqlPiece p;
    EXPECT_FALSE(cantora::TranslateOrder(bad, IndexTable::kSong, &p)) << bad;
  }
}

}  // namespace
