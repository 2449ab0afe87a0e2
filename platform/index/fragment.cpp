#include "platform/index/fragment.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <set>

#include "platform/index/escape.h"
#include "platform/text/casefold.h"
#include "platform/text/utf8.h"

namespace cantora {
namespace {

const char* const kSongColumns[] = {
    "id",        "library",   "path",        "folder_id",    "title",
    "album",     "artist",    "album_artist", "genre",       "composer",
    "comment",   "track",     "disc",        "year",         "duration",
    "bitrate",   "frequency", "channel",     "filesize",     "covercount",
    "artist_sort", "artist_search", "album_artist_search", "create_date", "mtime"};

const char* const kFolderColumns[] = {"id",    "library",    "path",       "parent_id",
                                      "title", "covercount", "create_date"};

// Columns that the trigram index holds (folded).
const char* const kTrigramColumns[] = {"title", "album", "artist", "album_artist"};

template <size_t N>
bool InList(const char* const (&list)[N], std::string_view name) {
  for (const char* item : list) {
    if (name == item) return true;
  }
  return false;
}

// ---- Tokens ----

enum class TokenType { kWord, kText, kNumber, kSymbol, kEnd };

struct Token {
  TokenType type;
  std::string text;  // word (lower case), decoded literal, number, or symbol
};

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsWordStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool IsWordChar(char c) { return IsWordStart(c) || IsDigit(c); }

bool Tokenize(std::string_view s, std::vector<Token>* tokens) {
  size_t i = 0;
  while (i < s.size()) {
    char c = s[i];
    if (IsBlank(c)) {
      ++i;
    } else if (IsWordStart(c)) {
      size_t start = i;
      while (i < s.size() && IsWordChar(s[i])) ++i;
      std::string word(s.substr(start, i - start));
      for (char& ch : word) {
        if (ch >= 'A' && ch <= 'Z') ch += 'a' - 'A';
      }
      tokens->push_back({TokenType::kWord, std::move(word)});
    } else if (IsDigit(c) || (c == '.' && i + 1 < s.size() && IsDigit(s[i + 1]))) {
      size_t start = i;
      while (i < s.size() && IsDigit(s[i])) ++i;
      if (i < s.size() && s[i] == '.') {
        ++i;
        while (i < s.size() && IsDigit(s[i])) ++i;
      }
      // A number glued to a word ("1e5", "1abc") is not a number we know.
      if (i < s.size() && IsWordChar(s[i])) return false;
      tokens->push_back({TokenType::kNumber, std::string(s.substr(start, i - start))});
    } else if (c == '\'') {
      std::string text;
      ++i;
      for (;;) {
        if (i >= s.size()) return false;  // unterminated
        if (s[i] == '\'') {
          if (i + 1 < s.size() && s[i + 1] == '\'') {
            text.push_back('\'');
            i += 2;
            continue;
          }
          ++i;
          break;
        }
        text.push_back(s[i++]);
      }
      tokens->push_back({TokenType::kText, std::move(text)});
    } else {
      static const char* const kSymbols[] = {"<>", "!=", "<=", ">=", "||", "=", "<", ">",
                                             "(",  ")",  ",",  "+",  "-",  "*", "/"};
      // Comments never get through, not even as two operators in a row.
      if (s.substr(i, 2) == "--" || s.substr(i, 2) == "/*") return false;
      const char* found = nullptr;
      for (const char* sym : kSymbols) {
        if (s.substr(i, std::char_traits<char>::length(sym)) == sym) {
          found = sym;
          break;
        }
      }
      if (found == nullptr) return false;
      tokens->push_back({TokenType::kSymbol, found});
      i += std::char_traits<char>::length(found);
    }
  }
  tokens->push_back({TokenType::kEnd, ""});
  return true;
}

// ---- Syntax tree ----

enum class NodeKind {
  kOr, kAnd, kNot, kCompare, kLike, kIsNull, kIn, kBetween, kArith, kSign,
  kText, kInteger, kReal, kColumn, kCall
};

struct Node {
  NodeKind kind;
  std::string name;         // operator, column, function, or literal text
  bool negated = false;     // NOT LIKE, IS NOT NULL, NOT IN, NOT BETWEEN
  bool insensitive = false; // ILIKE
  std::vector<std::unique_ptr<Node>> kids;
};

using NodePtr = std::unique_ptr<Node>;

NodePtr MakeNode(NodeKind kind, std::string name = std::string()) {
  NodePtr n(new Node);
  n->kind = kind;
  n->name = std::move(name);
  return n;
}

class Parser {
 public:
  Parser(const std::vector<Token>& tokens, IndexTable table) : tokens_(tokens), table_(table) {}

  NodePtr Condition() {
    NodePtr n = Or();
    return n && AtEnd() ? std::move(n) : nullptr;
  }

  // One order item: a sum and an optional direction.
  NodePtr OrderItem(bool* descending) {
    NodePtr n = Sum();
    if (!n) return nullptr;
    *descending = false;
    if (IsWord("asc")) {
      ++pos_;
    } else if (IsWord("desc")) {
      ++pos_;
      *descending = true;
    }
    return n;
  }

  bool AtEnd() const { return Peek().type == TokenType::kEnd; }
  bool TakeSymbol(const char* sym) {
    if (!IsSymbol(sym)) return false;
    ++pos_;
    return true;
  }

 private:
  const Token& Peek() const { return tokens_[pos_]; }
  bool IsWord(const char* w) const { return Peek().type == TokenType::kWord && Peek().text == w; }
  bool IsSymbol(const char* s) const {
    return Peek().type == TokenType::kSymbol && Peek().text == s;
  }
  bool TakeWord(const char* w) {
    if (!IsWord(w)) return false;
    ++pos_;
    return true;
  }

  // Guards recursion: every rule that can nest goes through here.
  struct Depth {
    explicit Depth(Parser* p) : p_(p) { ++p_->depth_; }
    ~Depth() { --p_->depth_; }
    bool ok() const { return p_->depth_ <= kMaxFragmentDepth; }
    Parser* p_;
  };

  NodePtr Binary(NodeKind kind, const char* word, NodePtr (Parser::*next)()) {
    NodePtr left = (this->*next)();
    if (!left || !IsWord(word)) return left;
    NodePtr n = MakeNode(kind);
    n->kids.push_back(std::move(left));
    while (TakeWord(word)) {
      NodePtr right = (this->*next)();
      if (!right) return nullptr;
      n->kids.push_back(std::move(right));
    }
    return n;
  }

  NodePtr Or() {
    Depth depth(this);
    if (!depth.ok()) return nullptr;
    return Binary(NodeKind::kOr, "or", &Parser::And);
  }
  NodePtr And() { return Binary(NodeKind::kAnd, "and", &Parser::Not); }

  NodePtr Not() {
    Depth depth(this);
    if (!depth.ok()) return nullptr;
    if (TakeWord("not")) {
      NodePtr inner = Not();
      if (!inner) return nullptr;
      NodePtr n = MakeNode(NodeKind::kNot);
      n->kids.push_back(std::move(inner));
      return n;
    }
    return Predicate();
  }

  NodePtr Predicate() {
    NodePtr left = Sum();
    if (!left) return nullptr;
    static const char* const kCompare[] = {"=", "<>", "!=", "<", ">", "<=", ">="};
    for (const char* op : kCompare) {
      if (TakeSymbol(op)) {
        NodePtr right = Sum();
        if (!right) return nullptr;
        NodePtr n = MakeNode(NodeKind::kCompare, std::string(op) == "!=" ? "<>" : op);
        n->kids.push_back(std::move(left));
        n->kids.push_back(std::move(right));
        return n;
      }
    }
    if (TakeWord("is")) {
      NodePtr n = MakeNode(NodeKind::kIsNull);
      n->negated = TakeWord("not");
      if (!TakeWord("null")) return nullptr;
      n->kids.push_back(std::move(left));
      return n;
    }
    bool negated = TakeWord("not");
    if (IsWord("like") || IsWord("ilike")) {
      NodePtr n = MakeNode(NodeKind::kLike);
      n->insensitive = IsWord("ilike");
      ++pos_;
      n->negated = negated;
      NodePtr pattern = Sum();
      if (!pattern) return nullptr;
      n->kids.push_back(std::move(left));
      n->kids.push_back(std::move(pattern));
      return n;
    }
    if (TakeWord("in")) {
      NodePtr n = MakeNode(NodeKind::kIn);
      n->negated = negated;
      n->kids.push_back(std::move(left));
      if (!TakeSymbol("(")) return nullptr;
      do {
        NodePtr item = Sum();
        if (!item) return nullptr;
        n->kids.push_back(std::move(item));
      } while (TakeSymbol(","));
      if (!TakeSymbol(")")) return nullptr;
      return n;
    }
    if (TakeWord("between")) {
      NodePtr n = MakeNode(NodeKind::kBetween);
      n->negated = negated;
      n->kids.push_back(std::move(left));
      NodePtr low = Sum();
      if (!low || !TakeWord("and")) return nullptr;
      NodePtr high = Sum();
      if (!high) return nullptr;
      n->kids.push_back(std::move(low));
      n->kids.push_back(std::move(high));
      return n;
    }
    if (negated) return nullptr;  // "not" must lead into like, in or between here
    return left;
  }

  NodePtr Arith(const char* const* ops, size_t count, NodePtr (Parser::*next)()) {
    NodePtr left = (this->*next)();
    // Each operator nests the tree one level deeper: it counts as depth.
    int nested = 0;
    while (left) {
      const char* op = nullptr;
      for (size_t i = 0; i < count; ++i) {
        if (IsSymbol(ops[i])) op = ops[i];
      }
      if (op == nullptr) break;
      ++pos_;
      ++nested;
      ++depth_;
      NodePtr right = depth_ <= kMaxFragmentDepth ? (this->*next)() : nullptr;
      if (!right) {
        depth_ -= nested;
        return nullptr;
      }
      NodePtr n = MakeNode(NodeKind::kArith, op);
      n->kids.push_back(std::move(left));
      n->kids.push_back(std::move(right));
      left = std::move(n);
    }
    depth_ -= nested;
    return left;
  }

  NodePtr Sum() {
    static const char* const kOps[] = {"+", "-", "||"};
    return Arith(kOps, 3, &Parser::Product);
  }
  NodePtr Product() {
    static const char* const kOps[] = {"*", "/"};
    return Arith(kOps, 2, &Parser::Unary);
  }

  NodePtr Unary() {
    Depth depth(this);
    if (!depth.ok()) return nullptr;
    if (IsSymbol("-") || IsSymbol("+")) {
      NodePtr n = MakeNode(NodeKind::kSign, Peek().text);
      ++pos_;
      NodePtr inner = Unary();
      if (!inner) return nullptr;
      n->kids.push_back(std::move(inner));
      return n;
    }
    return Primary();
  }

  NodePtr Primary() {
    const Token& t = Peek();
    switch (t.type) {
      case TokenType::kText: {
        ++pos_;
        return MakeNode(NodeKind::kText, t.text);
      }
      case TokenType::kNumber: {
        ++pos_;
        bool real = t.text.find('.') != std::string::npos;
        if (!real) {
          errno = 0;
          std::strtoll(t.text.c_str(), nullptr, 10);
          real = errno == ERANGE;  // too large for an integer: as PostgreSQL, a numeric
        }
        return MakeNode(real ? NodeKind::kReal : NodeKind::kInteger, t.text);
      }
      case TokenType::kWord: {
        if (t.text == "lower" || t.text == "upper") {
          NodePtr n = MakeNode(NodeKind::kCall, t.text);
          ++pos_;
          if (!TakeSymbol("(")) return nullptr;
          NodePtr arg = Or();
          if (!arg || !TakeSymbol(")")) return nullptr;
          n->kids.push_back(std::move(arg));
          return n;
        }
        if (!IsIndexColumn(table_, t.text)) return nullptr;
        ++pos_;
        return MakeNode(NodeKind::kColumn, t.text);
      }
      case TokenType::kSymbol: {
        if (!TakeSymbol("(")) return nullptr;
        NodePtr inner = Or();
        if (!inner || !TakeSymbol(")")) return nullptr;
        return inner;
      }
      case TokenType::kEnd:
        break;
    }
    return nullptr;
  }

  const std::vector<Token>& tokens_;
  IndexTable table_;
  size_t pos_ = 0;
  int depth_ = 0;
};

// ---- SQL output ----

void EmitValue(const Node& n, SqlPiece* out) {
  SqlValue v;
  if (n.kind == NodeKind::kText) {
    v.type = SqlValue::Type::kText;
    v.text = n.name;
  } else if (n.kind == NodeKind::kInteger) {
    v.type = SqlValue::Type::kInteger;
    v.integer = std::strtoll(n.name.c_str(), nullptr, 10);
  } else {
    v.type = SqlValue::Type::kReal;
    v.real = std::strtod(n.name.c_str(), nullptr);
  }
  out->values.push_back(std::move(v));
  out->sql += '?';
}

void Emit(const Node& n, SqlPiece* out) {
  std::string& s = out->sql;
  switch (n.kind) {
    case NodeKind::kOr:
    case NodeKind::kAnd:
      s += '(';
      for (size_t i = 0; i < n.kids.size(); ++i) {
        if (i > 0) s += n.kind == NodeKind::kOr ? " OR " : " AND ";
        Emit(*n.kids[i], out);
      }
      s += ')';
      break;
    case NodeKind::kNot:
      s += "(NOT ";
      Emit(*n.kids[0], out);
      s += ')';
      break;
    case NodeKind::kCompare:
    case NodeKind::kArith:
      s += '(';
      Emit(*n.kids[0], out);
      s += ' ' + n.name + ' ';
      Emit(*n.kids[1], out);
      s += ')';
      break;
    case NodeKind::kLike:
      s += n.negated ? "(NOT " : "(";
      s += n.insensitive ? "pg_ilike(" : "pg_like(";
      Emit(*n.kids[0], out);
      s += ", ";
      Emit(*n.kids[1], out);
      s += "))";
      break;
    case NodeKind::kIsNull:
      s += '(';
      Emit(*n.kids[0], out);
      s += n.negated ? " IS NOT NULL)" : " IS NULL)";
      break;
    case NodeKind::kIn:
      s += '(';
      Emit(*n.kids[0], out);
      s += n.negated ? " NOT IN (" : " IN (";
      for (size_t i = 1; i < n.kids.size(); ++i) {
        if (i > 1) s += ", ";
        Emit(*n.kids[i], out);
      }
      s += "))";
      break;
    case NodeKind::kBetween:
      s += '(';
      Emit(*n.kids[0], out);
      s += n.negated ? " NOT BETWEEN " : " BETWEEN ";
      Emit(*n.kids[1], out);
      s += " AND ";
      Emit(*n.kids[2], out);
      s += ')';
      break;
    case NodeKind::kSign:
      s += '(' + n.name + ' ';
      Emit(*n.kids[0], out);
      s += ')';
      break;
    case NodeKind::kText:
    case NodeKind::kInteger:
    case NodeKind::kReal:
      EmitValue(n, out);
      break;
    case NodeKind::kColumn:
      s += n.name;
      break;
    case NodeKind::kCall:
      s += n.name + '(';
      Emit(*n.kids[0], out);
      s += ')';
      break;
  }
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

// An FTS5 query selecting a superset of the rows that satisfy n, or "".
std::string CandidateQuery(const Node& n) {
  switch (n.kind) {
    case NodeKind::kLike: {
      if (n.negated || n.kids[0]->kind != NodeKind::kColumn ||
          n.kids[1]->kind != NodeKind::kText || !InList(kTrigramColumns, n.kids[0]->name)) {
        return "";
      }
      std::vector<std::string> trigrams = PatternTrigrams(n.kids[1]->name);
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
    case NodeKind::kOr: {
      // The index has no column filter, so the same key searched in several
      // columns is one query.
      std::vector<std::string> parts;
      for (const NodePtr& kid : n.kids) {
        std::string part = CandidateQuery(*kid);
        if (part.empty()) return "";  // one branch the index cannot serve: scan
        if (std::find(parts.begin(), parts.end(), part) == parts.end()) parts.push_back(part);
      }
      return Joined(parts, " OR ");
    }
    case NodeKind::kAnd: {
      std::vector<std::string> parts;
      for (const NodePtr& kid : n.kids) {
        std::string part = CandidateQuery(*kid);
        if (!part.empty()) parts.push_back(part);
      }
      return Joined(parts, " AND ");
    }
    default:
      return "";
  }
}

// Whether n is a truth value, as PostgreSQL requires of a condition and of
// the operands of and, or and not.
bool IsPredicate(const Node& n) {
  switch (n.kind) {
    case NodeKind::kOr:
    case NodeKind::kAnd:
    case NodeKind::kNot:
      for (const NodePtr& kid : n.kids) {
        if (!IsPredicate(*kid)) return false;
      }
      return true;
    case NodeKind::kCompare:
    case NodeKind::kLike:
    case NodeKind::kIsNull:
    case NodeKind::kIn:
    case NodeKind::kBetween:
      return true;
    default:
      return false;
  }
}

}  // namespace

bool IsIndexColumn(IndexTable table, std::string_view name) {
  return table == IndexTable::kSong ? InList(kSongColumns, name) : InList(kFolderColumns, name);
}

bool IsBlankFragment(std::string_view text) {
  for (char c : text) {
    if (!IsBlank(c)) return false;
  }
  return true;
}

bool TranslateCondition(std::string_view condition, IndexTable table, SqlPiece* out,
                        std::string* fts_query) {
  fts_query->clear();
  std::vector<Token> tokens;
  if (!Tokenize(condition, &tokens)) return false;
  Parser parser(tokens, table);
  NodePtr tree = parser.Condition();
  if (!tree || !IsPredicate(*tree)) return false;
  out->sql += '(';
  Emit(*tree, out);
  out->sql += ')';
  if (table == IndexTable::kSong) *fts_query = CandidateQuery(*tree);
  return true;
}

bool ParseColumnList(std::string_view text, IndexTable table, std::vector<std::string>* columns) {
  std::vector<Token> tokens;
  if (!Tokenize(text, &tokens)) return false;
  size_t i = 0;
  for (;;) {
    if (tokens[i].type != TokenType::kWord || !IsIndexColumn(table, tokens[i].text)) return false;
    columns->push_back(tokens[i].text);
    ++i;
    if (tokens[i].type == TokenType::kEnd) return true;
    if (tokens[i].type != TokenType::kSymbol || tokens[i].text != ",") return false;
    ++i;
  }
}

bool TranslateOrder(std::string_view order, IndexTable table, SqlPiece* out) {
  std::vector<Token> tokens;
  if (!Tokenize(order, &tokens)) return false;
  Parser parser(tokens, table);
  bool first = true;
  do {
    bool descending = false;
    NodePtr item = parser.OrderItem(&descending);
    if (!item) return false;
    if (!first) out->sql += ", ";
    first = false;
    Emit(*item, out);
    out->sql += descending ? " DESC" : " ASC";
  } while (parser.TakeSymbol(","));
  return parser.AtEnd();
}

}  // namespace cantora
