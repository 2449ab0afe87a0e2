// A query of the music index as a value: the condition's syntax tree, the
// order, and builders for both.
//
// Handlers hand the index text (fragment.h parses it into this tree); the
// platform's own callers build the tree directly, so that nothing is
// written only to be parsed again and the planner reads intent from fields
// (browse_plan.h), never from text.
//
// A tree can only be an expression over the columns of one index table:
// columns are an enum, literals are values that become bound parameters, and
// the operators are the fragment grammar's. TranslateQuery (query_sql.h)
// turns a tree into SQLite SQL.
#ifndef CANTORA_PLATFORM_INDEX_QUERY_H
#define CANTORA_PLATFORM_INDEX_QUERY_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/index/song_columns.h"

namespace cantora {

struct Expr;
using ExprPtr = std::unique_ptr<Expr>;

struct Expr {
  enum class Kind : uint8_t {
    kOr, kAnd, kNot,  // kids: the operands (one for kNot)
    kCompare,         // op; kids: left, right
    kLike,            // negated, insensitive (ILIKE); kids: value, pattern
    kIsNull,          // negated; kids: value
    kIn,              // negated; kids: value, then the items
    kBetween,         // negated; kids: value, low, high
    kArith,           // op; kids: left, right
    kSign,            // op (kAdd or kSub); kids: operand
    kText,            // text: the literal
    kInteger,         // text: the number as written (digits)
    kReal,            // text: the number as written (digits and one point)
    kColumn,          // column
    kCall,            // call; kids: the argument
    kIdIn,            // ids: a song or folder id in this list
    // Folder identity (folder_condition.h); path is taken literally.
    kChildrenOf,      // text: the folder whose children (or songs) are meant
    kBelow,           // text: the folder everything below which is meant
    kPathIn,          // paths: the records at exactly these paths
  };
  // kDiv stays last: the parser looks a symbol up through every operator.
  enum class Op : uint8_t { kEq, kNe, kLt, kGt, kLe, kGe, kAdd, kSub, kConcat, kMul, kDiv };
  enum class Call : uint8_t { kLower, kUpper };

  Kind kind = Kind::kAnd;
  Op op = Op::kEq;
  Call call = Call::kLower;
  Column column = Column::kId;
  bool negated = false;
  bool insensitive = false;
  std::string text;
  std::vector<ExprPtr> kids;
  std::vector<int64_t> ids;
  std::vector<std::string> paths;
};

// The operator's text in the fragment dialect and in SQL ("=", "<>", "||").
const char* OpText(Expr::Op op);

// ---- Builders ----
namespace query {

ExprPtr ColumnRef(Column column);
ExprPtr Text(std::string text);
ExprPtr Integer(int64_t value);
// A number as written: digits, optionally one point and more digits. An
// integer too large for 64 bits is a real number, as the grammar reads it.
ExprPtr Number(const std::string& written);
ExprPtr Lower(ExprPtr value);

ExprPtr Compare(ExprPtr left, Expr::Op op, ExprPtr right);
ExprPtr Compare(Column column, Expr::Op op, ExprPtr value);
// column [NOT] [I]LIKE pattern (pattern in LIKE syntax, backslash escapes).
ExprPtr Like(Column column, std::string pattern, bool insensitive, bool negated = false);
ExprPtr Between(Column column, ExprPtr low, ExprPtr high, bool negated = false);
ExprPtr Not(ExprPtr operand);
// All (or any) of the operands; the list may hold one.
ExprPtr And(std::vector<ExprPtr> operands);
ExprPtr Or(std::vector<ExprPtr> operands);

// id IN (ids...): the rows whose id is one of count ids at first.
ExprPtr IdIn(const int64_t* first, size_t count);

// Folder identity: the records one level below the folder at path, those
// anywhere below it, and those at exactly one of paths.
ExprPtr ChildrenOf(std::string path);
ExprPtr Below(std::string path);
ExprPtr PathIn(std::vector<std::string> paths);

}  // namespace query

// Whether the tree is a truth value, as a condition must be (and the
// operands of and, or and not).
bool IsPredicate(const Expr& e);

// The tree written in the fragment dialect (fragment.h), every and, or and
// predicate in parentheses: "((genre = 'Jazz') and (year >= 1990))". The
// text parses back into a tree of the same meaning. Folder identity has no
// text in the dialect that means it exactly: a tree holding it writes as "".
std::string FragmentText(const Expr& e);

// ---- Order ----

// The orders the index knows by name. kSongList is the song lists' order,
// lower(album), disc, track, path, each ascending: the order of the
// song_order index and of the song walk (song_walk.h).
enum class SongOrder : uint8_t { kNone, kSongList, kOther };

// The SQL of the song lists' order, with and without its directions.
constexpr const char* kSongListOrderSql = "lower(album) ASC, disc ASC, track ASC, path ASC";
constexpr const char* kSongListOrderColumns = "lower(album), disc, track, path";
// Its sort key besides the path, as records are sorted in memory.
constexpr const char* kSongListKeyColumns = "lower(album), disc, track";

struct OrderTerm {
  ExprPtr value;
  bool descending = false;
};

struct OrderBy {
  SongOrder kind = SongOrder::kNone;
  std::vector<OrderTerm> terms;  // empty for kNone
};

// The order of terms, named: kSongList when they are exactly the song
// lists' order, kNone when there are none.
SongOrder NameOrder(const std::vector<OrderTerm>& terms);

// The song lists' order as terms.
OrderBy SongListOrder();

// The order written in the fragment dialect: "lower(artist) asc, year desc".
std::string FragmentText(const OrderBy& order);

// Whether the order is empty or exactly lower(column) ascending (the order
// the facet table keeps a column's values in).
bool IsLowerAscending(const OrderBy& order, Column column);

}  // namespace cantora

#endif
