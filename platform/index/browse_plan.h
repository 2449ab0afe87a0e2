// The plan of one query: its fragments translated, the access method chosen
// from the query's fields, and the statement that method runs.
//
// The access methods, chosen in one place (ChooseAccess):
//   kNone         the scope holds no rows (a personal library without a
//                 user): nothing is read;
//   kFacet        a whole-library listing (distinct artists, newest albums,
//                 a one-column grouping) read from the facet table;
//   kStatement    one statement in its own order, SQLite sorting and paging;
//   kSortRecords  a whole song list in the song lists' order, every column,
//                 no paging: read unsorted and put in order in memory
//                 (song_order.h), SQLite's sorter copying every column of
//                 every row costing far more;
//   kCandidates   a limited song list of one library in the song lists'
//                 order whose condition has trigram candidates: the
//                 candidates are counted first (ChooseCandidateWalk), and
//                 when many, the song lists' order is walked and the walk
//                 stops at the limit instead of sorting them all.
#ifndef CANTORA_PLATFORM_INDEX_BROWSE_PLAN_H
#define CANTORA_PLATFORM_INDEX_BROWSE_PLAN_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/index/browse_query.h"
#include "platform/index/query_sql.h"
#include "platform/index/record_reader.h"

namespace cantora {

enum class Access : uint8_t { kNone, kFacet, kStatement, kSortRecords, kCandidates };

// How a kCandidates list is read once its candidates are counted.
enum class CandidateWalk : uint8_t {
  kSortMatches,  // few candidates: the plan's statement sorts the matches
  kWalkOrder,    // many: walk the song lists' order, stop at the limit
};

// The shape of a plan's statement.
enum class Shape : uint8_t {
  kOrdered,     // the rows in the statement's own order (ORDER BY, paging)
  kSortKeys,    // the rows unsorted, the song order's keys after the outputs
  kIndexWalk,   // the rows along the song_order index, candidates tested by candidate(id)
  kProbeId,     // one song, by the id bound first; the caller walks the ids
};

// The fragments of a query, translated.
struct Fragments {
  std::vector<int64_t> libraries;
  SqlPiece condition;     // empty when there is none
  std::string fts_query;  // trigram candidates of the condition, or empty
  std::vector<std::string> groups;
  SqlPiece order;         // empty when there is none
  SongOrder order_kind = SongOrder::kNone;
  // The order is none or lower(<the one group>) ascending: the facet
  // table's own order.
  bool facet_order = false;
  std::vector<std::string> columns;  // empty for every column
};

struct Plan {
  Access access = Access::kStatement;
  Shape shape = Shape::kOrdered;
  bool folders = false;
  SqlPiece statement;
  std::vector<Output> outputs;
  std::string fts_query;  // the condition's trigram candidates, if any

  // Whether the statement itself reads the trigram index (a walk tests
  // candidates read beforehand instead).
  bool UsesTrigrams() const {
    return !fts_query.empty() && shape != Shape::kIndexWalk && shape != Shape::kProbeId;
  }
};

// The access method of a translated query.
Access ChooseAccess(const BrowseQuery& q, const Fragments& f);

// How a kCandidates list of offset and limit with this many candidates is
// read: twice the rows wanted, and the walk meets its limit well before
// the order ends, while a rare word's few candidates are cheaper to sort.
CandidateWalk ChooseCandidateWalk(size_t candidates, int offset, int limit);

// Translates the query's fragments into *f, chooses its access method and
// plans its statement; false when the query is refused.
bool PlanQuery(const BrowseQuery& q, Fragments* f, Plan* plan);

// The same song list as a kCandidates plan with shape kIndexWalk.
Plan IndexWalkPlan(const BrowseQuery& q, const Fragments& f);

// The same song list read one song at a time (shape kProbeId): the scope
// and condition decide for the song whose id is bound first; order, offset
// and limit are the caller's.
Plan ProbePlan(const BrowseQuery& q, const Fragments& f);

}  // namespace cantora

#endif
