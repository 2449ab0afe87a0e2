#include "platform/indexer/index_failures.h"

#include <vector>

namespace cantora {

bool IndexFailures::Load(sqlite::Database& db, std::string* error) {
  sqlite::Statement st =
      db.Prepare("SELECT path, mtime, filesize, reason FROM index_failure", error);
  if (!st.IsValid()) return false;
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) {
    Failure& f = failures_[st.Text(0)];
    f.mtime = st.Int(1);
    f.size = st.Int(2);
    f.reason = st.Text(3);
  }
  return rc == SQLITE_DONE || db.Fail(error);
}

const std::string* IndexFailures::Known(const std::string& path, int64_t mtime, int64_t size) {
  auto it = failures_.find(path);
  if (it == failures_.end() || it->second.mtime != mtime || it->second.size != size)
    return nullptr;
  it->second.keep = true;
  return &it->second.reason;
}

void IndexFailures::Add(const std::string& path, int64_t mtime, int64_t size,
                        const std::string& reason) {
  failures_[path] = Failure{mtime, size, reason, true, true};
}

void IndexFailures::KeepWhere(const std::function<bool(const std::string&)>& keep) {
  for (auto& f : failures_)
    if (keep(f.first)) f.second.keep = true;
}

bool IndexFailures::Store(sqlite::Database& db, int64_t now, std::string* error) {
  std::vector<std::string> gone;
  bool fresh = false;
  for (const auto& f : failures_) {
    if (!f.second.keep) gone.push_back(f.first);
    fresh = fresh || f.second.fresh;
  }
  if (gone.empty() && !fresh) return true;
  sqlite::Transaction transaction(db);
  sqlite::Statement del = db.Prepare("DELETE FROM index_failure WHERE path = ?", error);
  sqlite::Statement put = db.Prepare(
      "INSERT OR REPLACE INTO index_failure(path, mtime, filesize, reason, at) "
      "VALUES (?, ?, ?, ?, ?)",
      error);
  if (!transaction.ok() || !del.IsValid() || !put.IsValid()) return db.Fail(error);
  for (const std::string& path : gone) {
    del.Reset();
    del.Bind(1, path);
    if (!del.Run()) return db.Fail(error);
  }
  for (const auto& f : failures_) {
    if (!f.second.fresh) continue;
    put.Reset();
    put.Bind(1, f.first).Bind(2, f.second.mtime).Bind(3, f.second.size).Bind(4, f.second.reason).Bind(5, now);
    if (!put.Run()) return db.Fail(error);
  }
  return transaction.Commit() || db.Fail(error);
}

}  // namespace cantora
