#include "platform/index/browse.h"

#include "platform/index/browse_executors.h"
#include "platform/index/browse_plan.h"
#include "platform/index/facets.h"
#include "platform/index/fragment.h"
#include "platform/index/read_transaction.h"

namespace cantora {
namespace {

// A query as the index answers it now (whether its facets are current),
// translated and planned.
struct Planned {
  BrowseQuery query;
  Fragments fragments;
  Plan plan;
};

// False when the query is refused.
bool PlanOn(sqlite::Database& db, const BrowseQuery& asked, Planned* p) {
  p->query = asked;
  p->query.facets_current = asked.facets_current && FacetsCurrent(db);
  return PlanQuery(p->query, &p->fragments, &p->plan);
}

}  // namespace

bool BuildBrowseStatement(const BrowseQuery& query, SqlPiece* statement, bool* empty) {
  Fragments fragments;
  Plan plan;
  if (!PlanQuery(query, &fragments, &plan)) return false;
  *statement = std::move(plan.statement);
  *empty = plan.access == Access::kNone;
  return true;
}

int MusicBrowse(sqlite::Database& db, const BrowseQuery& asked, MediaInfo** head) {
  if (head == nullptr) return -1;
  *head = nullptr;
  Planned p;
  if (!PlanOn(db, asked, &p)) return -1;
  switch (p.plan.access) {
    case Access::kNone:
      return 0;
    case Access::kCandidates: {
      // Candidates that cannot be read leave the plan as it was.
      Candidates candidates;
      if (candidates.Read(db, p.plan.fts_query) &&
          ChooseCandidateWalk(candidates.count(), p.query.offset, p.query.limit) ==
              CandidateWalk::kWalkOrder) {
        return ListWalkingOrder(db, p.query, p.fragments, candidates, head);
      }
      return ListRows(db, p.plan, head);
    }
    case Access::kFacet:
    case Access::kStatement:
    case Access::kSortRecords:
      break;
  }
  return ListRows(db, p.plan, head);
}

int MusicBrowseEach(sqlite::Database& db, const BrowseQuery& asked, const RecordSink& each) {
  Planned p;
  if (!PlanOn(db, asked, &p)) return -1;
  switch (p.plan.access) {
    case Access::kNone:
      return 0;
    case Access::kCandidates: {
      // A limited list: at most its limit of records, held.
      MediaInfo* list = nullptr;
      int n = MusicBrowse(db, asked, &list);
      int handed = 0;
      for (MediaInfo* info = list; info != nullptr && each(*info); info = info->next) ++handed;
      ZARNPlaylistRecFree(list);
      return n < 0 ? -1 : handed;
    }
    case Access::kSortRecords: {
      ReadTransaction transaction(db.get());
      return EachInSongOrder(db, p.query, p.fragments, p.plan, each);
    }
    case Access::kFacet:
    case Access::kStatement:
      break;
  }
  ReadTransaction transaction(db.get());
  return EachRow(db, p.plan, each);
}

int MusicBrowseIds(sqlite::Database& db, const BrowseQuery& asked,
                   const std::function<void(int64_t)>& each) {
  bool no_grouping = asked.grouping == nullptr || IsBlankFragment(asked.grouping);
  if (asked.mode != kBrowseRows || !no_grouping) return -1;
  BrowseQuery query = asked;
  query.columns = "id";
  Fragments fragments;
  Plan plan;
  if (!PlanQuery(query, &fragments, &plan)) return -1;
  if (plan.access == Access::kNone) return 0;
  // The plan's own statement holds the whole condition; a walk along the
  // song order would only serve a limit.
  return EachRowId(db, plan, each);
}

int MusicBrowseTexts(sqlite::Database& db, const BrowseQuery& asked, RecordField field,
                     const TextSink& each) {
  Planned p;
  if (!PlanOn(db, asked, &p)) return -1;
  switch (p.plan.access) {
    case Access::kNone:
      return 0;
    case Access::kFacet:
    case Access::kStatement:
      // Rows in the statement's own order, each one record.
      if (p.plan.shape == Shape::kOrdered && !p.plan.folders)
        return EachRowText(db, p.plan, field, each);
      break;
    case Access::kSortRecords:
    case Access::kCandidates:
      break;
  }
  // Records made otherwise (sorted in memory, folder titles): read as such.
  MediaInfo* list = nullptr;
  int n = MusicBrowse(db, asked, &list);
  const char* MediaInfo::*member = TextMember(field);
  for (const MediaInfo* info = list; info != nullptr; info = info->next)
    each(member != nullptr ? info->*member : "");
  ZARNPlaylistRecFree(list);
  return n;
}

}  // namespace cantora
