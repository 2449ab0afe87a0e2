#include "platform/lib/image/row_scaler.h"

#include <algorithm>
#include <cmath>

namespace image {

RowScaler::RowScaler(int src_w, int src_h, int dst_w, int dst_h, int channels, Pixels* out)
    : src_w_(src_w), src_h_(src_h), dst_w_(dst_w), dst_h_(dst_h), channels_(channels), out_(out) {
  out_->width = dst_w;
  out_->height = dst_h;
  out_->channels = channels;
  out_->data.assign(static_cast<size_t>(dst_w) * dst_h * channels, 0);
  // Destination column x covers source columns [x * sx, (x + 1) * sx).
  const double sx = static_cast<double>(src_w) / dst_w;
  taps_.resize(dst_w);
  for (int x = 0; x < dst_w; ++x) {
    double begin = x * sx, end = (x + 1) * sx;
    for (int s = static_cast<int>(begin); s < src_w && s < end; ++s) {
      double w = std::min<double>(end, s + 1) - std::max<double>(begin, s);
      if (w > 1e-9) taps_[x].push_back({s, static_cast<float>(w)});
    }
  }
  line_.assign(static_cast<size_t>(dst_w) * channels, 0.f);
  acc_[0].assign(line_.size(), 0.f);
  acc_[1].assign(line_.size(), 0.f);
}

void RowScaler::AddRow(const uint8_t* row) {
  if (next_row_ >= src_h_) return;
  const int c = channels_;
  for (int x = 0; x < dst_w_; ++x) {
    float sum[4] = {0, 0, 0, 0};
    for (const Tap& t : taps_[x]) {
      const uint8_t* p = row + static_cast<size_t>(t.x) * c;
      if (c == 4) {
        float a = p[3] * t.weight;
        sum[0] += p[0] * a;
        sum[1] += p[1] * a;
        sum[2] += p[2] * a;
        sum[3] += a;
      } else {
        sum[0] += p[0] * t.weight;
        sum[1] += p[1] * t.weight;
        sum[2] += p[2] * t.weight;
      }
    }
    std::copy(sum, sum + c, &line_[static_cast<size_t>(x) * c]);
  }
  // Source row y covers destination rows [y / sy, (y + 1) / sy).
  const double sy = static_cast<double>(src_h_) / dst_h_;
  const int y = next_row_++;
  double top = y / sy, bottom = (y + 1) / sy;
  const int first = static_cast<int>(top);
  // Rows above this source row have had all of theirs: not enlarging, a
  // source row reaches at most this destination row and the next.
  while (first > acc_row_) Emit(acc_row_);
  for (int d = first; d < dst_h_ && d < bottom && d <= acc_row_ + 1; ++d) {
    double w = std::min<double>(bottom, d + 1) - std::max<double>(top, d);
    if (w <= 1e-9) continue;
    const int slot = d - acc_row_;
    std::vector<float>& acc = acc_[slot];
    for (size_t i = 0; i < acc.size(); ++i) acc[i] += line_[i] * static_cast<float>(w);
    acc_weight_[slot] += static_cast<float>(w);
  }
  if (Done()) {
    while (acc_row_ < dst_h_) Emit(acc_row_);
  }
}

// Writes destination row y (held in acc_[0]) and moves row y + 1 up.
void RowScaler::Emit(int y) {
  const int c = channels_;
  uint8_t* out = &out_->data[static_cast<size_t>(y) * dst_w_ * c];
  const std::vector<float>& acc = acc_[0];
  for (int x = 0; x < dst_w_; ++x) {
    const float* s = &acc[static_cast<size_t>(x) * c];
    float area = 0;
    for (const Tap& t : taps_[x]) area += t.weight;
    area *= acc_weight_[0];
    uint8_t* d = out + static_cast<size_t>(x) * c;
    if (area <= 0) continue;
    if (c == 4) {
      float alpha = s[3];
      for (int k = 0; k < 3; ++k)
        d[k] = alpha > 0 ? static_cast<uint8_t>(std::lround(std::clamp(s[k] / alpha, 0.f, 255.f)))
                         : 0;
      d[3] = static_cast<uint8_t>(std::lround(std::clamp(alpha / area, 0.f, 255.f)));
    } else {
      for (int k = 0; k < 3; ++k)
        d[k] = static_cast<uint8_t>(std::lround(std::clamp(s[k] / area, 0.f, 255.f)));
    }
  }
  acc_[0].swap(acc_[1]);
  std::fill(acc_[1].begin(), acc_[1].end(), 0.f);
  acc_weight_[0] = acc_weight_[1];
  acc_weight_[1] = 0;
  acc_row_ = y + 1;
}

}  // namespace image
