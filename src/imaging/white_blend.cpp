// SPDX-License-Identifier: MIT
#include "imaging/white_blend.h"

#include "imaging/blend.h"
#include "imaging/exact8.h"

namespace imageC {

namespace {

template <class V>
V OverWhite(const V& s, const V& m) {
  return exact8::mul(s, m) + (exact8::splat<V>(255) - m);
}

void WhiteBlendRow(const uint8_t* src, const uint8_t* mask, uint8_t* dst, int pixels) {
  int x = 0;
#if CV_SIMD128
  using exact8::u16x8;
  for (; x + exact8::kPixelsPerVector <= pixels; x += exact8::kPixelsPerVector) {
    const exact8::Pixels4 s = exact8::loadPixels(src + 4 * x);
    const u16x8 m = exact8::loadPerPixel(mask + x);
    exact8::storePixels(dst + 4 * x, OverWhite(s.even, m), OverWhite(s.odd, m));
  }
#endif
  whiteBlendRowScalar(src + 4 * x, mask + x, dst + 4 * x, pixels - x);
}

}  // namespace

void whiteBlendRowScalar(const uint8_t* src, const uint8_t* mask, uint8_t* dst, int pixels) {
  for (int x = 0; x < pixels; ++x) {
    const uint32_t m = mask[x];
    for (int c = 0; c < 4; ++c)
      dst[4 * x + c] = static_cast<uint8_t>(OverWhite<uint32_t>(src[4 * x + c], m));
  }
}

void parallelWhiteBlendInvoker::operator()(const cv::Range& bands) const {
  for (int band = bands.start; band < bands.end; ++band) {
    const cv::Range rows = bandRows(band, 8, dst_.rows);
    for (int y = rows.start; y < rows.end; ++y) {
      WhiteBlendRow(src_.ptr<uint8_t>(y), mask_.ptr<uint8_t>(y), dst_.data + dst_.step[0] * y,
                    dst_.cols);
    }
  }
}

void whiteBlend(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst) {
  CV_Assert(src.type() == CV_8UC4 && dst.type() == CV_8UC4 && mask.type() == CV_8UC1 &&
            src.size() == dst.size() && mask.size() == dst.size());
  cv::parallel_for_(cv::Range(0, 8), parallelWhiteBlendInvoker(dst, src, mask));
}

}  // namespace imageC
