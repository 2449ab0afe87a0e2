// The music index's SQL functions, registered on each connection that reads
// or writes the index.
//
//   lower(x), upper(x)  Unicode case mapping per character (casefold.h),
//                       replacing SQLite's ASCII-only ones.
//   fold(x)             the folding that the substring index stores; the same
//                       as lower(), named apart so that the index's triggers
//                       say what they mean.
//   pg_like(t, p)       t LIKE p with PostgreSQL's meaning (like.h):
//                       case-sensitive, backslash escapes, '%' and '_'.
//   pg_ilike(t, p)      pg_like(lower(t), lower(p)).
//
// A NULL argument gives NULL. A pattern ending in a lone backslash makes the
// statement fail. All are deterministic and innocuous.
#ifndef CANTORA_PLATFORM_INDEX_SQL_FUNCTIONS_H
#define CANTORA_PLATFORM_INDEX_SQL_FUNCTIONS_H

#include <sqlite3.h>

namespace cantora {

// Registers the functions above; false when SQLite refused one of them.
bool RegisterIndexFunctions(sqlite3* db);

// Whether name is one of the functions above (any letter case); a query's
// authorizer admits exactly these besides SQLite's aggregates it needs.
bool IsIndexFunction(const char* name);

}  // namespace cantora

#endif
