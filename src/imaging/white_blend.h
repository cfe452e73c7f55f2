// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>

namespace imageC {

// The person laid over opaque white: every byte d = mul(s, m) + (255 - m), with m the mask and
// mul the shared multiply table. Mask 0 gives white, 255 the source pixel. Source and destination
// 8UC4, mask 8UC1, one size; the destination may be the source. Eight row bands.
class parallelWhiteBlendInvoker : public cv::ParallelLoopBody {
 public:
  parallelWhiteBlendInvoker(const cv::Mat& dst, const cv::Mat& src, const cv::Mat& mask)
      : dst_(dst), src_(src), mask_(mask) {}
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& dst_;
  const cv::Mat& src_;
  const cv::Mat& mask_;
};

void whiteBlend(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst);

// One row of the rule, scalar only; the reference the vector path is held to.
void whiteBlendRowScalar(const uint8_t* src, const uint8_t* mask, uint8_t* dst, int pixels);

}  // namespace imageC
