// A one-line progress bar on a terminal; silent when not enabled.
#ifndef CANTORA_PLATFORM_INDEXER_PROGRESS_H
#define CANTORA_PLATFORM_INDEXER_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>

namespace cantora {

class Progress {
 public:
  // Draws on out when enabled (the caller decides, e.g. isatty).
  Progress(FILE* out, bool enabled) : out_(out), enabled_(enabled) {}
  ~Progress() { Clear(); }

  void Start(const char* label, size_t total);
  // Redraws at most ten times a second.
  void Update(size_t done);
  // Prints one line above the bar (or just the line when disabled).
  void Message(const std::string& line);
  // Removes the bar.
  void Clear();

 private:
  void Draw();

  FILE* out_;
  bool enabled_;
  bool drawn_ = false;
  const char* label_ = "";
  size_t total_ = 0;
  size_t done_ = 0;
  std::chrono::steady_clock::time_point last_{};
};

}  // namespace cantora

#endif
