// Area-averaging downscaler fed one source row at a time.
//
// Each destination pixel is the average of the source area it covers, with
// fractional weights at its edges; colour is weighted by alpha, so that the
// colour of transparent pixels never bleeds into the visible ones. Memory is
// two destination rows of accumulators, whatever the source size.
#ifndef CANTORA_PLATFORM_LIB_IMAGE_ROW_SCALER_H
#define CANTORA_PLATFORM_LIB_IMAGE_ROW_SCALER_H

#include <cstdint>
#include <vector>

#include "platform/lib/image/image.h"

namespace image {

class RowScaler {
 public:
  // Scales src_w x src_h (channels 3 or 4) to dst_w x dst_h, which must not
  // be larger; *out is sized and filled as rows arrive.
  RowScaler(int src_w, int src_h, int dst_w, int dst_h, int channels, Pixels* out);

  // The next source row (src_w * channels bytes), top to bottom.
  void AddRow(const uint8_t* row);
  // True once every source row was added.
  bool Done() const { return next_row_ == src_h_; }

 private:
  struct Tap {
    int x;
    float weight;
  };
  void Emit(int y);

  const int src_w_, src_h_, dst_w_, dst_h_, channels_;
  Pixels* out_;
  std::vector<std::vector<Tap>> taps_;  // per destination column
  std::vector<float> line_;             // the current source row, scaled across
  std::vector<float> acc_[2];           // destination rows y and y + 1
  float acc_weight_[2] = {0, 0};
  int acc_row_ = 0;  // destination row held in acc_[0]
  int next_row_ = 0;
};

}  // namespace image

#endif
