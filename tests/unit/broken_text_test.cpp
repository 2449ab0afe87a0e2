// Text that is not UTF-8 through the pieces that fold, match, sort and write
// it: invalid sequences fold to themselves, match and compare as bytes, and
// leave the valid text around them (and the order of valid rows) as it is.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "enumerate/song_item.h"
#include "platform/index/facets.h"
#include "platform/index/like.h"
#include "platform/index/media_info.h"
#include "platform/index/schema.h"
#include "platform/index/sql_functions.h"
#include "platform/lib/sqlite/database.h"
#include "platform/text/casefold.h"
#include "platform/text/utf8.h"
#include "tests/unit/json_reference.h"
#include "tests/unit/song_rows.h"

namespace {

using cantora::FoldLower;
using cantora::FoldUpper;
using cantora::LikeMatch;
using cantora::LikeResult;

// One of each kind of sequence that is not UTF-8.
const std::vector<std::string>& Broken() {
  static const std::vector<std::string> broken = {
      "\xff",              // never in UTF-8
      "\xfe\xff",          // a UTF-16 byte order mark
      "\x80",              // a lone continuation byte
      "\xc3\x28",          // a lead byte without its continuation
      "\xe2\x82",          // a sequence cut short
      "\xc0\xaf",          // an overlong '/'
      "\xe0\x80\xaf",      // an overlong '/' in three bytes
      "\xed\xa0\x80",      // a surrogate code point
      "\xf4\x90\x80\x80",  // above U+10FFFF
      "\xf8\x88\x80\x80\x80",  // a five-byte form
  };
  return broken;
}

TEST(BrokenText, TheUtf8TestRefusesEveryKind) {
  for (const std::string& b : Broken()) {
    EXPECT_FALSE(TryUTF8ToUTF16(b.c_str())) << b;
    EXPECT_FALSE(TryUTF8ToUTF16(("Long enough ASCII " + b + " text").c_str())) << b;
  }
  EXPECT_TRUE(TryUTF8ToUTF16("\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xb5 \xf4\x8f\xbf\xbf"));
}

TEST(BrokenText, FoldsToItselfBetweenFoldedText) {
  for (const std::string& b : Broken()) {
    // "ÄB" + broken + "ΩZ": the valid characters around it fold, it does not.
    const std::string upper = "\xc3\x84" "B" + b + "\xce\xa9Z";
    const std::string lower = "\xc3\xa4" "b" + b + "\xcf\x89z";
    EXPECT_EQ(lower, FoldLower(upper)) << b;
    EXPECT_EQ(upper, FoldUpper(lower)) << b;
    EXPECT_EQ(b, FoldLower(b));
    EXPECT_EQ(b, FoldUpper(b));
    // Folding broken text twice changes nothing more.
    EXPECT_EQ(FoldLower(upper), FoldLower(FoldLower(upper))) << b;
    EXPECT_FALSE(TryUTF8ToUTF16(FoldLower(upper).c_str())) << b;
  }
}

TEST(BrokenText, ABrokenLeadByteDoesNotSwallowTheNextCharacter) {
  // 0xC3 before 'A' is not the start of "Ã": 'A' still lowers.
  EXPECT_EQ("\xc3" "a", FoldLower("\xc3" "A"));
  EXPECT_EQ("\xe2\x82" "\xc3\xa4", FoldLower("\xe2\x82" "\xc3\x84"));
}

LikeResult Like(const std::string& text, const std::string& pattern) {
  return LikeMatch(text, pattern);
}

TEST(BrokenText, LikeMatchesBrokenBytesOneByOne) {
  for (const std::string& b : Broken()) {
    const std::string text = "a" + b + "z";
    EXPECT_EQ(LikeResult::kMatch, Like(text, text)) << b;
    EXPECT_EQ(LikeResult::kMatch, Like(text, "a%z")) << b;
    EXPECT_EQ(LikeResult::kMatch, Like(text, "%" + b + "%")) << b;
    EXPECT_EQ(LikeResult::kMatch, Like(text, "a" + std::string(b.size(), '_') + "z")) << b;
    // Each byte is a character of its own.
    EXPECT_EQ(b.size() == 1 ? LikeResult::kMatch : LikeResult::kNoMatch, Like(text, "a_z")) << b;
    EXPECT_EQ(LikeResult::kNoMatch, Like("a" + b + "y", "%" + b + "z")) << b;
    // A backslash before a broken byte makes that byte literal.
    EXPECT_EQ(LikeResult::kMatch, Like(text, "a\\" + b + "z")) << b;
  }
  // A broken byte never matches a whole character it resembles.
  EXPECT_EQ(LikeResult::kNoMatch, Like("\xc3", "\xc3\xa9"));
  EXPECT_EQ(LikeResult::kNoMatch, Like("\xc3\xa9", "\xc3"));
  EXPECT_EQ(LikeResult::kMatch, Like("\xc3\xa9", "_"));
  EXPECT_EQ(LikeResult::kNoMatch, Like("\xc3\x28", "_"));
}

class BrokenTextSql : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(db_.Open(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, &error)) << error;
    ASSERT_TRUE(cantora::RegisterIndexFunctions(db_.get()));
  }
  // The column of the rows sql gives, with the bytes of each value.
  std::vector<std::string> Column(const std::string& sql,
                                  const std::vector<std::string>& binds = {}) {
    std::string error;
    sqlite::Statement s = db_.Prepare(sql, &error);
    EXPECT_TRUE(s.IsValid()) << sql << ": " << error;
    std::vector<std::string> out;
    if (!s.IsValid()) return out;
    for (size_t i = 0; i < binds.size(); ++i) s.Bind(static_cast<int>(i + 1), binds[i]);
    int rc;
    while ((rc = s.Step()) == SQLITE_ROW)
      out.push_back(s.IsNull(0) ? "NULL" : std::string(s.Text(0), s.Bytes(0)));
    EXPECT_EQ(SQLITE_DONE, rc) << sql << ": " << db_.ErrorMessage();
    return out;
  }
  sqlite::Database db_;
};

TEST_F(BrokenTextSql, FunctionsAcceptBrokenBytes) {
  for (const std::string& b : Broken()) {
    const std::string text = "\xc3\x84" "B" + b + "z";
    EXPECT_EQ((std::vector<std::string>{"\xc3\xa4" "b" + b + "z"}),
              Column("SELECT lower(?)", {text}));
    EXPECT_EQ((std::vector<std::string>{"\xc3\x84" "B" + b + "Z"}),
              Column("SELECT upper(?)", {text}));
    EXPECT_EQ((std::vector<std::string>{"\xc3\xa4" "b" + b + "z"}),
              Column("SELECT fold(?)", {text}));
    EXPECT_EQ((std::vector<std::string>{"1"}),
              Column("SELECT pg_ilike(?, ?)", {text, "%\xc3\xa4" "B" + b + "%"}));
    EXPECT_EQ((std::vector<std::string>{"0"}), Column("SELECT pg_like(?, ?)", {text, "%b" + b + "%"}));
  }
}

TEST_F(BrokenTextSql, BrokenRowsSortAsBytesAndLeaveTheValidOrder) {
  ASSERT_TRUE(db_.Exec("CREATE TABLE t(name TEXT)"));
  const std::vector<std::string> valid = {"apple", "Äpfel", "banana", "Zebra", "ωmega", "éclair"};
  for (const std::string& v : valid) Column("INSERT INTO t VALUES (?)", {v});
  std::vector<std::string> alone = Column("SELECT name FROM t ORDER BY lower(name), name");
  for (const std::string& b : Broken())
    for (const std::string& v : {"a" + b, b + "Z", "Ban" + b + "ana"})
      Column("INSERT INTO t VALUES (?)", {v});
  std::vector<std::string> mixed = Column("SELECT name FROM t ORDER BY lower(name), name");
  std::vector<std::string> valid_of_mixed;
  for (const std::string& name : mixed)
    if (TryUTF8ToUTF16(name.c_str())) valid_of_mixed.push_back(name);
  EXPECT_EQ(alone, valid_of_mixed);
  // Each broken name sits where its folded bytes put it.
  for (size_t i = 1; i < mixed.size(); ++i)
    EXPECT_LE(FoldLower(mixed[i - 1]), FoldLower(mixed[i])) << i;
}

TEST_F(BrokenTextSql, FacetsHoldBrokenNamesWithTheirFoldedKeys) {
  std::string error;
  ASSERT_TRUE(cantora::CreateIndexSchema(db_, &error)) << error;
  struct Row {
    std::string path, title, album, artist, genre;
  };
  const std::vector<Row> rows = {
      {"/m/1", "One", "Alpha", "The Band", "Rock"},
      {"/m/2", "Two", "Al\xff" "BUM", "Art\xc3\x28ST", "Ge\x80NRE"},
      {"/m/3", "Thr\xed\xa0\x80" "ee", "beta", "Zed", "jazz"},
      {"/m/4", "Four", "Gamma", "alpha", "Rock"},
  };
  SongRows songs(&db_);
  for (const Row& r : rows) {
    SongRow row;
    row.path = r.path;
    row.title = r.title;
    row.album = r.album;
    row.artist = r.artist;
    row.genre = r.genre;
    row.search_keys = true;  // album_artist_search of "": the default
    ASSERT_TRUE(songs.Add(row));
  }
  ASSERT_TRUE(cantora::RebuildFacets(db_));
  EXPECT_EQ((std::vector<std::string>{"Alpha", "Al\xff" "BUM", "beta", "Gamma"}),
            Column("SELECT value FROM facet WHERE kind = 2 ORDER BY sort_key, value"));
  EXPECT_EQ((std::vector<std::string>{"al\xff" "bum"}),
            Column("SELECT sort_key FROM facet WHERE value = ?", {"Al\xff" "BUM"}));
  EXPECT_EQ((std::vector<std::string>{"alpha", "art\xc3\x28st", "the band", "zed"}),
            Column("SELECT sort_key FROM facet WHERE kind = 1 ORDER BY sort_key"));
  EXPECT_EQ((std::vector<std::string>{"ge\x80nre", "jazz", "rock"}),
            Column("SELECT sort_key FROM facet WHERE kind = 3 ORDER BY sort_key"));
  // The artist's search text upper-cases around the broken bytes, and the
  // same bytes asked for find it.
  EXPECT_EQ((std::vector<std::string>{"/m/2"}),
            Column("SELECT path FROM song WHERE artist_search = upper(?)", {"art\xc3\x28st"}));
  // The trigram index takes broken text, and finds its valid words.
  EXPECT_EQ((std::vector<std::string>{"/m/3"}),
            Column("SELECT s.path FROM song_fts JOIN song s ON s.id = song_fts.rowid "
                   "WHERE song_fts MATCH ?",
                   {"\"thr\""}));
  EXPECT_EQ((std::vector<std::string>{"/m/2"}),
            Column("SELECT s.path FROM song_fts JOIN song s ON s.id = song_fts.rowid "
                   "WHERE song_fts MATCH ?",
                   {"\"bum\""}));
}

// The song item writes every byte as JsonCpp's writer does.
TEST(BrokenText, SongItemWritesBrokenBytesAsJsonCpp) {
  for (const std::string& b : Broken()) {
    // The record refers to these texts.
    const std::string path = "/m/" + b + ".mp3", title = "T" + b, album = b + "A",
                      artist = "\"" + b + "\\", album_artist = b + "\x01",
                      composer = "C\x7f" + b, comment = b + b;
    const cantora::MediaInfoTexts t{path, title, album, artist, album_artist, b, composer, comment};
    MediaInfo* info = cantora::NewMediaInfo(t);
    info->id = 9;
    info->track = 1;
    std::string text;
    AppendSongItem(*info, "shared", &text);
    Json::Value item(Json::objectValue);
    item["path"] = std::string(t.path);
    item["title"] = std::string(t.title);
    item["album"] = std::string(t.album);
    item["artist"] = std::string(t.artist);
    item["genre"] = std::string(t.genre);
    item["duration"] = "0";
    item["frequency"] = "0";
    item["bitrate"] = "0";
    item["channel"] = "0";
    item["filesize"] = "0";
    item["covercount"] = 0;
    item["id"] = "9";
    item["albumartist"] = std::string(t.album_artist);
    item["composer"] = std::string(t.composer);
    item["year"] = "0";
    item["track"] = "1";
    item["disc"] = "0";
    item["comment"] = std::string(t.comment);
    EXPECT_EQ(JsonCppText(item), text) << b;
    ZARNPlaylistRecFree(info);
  }
}

}  // namespace
