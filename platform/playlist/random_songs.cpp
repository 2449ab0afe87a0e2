#include "platform/playlist/random_songs.h"

#include <algorithm>
#include <random>
#include <string>
#include <unordered_set>

namespace cantora {
namespace {

std::string LibraryList(const std::vector<int64_t>& libraries) {
  std::string list;
  for (int64_t library : libraries) {
    if (!list.empty()) list += ", ";
    list += std::to_string(library);
  }
  return list;
}

std::mt19937_64& Generator() {
  static std::mt19937_64 generator{std::random_device{}()};
  return generator;
}

// The ids of the scope when it holds at most kExactScope songs; false (and
// ids untouched beyond what was read) when it holds more.
bool SmallScope(sqlite::Database& db, const std::string& scope, std::vector<int64_t>* ids,
                bool* readable) {
  sqlite::Statement st = db.Prepare("SELECT id FROM song WHERE library IN (" + scope + ") LIMIT " +
                                    std::to_string(kExactScope + 1));
  *readable = st.IsValid();
  if (!*readable) return false;
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) ids->push_back(st.Int(0));
  *readable = rc == SQLITE_DONE;
  return *readable && ids->size() <= kExactScope;
}

// Partial Fisher-Yates: the first count ids become a uniform sample.
void Sample(std::vector<int64_t>* ids, size_t count) {
  count = std::min(count, ids->size());
  for (size_t i = 0; i < count; ++i) {
    std::uniform_int_distribution<size_t> pick(i, ids->size() - 1);
    std::swap((*ids)[i], (*ids)[pick(Generator())]);
  }
  ids->resize(count);
}

bool Probe(sqlite::Database& db, const std::string& scope, size_t count,
           std::vector<int64_t>* ids) {
  // Two subqueries: each is one step down the table's B-tree, where a
  // single SELECT of both would scan the table.
  sqlite::Statement range =
      db.Prepare("SELECT (SELECT min(id) FROM song), (SELECT max(id) FROM song)");
  if (!range.IsValid() || range.Step() != SQLITE_ROW) return false;
  int64_t low = range.Int(0), high = range.Int(1);
  // "+library": walk the table from the id on; an index on the library
  // would read every song of the scope and sort them for each probe.
  sqlite::Statement next = db.Prepare("SELECT id FROM song WHERE id >= ? AND +library IN (" +
                                      scope + ") ORDER BY id LIMIT 1");
  if (!next.IsValid()) return false;
  std::uniform_int_distribution<int64_t> pick(low, high);
  std::unordered_set<int64_t> taken;
  // The scope holds more than kExactScope songs, so repeats are rare; the
  // bound only guards against a scope packed at the end of the ids.
  for (size_t attempt = 0; ids->size() < count && attempt < 4 * count + 16; ++attempt) {
    int64_t from = pick(Generator());
    next.Reset();
    next.Bind(1, from);
    int rc = next.Step();
    if (rc != SQLITE_ROW) {
      next.Reset();
      next.Bind(1, low);  // past the last song of the scope: start again from the first
      rc = next.Step();
    }
    if (rc != SQLITE_ROW) return rc == SQLITE_DONE;
    int64_t id = next.Int(0);
    if (taken.insert(id).second) ids->push_back(id);
  }
  return true;
}

}  // namespace

bool RandomSongIds(sqlite::Database& db, const std::vector<int64_t>& libraries, size_t count,
                   std::vector<int64_t>* ids) {
  ids->clear();
  if (libraries.empty() || count == 0) return true;
  std::string scope = LibraryList(libraries);
  bool readable = false;
  if (SmallScope(db, scope, ids, &readable)) {
    Sample(ids, count);
    return true;
  }
  if (!readable) return false;
  ids->clear();
  return Probe(db, scope, count, ids);
}

}  // namespace cantora
