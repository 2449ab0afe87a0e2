#include "platform/index/sql_functions.h"

#include <strings.h>

#include <string>
#include <string_view>

#include "platform/index/like.h"
#include "platform/text/casefold.h"

namespace cantora {
namespace {

constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;

std::string_view TextArg(sqlite3_value* value) {
  const char* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return std::string_view(text ? text : "", sqlite3_value_bytes(value));
}

// Scratch space reused from row to row: these functions run once per row of
// a scan, and an allocation per call would cost more than the folding.
std::string& Scratch() {
  static thread_local std::string buffer;
  return buffer;
}

template <void (*Fold)(std::string_view, std::string*)>
void FoldFunction(sqlite3_context* ctx, int, sqlite3_value** argv) {
  if (sqlite3_value_type(argv[0]) == SQLITE_NULL) {
    sqlite3_result_null(ctx);
    return;
  }
  std::string& out = Scratch();
  Fold(TextArg(argv[0]), &out);
  sqlite3_result_text(ctx, out.data(), static_cast<int>(out.size()), SQLITE_TRANSIENT);
}

void SetLikeResult(sqlite3_context* ctx, LikeResult result) {
  if (result == LikeResult::kBadPattern) {
    sqlite3_result_error(ctx, "LIKE pattern must not end with escape character", -1);
  } else {
    sqlite3_result_int(ctx, result == LikeResult::kMatch);
  }
}

void PgLike(sqlite3_context* ctx, int, sqlite3_value** argv) {
  if (sqlite3_value_type(argv[0]) == SQLITE_NULL || sqlite3_value_type(argv[1]) == SQLITE_NULL) {
    sqlite3_result_null(ctx);
    return;
  }
  SetLikeResult(ctx, LikeMatch(TextArg(argv[0]), TextArg(argv[1])));
}

void DeleteString(void* p) { delete static_cast<std::string*>(p); }

void PgIlike(sqlite3_context* ctx, int, sqlite3_value** argv) {
  if (sqlite3_value_type(argv[0]) == SQLITE_NULL || sqlite3_value_type(argv[1]) == SQLITE_NULL) {
    sqlite3_result_null(ctx);
    return;
  }
  // The pattern is nearly always a constant of the statement: fold it once.
  auto* pattern = static_cast<std::string*>(sqlite3_get_auxdata(ctx, 1));
  if (pattern == nullptr) {
    pattern = new std::string(FoldLower(TextArg(argv[1])));
    sqlite3_set_auxdata(ctx, 1, pattern, DeleteString);
    pattern = static_cast<std::string*>(sqlite3_get_auxdata(ctx, 1));
    if (pattern == nullptr) {
      sqlite3_result_error_nomem(ctx);
      return;
    }
  }
  std::string& text = Scratch();
  FoldLowerInto(TextArg(argv[0]), &text);
  SetLikeResult(ctx, LikeMatch(text, *pattern));
}

struct Function {
  const char* name;
  int args;
  void (*call)(sqlite3_context*, int, sqlite3_value**);
};

const Function kFunctions[] = {
    {"lower", 1, FoldFunction<FoldLowerInto>},
    {"upper", 1, FoldFunction<FoldUpperInto>},
    {"fold", 1, FoldFunction<FoldLowerInto>},
    {"pg_like", 2, PgLike},
    {"pg_ilike", 2, PgIlike},
};

}  // namespace

bool RegisterIndexFunctions(sqlite3* db) {
  for (const Function& f : kFunctions) {
    if (sqlite3_create_function_v2(db, f.name, f.args, kFlags, nullptr, f.call, nullptr, nullptr,
                                   nullptr) != SQLITE_OK) {
      return false;
    }
  }
  return true;
}

bool IsIndexFunction(const char* name) {
  for (const Function& f : kFunctions) {
    if (strcasecmp(name, f.name) == 0) return true;
  }
  return false;
}

}  // namespace cantora
