#include "platform/index/query_sql.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "platform/index/escape.h"
#include "platform/text/casefold.h"
#include "platform/text/utf8.h"

namespace cantora {
namespace {

// Columns that the trigram index holds (folded).
bool IsTrigramColumn(Column column) {
  return column == Column::kTitle || column == Column::kAlbum || column == Column::kArtist ||
         column == Column::kAlbumArtist;
}

void AppendLiteral(const Expr& e, SqlPiece* out) {
  SqlValue v;
  if (e.kind == Expr::Kind::kText) {
    v.type = SqlValue::Type::kText;
    v.text = e.text;
  } else if (e.kind == Expr::Kind::kInteger) {
    v.type = SqlValue::Type::kInteger;
    v.integer = std::strtoll(e.text.c_str(), nullptr, 10);
  } else {
    v.type = SqlValue::Type::kReal;
    v.real = std::strtod(e.text.c_str(), nullptr);
  }
  out->values.push_back(std::move(v));
  out->sql += '?';
}

// ---- Folder identity ----

void AppendChildrenOf(const std::string& path, IndexTable table, SqlPiece* out) {
  out->sql += table == IndexTable::kFolder ? "(parent_id = " : "(folder_id = ";
  out->sql += "(SELECT id FROM folder WHERE path = ";
  AppendText(out, path);
  out->sql += "))";
}

void AppendEverythingBelow(const std::string& path, IndexTable table, SqlPiece* out) {
  // The paths that begin with path + '/' are those from path + '/' up to,
  // not including, path + '0' ('0' follows '/' in byte order). The range is
  // read from the path index in a subquery of ids: asked directly, the
  // planner would rather walk every row of the library.
  out->sql += table == IndexTable::kFolder ? "(id IN (SELECT id FROM folder WHERE path >= "
                                           : "(id IN (SELECT id FROM song WHERE path >= ";
  AppendText(out, path + "/");
  out->sql += " AND path < ";
  AppendText(out, path + "0");
  out->sql += "))";
}

void AppendOneOf(const std::vector<std::string>& paths, SqlPiece* out) {
  out->sql += "(path IN (";
  for (size_t i = 0; i < paths.size(); ++i) {
    if (i > 0) out->sql += ", ";
    AppendText(out, paths[i]);
  }
  out->sql += "))";
}

// ---- Trigram candidates ----

// The trigrams that every text matching the LIKE pattern must contain, after
// folding: those of each literal run of three or more characters.
std::vector<std::string> PatternTrigrams(const std::string& pattern) {
  std::string folded = FoldLower(pattern);
  std::vector<std::string> trigrams;
  std::vector<std::string> run;  // characters of the current literal run
  auto flush = [&]() {
    for (size_t i = 0; i + 3 <= run.size(); ++i) {
      trigrams.push_back(run[i] + run[i + 1] + run[i + 2]);
    }
    run.clear();
  };
  const unsigned char* s = reinterpret_cast<const unsigned char*>(folded.data());
  size_t i = 0;
  while (i < folded.size()) {
    char c = folded[i];
    if (c == '%' || c == '_') {
      flush();
      ++i;
      continue;
    }
    if (c == '\\') {
      ++i;
      if (i >= folded.size()) break;
    }
    int32_t cp;
    int len = DecodeUtf8(s + i, folded.size() - i, &cp);
    if (cp < 0) {
      // The index tokenizes broken text its own way; do not rely on it.
      flush();
    } else {
      run.emplace_back(folded, i, len);
    }
    i += len;
  }
  flush();
  return trigrams;
}

std::string QuoteFtsToken(const std::string& token) {
  std::string q;
  AppendQuoted(token, '"', &q);
  return q;
}

// parts joined by op, in parentheses; a single part stands alone, none is "".
std::string Joined(const std::vector<std::string>& parts, const char* op) {
  if (parts.size() <= 1) return parts.empty() ? "" : parts[0];
  std::string q;
  for (const std::string& part : parts) q += (q.empty() ? "" : op) + part;
  return "(" + q + ")";
}

}  // namespace

void Append(SqlPiece* to, const SqlPiece& from) {
  to->sql += from.sql;
  to->values.insert(to->values.end(), from.values.begin(), from.values.end());
}

void AppendInteger(SqlPiece* to, int64_t value) {
  SqlValue v;
  v.type = SqlValue::Type::kInteger;
  v.integer = value;
  to->values.push_back(v);
  to->sql += '?';
}

void AppendText(SqlPiece* to, std::string value) {
  SqlValue v;
  v.text = std::move(value);
  to->values.push_back(std::move(v));
  to->sql += '?';
}

void AppendExpr(const Expr& e, IndexTable table, SqlPiece* out) {
  std::string& s = out->sql;
  auto kid = [&](size_t i) { AppendExpr(*e.kids[i], table, out); };
  switch (e.kind) {
    case Expr::Kind::kOr:
    case Expr::Kind::kAnd:
      s += '(';
      for (size_t i = 0; i < e.kids.size(); ++i) {
        if (i > 0) s += e.kind == Expr::Kind::kOr ? " OR " : " AND ";
        kid(i);
      }
      s += ')';
      break;
    case Expr::Kind::kNot:
      s += "(NOT ";
      kid(0);
      s += ')';
      break;
    case Expr::Kind::kCompare:
    case Expr::Kind::kArith:
      s += '(';
      kid(0);
      s += std::string(" ") + OpText(e.op) + " ";
      kid(1);
      s += ')';
      break;
    case Expr::Kind::kLike:
      s += e.negated ? "(NOT " : "(";
      s += e.insensitive ? "pg_ilike(" : "pg_like(";
      kid(0);
      s += ", ";
      kid(1);
      s += "))";
      break;
    case Expr::Kind::kIsNull:
      s += '(';
      kid(0);
      s += e.negated ? " IS NOT NULL)" : " IS NULL)";
      break;
    case Expr::Kind::kIn:
      s += '(';
      kid(0);
      s += e.negated ? " NOT IN (" : " IN (";
      for (size_t i = 1; i < e.kids.size(); ++i) {
        if (i > 1) s += ", ";
        kid(i);
      }
      s += "))";
      break;
    case Expr::Kind::kBetween:
      s += '(';
      kid(0);
      s += e.negated ? " NOT BETWEEN " : " BETWEEN ";
      kid(1);
      s += " AND ";
      kid(2);
      s += ')';
      break;
    case Expr::Kind::kSign:
      s += std::string("(") + OpText(e.op) + ' ';
      kid(0);
      s += ')';
      break;
    case Expr::Kind::kText:
    case Expr::Kind::kInteger:
    case Expr::Kind::kReal:
      AppendLiteral(e, out);
      break;
    case Expr::Kind::kColumn:
      s += ColumnName(e.column);
      break;
    case Expr::Kind::kCall:
      s += e.call == Expr::Call::kLower ? "lower(" : "upper(";
      kid(0);
      s += ')';
      break;
    case Expr::Kind::kIdIn:
      s += "(id IN (";
      for (size_t i = 0; i < e.ids.size(); ++i) {
        if (i > 0) s += ", ";
        AppendInteger(out, e.ids[i]);
      }
      s += "))";
      break;
    case Expr::Kind::kChildrenOf:
      AppendChildrenOf(e.text, table, out);
      break;
    case Expr::Kind::kBelow:
      AppendEverythingBelow(e.text, table, out);
      break;
    case Expr::Kind::kPathIn:
      AppendOneOf(e.paths, out);
      break;
  }
}

std::string CandidateQuery(const Expr& e) {
  switch (e.kind) {
    case Expr::Kind::kLike: {
      if (e.negated || e.kids[0]->kind != Expr::Kind::kColumn ||
          e.kids[1]->kind != Expr::Kind::kText || !IsTrigramColumn(e.kids[0]->column)) {
        return "";
      }
      std::vector<std::string> trigrams = PatternTrigrams(e.kids[1]->text);
      if (trigrams.empty()) return "";
      std::set<std::string> seen;
      std::string q;
      for (const std::string& t : trigrams) {
        if (!seen.insert(t).second) continue;
        if (!q.empty()) q += " AND ";
        q += QuoteFtsToken(t);
      }
      return "(" + q + ")";
    }
    case Expr::Kind::kOr: {
      // The index has no column filter, so the same key searched in several
      // columns is one query.
      std::vector<std::string> parts;
      for (const ExprPtr& kid : e.kids) {
        std::string part = CandidateQuery(*kid);
        if (part.empty()) return "";  // one branch the index cannot serve: scan
        if (std::find(parts.begin(), parts.end(), part) == parts.end()) parts.push_back(part);
      }
      return Joined(parts, " OR ");
    }
    case Expr::Kind::kAnd: {
      std::vector<std::string> parts;
      for (const ExprPtr& kid : e.kids) {
        std::string part = CandidateQuery(*kid);
        if (!part.empty()) parts.push_back(part);
      }
      return Joined(parts, " AND ");
    }
    default:
      return "";
  }
}

void AppendOrder(const OrderBy& order, IndexTable table, SqlPiece* out) {
  for (size_t i = 0; i < order.terms.size(); ++i) {
    if (i > 0) out->sql += ", ";
    AppendExpr(*order.terms[i].value, table, out);
    out->sql += order.terms[i].descending ? " DESC" : " ASC";
  }
}

}  // namespace cantora
