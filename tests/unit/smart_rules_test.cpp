// The smart playlist rule language: what it accepts, what it refuses (with
// which line), and the fragments it compiles into.
#include "platform/playlist/smart/rules.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "platform/index/fragment.h"

namespace {

using cantora::SmartPlaylist;
using cantora::SmartQuery;

constexpr time_t kNow = 1700000000;

// The playlist {"name": "P", <members>}.
std::string Doc(const std::string& members) {
  return "{\"name\": \"P\"" + (members.empty() ? "" : ", " + members) + "}";
}

// The playlist with one rule.
std::string OneRule(const std::string& field, const std::string& op, const std::string& value) {
  return Doc("\"rules\": [{\"field\": \"" + field + "\", \"op\": \"" + op +
             "\", \"value\": " + value + "}]");
}

SmartQuery Compile(const std::string& json) {
  SmartPlaylist p;
  std::string error;
  EXPECT_TRUE(cantora::ParseSmartPlaylist(json, &p, &error)) << error;
  return cantora::CompileSmartPlaylist(p, kNow);
}

std::string Condition(const std::string& json) { return Compile(json).condition; }

std::string Refusal(const std::string& json) {
  SmartPlaylist p;
  std::string error;
  EXPECT_FALSE(cantora::ParseSmartPlaylist(json, &p, &error)) << json;
  return error;
}

// Every compiled condition and order must be a fragment the index accepts.
void ExpectIndexAccepts(const SmartQuery& q) {
  cantora::SqlPiece piece;
  std::string fts;
  if (!q.condition.empty()) {
    EXPECT_TRUE(cantora::TranslateCondition(q.condition, cantora::IndexTable::kSong, &piece, &fts))
        << q.condition;
  }
  if (!q.order.empty()) {
    cantora::SqlPiece order;
    EXPECT_TRUE(cantora::TranslateOrder(q.order, cantora::IndexTable::kSong, &order)) << q.order;
  }
}

TEST(SmartRulesTest, MinimalPlaylistSelectsEverythingInTheDefaultOrder) {
  SmartQuery q = Compile("{\"name\": \"All\"}");
  EXPECT_EQ("", q.condition);
  EXPECT_EQ("lower(artist) asc, lower(album) asc, disc asc, track asc, path asc", q.order);
  EXPECT_FALSE(q.random);
  EXPECT_EQ(-1, q.limit);
  EXPECT_EQ("", Condition(Doc("\"rules\": []")));
  EXPECT_EQ("", Condition(Doc("\"match\": \"any\", \"rules\": []")));
}

TEST(SmartRulesTest, TextOperatorsOfEveryTextField) {
  for (const char* field :
       {"title", "artist", "album", "album_artist", "genre", "composer", "comment", "path"}) {
    std::string f = field;
    EXPECT_EQ("((" + f + " = 'Jazz'))", Condition(OneRule(f, "is", "\"Jazz\"")));
    EXPECT_EQ("((" + f + " <> 'Jazz'))", Condition(OneRule(f, "is_not", "\"Jazz\"")));
    EXPECT_EQ("((" + f + " ilike '%Jazz%'))", Condition(OneRule(f, "contains", "\"Jazz\"")));
    EXPECT_EQ("((" + f + " not ilike '%Jazz%'))",
              Condition(OneRule(f, "not_contains", "\"Jazz\"")));
    EXPECT_EQ("((" + f + " ilike 'Jazz%'))", Condition(OneRule(f, "starts_with", "\"Jazz\"")));
    EXPECT_EQ("((" + f + " ilike '%Jazz'))", Condition(OneRule(f, "ends_with", "\"Jazz\"")));
    ExpectIndexAccepts(Compile(OneRule(f, "not_contains", "\"x\"")));
  }
}

TEST(SmartRulesTest, TextValuesAreQuotedLiteralsAndPatternsMatchLiterally) {
  EXPECT_EQ("((title = 'Rock ''n'' Roll'))", Condition(OneRule("title", "is", "\"Rock 'n' Roll\"")));
  EXPECT_EQ("((title ilike '%100\\%\\_a\\\\b%'))",
            Condition(OneRule("title", "contains", "\"100%_a\\\\b\"")));
  std::string sql = "\"x'); DROP TABLE song; --\"";
  SmartQuery q = Compile(OneRule("artist", "is", sql));
  EXPECT_EQ("((artist = 'x''); DROP TABLE song; --'))", q.condition);
  // The whole text is one literal: the index binds it as one parameter.
  cantora::SqlPiece piece;
  std::string fts;
  ASSERT_TRUE(cantora::TranslateCondition(q.condition, cantora::IndexTable::kSong, &piece, &fts));
  ASSERT_EQ(1u, piece.values.size());
  EXPECT_EQ("x'); DROP TABLE song; --", piece.values[0].text);
  EXPECT_EQ(std::string::npos, piece.sql.find("DROP"));
}

TEST(SmartRulesTest, NumberOperatorsOfEveryNumberField) {
  for (const char* field : {"year", "track", "disc", "duration", "filesize", "covercount"}) {
    std::string f = field;
    EXPECT_EQ("((" + f + " = 3))", Condition(OneRule(f, "eq", "3")));
    EXPECT_EQ("((" + f + " <> 3))", Condition(OneRule(f, "ne", "3")));
    EXPECT_EQ("((" + f + " > 3))", Condition(OneRule(f, "gt", "3")));
    EXPECT_EQ("((" + f + " >= 3))", Condition(OneRule(f, "ge", "3")));
    EXPECT_EQ("((" + f + " < 3))", Condition(OneRule(f, "lt", "3")));
    EXPECT_EQ("((" + f + " <= 3))", Condition(OneRule(f, "le", "3")));
    EXPECT_EQ("((" + f + " between 1 and 4))", Condition(OneRule(f, "between", "[1, 4]")));
    ExpectIndexAccepts(Compile(OneRule(f, "between", "[1, 4]")));
  }
  EXPECT_EQ("((duration < 59.500000000))", Condition(OneRule("duration", "lt", "59.5")));
  EXPECT_EQ("((year > -5))", Condition(OneRule("year", "gt", "-5")));
  EXPECT_EQ("((filesize > 5000000000))", Condition(OneRule("filesize", "gt", "5000000000")));
  EXPECT_EQ("((year between 1990 and 1990))", Condition(OneRule("year", "between", "[1990, 1990]")));
  ExpectIndexAccepts(Compile(OneRule("duration", "lt", "59.5")));
  ExpectIndexAccepts(Compile(OneRule("year", "gt", "-5")));
}

TEST(SmartRulesTest, BitrateIsGivenInKilobitsAndKeptInBits) {
  EXPECT_EQ("((bitrate >= 320000))", Condition(OneRule("bitrate", "ge", "320")));
  EXPECT_EQ("((bitrate between 128000 and 192000))",
            Condition(OneRule("bitrate", "between", "[128, 192]")));
}

TEST(SmartRulesTest, DateOperators) {
  EXPECT_EQ("((create_date >= " + std::to_string(kNow - 30 * 86400) + "))",
            Condition(OneRule("added", "in_last_days", "30")));
  EXPECT_EQ("((create_date < " + std::to_string(kNow - 7 * 86400) + "))",
            Condition(OneRule("added", "not_in_last_days", "7")));
  struct tm day = {};
  day.tm_year = 2024 - 1900;
  day.tm_mon = 1;
  day.tm_mday = 29;
  day.tm_isdst = -1;
  time_t leap_day = mktime(&day);
  day = {};
  day.tm_year = 2024 - 1900;
  day.tm_mon = 2;
  day.tm_mday = 1;
  day.tm_isdst = -1;
  time_t next_day = mktime(&day);
  EXPECT_EQ("((create_date < " + std::to_string(leap_day) + "))",
            Condition(OneRule("added", "before", "\"2024-02-29\"")));
  // After a day: from the midnight that ends it.
  EXPECT_EQ("((create_date >= " + std::to_string(next_day) + "))",
            Condition(OneRule("added", "after", "\"2024-02-29\"")));
  ExpectIndexAccepts(Compile(OneRule("added", "after", "\"2024-02-29\"")));
}

TEST(SmartRulesTest, MatchAndNestedGroups) {
  std::string rules =
      "\"rules\": [{\"field\": \"genre\", \"op\": \"is\", \"value\": \"Jazz\"},"
      " {\"any\": [{\"field\": \"year\", \"op\": \"lt\", \"value\": 1960},"
      "  {\"all\": [{\"field\": \"artist\", \"op\": \"contains\", \"value\": \"Doe\"},"
      "   {\"field\": \"added\", \"op\": \"in_last_days\", \"value\": 1}]}]}]";
  std::string inner = "((year < 1960) or ((artist ilike '%Doe%') and (create_date >= " +
                      std::to_string(kNow - 86400) + ")))";
  EXPECT_EQ("((genre = 'Jazz') and " + inner + ")", Condition(Doc(rules)));
  EXPECT_EQ("((genre = 'Jazz') or " + inner + ")",
            Condition(Doc("\"match\": \"any\", " + rules)));
  EXPECT_EQ("((genre = 'Jazz') and " + inner + ")",
            Condition(Doc("\"match\": \"all\", " + rules)));
  ExpectIndexAccepts(Compile(Doc(rules)));
}

// A rule inside depth groups.
std::string Nested(int depth) {
  std::string rule = "{\"field\": \"year\", \"op\": \"eq\", \"value\": 1}";
  for (int i = 0; i < depth; ++i) rule = "{\"any\": [" + rule + "]}";
  return Doc("\"rules\": [" + rule + "]");
}

TEST(SmartRulesTest, GroupsNestEightDeepAndNoDeeper) {
  SmartQuery q = Compile(Nested(8));
  EXPECT_EQ(std::string(9, '(') + "(year = 1)" + std::string(9, ')'), q.condition);
  ExpectIndexAccepts(q);
  EXPECT_EQ("smart playlist \"P\": rule 1.1.1.1.1.1.1.1.1: groups nest deeper than 8",
            Refusal(Nested(9)));
}

TEST(SmartRulesTest, Orders) {
  EXPECT_EQ("year desc, lower(artist) asc, lower(album) asc, disc asc, track asc, path asc",
            Compile(Doc("\"order\": \"year desc\"")).order);
  EXPECT_EQ("year asc, lower(artist) asc, lower(album) asc, disc asc, track asc, path asc",
            Compile(Doc("\"order\": \"year\"")).order);
  EXPECT_EQ("lower(title) asc, lower(artist) asc, lower(album) asc, disc asc, track asc, path asc",
            Compile(Doc("\"order\": \"title asc\"")).order);
  EXPECT_EQ("lower(artist) desc, lower(album) asc, disc asc, track asc, path asc",
            Compile(Doc("\"order\": \"artist desc\"")).order);
  EXPECT_EQ("path desc, lower(artist) asc, lower(album) asc, disc asc, track asc",
            Compile(Doc("\"order\": \"path desc\"")).order);
  EXPECT_EQ("bitrate asc, lower(artist) asc, lower(album) asc, disc asc, track asc, path asc",
            Compile(Doc("\"order\": \"bitrate asc\"")).order);
  EXPECT_EQ("create_date desc, id desc", Compile(Doc("\"order\": \"added desc\"")).order);
  EXPECT_EQ("create_date asc, id asc", Compile(Doc("\"order\": \"added\"")).order);
  SmartQuery random = Compile(Doc("\"order\": \"random\", \"limit\": 50"));
  EXPECT_TRUE(random.random);
  EXPECT_EQ("", random.order);
  EXPECT_EQ(50, random.limit);
  for (const char* order : {"year desc", "title asc", "path desc", "added desc", "covercount"})
    ExpectIndexAccepts(Compile(Doc(std::string("\"order\": \"") + order + "\"")));
}

TEST(SmartRulesTest, Limits) {
  EXPECT_EQ(1, Compile(Doc("\"limit\": 1")).limit);
  EXPECT_EQ(100000, Compile(Doc("\"limit\": 100000")).limit);
  EXPECT_EQ(100, Compile(Doc("\"limit\": 100.0")).limit);
  const std::string refused = "smart playlist \"P\": \"limit\" must be a whole number from 1 to 100000";
  for (const char* bad : {"0", "-1", "100001", "2.5", "\"10\"", "null", "true"})
    EXPECT_EQ(refused, Refusal(Doc(std::string("\"limit\": ") + bad))) << bad;
}

TEST(SmartRulesTest, RefusalsNameThePlaylistAndTheRule) {
  struct Case {
    std::string json;
    std::string error;
  } cases[] = {
      {"[1, 2]", "smart playlist: not a JSON object"},
      {"{\"name\": \"P\"", "smart playlist: not JSON"},
      {"{\"name\": \"P\"} extra", "smart playlist: not JSON"},
      {"{\"rules\": []}", "smart playlist: \"name\" must be a text"},
      {"{\"name\": 7}", "smart playlist: \"name\" must be a text"},
      {Doc("\"limt\": 5"), "smart playlist \"P\": unknown key \"limt\""},
      {Doc("\"match\": \"some\""), "smart playlist \"P\": \"match\" must be \"all\" or \"any\""},
      {Doc("\"rules\": {}"), "smart playlist \"P\": \"rules\" must be an array"},
      {Doc("\"rules\": [5]"), "smart playlist \"P\": rule 1: a rule must be an object"},
      {OneRule("mood", "is", "\"x\""), "smart playlist \"P\": rule 1: unknown field \"mood\""},
      {OneRule("title", "like", "\"x\""),
       "smart playlist \"P\": rule 1: unknown operator \"like\" for text field \"title\""},
      {OneRule("title", "eq", "\"x\""),
       "smart playlist \"P\": rule 1: unknown operator \"eq\" for text field \"title\""},
      {OneRule("year", "contains", "\"19\""),
       "smart playlist \"P\": rule 1: unknown operator \"contains\" for number field \"year\""},
      {OneRule("added", "gt", "5"),
       "smart playlist \"P\": rule 1: unknown operator \"gt\" for date field \"added\""},
      {OneRule("title", "is", "5"), "smart playlist \"P\": rule 1: the value must be a text"},
      {OneRule("title", "is", "null"), "smart playlist \"P\": rule 1: the value must be a text"},
      {OneRule("title", "is", "\"a\\u0000b\""),
       "smart playlist \"P\": rule 1: the value holds a NUL character"},
      {OneRule("year", "eq", "\"1999\""), "smart playlist \"P\": rule 1: the value must be a number"},
      {OneRule("year", "eq", "true"), "smart playlist \"P\": rule 1: the value must be a number"},
      {OneRule("year", "eq", "1e300"), "smart playlist \"P\": rule 1: the value is out of range"},
      {OneRule("year", "between", "[1, 2, 3]"),
       "smart playlist \"P\": rule 1: the value of \"between\" must be [low, high]"},
      {OneRule("year", "between", "5"),
       "smart playlist \"P\": rule 1: the value of \"between\" must be [low, high]"},
      {OneRule("year", "between", "[1, \"2\"]"),
       "smart playlist \"P\": rule 1: the value must be a number"},
      {OneRule("year", "between", "[2000, 1990]"),
       "smart playlist \"P\": rule 1: low is greater than high"},
      {OneRule("added", "in_last_days", "-1"),
       "smart playlist \"P\": rule 1: the value must be a whole number of days from 0 to 1000000"},
      {OneRule("added", "in_last_days", "1.5"),
       "smart playlist \"P\": rule 1: the value must be a whole number of days from 0 to 1000000"},
      {OneRule("added", "not_in_last_days", "\"30\""),
       "smart playlist \"P\": rule 1: the value must be a whole number of days from 0 to 1000000"},
      {OneRule("added", "before", "\"2023-02-29\""),
       "smart playlist \"P\": rule 1: the value must be a date \"YYYY-MM-DD\""},
      {OneRule("added", "after", "\"2023-13-01\""),
       "smart playlist \"P\": rule 1: the value must be a date \"YYYY-MM-DD\""},
      {OneRule("added", "after", "\"2023-1-01\""),
       "smart playlist \"P\": rule 1: the value must be a date \"YYYY-MM-DD\""},
      {OneRule("added", "after", "20230101"),
       "smart playlist \"P\": rule 1: the value must be a date \"YYYY-MM-DD\""},
      {Doc("\"rules\": [{\"field\": \"year\", \"op\": \"eq\"}]"),
       "smart playlist \"P\": rule 1: \"value\" is missing"},
      {Doc("\"rules\": [{\"op\": \"eq\", \"value\": 1}]"),
       "smart playlist \"P\": rule 1: \"field\" must be a text"},
      {Doc("\"rules\": [{\"field\": \"year\", \"value\": 1}]"),
       "smart playlist \"P\": rule 1: \"op\" must be a text"},
      {Doc("\"rules\": [{\"field\": \"year\", \"op\": \"eq\", \"value\": 1, \"x\": 2}]"),
       "smart playlist \"P\": rule 1: unknown key \"x\""},
      {Doc("\"rules\": [{\"all\": []}]"),
       "smart playlist \"P\": rule 1: \"all\" must be an array of at least one rule"},
      {Doc("\"rules\": [{\"any\": 3}]"),
       "smart playlist \"P\": rule 1: \"any\" must be an array of at least one rule"},
      {Doc("\"rules\": [{\"any\": [], \"all\": []}]"),
       "smart playlist \"P\": rule 1: a group holds nothing but \"all\""},
      {Doc("\"rules\": [{\"field\": \"year\", \"op\": \"eq\", \"value\": 1},"
           " {\"all\": [{\"field\": \"year\", \"op\": \"eq\", \"value\": 1},"
           " {\"field\": \"year\", \"op\": \"almost\", \"value\": 1}]}]"),
       "smart playlist \"P\": rule 2.2: unknown operator \"almost\" for number field \"year\""},
      {Doc("\"order\": \"mood asc\""),
       "smart playlist \"P\": \"order\" must be \"random\" or a field followed by asc or desc, "
       "not \"mood asc\""},
      {Doc("\"order\": \"year up\""),
       "smart playlist \"P\": \"order\" must be \"random\" or a field followed by asc or desc, "
       "not \"year up\""},
      {Doc("\"order\": \"year  desc\""),
       "smart playlist \"P\": \"order\" must be \"random\" or a field followed by asc or desc, "
       "not \"year  desc\""},
      {Doc("\"order\": 1"),
       "smart playlist \"P\": \"order\" must be \"random\" or a field followed by asc or desc"},
      {"{\"name\": \"P\", \"name\": \"Q\"}", "smart playlist: not JSON"},
  };
  for (const Case& c : cases) EXPECT_EQ(c.error, Refusal(c.json)) << c.json;
}

TEST(SmartRulesTest, ParsedFormKeepsWhatTheRulesSay) {
  SmartPlaylist p;
  std::string error;
  ASSERT_TRUE(cantora::ParseSmartPlaylist(
      "{\"name\": \"Recent jazz\", \"match\": \"any\", \"rules\": ["
      "{\"field\": \"genre\", \"op\": \"is\", \"value\": \"Jazz\"},"
      "{\"all\": [{\"field\": \"year\", \"op\": \"between\", \"value\": [1950, 1959]}]}],"
      " \"order\": \"added desc\", \"limit\": 100}",
      &p, &error))
      << error;
  EXPECT_EQ("Recent jazz", p.name);
  EXPECT_EQ(cantora::SmartRule::Kind::kAny, p.root.kind);
  ASSERT_EQ(2u, p.root.rules.size());
  EXPECT_EQ("genre", p.root.rules[0].field);
  EXPECT_EQ(cantora::SmartOp::kIs, p.root.rules[0].op);
  EXPECT_EQ("Jazz", p.root.rules[0].text);
  EXPECT_EQ(cantora::SmartRule::Kind::kAll, p.root.rules[1].kind);
  ASSERT_EQ(1u, p.root.rules[1].rules.size());
  EXPECT_EQ(cantora::SmartOp::kBetween, p.root.rules[1].rules[0].op);
  EXPECT_EQ(1950, p.root.rules[1].rules[0].low);
  EXPECT_EQ(1959, p.root.rules[1].rules[0].high);
  EXPECT_EQ(cantora::SmartOrder::Kind::kField, p.order.kind);
  EXPECT_EQ("added", p.order.field);
  EXPECT_TRUE(p.order.descending);
  EXPECT_EQ(100, p.limit);
}

}  // namespace
