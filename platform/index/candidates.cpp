#include "platform/index/candidates.h"

namespace cantora {
namespace {

constexpr int64_t kLargestId = int64_t{1} << 31;

}  // namespace

bool Candidates::Read(sqlite::Database& db, const std::string& fts_query) {
  bits_.clear();
  count_ = 0;
  sqlite::Statement ids = db.Prepare("SELECT rowid FROM song_fts WHERE song_fts MATCH ?");
  if (!ids.IsValid()) return false;
  ids.Bind(1, fts_query);
  int rc;
  while ((rc = ids.Step()) == SQLITE_ROW) {
    int64_t id = ids.Int(0);
    // Song ids count up from 1; a set of ids beyond this bound is not held
    // as bits, and the caller plans without it.
    if (id < 0 || id > kLargestId) return false;
    uint64_t i = static_cast<uint64_t>(id);
    if (i / 64 >= bits_.size()) bits_.resize(i / 64 + 1);
    bits_[i / 64] |= uint64_t{1} << (i % 64);
    ++count_;
  }
  return rc == SQLITE_DONE;
}

namespace {

void CandidateCall(sqlite3_context* context, int, sqlite3_value** args) {
  if (sqlite3_value_type(args[0]) == SQLITE_NULL) return;  // NULL
  const Candidates* candidates = static_cast<const Candidates*>(sqlite3_user_data(context));
  sqlite3_result_int(context, candidates->Contains(sqlite3_value_int64(args[0])) ? 1 : 0);
}

}  // namespace

CandidateFunction::CandidateFunction(sqlite3* db, const Candidates* candidates) : db_(db) {
  ok_ = sqlite3_create_function_v2(db_, kName, 1, SQLITE_UTF8 | SQLITE_INNOCUOUS,
                                   const_cast<Candidates*>(candidates), CandidateCall, nullptr,
                                   nullptr, nullptr) == SQLITE_OK;
}

CandidateFunction::~CandidateFunction() {
  if (ok_)
    sqlite3_create_function_v2(db_, kName, 1, SQLITE_UTF8 | SQLITE_INNOCUOUS, nullptr, nullptr,
                               nullptr, nullptr, nullptr);
}

}  // namespace cantora
