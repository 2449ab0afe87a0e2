// Candidates: the songs the trigram index offers for a substring query, read
// once and held as a bit per song id.
//
// A search with many candidates walks the song_order index and stops at its
// limit; each entry of the walk asks whether its song is a candidate. Held
// here, that test is one bit, where a subquery would probe a temporary
// B-tree built from a second run of the trigram query.
#ifndef CANTORA_PLATFORM_INDEX_CANDIDATES_H
#define CANTORA_PLATFORM_INDEX_CANDIDATES_H

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/lib/sqlite/database.h"

namespace cantora {

class Candidates {
 public:
  // Reads the ids that song_fts MATCH fts_query gives; false on an error,
  // or for an id too large to be held as a bit (over 2^31).
  bool Read(sqlite::Database& db, const std::string& fts_query);

  size_t count() const { return count_; }
  bool Contains(int64_t id) const {
    uint64_t i = static_cast<uint64_t>(id);
    return i / 64 < bits_.size() && (bits_[i / 64] >> (i % 64) & 1) != 0;
  }

 private:
  std::vector<uint64_t> bits_;
  size_t count_ = 0;
};

// For its life, the SQL function candidate(id) of db answers whether id is
// one of the candidates (1 or 0; NULL for NULL). Make it with no statement
// of db running, and end it once the statements that use it are finalized.
class CandidateFunction {
 public:
  CandidateFunction(sqlite3* db, const Candidates* candidates);
  ~CandidateFunction();
  CandidateFunction(const CandidateFunction&) = delete;
  CandidateFunction& operator=(const CandidateFunction&) = delete;

  bool ok() const { return ok_; }

  static constexpr const char* kName = "candidate";

 private:
  sqlite3* db_;
  bool ok_;
};

}  // namespace cantora

#endif
