// SPDX-License-Identifier: MIT
#include <cstring>

#include <opencv2/core.hpp>

#include "effects/human_segmentation.h"
#include "imaging/exact8.h"

namespace {

using imageC::exact8::mul;

// One row of the mask limited by the source's alpha, mul(mask, alpha): a transparent source
// pixel is never the person. Writes that mask into `limited` and, when `cutOut` is set, the
// source's colour where it is non-zero with it as straight alpha (transparent black elsewhere).
void LimitRow(const uint8_t* src, const uint8_t* mask, uint8_t* limited, uint8_t* cutOut,
              int pixels) {
  int x = 0;
#if CV_SIMD128
  namespace e8 = imageC::exact8;
  const e8::u16x8 alphaLanes = e8::alphaLanes(), zero = e8::splat<e8::u16x8>(0);
  for (; x + e8::kPixelsPerVector <= pixels; x += e8::kPixelsPerVector) {
    const e8::Pixels4 s = e8::loadPixels(src + 4 * x);
    const e8::u16x8 c = mul(e8::loadPerPixel(mask + x), e8::broadcastAlpha(s.odd));
    // c sits in both 16-bit lanes of each pixel: the low lanes, narrowed, are the four bytes.
    const cv::v_uint32x4 c32 = cv::v_reinterpret_as_u32(c) & cv::v_setall_u32(0xFF);
    const cv::v_uint16x8 c16 = cv::v_pack(c32, c32);
    const uint32_t four = cv::v_reinterpret_as_u32(cv::v_pack(c16, c16)).get0();
    std::memcpy(limited + x, &four, sizeof four);
    if (cutOut != nullptr) {
      const e8::u16x8 keep = ~(c == zero);
      e8::storePixels(cutOut + 4 * x, s.even & keep,
                      ((s.odd & keep) & ~alphaLanes) | (c & alphaLanes));
    }
  }
#endif
  for (; x < pixels; ++x) {
    const uint8_t* s = src + 4 * x;
    const uint8_t c = static_cast<uint8_t>(mul<uint32_t>(mask[x], s[3]));
    limited[x] = c;
    if (cutOut != nullptr) {
      uint8_t* d = cutOut + 4 * x;
      d[0] = c ? s[0] : 0;
      d[1] = c ? s[1] : 0;
      d[2] = c ? s[2] : 0;
      d[3] = c;
    }
  }
}

// The limited mask into `limited`, and the cut-out into `cutOut` unless it is empty.
void Limit(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& limited, const cv::Mat& cutOut) {
  cv::parallel_for_(cv::Range(0, src.rows), [&](const cv::Range& rows) {
    for (int y = rows.start; y < rows.end; ++y) {
      LimitRow(src.ptr<uint8_t>(y), mask.ptr<uint8_t>(y), limited.data + limited.step[0] * y,
               cutOut.empty() ? nullptr : cutOut.data + cutOut.step[0] * y, src.cols);
    }
  });
}

}  // namespace

CHumanSegmentationHighAccMask::CHumanSegmentationHighAccMask(vorta::FilterInfoPtr info)
    : CHumanSegmentation(std::move(info), kSegHighAccuracy,
                         vorta::SharedAiSlot::kHumanSegmentationHighAccMask) {
  // As for the effect-model member, the edge is the description's, fixed at creation.
  ReadEdges(true);
}

void CHumanSegmentationHighAccMask::ReadParameters() { ReadNeedGray(); }

void CHumanSegmentationHighAccMask::ComposeOneChannel(const cv::Mat& src, const cv::Mat& mask,
                                                      const cv::Mat& dst) {
  Limit(src, mask, dst, cv::Mat());
}

void CHumanSegmentationHighAccMask::ComposeFourChannels(const cv::Mat& src, const cv::Mat& mask,
                                                        const cv::Mat& dst) {
  // The limited mask is written over the module's: it is not needed afterwards.
  Limit(src, mask, mask, dst);
}
