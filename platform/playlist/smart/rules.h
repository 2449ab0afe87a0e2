// The rule language of smart playlists: one playlist is a JSON object
//
//   {"name": "Recent jazz", "match": "all",
//    "rules": [{"field": "genre", "op": "is", "value": "Jazz"},
//              {"field": "added", "op": "in_last_days", "value": 30}],
//    "order": "added desc", "limit": 100}
//
// "name"   text, required.
// "match"  "all" (every rule holds, the default) or "any" (at least one).
// "rules"  an array of rules; absent or empty selects every song. A rule is
//          {"field": F, "op": O, "value": V} or a group {"all": [rules]} /
//          {"any": [rules]} holding at least one rule. Groups nest at most
//          kMaxGroupDepth deep (a group in "rules" is depth 1).
// "order"  "<field>", "<field> asc" or "<field> desc" for any field below,
//          or "random". Default: artist, then album, disc, track (and path),
//          ascending. Ties of another order are broken by the default order;
//          songs added at the same moment keep the order they were indexed in.
// "limit"  a whole number from 1 to kMaxSmartLimit; default none.
//
// Fields and operators:
//   text    title artist album album_artist genre composer comment path
//           is, is_not (exact, case-sensitive), contains, not_contains,
//           starts_with, ends_with (without regard to case, folded per
//           character as search folds); the value is a text.
//   number  year track disc duration (seconds) bitrate (kbit/s)
//           filesize (bytes) covercount
//           eq ne gt ge lt le with a number; between with [low, high],
//           inclusive, low <= high.
//   date    added (when the song entered the index)
//           in_last_days, not_in_last_days with a whole number of days;
//           before, after with "YYYY-MM-DD" (local time; "after" starts
//           with the next day, "before" ends with the day before).
//
// Anything else is refused: unknown keys, fields or operators, values of
// the wrong type, empty groups, nesting past the limit, a document that is
// not one object. The refusal is one line naming the playlist and where:
//   smart playlist "Recent jazz": rule 2.1: unknown operator "like" for text field "title"
// Rules are numbered from 1; "2.1" is the first rule of the group that is
// the second rule.
#ifndef CANTORA_PLATFORM_PLAYLIST_SMART_RULES_H
#define CANTORA_PLATFORM_PLAYLIST_SMART_RULES_H

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/index/query.h"

namespace cantora {

constexpr int kMaxGroupDepth = 8;
constexpr int kMaxSmartLimit = 100000;

enum class SmartFieldType { kText, kNumber, kDate };

enum class SmartOp {
  // text
  kIs, kIsNot, kContains, kNotContains, kStartsWith, kEndsWith,
  // number
  kEq, kNe, kGt, kGe, kLt, kLe, kBetween,
  // date
  kInLastDays, kNotInLastDays, kBefore, kAfter
};

// One rule, or a group of rules.
struct SmartRule {
  enum class Kind { kRule, kAll, kAny };
  Kind kind = Kind::kRule;
  // A rule: the field's name as written, its type and the operator.
  std::string field;
  SmartFieldType type = SmartFieldType::kText;
  SmartOp op = SmartOp::kIs;
  std::string text;           // text operators
  double low = 0, high = 0;   // number operators (high: between only)
  int64_t days = 0;           // in_last_days, not_in_last_days
  int year = 0, month = 0, day = 0;  // before, after
  // A group: its rules.
  std::vector<SmartRule> rules;
};

struct SmartOrder {
  enum class Kind { kDefault, kField, kRandom };
  Kind kind = Kind::kDefault;
  std::string field;
  bool descending = false;
};

struct SmartPlaylist {
  std::string name;
  SmartRule root;  // kAll or kAny; its rules may be empty
  SmartOrder order;
  int limit = -1;  // none
};

// Parses one playlist object. False with *error set to the one-line refusal.
bool ParseSmartPlaylist(std::string_view json, SmartPlaylist* playlist, std::string* error);

// One key of an order: an index column, compared by its lower case when
// lowered (as the index's lower() maps it), in one direction.
struct SmartSortKey {
  const char* column;
  bool lowered;
  bool descending;
};

// A playlist compiled into the query the music index evaluates: the
// condition's tree and the order (query.h), every rule value a literal that
// the index binds as a parameter. condition and order are the same written
// in the index's fragment dialect (fragment.h), for people to read.
struct SmartQuery {
  std::shared_ptr<const Expr> where;     // null: every song
  std::shared_ptr<const OrderBy> order_by;  // null with random
  std::string condition;  // empty: every song
  std::string order;      // empty with random
  std::vector<SmartSortKey> keys;  // the order's keys (SmartSortKeys)
  bool random = false;
  int limit = -1;
};

// now anchors in_last_days and not_in_last_days. Dates of before and after
// are midnights of the local time zone.
SmartQuery CompileSmartPlaylist(const SmartPlaylist& playlist, time_t now);

// The keys of an order, the playlist's own first, then those of the default
// order; the compiled order is exactly these. Empty for random.
std::vector<SmartSortKey> SmartSortKeys(const SmartOrder& order);

}  // namespace cantora

#endif
