#include "platform/playlist/smart/rules.h"

#include <json/json.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/index/escape.h"
#include "platform/index/song_columns.h"
#include "platform/text/json_parse.h"

namespace cantora {

namespace {

struct FieldSpec {
  const char* name;
  SmartFieldType type;
  Column column;
  double scale;  // rule value to index value: bitrate is kept in bit/s
};

const FieldSpec kFields[] = {
    {"title", SmartFieldType::kText, Column::kTitle, 1},
    {"artist", SmartFieldType::kText, Column::kArtist, 1},
    {"album", SmartFieldType::kText, Column::kAlbum, 1},
    {"album_artist", SmartFieldType::kText, Column::kAlbumArtist, 1},
    {"genre", SmartFieldType::kText, Column::kGenre, 1},
    {"composer", SmartFieldType::kText, Column::kComposer, 1},
    {"comment", SmartFieldType::kText, Column::kComment, 1},
    {"path", SmartFieldType::kText, Column::kPath, 1},
    {"year", SmartFieldType::kNumber, Column::kYear, 1},
    {"track", SmartFieldType::kNumber, Column::kTrack, 1},
    {"disc", SmartFieldType::kNumber, Column::kDisc, 1},
    {"duration", SmartFieldType::kNumber, Column::kDuration, 1},
    {"bitrate", SmartFieldType::kNumber, Column::kBitrate, 1000},
    {"filesize", SmartFieldType::kNumber, Column::kFilesize, 1},
    {"covercount", SmartFieldType::kNumber, Column::kCovercount, 1},
    {"added", SmartFieldType::kDate, Column::kCreateDate, 1},
};

struct OpSpec {
  const char* name;
  SmartOp op;
  SmartFieldType type;
  Expr::Op compare;  // the comparison of is, is_not, number and date operators
};

const OpSpec kOps[] = {
    {"is", SmartOp::kIs, SmartFieldType::kText, Expr::Op::kEq},
    {"is_not", SmartOp::kIsNot, SmartFieldType::kText, Expr::Op::kNe},
    {"contains", SmartOp::kContains, SmartFieldType::kText, Expr::Op::kEq},
    {"not_contains", SmartOp::kNotContains, SmartFieldType::kText, Expr::Op::kEq},
    {"starts_with", SmartOp::kStartsWith, SmartFieldType::kText, Expr::Op::kEq},
    {"ends_with", SmartOp::kEndsWith, SmartFieldType::kText, Expr::Op::kEq},
    {"eq", SmartOp::kEq, SmartFieldType::kNumber, Expr::Op::kEq},
    {"ne", SmartOp::kNe, SmartFieldType::kNumber, Expr::Op::kNe},
    {"gt", SmartOp::kGt, SmartFieldType::kNumber, Expr::Op::kGt},
    {"ge", SmartOp::kGe, SmartFieldType::kNumber, Expr::Op::kGe},
    {"lt", SmartOp::kLt, SmartFieldType::kNumber, Expr::Op::kLt},
    {"le", SmartOp::kLe, SmartFieldType::kNumber, Expr::Op::kLe},
    {"between", SmartOp::kBetween, SmartFieldType::kNumber, Expr::Op::kEq},
    {"in_last_days", SmartOp::kInLastDays, SmartFieldType::kDate, Expr::Op::kGe},
    {"not_in_last_days", SmartOp::kNotInLastDays, SmartFieldType::kDate, Expr::Op::kLt},
    {"before", SmartOp::kBefore, SmartFieldType::kDate, Expr::Op::kLt},
    {"after", SmartOp::kAfter, SmartFieldType::kDate, Expr::Op::kGe},
};

const char* TypeName(SmartFieldType type) {
  switch (type) {
    case SmartFieldType::kText: return "text";
    case SmartFieldType::kNumber: return "number";
    case SmartFieldType::kDate: return "date";
  }
  return "";
}

const FieldSpec* FindField(const std::string& name) {
  for (const FieldSpec& f : kFields)
    if (name == f.name) return &f;
  return nullptr;
}

const OpSpec* FindOp(const std::string& name) {
  for (const OpSpec& o : kOps)
    if (name == o.name) return &o;
  return nullptr;
}

const OpSpec& SpecOf(SmartOp op) {
  for (const OpSpec& o : kOps)
    if (o.op == op) return o;
  return kOps[0];
}

// Numbers beyond this are refused: they would lose their digits as doubles,
// and no song has them.
constexpr double kMaxMagnitude = 1e15;
constexpr int64_t kMaxDays = 1000000;

bool IsNumber(const Json::Value& v) {
  return v.type() == Json::intValue || v.type() == Json::uintValue ||
         v.type() == Json::realValue;
}

bool IsWholeNumber(const Json::Value& v) {
  return IsNumber(v) && std::floor(v.asDouble()) == v.asDouble();
}

bool DaysInMonth(int year, int month, int* days) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12) return false;
  bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  *days = kDays[month - 1] + (month == 2 && leap ? 1 : 0);
  return true;
}

// "YYYY-MM-DD", a real calendar day.
bool ParseDay(const std::string& text, int* year, int* month, int* day) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
  for (size_t i : {0, 1, 2, 3, 5, 6, 8, 9})
    if (text[i] < '0' || text[i] > '9') return false;
  *year = std::atoi(text.substr(0, 4).c_str());
  *month = std::atoi(text.substr(5, 2).c_str());
  *day = std::atoi(text.substr(8, 2).c_str());
  int days = 0;
  return *year >= 1 && DaysInMonth(*year, *month, &days) && *day >= 1 && *day <= days;
}

class Parser {
 public:
  explicit Parser(std::string* error) : error_(error) {}

  bool Playlist(const Json::Value& top, SmartPlaylist* p) {
    if (!top.isObject()) return Fail("", "not a JSON object");
    if (!top["name"].isString()) return Fail("", "\"name\" must be a text");
    name_ = top["name"].asString();
    p->name = name_;
    for (const std::string& key : top.getMemberNames()) {
      if (key != "name" && key != "match" && key != "rules" && key != "order" && key != "limit")
        return Fail("", "unknown key \"" + key + "\"");
    }
    p->root.kind = SmartRule::Kind::kAll;
    if (top.isMember("match")) {
      const Json::Value& match = top["match"];
      if (match == "all") {
        p->root.kind = SmartRule::Kind::kAll;
      } else if (match == "any") {
        p->root.kind = SmartRule::Kind::kAny;
      } else {
        return Fail("", "\"match\" must be \"all\" or \"any\"");
      }
    }
    if (top.isMember("rules")) {
      if (!top["rules"].isArray()) return Fail("", "\"rules\" must be an array");
      if (!Rules(top["rules"], "", 0, &p->root.rules)) return false;
    }
    if (top.isMember("order") && !Order(top["order"], &p->order)) return false;
    if (top.isMember("limit")) {
      const Json::Value& limit = top["limit"];
      if (!IsWholeNumber(limit) || limit.asDouble() < 1 || limit.asDouble() > kMaxSmartLimit)
        return Fail("", "\"limit\" must be a whole number from 1 to " +
                            std::to_string(kMaxSmartLimit));
      p->limit = limit.asInt();
    }
    return true;
  }

  bool Fail(const std::string& where, const std::string& what) {
    *error_ = "smart playlist";
    if (!name_.empty()) *error_ += " \"" + name_ + "\"";
    *error_ += ": ";
    if (!where.empty()) *error_ += where + ": ";
    *error_ += what;
    return false;
  }

 private:
  // The rules of one array; prefix is the location of the group holding
  // them ("" at the top), depth the number of groups around them.
  bool Rules(const Json::Value& list, const std::string& prefix, int depth,
             std::vector<SmartRule>* out) {
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
      std::string where = (prefix.empty() ? "rule " : prefix + ".") + std::to_string(i + 1);
      SmartRule rule;
      if (!Rule(list[i], where, depth, &rule)) return false;
      out->push_back(std::move(rule));
    }
    return true;
  }

  bool Rule(const Json::Value& v, const std::string& where, int depth, SmartRule* rule) {
    if (!v.isObject()) return Fail(where, "a rule must be an object");
    if (v.size() == 1 && (v.isMember("all") || v.isMember("any")))
      return Group(v, where, depth, rule);
    for (const std::string& key : v.getMemberNames()) {
      if (key != "field" && key != "op" && key != "value") {
        if (key == "all" || key == "any")
          return Fail(where, "a group holds nothing but \"" + key + "\"");
        return Fail(where, "unknown key \"" + key + "\"");
      }
    }
    if (!v["field"].isString()) return Fail(where, "\"field\" must be a text");
    if (!v["op"].isString()) return Fail(where, "\"op\" must be a text");
    if (!v.isMember("value")) return Fail(where, "\"value\" is missing");
    const FieldSpec* field = FindField(v["field"].asString());
    if (field == nullptr) return Fail(where, "unknown field \"" + v["field"].asString() + "\"");
    const OpSpec* op = FindOp(v["op"].asString());
    if (op == nullptr || op->type != field->type)
      return Fail(where, "unknown operator \"" + v["op"].asString() + "\" for " +
                             TypeName(field->type) + " field \"" + field->name + "\"");
    rule->kind = SmartRule::Kind::kRule;
    rule->field = field->name;
    rule->type = field->type;
    rule->op = op->op;
    return Value(v["value"], where, rule);
  }

  bool Group(const Json::Value& v, const std::string& where, int depth, SmartRule* rule) {
    bool all = v.isMember("all");
    const Json::Value& list = all ? v["all"] : v["any"];
    if (depth + 1 > kMaxGroupDepth)
      return Fail(where, "groups nest deeper than " + std::to_string(kMaxGroupDepth));
    if (!list.isArray() || list.empty())
      return Fail(where, std::string("\"") + (all ? "all" : "any") +
                             "\" must be an array of at least one rule");
    rule->kind = all ? SmartRule::Kind::kAll : SmartRule::Kind::kAny;
    return Rules(list, where, depth + 1, &rule->rules);
  }

  bool Number(const Json::Value& v, const std::string& where, double* out) {
    if (!IsNumber(v)) return Fail(where, "the value must be a number");
    double d = v.asDouble();
    if (!std::isfinite(d) || std::fabs(d) > kMaxMagnitude)
      return Fail(where, "the value is out of range");
    *out = d;
    return true;
  }

  bool Value(const Json::Value& v, const std::string& where, SmartRule* rule) {
    switch (rule->op) {
      case SmartOp::kBetween:
        if (!v.isArray() || v.size() != 2)
          return Fail(where, "the value of \"between\" must be [low, high]");
        if (!Number(v[0], where, &rule->low) || !Number(v[1], where, &rule->high)) return false;
        if (rule->low > rule->high) return Fail(where, "low is greater than high");
        return true;
      case SmartOp::kInLastDays:
      case SmartOp::kNotInLastDays:
        if (!IsWholeNumber(v) || v.asDouble() < 0 || v.asDouble() > kMaxDays)
          return Fail(where, "the value must be a whole number of days from 0 to " +
                                 std::to_string(kMaxDays));
        rule->days = static_cast<int64_t>(v.asDouble());
        return true;
      case SmartOp::kBefore:
      case SmartOp::kAfter:
        if (!v.isString() || !ParseDay(v.asString(), &rule->year, &rule->month, &rule->day))
          return Fail(where, "the value must be a date \"YYYY-MM-DD\"");
        return true;
      default:
        break;
    }
    if (rule->type == SmartFieldType::kNumber) return Number(v, where, &rule->low);
    if (!v.isString()) return Fail(where, "the value must be a text");
    rule->text = v.asString();
    if (rule->text.find('\0') != std::string::npos)
      return Fail(where, "the value holds a NUL character");
    return true;
  }

  bool Order(const Json::Value& v, SmartOrder* order) {
    const std::string bad = "\"order\" must be \"random\" or a field followed by asc or desc";
    if (!v.isString()) return Fail("", bad);
    std::string text = v.asString();
    if (text == "random") {
      order->kind = SmartOrder::Kind::kRandom;
      return true;
    }
    size_t space = text.find(' ');
    std::string field = text.substr(0, space);
    std::string direction = space == std::string::npos ? "asc" : text.substr(space + 1);
    if (FindField(field) == nullptr) return Fail("", bad + ", not \"" + text + "\"");
    if (direction != "asc" && direction != "desc") return Fail("", bad + ", not \"" + text + "\"");
    order->kind = SmartOrder::Kind::kField;
    order->field = field;
    order->descending = direction == "desc";
    return true;
  }

  std::string* error_;
  std::string name_;
};

// ---- Compiling ----

// A number as the fragment grammar writes it: no exponent, digits and one
// point.
ExprPtr NumberOf(double value) {
  char text[64];
  if (std::floor(value) == value) {
    std::snprintf(text, sizeof text, "%lld", static_cast<long long>(value));
  } else {
    std::snprintf(text, sizeof text, "%.9f", value);
  }
  return query::Number(text);
}

// A LIKE pattern: text matched literally, with '%' where wanted.
std::string Pattern(const std::string& text, bool any_before, bool any_after) {
  std::string escaped(text.size() * 3 + 1, '\0');
  int n = ZARNDBEscapeBackslash(&escaped[0], escaped.size(), text.c_str());
  escaped.resize(n < 0 ? 0 : static_cast<size_t>(n));
  return (any_before ? "%" : "") + escaped + (any_after ? "%" : "");
}

// Local midnight of a day; the day after when next.
int64_t Midnight(const SmartRule& rule, bool next) {
  struct tm t = {};
  t.tm_year = rule.year - 1900;
  t.tm_mon = rule.month - 1;
  t.tm_mday = rule.day + (next ? 1 : 0);
  t.tm_isdst = -1;
  return static_cast<int64_t>(mktime(&t));
}

ExprPtr CompileRule(const SmartRule& rule, time_t now);

ExprPtr CompileGroup(const SmartRule& group, time_t now) {
  std::vector<ExprPtr> rules;
  for (const SmartRule& rule : group.rules) rules.push_back(CompileRule(rule, now));
  return group.kind == SmartRule::Kind::kAny ? query::Or(std::move(rules))
                                             : query::And(std::move(rules));
}

ExprPtr CompileRule(const SmartRule& rule, time_t now) {
  if (rule.kind != SmartRule::Kind::kRule) return CompileGroup(rule, now);
  const FieldSpec* field = FindField(rule.field);
  const OpSpec& op = SpecOf(rule.op);
  Column column = field->column;
  switch (rule.op) {
    case SmartOp::kIs:
    case SmartOp::kIsNot:
      return query::Compare(column, op.compare, query::Text(rule.text));
    case SmartOp::kContains:
      return query::Like(column, Pattern(rule.text, true, true), true);
    case SmartOp::kNotContains:
      return query::Like(column, Pattern(rule.text, true, true), true, true);
    case SmartOp::kStartsWith:
      return query::Like(column, Pattern(rule.text, false, true), true);
    case SmartOp::kEndsWith:
      return query::Like(column, Pattern(rule.text, true, false), true);
    case SmartOp::kBetween:
      return query::Between(column, NumberOf(rule.low * field->scale),
                            NumberOf(rule.high * field->scale));
    case SmartOp::kInLastDays:
    case SmartOp::kNotInLastDays:
      return query::Compare(column, op.compare,
                            query::Integer(static_cast<int64_t>(now) - rule.days * 86400));
    case SmartOp::kBefore:
      return query::Compare(column, op.compare, query::Integer(Midnight(rule, false)));
    case SmartOp::kAfter:
      return query::Compare(column, op.compare, query::Integer(Midnight(rule, true)));
    default:  // eq ne gt ge lt le
      return query::Compare(column, op.compare, NumberOf(rule.low * field->scale));
  }
}

// The order of the keys, each text key by its lower case.
std::shared_ptr<const OrderBy> CompileOrder(const std::vector<SmartSortKey>& keys) {
  auto order = std::make_shared<OrderBy>();
  for (const SmartSortKey& key : keys) {
    Column column = Column::kId;
    ColumnOfName(IndexTable::kSong, key.column, &column);
    OrderTerm term;
    term.value = key.lowered ? query::Lower(query::ColumnRef(column)) : query::ColumnRef(column);
    term.descending = key.descending;
    order->terms.push_back(std::move(term));
  }
  order->kind = NameOrder(order->terms);
  return order;
}

}  // namespace

bool ParseSmartPlaylist(std::string_view json, SmartPlaylist* playlist, std::string* error) {
  *playlist = SmartPlaylist();
  Parser parser(error);
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  Json::Value top;
  if (!ParseJson(json, builder, &top)) return parser.Fail("", "not JSON");
  return parser.Playlist(top, playlist);
}

std::vector<SmartSortKey> SmartSortKeys(const SmartOrder& order) {
  static const SmartSortKey kDefault[] = {{"artist", true, false},
                                          {"album", true, false},
                                          {"disc", false, false},
                                          {"track", false, false},
                                          {"path", false, false}};
  std::vector<SmartSortKey> keys;
  if (order.kind == SmartOrder::Kind::kRandom) return keys;
  if (order.kind == SmartOrder::Kind::kField) {
    const FieldSpec* f = FindField(order.field);
    if (f->type == SmartFieldType::kDate) {
      // Songs of one indexing run share their date: the order they were
      // indexed in (their ids) breaks the tie, in the same direction, so
      // that the date index alone gives the order.
      return {{ColumnName(f->column), false, order.descending}, {"id", false, order.descending}};
    }
    // Text sorts by its lower case, so that "abba" and "ABBA" sort together;
    // the path is unique and sorts as it is.
    bool lowered = f->type == SmartFieldType::kText && order.field != "path";
    keys.push_back({ColumnName(f->column), lowered, order.descending});
  }
  for (const SmartSortKey& k : kDefault)
    if (keys.empty() || std::strcmp(keys[0].column, k.column) != 0) keys.push_back(k);
  return keys;
}

SmartQuery CompileSmartPlaylist(const SmartPlaylist& playlist, time_t now) {
  SmartQuery q;
  if (!playlist.root.rules.empty()) {
    q.where = CompileGroup(playlist.root, now);
    q.condition = FragmentText(*q.where);
  }
  q.random = playlist.order.kind == SmartOrder::Kind::kRandom;
  q.keys = SmartSortKeys(playlist.order);
  if (!q.random) {
    q.order_by = CompileOrder(q.keys);
    q.order = FragmentText(*q.order_by);
  }
  q.limit = playlist.limit;
  return q;
}

}  // namespace cantora
