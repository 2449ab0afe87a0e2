#include "platform/indexer/write_batch.h"

#include "platform/index/facets.h"

namespace cantora {

WriteBatch::~WriteBatch() {
  if (open_) db_.Exec("ROLLBACK");
}

bool WriteBatch::Begin(std::string* error) {
  if (open_) return true;
  if (!db_.Exec("BEGIN IMMEDIATE", error)) return false;
  open_ = true;
  writes_ = 0;
  if (!wrote_ && !MarkFacetsStale(db_)) return db_.Fail(error);
  wrote_ = true;
  return true;
}

bool WriteBatch::Commit(std::string* error) {
  if (!open_) return true;
  open_ = false;
  return db_.Exec("COMMIT", error);
}

}  // namespace cantora
