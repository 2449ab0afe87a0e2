#include "platform/indexer/progress.h"

namespace cantora {

void Progress::Start(const char* label, size_t total) {
  label_ = label;
  total_ = total;
  done_ = 0;
  last_ = {};
  Update(0);
}

void Progress::Update(size_t done) {
  done_ = done;
  if (!enabled_ || total_ == 0) return;
  auto now = std::chrono::steady_clock::now();
  if (done != total_ && now - last_ < std::chrono::milliseconds(100)) return;
  last_ = now;
  Draw();
}

void Progress::Draw() {
  constexpr int kWidth = 40;
  int filled = static_cast<int>(done_ * kWidth / total_);
  std::string bar(static_cast<size_t>(filled), '=');
  if (filled < kWidth) bar += '>';
  bar.resize(kWidth, ' ');
  std::fprintf(out_, "\r%s [%s] %zu/%zu", label_, bar.c_str(), done_, total_);
  std::fflush(out_);
  drawn_ = true;
}

void Progress::Message(const std::string& line) {
  bool redraw = drawn_;
  Clear();
  std::fprintf(out_, "%s\n", line.c_str());
  if (redraw) Draw();
}

void Progress::Clear() {
  if (!drawn_) return;
  std::fputs("\r\033[K", out_);
  std::fflush(out_);
  drawn_ = false;
}

}  // namespace cantora
