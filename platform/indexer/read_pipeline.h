// Reads the tags of many files on several threads and hands the results back
// in the order of the files, so that a single writer can store them as they
// come and ids follow the walk order from one run to the next.
//
// At most `window` results wait between the readers and the consumer, which
// bounds memory however many files there are.
#ifndef CANTORA_PLATFORM_INDEXER_READ_PIPELINE_H
#define CANTORA_PLATFORM_INDEXER_READ_PIPELINE_H

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/indexer/tag_reader.h"

namespace cantora {

struct ReadResult {
  bool ok = false;
  SongTags tags;
  std::string error;  // when !ok
};

class ReadPipeline {
 public:
  // path_of(i) names file i, for i in [0, count); it is called from the
  // reader threads and must be safe for that. readers 0 means one per core.
  ReadPipeline(size_t count, std::function<std::string(size_t)> path_of, unsigned readers,
               size_t window = 4096);
  // Stops and joins the readers, also when not every result was taken.
  ~ReadPipeline();
  ReadPipeline(const ReadPipeline&) = delete;
  ReadPipeline& operator=(const ReadPipeline&) = delete;

  // Waits for the result of the next file in order; false after the last.
  bool Next(ReadResult* out);

 private:
  void ReaderLoop();

  const size_t count_;
  const size_t window_;
  std::function<std::string(size_t)> path_of_;
  std::mutex mutex_;
  std::condition_variable ready_;  // a result was stored
  std::condition_variable space_;  // the consumer took one
  std::vector<ReadResult> slots_;
  std::vector<bool> filled_;
  size_t claimed_ = 0;   // next file a reader will take
  size_t consumed_ = 0;  // next file the consumer will take
  bool stopping_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace cantora

#endif
