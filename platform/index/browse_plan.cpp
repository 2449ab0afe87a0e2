#include "platform/index/browse_plan.h"

#include "platform/index/facets.h"
#include "platform/index/folder_condition.h"
#include "platform/index/fragment.h"
#include "platform/index/library.h"

namespace cantora {
namespace {

bool IsBlank(const char* fragment) { return fragment == nullptr || IsBlankFragment(fragment); }

std::string_view Trimmed(std::string_view text) {
  size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  size_t last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

// The libraries (index "library" values) the query may read.
std::vector<int64_t> ScopeLibraries(const BrowseQuery& q) {
  bool has_user = q.uid > 0;  // library 0 is the shared one; no user owns it
  switch (ScopeOfLibrary(q.library)) {
    case LibraryScope::kPersonal:
      if (has_user) return {q.uid};
      return {};
    case LibraryScope::kAll:
      if (has_user) return {0, q.uid};
      return {0};
    case LibraryScope::kShared:
      break;
  }
  return {0};
}

void AppendScope(SqlPiece* s, const std::vector<int64_t>& libraries) {
  s->sql += "library ";
  if (libraries.size() == 1) {
    s->sql += "= ";
    AppendInteger(s, libraries[0]);
    return;
  }
  s->sql += "IN (";
  for (size_t i = 0; i < libraries.size(); ++i) {
    if (i > 0) s->sql += ", ";
    AppendInteger(s, libraries[i]);
  }
  s->sql += ')';
}

// No clause at all when nothing is paged: SQLite sorts a query without a
// LIMIT with its merge sorter, and one with a LIMIT (even a bound -1) by
// inserting every row into a temporary B-tree, which costs far more.
void AppendPaging(SqlPiece* s, int offset, int limit) {
  if (limit < 0 && offset <= 0) return;
  s->sql += " LIMIT ";
  AppendInteger(s, limit < 0 ? -1 : limit);
  s->sql += " OFFSET ";
  AppendInteger(s, offset < 0 ? 0 : offset);
}

// The condition: the platform's tree, else the handler's text (a folder
// template first, then the grammar).
bool TranslateWhere(const BrowseQuery& q, IndexTable table, Fragments* f) {
  if (q.where != nullptr) {
    if (!IsPredicate(*q.where)) return false;
    f->condition.sql += '(';
    AppendExpr(*q.where, table, &f->condition);
    f->condition.sql += ')';
    if (table == IndexTable::kSong) f->fts_query = CandidateQuery(*q.where);
    return true;
  }
  return IsBlank(q.condition) || TranslateFolderCondition(q.condition, table, &f->condition) ||
         TranslateCondition(q.condition, table, &f->condition, &f->fts_query);
}

bool TranslateOrderBy(const BrowseQuery& q, IndexTable table, Fragments* f) {
  OrderBy parsed;
  const OrderBy* order = q.order_by;
  if (order == nullptr) {
    if (IsBlank(q.order)) {
      f->facet_order = true;
      return true;
    }
    if (!ParseOrder(q.order, table, &parsed)) return false;
    order = &parsed;
  }
  AppendOrder(*order, table, &f->order);
  f->order_kind = order->kind;
  Column group;
  f->facet_order = f->groups.size() == 1 && ColumnOfName(table, f->groups[0], &group) &&
                   IsLowerAscending(*order, group);
  return true;
}

bool Translate(const BrowseQuery& q, IndexTable table, Fragments* f) {
  f->libraries = ScopeLibraries(q);
  if (!TranslateWhere(q, table, f)) return false;
  if (!IsBlank(q.grouping) && !ParseColumnList(q.grouping, table, &f->groups)) return false;
  if (!TranslateOrderBy(q, table, f)) return false;
  bool all_columns = IsBlank(q.columns) || Trimmed(q.columns) == "*";
  return all_columns || ParseColumnList(q.columns, table, &f->columns);
}

bool Distinct(const BrowseQuery& q) {
  return q.mode == kBrowseArtists || q.mode == kBrowseNewestAlbums;
}

// The facet of a kFacet listing.
const FacetDefinition& FacetOf(const BrowseQuery& q, const Fragments& f) {
  if (Distinct(q)) return FacetOfKind(q.mode == kBrowseArtists ? kFacetArtist : kFacetAlbum);
  return *FacetForColumn(f.groups[0]);
}

// A listing read from the facet table: mode 1, mode 2, or the one-column
// grouping of a whole library.
void PlanFacet(const BrowseQuery& q, const Fragments& f, Plan* plan) {
  const FacetDefinition& facet = FacetOf(q, f);
  bool newest = q.mode == kBrowseNewestAlbums;
  RecordField value_field = q.mode == kBrowseArtists       ? RecordField::kArtist
                            : q.mode == kBrowseNewestAlbums ? RecordField::kAlbum
                                                            : FieldOfColumn(IndexTable::kSong, f.groups[0]);
  SqlPiece& s = plan->statement;
  s.sql = "SELECT value, value FROM facet WHERE kind = ";
  AppendInteger(&s, facet.kind);
  s.sql += " AND ";
  AppendScope(&s, f.libraries);
  if (f.libraries.size() == 1) {
    s.sql += newest ? " ORDER BY newest DESC, value" : " ORDER BY sort_key, value";
  } else {
    // The same value may be in both libraries: one record for it.
    s.sql += newest ? " GROUP BY value ORDER BY max(newest) DESC, value"
                    : " GROUP BY value ORDER BY min(sort_key), value";
  }
  AppendPaging(&s, q.offset, q.limit);
  plan->outputs = {{"value", value_field}, {"value", RecordField::kTitle}};
}

// SELECT <outputs> FROM <table> WHERE <scope> [AND <condition>] [AND <candidates>]
void AppendSelect(const Fragments& f, Plan* plan) {
  SqlPiece* s = &plan->statement;
  s->sql += "SELECT ";
  for (size_t i = 0; i < plan->outputs.size(); ++i) {
    if (i > 0) s->sql += ", ";
    s->sql += plan->outputs[i].expr;
  }
  if (plan->shape == Shape::kSortKeys) s->sql += ", " + std::string(kSongListKeyColumns);
  if (plan->shape == Shape::kProbeId) {
    s->sql += " FROM song WHERE id = ";
    AppendInteger(s, 0);
    s->sql += " AND ";
  } else {
    s->sql += plan->folders                     ? " FROM folder WHERE "
              : plan->shape == Shape::kIndexWalk ? " FROM song INDEXED BY song_order WHERE "
                                                 : " FROM song WHERE ";
  }
  AppendScope(s, f.libraries);
  if (!f.condition.sql.empty()) {
    s->sql += " AND ";
    Append(s, f.condition);
  }
  plan->fts_query = f.fts_query;
  if (plan->shape == Shape::kProbeId) {
    // The caller tests the candidates before it asks for the row.
  } else if (!f.fts_query.empty() && plan->shape == Shape::kIndexWalk) {
    // The candidates were read beforehand (Candidates); testing one is
    // covered by the walked index, so it comes before reading the row.
    s->sql += " AND candidate(id)";
  } else if (!f.fts_query.empty()) {
    // A superset of the matching rows from the trigram index; the condition
    // itself still decides.
    s->sql += " AND id IN (SELECT rowid FROM song_fts WHERE song_fts MATCH ";
    AppendText(s, f.fts_query);
    s->sql += ')';
  }
}

// Modes 1 and 2 over the songs: distinct artists in sort order, newest
// distinct albums.
void PlanDistinct(const BrowseQuery& q, const Fragments& f, Plan* plan) {
  bool artists = q.mode == kBrowseArtists;
  const FacetDefinition& facet = FacetOfKind(artists ? kFacetArtist : kFacetAlbum);
  RecordField field = artists ? RecordField::kArtist : RecordField::kAlbum;
  std::string column = facet.column;
  plan->outputs = {{column, field}, {column, RecordField::kTitle}};
  AppendSelect(f, plan);
  SqlPiece& s = plan->statement;
  s.sql += " GROUP BY " + column + " ORDER BY ";
  s.sql += artists ? std::string(facet.sort_key_sql) : "max(create_date) DESC";
  s.sql += ", " + column;
  AppendPaging(&s, q.offset, q.limit);
}

// Mode 0 with a grouping: one record per group.
void PlanGroups(const BrowseQuery& q, const Fragments& f, Plan* plan) {
  IndexTable table = plan->folders ? IndexTable::kFolder : IndexTable::kSong;
  bool title_grouped = false;
  std::string group_list;
  for (const std::string& g : f.groups) {
    RecordField field = FieldOfColumn(table, g);
    title_grouped = title_grouped || field == RecordField::kTitle;
    plan->outputs.push_back({g, field});
    group_list += (group_list.empty() ? "" : ", ") + g;
  }
  if (!title_grouped) plan->outputs.push_back({f.groups[0], RecordField::kTitle});
  AppendSelect(f, plan);
  SqlPiece& s = plan->statement;
  s.sql += " GROUP BY " + group_list + " ORDER BY ";
  if (!f.order.sql.empty()) {
    Append(&s, f.order);
    s.sql += ", ";
  }
  s.sql += group_list;
  AppendPaging(&s, q.offset, q.limit);
}

// Mode 0 without a grouping: the rows themselves.
void PlanRows(const BrowseQuery& q, const Fragments& f, Plan* plan) {
  if (f.columns.empty()) {
    plan->outputs = plan->folders ? FolderRecordOutputs() : SongRecordOutputs();
  } else {
    // The id and owner always come along: the record's identity.
    IndexTable table = plan->folders ? IndexTable::kFolder : IndexTable::kSong;
    plan->outputs = {{"id", RecordField::kId}, {"library", RecordField::kLibrary}};
    for (const std::string& c : f.columns) {
      RecordField field = FieldOfColumn(table, c);
      if (field != RecordField::kId && field != RecordField::kLibrary) {
        plan->outputs.push_back({c, field});
      }
    }
  }
  AppendSelect(f, plan);
  SqlPiece& s = plan->statement;
  if (!f.order.sql.empty() && plan->shape != Shape::kSortKeys) {
    s.sql += " ORDER BY ";
    Append(&s, f.order);
  }
  AppendPaging(&s, q.offset, q.limit);
}

}  // namespace

Access ChooseAccess(const BrowseQuery& q, const Fragments& f) {
  bool folders = q.kind == kBrowseFolders;
  if (f.libraries.empty()) return Access::kNone;
  bool whole_library = f.condition.sql.empty() && q.facets_current && !folders;
  if (Distinct(q)) return whole_library ? Access::kFacet : Access::kStatement;
  if (!f.groups.empty()) {
    bool one_facet = f.groups.size() == 1 && FacetForColumn(f.groups[0]) != nullptr;
    return whole_library && one_facet && f.facet_order ? Access::kFacet : Access::kStatement;
  }
  if (folders || f.order_kind != SongOrder::kSongList) return Access::kStatement;
  if (!f.fts_query.empty() && f.libraries.size() == 1 && q.limit > 0) return Access::kCandidates;
  if (f.columns.empty() && q.limit < 0 && q.offset <= 0) return Access::kSortRecords;
  return Access::kStatement;
}

CandidateWalk ChooseCandidateWalk(size_t candidates, int offset, int limit) {
  size_t wanted = static_cast<size_t>(offset < 0 ? 0 : offset) + static_cast<size_t>(limit);
  return candidates <= 2 * wanted ? CandidateWalk::kSortMatches : CandidateWalk::kWalkOrder;
}

bool PlanQuery(const BrowseQuery& q, Fragments* f, Plan* plan) {
  if (q.kind != kBrowseSongs && q.kind != kBrowseFolders) return false;
  plan->folders = q.kind == kBrowseFolders;
  if (q.mode != kBrowseRows && !(Distinct(q) && !plan->folders)) return false;
  // Fragments are checked even when the scope turns out to be empty.
  if (!Translate(q, plan->folders ? IndexTable::kFolder : IndexTable::kSong, f)) return false;
  plan->access = ChooseAccess(q, *f);
  plan->shape = plan->access == Access::kSortRecords ? Shape::kSortKeys : Shape::kOrdered;
  if (plan->access == Access::kNone) {
  } else if (plan->access == Access::kFacet) {
    PlanFacet(q, *f, plan);
  } else if (Distinct(q)) {
    PlanDistinct(q, *f, plan);
  } else if (!f->groups.empty()) {
    PlanGroups(q, *f, plan);
  } else {
    PlanRows(q, *f, plan);
  }
  return true;
}

Plan IndexWalkPlan(const BrowseQuery& q, const Fragments& f) {
  Plan walk;
  walk.access = Access::kCandidates;
  walk.shape = Shape::kIndexWalk;
  PlanRows(q, f, &walk);
  return walk;
}

Plan ProbePlan(const BrowseQuery& q, const Fragments& f) {
  BrowseQuery one = q;
  one.offset = 0;
  one.limit = -1;
  Fragments unordered = f;
  unordered.order = SqlPiece();
  Plan probe;
  probe.shape = Shape::kProbeId;
  PlanRows(one, unordered, &probe);
  return probe;
}

}  // namespace cantora
