// Translation of the condition, column, grouping and order fragments that
// callers hand to the index (written in PostgreSQL's dialect) into SQLite SQL.
//
// The translator is also the first wall of confinement: it parses a fragment
// against a small grammar and refuses anything outside it, so a fragment can
// only be an expression over the columns of one index table.
//
//   condition  := or
//   or         := and ("or" and)*
//   and        := not ("and" not)*
//   not        := "not" not | predicate
//   predicate  := sum [ ("=" | "<>" | "!=" | "<" | ">" | "<=" | ">=") sum
//                     | ["not"] ("like" | "ilike") sum
//                     | "is" ["not"] "null"
//                     | ["not"] "in" "(" sum ("," sum)* ")"
//                     | ["not"] "between" sum "and" sum ]
//   sum        := product (("+" | "-" | "||") product)*
//   product    := unary (("*" | "/") unary)*
//   unary      := ("-" | "+") unary | primary
//   primary    := 'text' | number | column | ("lower" | "upper") "(" or ")"
//               | "(" or ")"
//
// Words are case-insensitive. Text literals follow standard conforming
// strings: '' is a quote, a backslash is an ordinary character. Literals
// become bound parameters; nothing of the fragment's text is pasted into the
// SQL except whitelisted words. Refused: any other word (select, attach,
// pragma, table names, unknown columns or functions), ';', '"', comments,
// unbalanced parentheses, nesting deeper than kMaxFragmentDepth.
//
// "x like p" becomes pg_like(x, p) and "x ilike p" pg_ilike(x, p), which give
// PostgreSQL's meaning (sql_functions.h).
#ifndef CANTORA_PLATFORM_INDEX_FRAGMENT_H
#define CANTORA_PLATFORM_INDEX_FRAGMENT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cantora {

// The index tables that fragments may name columns of.
enum class IndexTable { kSong, kFolder };

// Whether name (lower case) is a column of table.
bool IsIndexColumn(IndexTable table, std::string_view name);

constexpr int kMaxFragmentDepth = 64;

// A value to bind to one '?' of translated SQL.
struct SqlValue {
  enum class Type { kText, kInteger, kReal };
  Type type = Type::kText;
  std::string text;
  int64_t integer = 0;
  double real = 0;
};

// Translated SQL with its parameters in the order of the '?' marks.
struct SqlPiece {
  std::string sql;
  std::vector<SqlValue> values;
};

// Translates a condition into a parenthesised SQLite expression appended to
// out. When every row that satisfies the condition must contain certain
// trigrams in its folded title, album, artist or album artist (substring
// patterns with a literal run of three or more characters), *fts_query
// receives an FTS5 query over the trigram index that selects a superset of
// those rows; otherwise it is left empty. Returns false when the fragment is
// refused.
bool TranslateCondition(std::string_view condition, IndexTable table, SqlPiece* out,
                        std::string* fts_query);

// Parses a comma-separated list of column names ("album", "path, artist").
// "*" is not a column list; callers handle it before.
bool ParseColumnList(std::string_view text, IndexTable table, std::vector<std::string>* columns);

// Translates an order: comma-separated expressions (the "sum" above), each
// optionally followed by "asc" or "desc".
bool TranslateOrder(std::string_view order, IndexTable table, SqlPiece* out);

// True when text holds nothing but blanks (or is empty).
bool IsBlankFragment(std::string_view text);

}  // namespace cantora

#endif
