// The executors of a plan (browse_plan.h): each reads the records of one
// access method under the confinement (confinement.h).
#ifndef CANTORA_PLATFORM_INDEX_BROWSE_EXECUTORS_H
#define CANTORA_PLATFORM_INDEX_BROWSE_EXECUTORS_H

#include <cstdint>
#include <functional>

#include "platform/index/browse.h"
#include "platform/index/browse_plan.h"
#include "platform/index/candidates.h"
#include "platform/index/media_info.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

// The plan's rows as one list in *head (kStatement, kFacet, kSortRecords:
// sorted in memory). The number of records, or -1 (*head null).
int ListRows(sqlite::Database& db, const Plan& plan, MediaInfo** head);

// The plan's rows handed to each a batch at a time, in the statement's
// order. The number handed out, or -1.
int EachRow(sqlite::Database& db, const Plan& plan, const RecordSink& each);

// A kSortRecords list handed to each: up to kHeldRecords songs read in one
// pass and their records sorted; a longer list by its sort keys and ids,
// its records read again by id (ProbePlan). The number handed out, or -1.
int EachInSongOrder(sqlite::Database& db, const BrowseQuery& q, const Fragments& f,
                    const Plan& plan, const RecordSink& each);

// A kCandidates list walked in the song lists' order, each id tested
// against the candidates: along the library's song walk (song_walk.h), else
// along the song_order index. The number of records in *head, or -1.
int ListWalkingOrder(sqlite::Database& db, const BrowseQuery& q, const Fragments& f,
                     const Candidates& candidates, MediaInfo** head);

// The ids of the plan's rows handed to each, under the confinement. The
// number, or -1.
int EachRowId(sqlite::Database& db, const Plan& plan, const std::function<void(int64_t)>& each);

// The text of field in each of the plan's rows (a kOrdered plan of song
// rows), as a record would hold it, handed to each under the confinement.
// The number, or -1.
int EachRowText(sqlite::Database& db, const Plan& plan, RecordField field, const TextSink& each);

}  // namespace cantora

#endif
