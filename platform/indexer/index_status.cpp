#include "platform/indexer/index_status.h"

namespace cantora {
namespace {

constexpr int64_t kRunsKept = 1000;

// An index never written since these tables came has none.
bool HasTable(sqlite::Database& db, const char* name) {
  sqlite::Statement st =
      db.Prepare("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?");
  if (!st.IsValid()) return false;
  st.Bind(1, name);
  return st.Step() == SQLITE_ROW;
}

}  // namespace

bool RecordIndexRun(sqlite::Database& db, const char* kind, int64_t started, const IndexSummary& s,
                    std::string* error) {
  sqlite::Statement put = db.Prepare(
      "INSERT INTO index_run(started, seconds, kind, seen, added, updated, removed, failed) "
      "VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
      error);
  if (!put.IsValid()) return false;
  put.Bind(1, started).Bind(2, s.seconds).Bind(3, std::string(kind)).Bind(4, s.seen);
  put.Bind(5, s.added).Bind(6, s.updated).Bind(7, s.removed).Bind(8, s.failed);
  if (!put.Run()) return db.Fail(error);
  return db.Exec("DELETE FROM index_run WHERE id <= (SELECT max(id) FROM index_run) - " +
                     std::to_string(kRunsKept),
                 error);
}

bool LastIndexRun(sqlite::Database& db, IndexRunRecord* run, bool* found, int64_t* runs,
                  std::string* error) {
  *found = false;
  *runs = 0;
  if (!HasTable(db, "index_run")) return true;
  sqlite::Statement count = db.Prepare("SELECT count(*) FROM index_run", error);
  if (!count.IsValid() || count.Step() != SQLITE_ROW) return db.Fail(error);
  *runs = count.Int(0);
  sqlite::Statement st = db.Prepare(
      "SELECT started, seconds, kind, seen, added, updated, removed, failed FROM index_run "
      "ORDER BY id DESC LIMIT 1",
      error);
  if (!st.IsValid()) return false;
  int rc = st.Step();
  if (rc == SQLITE_DONE) return true;
  if (rc != SQLITE_ROW) return db.Fail(error);
  *found = true;
  run->started = st.Int(0);
  run->counts.seconds = st.Double(1);
  run->kind = st.Text(2);
  run->counts.seen = st.Int(3);
  run->counts.added = st.Int(4);
  run->counts.updated = st.Int(5);
  run->counts.removed = st.Int(6);
  run->counts.failed = st.Int(7);
  return true;
}

bool ListIndexFailures(sqlite::Database& db, std::vector<IndexFailureRecord>* failures,
                       std::string* error) {
  if (!HasTable(db, "index_failure")) return true;
  sqlite::Statement st =
      db.Prepare("SELECT path, reason, at FROM index_failure ORDER BY path", error);
  if (!st.IsValid()) return false;
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) failures->push_back({st.Text(0), st.Text(1), st.Int(2)});
  return rc == SQLITE_DONE || db.Fail(error);
}

}  // namespace cantora
