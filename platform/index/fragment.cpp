#include "platform/index/fragment.h"

#include <memory>

namespace cantora {
namespace {

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

// ---- Parsing into the query's tree (query.h) ----

// A node the parser fills in as it reads on.
ExprPtr MakeNode(Expr::Kind kind) {
  ExprPtr n(new Expr);
  n->kind = kind;
  return n;
}

// The operator a symbol names ("!=" is "<>").
bool OpOfSymbol(const std::string& symbol, Expr::Op* op) {
  for (int i = 0; i <= static_cast<int>(Expr::Op::kDiv); ++i) {
    Expr::Op candidate = static_cast<Expr::Op>(i);
    if (symbol == OpText(candidate) || (symbol == "!=" && candidate == Expr::Op::kNe)) {
      *op = candidate;
      return true;
    }
  }
  return false;
}

class Parser {
 public:
  Parser(const std::vector<Token>& tokens, IndexTable table) : tokens_(tokens), table_(table) {}

  ExprPtr Condition() {
    ExprPtr n = Or();
    return n && AtEnd() ? std::move(n) : nullptr;
  }

  // One order item: a sum and an optional direction.
  ExprPtr OrderItem(bool* descending) {
    ExprPtr n = Sum();
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

  ExprPtr Binary(Expr::Kind kind, const char* word, ExprPtr (Parser::*next)()) {
    ExprPtr left = (this->*next)();
    if (!left || !IsWord(word)) return left;
    ExprPtr n = MakeNode(kind);
    n->kids.push_back(std::move(left));
    while (TakeWord(word)) {
      ExprPtr right = (this->*next)();
      if (!right) return nullptr;
      n->kids.push_back(std::move(right));
    }
    return n;
  }

  ExprPtr Or() {
    Depth depth(this);
    if (!depth.ok()) return nullptr;
    return Binary(Expr::Kind::kOr, "or", &Parser::And);
  }
  ExprPtr And() { return Binary(Expr::Kind::kAnd, "and", &Parser::Not); }

  ExprPtr Not() {
    Depth depth(this);
    if (!depth.ok()) return nullptr;
    if (TakeWord("not")) {
      ExprPtr inner = Not();
      if (!inner) return nullptr;
      ExprPtr n = MakeNode(Expr::Kind::kNot);
      n->kids.push_back(std::move(inner));
      return n;
    }
    return Predicate();
  }

  ExprPtr Predicate() {
    ExprPtr left = Sum();
    if (!left) return nullptr;
    static const char* const kCompare[] = {"=", "<>", "!=", "<", ">", "<=", ">="};
    for (const char* op : kCompare) {
      if (TakeSymbol(op)) {
        ExprPtr right = Sum();
        if (!right) return nullptr;
        ExprPtr n = MakeNode(Expr::Kind::kCompare);
        OpOfSymbol(op, &n->op);
        n->kids.push_back(std::move(left));
        n->kids.push_back(std::move(right));
        return n;
      }
    }
    if (TakeWord("is")) {
      ExprPtr n = MakeNode(Expr::Kind::kIsNull);
      n->negated = TakeWord("not");
      if (!TakeWord("null")) return nullptr;
      n->kids.push_back(std::move(left));
      return n;
    }
    bool negated = TakeWord("not");
    if (IsWord("like") || IsWord("ilike")) {
      ExprPtr n = MakeNode(Expr::Kind::kLike);
      n->insensitive = IsWord("ilike");
      ++pos_;
      n->negated = negated;
      ExprPtr pattern = Sum();
      if (!pattern) return nullptr;
      n->kids.push_back(std::move(left));
      n->kids.push_back(std::move(pattern));
      return n;
    }
    if (TakeWord("in")) {
      ExprPtr n = MakeNode(Expr::Kind::kIn);
      n->negated = negated;
      n->kids.push_back(std::move(left));
      if (!TakeSymbol("(")) return nullptr;
      do {
        ExprPtr item = Sum();
        if (!item) return nullptr;
        n->kids.push_back(std::move(item));
      } while (TakeSymbol(","));
      if (!TakeSymbol(")")) return nullptr;
      return n;
    }
    if (TakeWord("between")) {
      ExprPtr n = MakeNode(Expr::Kind::kBetween);
      n->negated = negated;
      n->kids.push_back(std::move(left));
      ExprPtr low = Sum();
      if (!low || !TakeWord("and")) return nullptr;
      ExprPtr high = Sum();
      if (!high) return nullptr;
      n->kids.push_back(std::move(low));
      n->kids.push_back(std::move(high));
      return n;
    }
    if (negated) return nullptr;  // "not" must lead into like, in or between here
    return left;
  }

  ExprPtr Arith(const char* const* ops, size_t count, ExprPtr (Parser::*next)()) {
    ExprPtr left = (this->*next)();
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
      ExprPtr right = depth_ <= kMaxFragmentDepth ? (this->*next)() : nullptr;
      if (!right) {
        depth_ -= nested;
        return nullptr;
      }
      ExprPtr n = MakeNode(Expr::Kind::kArith);
      OpOfSymbol(op, &n->op);
      n->kids.push_back(std::move(left));
      n->kids.push_back(std::move(right));
      left = std::move(n);
    }
    depth_ -= nested;
    return left;
  }

  ExprPtr Sum() {
    static const char* const kOps[] = {"+", "-", "||"};
    return Arith(kOps, 3, &Parser::Product);
  }
  ExprPtr Product() {
    static const char* const kOps[] = {"*", "/"};
    return Arith(kOps, 2, &Parser::Unary);
  }

  ExprPtr Unary() {
    Depth depth(this);
    if (!depth.ok()) return nullptr;
    if (IsSymbol("-") || IsSymbol("+")) {
      ExprPtr n = MakeNode(Expr::Kind::kSign);
      OpOfSymbol(Peek().text, &n->op);
      ++pos_;
      ExprPtr inner = Unary();
      if (!inner) return nullptr;
      n->kids.push_back(std::move(inner));
      return n;
    }
    return Primary();
  }

  ExprPtr Primary() {
    const Token& t = Peek();
    switch (t.type) {
      case TokenType::kText: {
        ++pos_;
        return query::Text(t.text);
      }
      case TokenType::kNumber: {
        ++pos_;
        return query::Number(t.text);
      }
      case TokenType::kWord: {
        if (t.text == "lower" || t.text == "upper") {
          ExprPtr n = MakeNode(Expr::Kind::kCall);
          n->call = t.text == "lower" ? Expr::Call::kLower : Expr::Call::kUpper;
          ++pos_;
          if (!TakeSymbol("(")) return nullptr;
          ExprPtr arg = Or();
          if (!arg || !TakeSymbol(")")) return nullptr;
          n->kids.push_back(std::move(arg));
          return n;
        }
        Column column;
        if (!ColumnOfName(table_, t.text, &column)) return nullptr;
        ++pos_;
        return query::ColumnRef(column);
      }
      case TokenType::kSymbol: {
        if (!TakeSymbol("(")) return nullptr;
        ExprPtr inner = Or();
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

}  // namespace

bool IsIndexColumn(IndexTable table, std::string_view name) {
  Column column;
  return ColumnOfName(table, name, &column);
}

bool IsBlankFragment(std::string_view text) {
  for (char c : text) {
    if (!IsBlank(c)) return false;
  }
  return true;
}

ExprPtr ParseCondition(std::string_view condition, IndexTable table) {
  std::vector<Token> tokens;
  if (!Tokenize(condition, &tokens)) return nullptr;
  Parser parser(tokens, table);
  ExprPtr tree = parser.Condition();
  if (!tree || !IsPredicate(*tree)) return nullptr;
  return tree;
}

bool TranslateCondition(std::string_view condition, IndexTable table, SqlPiece* out,
                        std::string* fts_query) {
  fts_query->clear();
  ExprPtr tree = ParseCondition(condition, table);
  if (!tree) return false;
  out->sql += '(';
  AppendExpr(*tree, table, out);
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

bool ParseOrder(std::string_view text, IndexTable table, OrderBy* order) {
  std::vector<Token> tokens;
  if (!Tokenize(text, &tokens)) return false;
  Parser parser(tokens, table);
  order->terms.clear();
  do {
    OrderTerm term;
    term.value = parser.OrderItem(&term.descending);
    if (!term.value) return false;
    order->terms.push_back(std::move(term));
  } while (parser.TakeSymbol(","));
  if (!parser.AtEnd()) return false;
  order->kind = NameOrder(order->terms);
  return true;
}

bool TranslateOrder(std::string_view text, IndexTable table, SqlPiece* out) {
  OrderBy order;
  if (!ParseOrder(text, table, &order)) return false;
  AppendOrder(order, table, out);
  return true;
}

}  // namespace cantora
