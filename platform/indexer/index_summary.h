// The counts of an index run, and the two ways they are written out: a
// line for people, and JSON lines for programs (a page that shows the
// run's progress reads them).
#ifndef CANTORA_PLATFORM_INDEXER_INDEX_SUMMARY_H
#define CANTORA_PLATFORM_INDEXER_INDEX_SUMMARY_H

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

namespace cantora {

struct IndexSummary {
  int64_t seen = 0;  // audio files found on disk
  int64_t added = 0;
  int64_t updated = 0;  // read again because they changed (or a full run)
  int64_t removed = 0;  // rows of files that are gone
  int64_t failed = 0;   // files that could not be read
  double seconds = 0;
};

// "N files seen, N added, N updated, N removed, N failed, S.SS s"
std::string FormatIndexSummary(const IndexSummary& summary);
// {"event":<event>,"seen":N,"added":N,"updated":N,"removed":N,"failed":N}
// and, for the summary, "seconds".
std::string FormatIndexJson(const char* event, const IndexSummary& summary);

// Writes FormatIndexJson lines of summary to out (nothing when out is
// null), each flushed at once.
class IndexJsonLines {
 public:
  IndexJsonLines(FILE* out, const IndexSummary& summary) : out_(out), summary_(summary) {}
  void Write(const char* event);
  // A progress line, at most twice a second.
  void ProgressNow();

 private:
  FILE* const out_;
  const IndexSummary& summary_;
  std::chrono::steady_clock::time_point last_{};
};

}  // namespace cantora

#endif
