// SPDX-License-Identifier: MIT
#include <opencv2/core.hpp>

#include "effects/human_segmentation.h"
#include "imaging/exact8.h"

namespace {

// The mask limited by the source's alpha: a transparent source pixel is never the person.
// Computed into `dst` one row at a time, reading the alpha straight from the source.
void LimitByAlpha(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst) {
  for (int y = 0; y < src.rows; ++y) {
    const uint8_t* s = src.ptr<uint8_t>(y);
    const uint8_t* m = mask.ptr<uint8_t>(y);
    uint8_t* d = dst.data + dst.step[0] * y;
    for (int x = 0; x < src.cols; ++x) {
      d[x] = static_cast<uint8_t>(imageC::exact8::mul<uint32_t>(m[x], s[4 * x + 3]));
    }
  }
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
  LimitByAlpha(src, mask, dst);
}

void CHumanSegmentationHighAccMask::ComposeFourChannels(const cv::Mat& src, const cv::Mat& mask,
                                                        const cv::Mat& dst) {
  cv::Mat alpha(src.size(), CV_8UC1);
  LimitByAlpha(src, mask, alpha);
  // The source's colour through the mask, with the mask as straight (not pre-multiplied) alpha.
  cv::Mat out = dst;
  out.setTo(cv::Scalar::all(0));
  src.copyTo(out, alpha);
  const int pair[] = {0, 3};
  cv::mixChannels(&alpha, 1, &out, 1, pair, 1);
}
