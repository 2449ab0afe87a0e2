// A query's tree (query.h) in SQLite SQL.
//
// Literals become bound parameters: nothing of a tree's text is pasted into
// the SQL but column names and the grammar's operators. "x like p" becomes
// pg_like(x, p) and "x ilike p" pg_ilike(x, p), which give PostgreSQL's
// meaning (sql_functions.h).
#ifndef CANTORA_PLATFORM_INDEX_QUERY_SQL_H
#define CANTORA_PLATFORM_INDEX_QUERY_SQL_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/index/query.h"

namespace cantora {

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

void Append(SqlPiece* to, const SqlPiece& from);
void AppendInteger(SqlPiece* to, int64_t value);
void AppendText(SqlPiece* to, std::string value);

// Appends the expression e over table (a parenthesised SQLite expression).
void AppendExpr(const Expr& e, IndexTable table, SqlPiece* out);

// An FTS5 query over the trigram index selecting a superset of the song
// rows that satisfy the condition, when every such row must contain certain
// trigrams in its folded title, album, artist or album artist (substring
// patterns with a literal run of three or more characters); else "".
std::string CandidateQuery(const Expr& condition);

// Appends the order's terms, "lower(album) ASC, disc ASC, ...".
void AppendOrder(const OrderBy& order, IndexTable table, SqlPiece* out);

}  // namespace cantora

#endif
