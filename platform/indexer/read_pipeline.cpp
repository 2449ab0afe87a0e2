#include "platform/indexer/read_pipeline.h"

#include <utility>

namespace cantora {

ReadPipeline::ReadPipeline(size_t count, std::function<std::string(size_t)> path_of,
                           unsigned readers, size_t window)
    : count_(count),
      window_(window == 0 ? 1 : window),
      path_of_(std::move(path_of)),
      slots_(window_),
      filled_(window_, false) {
  if (readers == 0) readers = std::thread::hardware_concurrency();
  if (readers == 0) readers = 1;
  if (readers > count_) readers = static_cast<unsigned>(count_);
  for (unsigned i = 0; i < readers; ++i) threads_.emplace_back([this] { ReaderLoop(); });
}

ReadPipeline::~ReadPipeline() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  space_.notify_all();
  for (std::thread& t : threads_) t.join();
}

void ReadPipeline::ReaderLoop() {
  for (;;) {
    size_t job;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      space_.wait(
          lock, [&] { return stopping_ || claimed_ >= count_ || claimed_ < consumed_ + window_; });
      if (stopping_ || claimed_ >= count_) return;
      job = claimed_++;
    }
    ReadResult result;
    result.ok = ReadSongTags(path_of_(job), &result.tags, &result.error);
    {
      std::lock_guard<std::mutex> lock(mutex_);
      slots_[job % window_] = std::move(result);
      filled_[job % window_] = true;
    }
    ready_.notify_all();
  }
}

bool ReadPipeline::Next(ReadResult* out) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (consumed_ >= count_) return false;
  const size_t slot = consumed_ % window_;
  ready_.wait(lock, [&] { return filled_[slot]; });
  *out = std::move(slots_[slot]);
  filled_[slot] = false;
  ++consumed_;
  lock.unlock();
  space_.notify_all();
  return true;
}

}  // namespace cantora
