#include "platform/index/browse.h"

#include <strings.h>

#include <cstring>
#include <optional>
#include <string_view>

#include "platform/config/platform_db.h"
#include "platform/index/candidates.h"
#include "platform/index/facets.h"
#include "platform/index/folder_condition.h"
#include "platform/index/heap_vector.h"
#include "platform/index/library.h"
#include "platform/index/song_order.h"
#include "platform/index/song_walk.h"
#include "platform/index/sql_functions.h"

namespace cantora {
namespace {

// The record fields a selected column can fill.
enum class Field {
  kNone, kId, kLibrary, kPath, kTrack, kDisc, kYear, kTitle, kAlbum, kArtist, kAlbumArtist,
  kGenre, kComposer, kComment, kDuration, kBitrate, kFrequency, kChannel, kFilesize, kCovercount
};

struct FieldColumn {
  const char* column;
  Field field;
};

const FieldColumn kSongFields[] = {
    {"id", Field::kId},           {"library", Field::kLibrary},
    {"path", Field::kPath},       {"track", Field::kTrack},
    {"disc", Field::kDisc},       {"year", Field::kYear},
    {"title", Field::kTitle},     {"album", Field::kAlbum},
    {"artist", Field::kArtist},   {"album_artist", Field::kAlbumArtist},
    {"genre", Field::kGenre},     {"composer", Field::kComposer},
    {"comment", Field::kComment}, {"duration", Field::kDuration},
    {"bitrate", Field::kBitrate}, {"frequency", Field::kFrequency},
    {"channel", Field::kChannel}, {"filesize", Field::kFilesize},
    {"covercount", Field::kCovercount}};

const FieldColumn kFolderFields[] = {{"id", Field::kId},
                                     {"library", Field::kLibrary},
                                     {"path", Field::kPath},
                                     {"title", Field::kTitle},
                                     {"covercount", Field::kCovercount}};

// One column of the statement's result and the field it fills.
struct Output {
  std::string expr;
  Field field;
};

struct Plan {
  SqlPiece statement;
  std::vector<Output> outputs;
  bool folders = false;
  bool empty = false;
  // A song list in the song_order index's order, limited, of one library,
  // narrowed by trigram candidates (fts_query): when the candidates are many,
  // walking that index and stopping at the limit beats sorting them all.
  bool may_walk_order = false;
  bool walk_order = false;  // the statement walks song_order
  // The statement reads one song, by the id bound first; the caller walks
  // the ids in order and tests the candidates itself (song_walk.h).
  bool probe_id = false;
  // Every song of the scope and condition in the song lists' order: the
  // statement reads them unsorted, with the sort key after the outputs, and
  // SongOrder sorts the records.
  bool sort_records = false;
  std::string fts_query;  // the condition's trigram candidates, if any

  // Whether the statement itself reads the trigram index (a walk tests
  // candidates read beforehand instead).
  bool UsesTrigrams() const { return !fts_query.empty() && !walk_order && !probe_id; }
};

// The order of the song_order index, as the translator writes it.
constexpr const char* kSongOrderSql = "lower(album) ASC, disc ASC, track ASC, path ASC";
// The columns SongOrder sorts by besides the record's path.
constexpr const char* kSongOrderKeySql = "lower(album), disc, track";

template <size_t N>
Field FieldOf(const FieldColumn (&fields)[N], std::string_view column) {
  for (const FieldColumn& f : fields) {
    if (column == f.column) return f.field;
  }
  return Field::kNone;
}

Field FieldOfColumn(bool folders, std::string_view column) {
  return folders ? FieldOf(kFolderFields, column) : FieldOf(kSongFields, column);
}

template <size_t N>
void AllFields(const FieldColumn (&fields)[N], std::vector<Output>* outputs) {
  for (const FieldColumn& f : fields) outputs->push_back({f.column, f.field});
}

bool IsBlank(const char* fragment) { return fragment == nullptr || IsBlankFragment(fragment); }

std::string_view Trimmed(std::string_view text) {
  size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  size_t last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

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

// A listing read from the facet table: mode 1, mode 2, or the one-column
// grouping of a whole library.
void PlanFacet(const FacetDefinition& facet, bool newest, Field value_field,
               const std::vector<int64_t>& libraries, const BrowseQuery& q, Plan* plan) {
  SqlPiece& s = plan->statement;
  s.sql = "SELECT value, value FROM facet WHERE kind = ";
  AppendInteger(&s, facet.kind);
  s.sql += " AND ";
  AppendScope(&s, libraries);
  if (libraries.size() == 1) {
    s.sql += newest ? " ORDER BY newest DESC, value" : " ORDER BY sort_key, value";
  } else {
    // The same value may be in both libraries: one record for it.
    s.sql += newest ? " GROUP BY value ORDER BY max(newest) DESC, value"
                    : " GROUP BY value ORDER BY min(sort_key), value";
  }
  AppendPaging(&s, q.offset, q.limit);
  plan->outputs = {{"value", value_field}, {"value", Field::kTitle}};
}

// The fragments of a query, translated.
struct Fragments {
  std::vector<int64_t> libraries;
  SqlPiece condition;     // empty when there is none
  std::string fts_query;  // trigram candidates of the condition, or empty
  std::vector<std::string> groups;
  SqlPiece order;         // empty when there is none
  std::vector<std::string> columns;  // empty for every column
};

bool Translate(const BrowseQuery& q, IndexTable table, Fragments* f) {
  f->libraries = ScopeLibraries(q);
  if (!IsBlank(q.condition) && !TranslateFolderCondition(q.condition, table, &f->condition) &&
      !TranslateCondition(q.condition, table, &f->condition, &f->fts_query)) {
    return false;
  }
  if (!IsBlank(q.grouping) && !ParseColumnList(q.grouping, table, &f->groups)) return false;
  if (!IsBlank(q.order) && !TranslateOrder(q.order, table, &f->order)) return false;
  bool all_columns = IsBlank(q.columns) || Trimmed(q.columns) == "*";
  return all_columns || ParseColumnList(q.columns, table, &f->columns);
}

// SELECT <outputs> FROM <table> WHERE <scope> [AND <condition>] [AND <candidates>]
void AppendSelect(const Fragments& f, Plan* plan) {
  SqlPiece* s = &plan->statement;
  s->sql += "SELECT ";
  for (size_t i = 0; i < plan->outputs.size(); ++i) {
    if (i > 0) s->sql += ", ";
    s->sql += plan->outputs[i].expr;
  }
  if (plan->sort_records) s->sql += ", " + std::string(kSongOrderKeySql);
  if (plan->probe_id) {
    s->sql += " FROM song WHERE id = ";
    AppendInteger(s, 0);
    s->sql += " AND ";
  } else {
    s->sql += plan->folders       ? " FROM folder WHERE "
               : plan->walk_order ? " FROM song INDEXED BY song_order WHERE "
                                  : " FROM song WHERE ";
  }
  AppendScope(s, f.libraries);
  if (!f.condition.sql.empty()) {
    s->sql += " AND ";
    Append(s, f.condition);
  }
  plan->fts_query = f.fts_query;
  if (plan->probe_id) {
    // The caller tests the candidates before it asks for the row.
  } else if (!f.fts_query.empty() && plan->walk_order) {
    // The candidates were read beforehand (Candidates); testing one is
    // covered by the walked index, so it comes before reading the row.
    s->sql += " AND candidate(id)";
  } else if (!f.fts_query.empty()) {
    // A superset of the matching rows from the trigram index; the condition
    // itself still decides.
    s->sql += " AND id IN (SELECT rowid FROM song_fts WHERE song_fts MATCH ?)";
    SqlValue v;
    v.text = f.fts_query;
    s->values.push_back(v);
  }
}

// No order, or the one the facet table keeps: lower(column), ascending.
bool CanonicalOrder(const SqlPiece& order, const std::string& column) {
  return order.sql.empty() || order.sql == "lower(" + column + ") ASC";
}

// Modes 1 and 2: distinct artists in sort order, newest distinct albums.
void PlanDistinct(const BrowseQuery& q, const Fragments& f, Plan* plan) {
  bool artists = q.mode == kBrowseArtists;
  const FacetDefinition& facet = FacetOfKind(artists ? kFacetArtist : kFacetAlbum);
  Field field = artists ? Field::kArtist : Field::kAlbum;
  if (f.condition.sql.empty() && q.facets_current) {
    PlanFacet(facet, !artists, field, f.libraries, q, plan);
    return;
  }
  std::string column = facet.column;
  plan->outputs = {{column, field}, {column, Field::kTitle}};
  AppendSelect(f, plan);
  SqlPiece& s = plan->statement;
  s.sql += " GROUP BY " + column + " ORDER BY ";
  s.sql += artists ? std::string(facet.sort_key_sql) : "max(create_date) DESC";
  s.sql += ", " + column;
  AppendPaging(&s, q.offset, q.limit);
}

// Mode 0 with a grouping: one record per group.
void PlanGroups(const BrowseQuery& q, const Fragments& f, Plan* plan) {
  const FacetDefinition* facet = f.groups.size() == 1 ? FacetForColumn(f.groups[0]) : nullptr;
  if (!plan->folders && f.condition.sql.empty() && facet != nullptr && q.facets_current &&
      CanonicalOrder(f.order, f.groups[0])) {
    PlanFacet(*facet, false, FieldOfColumn(false, f.groups[0]), f.libraries, q, plan);
    return;
  }
  bool title_grouped = false;
  std::string group_list;
  for (const std::string& g : f.groups) {
    Field field = FieldOfColumn(plan->folders, g);
    title_grouped = title_grouped || field == Field::kTitle;
    plan->outputs.push_back({g, field});
    group_list += (group_list.empty() ? "" : ", ") + g;
  }
  if (!title_grouped) plan->outputs.push_back({f.groups[0], Field::kTitle});
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
    if (plan->folders) {
      AllFields(kFolderFields, &plan->outputs);
    } else {
      AllFields(kSongFields, &plan->outputs);
    }
  } else {
    // The id and owner always come along: the record's identity.
    plan->outputs = {{"id", Field::kId}, {"library", Field::kLibrary}};
    for (const std::string& c : f.columns) {
      Field field = FieldOfColumn(plan->folders, c);
      if (field != Field::kId && field != Field::kLibrary) plan->outputs.push_back({c, field});
    }
  }
  plan->may_walk_order = !plan->folders && !f.fts_query.empty() && f.libraries.size() == 1 &&
                         q.limit > 0 && f.order.sql == kSongOrderSql;
  plan->sort_records = !plan->folders && f.columns.empty() && q.limit < 0 && q.offset <= 0 &&
                       f.order.sql == kSongOrderSql;
  AppendSelect(f, plan);
  SqlPiece& s = plan->statement;
  if (!f.order.sql.empty() && !plan->sort_records) {
    s.sql += " ORDER BY ";
    Append(&s, f.order);
  }
  AppendPaging(&s, q.offset, q.limit);
}

// Translates the query's fragments into *f and plans its statement.
bool PlanQuery(const BrowseQuery& q, Fragments* f, Plan* plan) {
  if (q.kind != kBrowseSongs && q.kind != kBrowseFolders) return false;
  plan->folders = q.kind == kBrowseFolders;
  bool distinct = q.mode == kBrowseArtists || q.mode == kBrowseNewestAlbums;
  if (q.mode != kBrowseRows && !(distinct && !plan->folders)) return false;
  // Fragments are checked even when the scope turns out to be empty.
  if (!Translate(q, plan->folders ? IndexTable::kFolder : IndexTable::kSong, f)) return false;
  if (f->libraries.empty()) {
    plan->empty = true;
  } else if (distinct) {
    PlanDistinct(q, *f, plan);
  } else if (!f->groups.empty()) {
    PlanGroups(q, *f, plan);
  } else {
    PlanRows(q, *f, plan);
  }
  return true;
}

// The same song list as a plan with may_walk_order, walking song_order.
Plan WalkPlan(const BrowseQuery& q, const Fragments& f) {
  Plan walk;
  walk.walk_order = true;
  PlanRows(q, f, &walk);
  return walk;
}

// The same song list read one song at a time, along the song walk: the
// scope and condition decide for the song whose id is bound first; order,
// offset and limit are the walk's.
Plan ProbePlan(const BrowseQuery& q, const Fragments& f) {
  BrowseQuery one = q;
  one.offset = 0;
  one.limit = -1;
  Fragments unordered = f;
  unordered.order = SqlPiece();
  Plan probe;
  probe.probe_id = true;
  PlanRows(one, unordered, &probe);
  return probe;
}

// ---- Running the statement ----

const char* const kReadableTables[] = {"song",          "folder",       "facet",         "song_walk",
                                       "song_fts",      "song_fts_data", "song_fts_idx",
                                       "song_fts_config", "song_fts_docsize"};
// SQLite's own functions that the statements above use, and the candidate
// test of a walk.
const char* const kSqlFunctions[] = {"min", "max", "count", "match", CandidateFunction::kName};

template <size_t N>
bool Named(const char* const (&names)[N], const char* name) {
  if (name == nullptr) return false;
  for (const char* n : names) {
    if (strcasecmp(n, name) == 0) return true;
  }
  return false;
}

int Authorize(void*, int action, const char* arg1, const char* arg2, const char*, const char*) {
  switch (action) {
    case SQLITE_SELECT:
      return SQLITE_OK;
    case SQLITE_READ:
      return Named(kReadableTables, arg1) ? SQLITE_OK : SQLITE_DENY;
    case SQLITE_PRAGMA:
      // The trigram index asks this read-only counter before it reads.
      return arg1 != nullptr && strcasecmp(arg1, "data_version") == 0 && arg2 == nullptr
                 ? SQLITE_OK
                 : SQLITE_DENY;
    case SQLITE_FUNCTION:
      return arg2 != nullptr && (IsIndexFunction(arg2) || Named(kSqlFunctions, arg2))
                 ? SQLITE_OK
                 : SQLITE_DENY;
    default:
      return SQLITE_DENY;
  }
}

// Holds the authorizer and query_only mode for the life of one query.
class Confinement {
 public:
  Confinement(sqlite3* db, bool uses_trigrams) : db_(db) {
    // Connecting the trigram index declares its table, which an authorizer
    // sees as a schema write: connect it first, with a statement of our own.
    if (uses_trigrams) sqlite3_exec(db_, "SELECT 1 FROM song_fts WHERE 0", nullptr, nullptr, nullptr);
    sqlite3_exec(db_, "PRAGMA query_only=1", nullptr, nullptr, nullptr);
    sqlite3_set_authorizer(db_, Authorize, nullptr);
  }
  ~Confinement() {
    sqlite3_set_authorizer(db_, nullptr, nullptr);
    sqlite3_exec(db_, "PRAGMA query_only=0", nullptr, nullptr, nullptr);
  }
  Confinement(const Confinement&) = delete;
  Confinement& operator=(const Confinement&) = delete;

 private:
  sqlite3* db_;
};

void Bind(sqlite::Statement& stmt, const std::vector<SqlValue>& values) {
  for (size_t i = 0; i < values.size(); ++i) {
    int index = static_cast<int>(i) + 1;
    const SqlValue& v = values[i];
    switch (v.type) {
      case SqlValue::Type::kText:
        stmt.Bind(index, v.text);
        break;
      case SqlValue::Type::kInteger:
        stmt.Bind(index, v.integer);
        break;
      case SqlValue::Type::kReal:
        stmt.Bind(index, v.real);
        break;
    }
  }
}

std::string_view TextColumn(sqlite3_stmt* stmt, int col) {
  const char* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, col));
  return std::string_view(text ? text : "", text ? sqlite3_column_bytes(stmt, col) : 0);
}

std::string_view* TextSlot(MediaInfoTexts* texts, Field field) {
  switch (field) {
    case Field::kPath: return &texts->path;
    case Field::kTitle: return &texts->title;
    case Field::kAlbum: return &texts->album;
    case Field::kArtist: return &texts->artist;
    case Field::kAlbumArtist: return &texts->album_artist;
    case Field::kGenre: return &texts->genre;
    case Field::kComposer: return &texts->composer;
    case Field::kComment: return &texts->comment;
    default: return nullptr;
  }
}

// Reads the column only for a number field: converting a text column to a
// number would parse it for nothing.
void SetNumber(MediaInfo* info, Field field, sqlite3_stmt* stmt, int col) {
  auto integer = [stmt, col] { return sqlite3_column_int(stmt, col); };
  switch (field) {
    case Field::kId: info->id = static_cast<unsigned long>(sqlite3_column_int64(stmt, col)); break;
    case Field::kLibrary: info->library = integer(); break;
    case Field::kTrack: info->track = integer(); break;
    case Field::kDisc: info->disc = integer(); break;
    case Field::kYear: info->year = integer(); break;
    case Field::kDuration: info->duration = static_cast<float>(sqlite3_column_double(stmt, col)); break;
    case Field::kBitrate: info->bitrate = integer(); break;
    case Field::kFrequency: info->frequency = integer(); break;
    case Field::kChannel: info->channel = integer(); break;
    case Field::kFilesize: info->filesize = static_cast<uint64_t>(sqlite3_column_int64(stmt, col)); break;
    case Field::kCovercount: info->covercount = integer(); break;
    default: break;
  }
}

MediaInfo* ReadRecord(sqlite3_stmt* stmt, const Plan& plan, MediaInfoAllocator* records) {
  MediaInfoTexts texts;
  for (size_t i = 0; i < plan.outputs.size(); ++i) {
    std::string_view* slot = TextSlot(&texts, plan.outputs[i].field);
    if (slot != nullptr) *slot = TextColumn(stmt, static_cast<int>(i));
  }
  if (plan.folders && texts.title.empty()) {
    size_t slash = texts.path.find_last_of('/');
    texts.title = slash == std::string_view::npos ? texts.path : texts.path.substr(slash + 1);
  }
  MediaInfo* info = records->New(texts);
  if (info == nullptr) return nullptr;
  for (size_t i = 0; i < plan.outputs.size(); ++i) {
    SetNumber(info, plan.outputs[i].field, stmt, static_cast<int>(i));
  }
  return info;
}

// Prepares the plan's statement, which must be one read-only statement,
// and binds its values; false when it cannot be.
bool Prepare(sqlite::Database& db, const Plan& plan, sqlite::Statement* stmt) {
  sqlite3_stmt* raw = nullptr;
  const char* tail = nullptr;
  const std::string& sql = plan.statement.sql;
  if (sqlite3_prepare_v2(db.get(), sql.c_str(), static_cast<int>(sql.size()), &raw, &tail) !=
      SQLITE_OK) {
    sqlite3_finalize(raw);
    return false;
  }
  *stmt = sqlite::Statement(raw);
  if (raw == nullptr || !IsBlankFragment(std::string_view(tail)) || !sqlite3_stmt_readonly(raw)) {
    return false;
  }
  Bind(*stmt, plan.statement.values);
  return true;
}

// Prepares the plan's statement under the confinement and hands each row
// to row until it returns false. SQLITE_DONE when every row was read or row
// stopped, else the failing code.
template <typename RowFn>
int StepRows(sqlite::Database& db, const Plan& plan, RowFn&& row) {
  Confinement confinement(db.get(), plan.UsesTrigrams());
  sqlite::Statement stmt;
  if (!Prepare(db, plan, &stmt)) return SQLITE_ERROR;
  int rc;
  while ((rc = stmt.Step()) == SQLITE_ROW) {
    if (!row(stmt.get())) return SQLITE_DONE;
  }
  return rc;
}

int Run(sqlite::Database& db, const Plan& plan, MediaInfo** head) {
  MediaInfo** link = head;
  MediaInfoAllocator records;
  SongOrder order;
  const int key = static_cast<int>(plan.outputs.size());  // the sort key's first column
  int count = 0;
  bool no_memory = false;
  int rc = StepRows(db, plan, [&](sqlite3_stmt* raw) {
    MediaInfo* info = ReadRecord(raw, plan, &records);
    if (info == nullptr) {
      no_memory = true;
      return false;
    }
    if (plan.sort_records) {
      order.Add(TextColumn(raw, key), sqlite3_column_int64(raw, key + 1),
                sqlite3_column_int64(raw, key + 2), info);
    } else {
      *link = info;
      link = &info->next;
    }
    ++count;
    return true;
  });
  if (plan.sort_records) *head = order.Sorted();
  if (rc != SQLITE_DONE || no_memory) {
    ZARNPlaylistRecFree(*head);
    *head = nullptr;
    return -1;
  }
  return count;
}

// ---- Records handed out one at a time ----

// Holds one read transaction over the statements of a list read in several
// steps, so that they all see one state of the index. Nothing when the
// connection is already in a transaction.
class ReadTransaction {
 public:
  explicit ReadTransaction(sqlite3* db)
      : db_(db),
        began_(sqlite3_get_autocommit(db) != 0 &&
               sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK) {}
  ~ReadTransaction() {
    if (began_) sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr);
  }
  ReadTransaction(const ReadTransaction&) = delete;
  ReadTransaction& operator=(const ReadTransaction&) = delete;

 private:
  sqlite3* db_;
  bool began_;
};

// Records read under the confinement and not yet handed out.
constexpr size_t kBatchRecords = 256;

class RecordBatch {
 public:
  RecordBatch() {
    records_.reserve(kBatchRecords);
    allocator_.emplace();
  }
  ~RecordBatch() { Clear(); }
  RecordBatch(const RecordBatch&) = delete;
  RecordBatch& operator=(const RecordBatch&) = delete;

  bool full() const { return records_.size() >= kBatchRecords; }
  size_t size() const { return records_.size(); }
  // Reads the statement's row; false when memory runs out.
  bool Add(sqlite3_stmt* stmt, const Plan& plan) {
    MediaInfo* info = ReadRecord(stmt, plan, &*allocator_);
    if (info != nullptr) records_.push_back(info);
    return info != nullptr;
  }
  MediaInfo** at(size_t i) { return records_.data() + i; }

  // Hands the records to each, in order, and frees them; false when each
  // stopped. *handed counts the records handed out.
  bool HandOut(const RecordSink& each, int* handed) {
    bool go_on = true;
    for (MediaInfo* info : records_) {
      if (!go_on) break;
      ++*handed;
      go_on = each(*info);
    }
    Clear();
    return go_on;
  }

 private:
  void Clear() {
    for (MediaInfo* info : records_) ZARNPlaylistRecFree(info);
    records_.clear();
    // A new allocator for the next batch: the blocks of this one go back
    // with its last record, and the next starts again with small ones.
    allocator_.emplace();
  }
  // Records are unlinked (next is null), so each is freed alone.
  std::optional<MediaInfoAllocator> allocator_;
  HeapVector<MediaInfo*> records_;
};

// The rows of the plan, in the statement's order.
int EachRow(sqlite::Database& db, const Plan& plan, const RecordSink& each) {
  sqlite::Statement stmt;
  {
    Confinement confinement(db.get(), plan.UsesTrigrams());
    if (!Prepare(db, plan, &stmt)) return -1;
  }
  int handed = 0;
  RecordBatch batch;
  for (;;) {
    int rc;
    {
      Confinement confinement(db.get(), plan.UsesTrigrams());
      while ((rc = stmt.Step()) == SQLITE_ROW) {
        if (!batch.Add(stmt.get(), plan)) return -1;
        if (batch.full()) break;
      }
    }
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) return -1;
    if (!batch.HandOut(each, &handed) || rc == SQLITE_DONE) return handed;
  }
}

// A whole song list of up to this many songs is read in one pass and its
// records sorted (SongOrder), the fastest way; a longer one keeps only the
// keys of its songs (SongKeys) and reads the records again by id, so that
// a genre of a fifth of the library holds a few megabytes, not hundreds.
constexpr int kHeldRecords = 8192;

// A whole song list in the song lists' order (a plan with sort_records,
// whose first output is the id).
int EachInSongOrder(sqlite::Database& db, const BrowseQuery& q, const Fragments& f,
                    const Plan& plan, const RecordSink& each) {
  MediaInfoAllocator records;
  SongOrder held;
  SongKeys keys;
  const int key = static_cast<int>(plan.outputs.size());  // the sort key's first column
  int count = 0;
  bool no_memory = false;
  int rc = StepRows(db, plan, [&](sqlite3_stmt* raw) {
    std::string_view album = TextColumn(raw, key);
    int64_t disc = sqlite3_column_int64(raw, key + 1);
    int64_t track = sqlite3_column_int64(raw, key + 2);
    if (count < kHeldRecords) {
      MediaInfo* info = ReadRecord(raw, plan, &records);
      if (info == nullptr) {
        no_memory = true;
        return false;
      }
      held.Add(album, disc, track, info);
    } else {
      if (count == kHeldRecords) held.MoveKeysTo(&keys);
      keys.Add(album, disc, track, sqlite3_column_int64(raw, 0));
    }
    ++count;
    return true;
  });
  MediaInfo* list = held.Sorted();
  if (rc != SQLITE_DONE || no_memory) {
    ZARNPlaylistRecFree(list);
    return -1;
  }
  if (count <= kHeldRecords) {
    int handed = 0;
    for (const MediaInfo* info = list; info != nullptr; info = info->next) {
      ++handed;
      if (!each(*info)) break;
    }
    ZARNPlaylistRecFree(list);
    return handed;
  }
  keys.Sort();

  // The scope and condition are asked again of each song: the same rows in
  // this transaction, and no more whatever the ids.
  Plan probe = ProbePlan(q, f);
  sqlite::Statement stmt;
  {
    Confinement confinement(db.get(), false);
    if (!Prepare(db, probe, &stmt)) return -1;
  }
  int handed = 0;
  RecordBatch batch;
  for (size_t next = 0; next < keys.size();) {
    {
      Confinement confinement(db.get(), false);
      while (next < keys.size() && !batch.full()) {
        size_t run = batch.size();
        size_t end = keys.RunEnd(next);
        for (; next < end; ++next) {
          stmt.Rewind();
          stmt.Bind(1, keys.id(next));
          rc = stmt.Step();
          if (rc == SQLITE_DONE) continue;
          if (rc != SQLITE_ROW || !batch.Add(stmt.get(), probe)) return -1;
        }
        if (batch.size() - run > 1) SortRunByPath(batch.at(run), batch.at(batch.size()));
      }
    }
    if (!batch.HandOut(each, &handed)) return handed;
  }
  return handed;
}

constexpr int kNoSongWalk = -2;

// The first matches of a limited song list of one library, along its song
// walk: each id in order is tested against the candidates, and only those
// are read. kNoSongWalk when the library has no walk.
int RunSongWalk(sqlite::Database& db, const BrowseQuery& q, const Fragments& f,
                const Candidates& candidates, MediaInfo** head) {
  Plan plan = ProbePlan(q, f);
  Confinement confinement(db.get(), false);
  sqlite::Statement stmt;
  if (!Prepare(db, plan, &stmt)) return -1;
  // Opened before the first song is read and kept running: the walk and the
  // rows are read in one transaction.
  SongWalkReader walk(db, f.libraries[0]);
  if (!walk.available()) return walk.failed() ? -1 : kNoSongWalk;
  MediaInfo** link = head;
  MediaInfoAllocator records;
  auto fail = [head]() {
    ZARNPlaylistRecFree(*head);
    *head = nullptr;
    return -1;
  };
  const int offset = q.offset < 0 ? 0 : q.offset;
  int skipped = 0, count = 0;
  int64_t id;
  while (count < q.limit && walk.Next(&id)) {
    if (!candidates.Contains(id)) continue;
    stmt.Rewind();
    stmt.Bind(1, id);
    int rc = stmt.Step();
    if (rc == SQLITE_DONE) continue;
    if (rc != SQLITE_ROW) return fail();
    if (skipped < offset) {
      ++skipped;
      continue;
    }
    MediaInfo* info = ReadRecord(stmt.get(), plan, &records);
    if (info == nullptr) return fail();
    *link = info;
    link = &info->next;
    ++count;
  }
  if (walk.failed()) return fail();
  return count;
}

}  // namespace

bool BuildBrowseStatement(const BrowseQuery& query, SqlPiece* statement, bool* empty) {
  Fragments fragments;
  Plan plan;
  if (!PlanQuery(query, &fragments, &plan)) return false;
  *statement = std::move(plan.statement);
  *empty = plan.empty;
  return true;
}

// The query as the index answers it now (whether its facets are current),
// translated into *f and planned; false when it is refused.
bool PlanOn(sqlite::Database& db, const BrowseQuery& asked, BrowseQuery* query, Fragments* f,
            Plan* plan) {
  *query = asked;
  query->facets_current = asked.facets_current && FacetsCurrent(db);
  return PlanQuery(*query, f, plan);
}

int MusicBrowseEach(sqlite::Database& db, const BrowseQuery& asked, const RecordSink& each) {
  BrowseQuery query;
  Fragments fragments;
  Plan plan;
  if (!PlanOn(db, asked, &query, &fragments, &plan)) return -1;
  if (plan.empty) return 0;
  if (plan.may_walk_order) {
    // A limited list: at most its limit of records, held.
    MediaInfo* list = nullptr;
    int n = MusicBrowse(db, asked, &list);
    int handed = 0;
    for (MediaInfo* info = list; info != nullptr && each(*info); info = info->next) ++handed;
    ZARNPlaylistRecFree(list);
    return n < 0 ? -1 : handed;
  }
  ReadTransaction transaction(db.get());
  return plan.sort_records ? EachInSongOrder(db, query, fragments, plan, each)
                           : EachRow(db, plan, each);
}

int MusicBrowseIds(sqlite::Database& db, const BrowseQuery& asked,
                   const std::function<void(int64_t)>& each) {
  if (asked.mode != kBrowseRows || !IsBlank(asked.grouping)) return -1;
  BrowseQuery query = asked;
  query.columns = "id";
  Fragments fragments;
  Plan plan;
  if (!PlanQuery(query, &fragments, &plan)) return -1;
  if (plan.empty) return 0;
  // The plan's own statement holds the whole condition; a walk along the
  // song order would only serve a limit.
  int count = 0;
  int rc = StepRows(db, plan, [&](sqlite3_stmt* raw) {
    each(sqlite3_column_int64(raw, 0));
    ++count;
    return true;
  });
  return rc == SQLITE_DONE ? count : -1;
}

int MusicBrowse(sqlite::Database& db, const BrowseQuery& asked, MediaInfo** head) {
  if (head == nullptr) return -1;
  *head = nullptr;
  BrowseQuery query;
  Fragments fragments;
  Plan plan;
  if (!PlanOn(db, asked, &query, &fragments, &plan)) return -1;
  if (plan.empty) return 0;
  if (!plan.may_walk_order) return Run(db, plan, head);
  // Twice the rows wanted: then the walk meets its limit well before the
  // index ends, while a rare word's few candidates are cheaper to sort.
  // Candidates that cannot be read leave the plan as it was.
  Candidates candidates;
  if (!candidates.Read(db, plan.fts_query) ||
      candidates.count() <= 2 * (static_cast<size_t>(query.offset) + query.limit)) {
    return Run(db, plan, head);
  }
  int walked = RunSongWalk(db, query, fragments, candidates, head);
  if (walked != kNoSongWalk) return walked;
  CandidateFunction function(db.get(), &candidates);
  if (!function.ok()) return -1;
  return Run(db, WalkPlan(query, fragments), head);
}

}  // namespace cantora

namespace cantora {

sqlite::Database* IndexDatabase() {
  sqlite::Database* db = PlatformDatabase();
  if (db == nullptr) return nullptr;
  static uint64_t prepared = 0;  // the connection set up, by generation
  if (prepared != PlatformDatabaseGeneration()) {
    if (!RegisterIndexFunctions(db->get())) return nullptr;
    // Reads pages with pread into the page cache, and sorts in memory. A
    // memory map costs a page fault per page first touched (about 20 us on
    // the virtual machines this runs on, against 2.5 us for a pread), and
    // the rows of a search or a long list lie scattered over the file. The
    // cache's pages come from the heap, which is on huge pages
    // (enumerate/huge_heap.cpp), and only grow as far as a query needs.
    db->Exec("PRAGMA mmap_size=0; PRAGMA temp_store=MEMORY; PRAGMA cache_size=-16000");
    prepared = PlatformDatabaseGeneration();
  }
  return db;
}

}  // namespace cantora

int ZARNMusicBrowse(const char* library, int uid, int kind, MediaInfo** head, int,
                    const char* columns, const char* condition, const char* grouping,
                    const char* order, int offset, int limit, int mode, int) {
  if (head != nullptr) *head = nullptr;
  sqlite::Database* db = cantora::IndexDatabase();
  if (db == nullptr) return -1;
  cantora::BrowseQuery query;
  query.library = library;
  query.uid = uid;
  query.kind = kind;
  query.columns = columns;
  query.condition = condition;
  query.grouping = grouping;
  query.order = order;
  query.offset = offset;
  query.limit = limit;
  query.mode = mode;
  return cantora::MusicBrowse(*db, query, head);
}
