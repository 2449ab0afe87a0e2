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
// The text becomes the query's syntax tree (query.h); query_sql.h writes it
// as SQL ("x like p" as pg_like(x, p), which gives PostgreSQL's meaning).
#ifndef CANTORA_PLATFORM_INDEX_FRAGMENT_H
#define CANTORA_PLATFORM_INDEX_FRAGMENT_H

#include <string>
#include <string_view>
#include <vector>

#include "platform/index/query.h"
#include "platform/index/query_sql.h"

namespace cantora {

// Whether name (lower case) is a column of table.
bool IsIndexColumn(IndexTable table, std::string_view name);

constexpr int kMaxFragmentDepth = 64;

// The condition's tree (query.h); null when the fragment is refused.
ExprPtr ParseCondition(std::string_view condition, IndexTable table);

// The order's terms, named (SongOrder); false when the fragment is refused.
bool ParseOrder(std::string_view order, IndexTable table, OrderBy* out);

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
