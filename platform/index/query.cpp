#include "platform/index/query.h"

#include <cerrno>
#include <cstdlib>

#include "platform/index/escape.h"

namespace cantora {
namespace {

ExprPtr Make(Expr::Kind kind) {
  ExprPtr e(new Expr);
  e->kind = kind;
  return e;
}

ExprPtr WithKids(Expr::Kind kind, std::vector<ExprPtr> kids) {
  ExprPtr e = Make(kind);
  e->kids = std::move(kids);
  return e;
}

// Appends e's text; false when part of it has no text.
bool Write(const Expr& e, std::string* out) {
  auto kid = [&](size_t i) { return Write(*e.kids[i], out); };
  switch (e.kind) {
    case Expr::Kind::kOr:
    case Expr::Kind::kAnd:
      *out += '(';
      for (size_t i = 0; i < e.kids.size(); ++i) {
        if (i > 0) *out += e.kind == Expr::Kind::kOr ? " or " : " and ";
        if (!kid(i)) return false;
      }
      *out += ')';
      return true;
    case Expr::Kind::kNot:
      *out += "(not ";
      if (!kid(0)) return false;
      *out += ')';
      return true;
    case Expr::Kind::kCompare:
    case Expr::Kind::kArith:
      *out += '(';
      if (!kid(0)) return false;
      *out += std::string(" ") + OpText(e.op) + " ";
      if (!kid(1)) return false;
      *out += ')';
      return true;
    case Expr::Kind::kLike:
      *out += '(';
      if (!kid(0)) return false;
      *out += e.negated ? " not" : "";
      *out += e.insensitive ? " ilike " : " like ";
      if (!kid(1)) return false;
      *out += ')';
      return true;
    case Expr::Kind::kIsNull:
      *out += '(';
      if (!kid(0)) return false;
      *out += e.negated ? " is not null)" : " is null)";
      return true;
    case Expr::Kind::kIn:
      *out += '(';
      if (!kid(0)) return false;
      *out += e.negated ? " not in (" : " in (";
      for (size_t i = 1; i < e.kids.size(); ++i) {
        if (i > 1) *out += ", ";
        if (!kid(i)) return false;
      }
      *out += "))";
      return true;
    case Expr::Kind::kBetween:
      *out += '(';
      if (!kid(0)) return false;
      *out += e.negated ? " not between " : " between ";
      if (!kid(1)) return false;
      *out += " and ";
      if (!kid(2)) return false;
      *out += ')';
      return true;
    case Expr::Kind::kSign:
      *out += std::string("(") + OpText(e.op);
      if (!kid(0)) return false;
      *out += ')';
      return true;
    case Expr::Kind::kText:
      AppendQuoted(e.text, '\'', out);
      return true;
    case Expr::Kind::kInteger:
    case Expr::Kind::kReal:
      *out += e.text;
      return true;
    case Expr::Kind::kColumn:
      *out += ColumnName(e.column);
      return true;
    case Expr::Kind::kCall:
      *out += e.call == Expr::Call::kLower ? "lower(" : "upper(";
      if (!kid(0)) return false;
      *out += ')';
      return true;
    case Expr::Kind::kIdIn:
      *out += "(id in (";
      for (size_t i = 0; i < e.ids.size(); ++i) {
        if (i > 0) *out += ", ";
        *out += std::to_string(e.ids[i]);
      }
      *out += "))";
      return true;
    case Expr::Kind::kChildrenOf:
    case Expr::Kind::kBelow:
    case Expr::Kind::kPathIn:
      return false;
  }
  return false;
}

// Whether e is lower(column) of this column.
bool IsLowerOf(const Expr& e, Column column) {
  return e.kind == Expr::Kind::kCall && e.call == Expr::Call::kLower &&
         e.kids[0]->kind == Expr::Kind::kColumn && e.kids[0]->column == column;
}

bool IsColumn(const Expr& e, Column column) {
  return e.kind == Expr::Kind::kColumn && e.column == column;
}

}  // namespace

const char* OpText(Expr::Op op) {
  switch (op) {
    case Expr::Op::kEq: return "=";
    case Expr::Op::kNe: return "<>";
    case Expr::Op::kLt: return "<";
    case Expr::Op::kGt: return ">";
    case Expr::Op::kLe: return "<=";
    case Expr::Op::kGe: return ">=";
    case Expr::Op::kAdd: return "+";
    case Expr::Op::kSub: return "-";
    case Expr::Op::kConcat: return "||";
    case Expr::Op::kMul: return "*";
    case Expr::Op::kDiv: return "/";
  }
  return "=";
}

namespace query {

ExprPtr ColumnRef(Column column) {
  ExprPtr e = Make(Expr::Kind::kColumn);
  e->column = column;
  return e;
}

ExprPtr Text(std::string text) {
  ExprPtr e = Make(Expr::Kind::kText);
  e->text = std::move(text);
  return e;
}

ExprPtr Integer(int64_t value) {
  ExprPtr e = Make(Expr::Kind::kInteger);
  e->text = std::to_string(value);
  return e;
}

ExprPtr Number(const std::string& written) {
  bool real = written.find('.') != std::string::npos;
  if (!real) {
    errno = 0;
    std::strtoll(written.c_str(), nullptr, 10);
    real = errno == ERANGE;  // too large for an integer: as PostgreSQL, a numeric
  }
  ExprPtr e = Make(real ? Expr::Kind::kReal : Expr::Kind::kInteger);
  e->text = written;
  return e;
}

ExprPtr Lower(ExprPtr value) {
  ExprPtr e = Make(Expr::Kind::kCall);
  e->call = Expr::Call::kLower;
  e->kids.push_back(std::move(value));
  return e;
}

ExprPtr Compare(ExprPtr left, Expr::Op op, ExprPtr right) {
  ExprPtr e = Make(Expr::Kind::kCompare);
  e->op = op;
  e->kids.push_back(std::move(left));
  e->kids.push_back(std::move(right));
  return e;
}

ExprPtr Compare(Column column, Expr::Op op, ExprPtr value) {
  return Compare(ColumnRef(column), op, std::move(value));
}

ExprPtr Like(Column column, std::string pattern, bool insensitive, bool negated) {
  ExprPtr e = Make(Expr::Kind::kLike);
  e->insensitive = insensitive;
  e->negated = negated;
  e->kids.push_back(ColumnRef(column));
  e->kids.push_back(Text(std::move(pattern)));
  return e;
}

ExprPtr Between(Column column, ExprPtr low, ExprPtr high, bool negated) {
  ExprPtr e = Make(Expr::Kind::kBetween);
  e->negated = negated;
  e->kids.push_back(ColumnRef(column));
  e->kids.push_back(std::move(low));
  e->kids.push_back(std::move(high));
  return e;
}

ExprPtr Not(ExprPtr operand) {
  ExprPtr e = Make(Expr::Kind::kNot);
  e->kids.push_back(std::move(operand));
  return e;
}

ExprPtr And(std::vector<ExprPtr> operands) { return WithKids(Expr::Kind::kAnd, std::move(operands)); }
ExprPtr Or(std::vector<ExprPtr> operands) { return WithKids(Expr::Kind::kOr, std::move(operands)); }

ExprPtr IdIn(const int64_t* first, size_t count) {
  ExprPtr e = Make(Expr::Kind::kIdIn);
  e->ids.assign(first, first + count);
  return e;
}

ExprPtr ChildrenOf(std::string path) {
  ExprPtr e = Make(Expr::Kind::kChildrenOf);
  e->text = std::move(path);
  return e;
}

ExprPtr Below(std::string path) {
  ExprPtr e = Make(Expr::Kind::kBelow);
  e->text = std::move(path);
  return e;
}

ExprPtr PathIn(std::vector<std::string> paths) {
  ExprPtr e = Make(Expr::Kind::kPathIn);
  e->paths = std::move(paths);
  return e;
}

}  // namespace query

bool IsPredicate(const Expr& e) {
  switch (e.kind) {
    case Expr::Kind::kOr:
    case Expr::Kind::kAnd:
    case Expr::Kind::kNot:
      if (e.kids.empty()) return false;
      for (const ExprPtr& kid : e.kids) {
        if (!IsPredicate(*kid)) return false;
      }
      return true;
    case Expr::Kind::kCompare:
    case Expr::Kind::kLike:
    case Expr::Kind::kIsNull:
    case Expr::Kind::kIn:
    case Expr::Kind::kBetween:
    case Expr::Kind::kIdIn:
    case Expr::Kind::kChildrenOf:
    case Expr::Kind::kBelow:
    case Expr::Kind::kPathIn:
      return true;
    default:
      return false;
  }
}

std::string FragmentText(const Expr& e) {
  std::string text;
  return Write(e, &text) ? text : std::string();
}

std::string FragmentText(const OrderBy& order) {
  std::string text;
  for (const OrderTerm& term : order.terms) {
    if (!text.empty()) text += ", ";
    if (!Write(*term.value, &text)) return std::string();
    text += term.descending ? " desc" : " asc";
  }
  return text;
}

SongOrder NameOrder(const std::vector<OrderTerm>& terms) {
  if (terms.empty()) return SongOrder::kNone;
  if (terms.size() == 4 && IsLowerOf(*terms[0].value, Column::kAlbum) &&
      IsColumn(*terms[1].value, Column::kDisc) && IsColumn(*terms[2].value, Column::kTrack) &&
      IsColumn(*terms[3].value, Column::kPath)) {
    bool ascending = true;
    for (const OrderTerm& t : terms) ascending = ascending && !t.descending;
    if (ascending) return SongOrder::kSongList;
  }
  return SongOrder::kOther;
}

OrderBy SongListOrder() {
  OrderBy order;
  order.terms.resize(4);
  order.terms[0].value = query::Lower(query::ColumnRef(Column::kAlbum));
  order.terms[1].value = query::ColumnRef(Column::kDisc);
  order.terms[2].value = query::ColumnRef(Column::kTrack);
  order.terms[3].value = query::ColumnRef(Column::kPath);
  order.kind = SongOrder::kSongList;
  return order;
}

bool IsLowerAscending(const OrderBy& order, Column column) {
  return order.terms.empty() || (order.terms.size() == 1 && !order.terms[0].descending &&
                                 IsLowerOf(*order.terms[0].value, column));
}

}  // namespace cantora
