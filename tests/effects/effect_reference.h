// SPDX-License-Identifier: MIT
// Expected results of the segmentation effects, computed plainly: OpenCV for the morphology and
// blurs, the per-pixel rules from the blend reference.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>

#include <opencv2/imgproc.hpp>

#include "imaging/reference.h"

namespace kaztest {

// Sizes for a frame of long side L from values at a reference long side of 640.
inline int MorphSize(double thickness, int w, int h) {
  return static_cast<int>(std::trunc(thickness * (std::max(w, h) / 640.0) * 0.5));
}
inline int BlurSize(double feather, int w, int h) {
  return 2 * static_cast<int>(std::floor(feather * (std::max(w, h) / 640.0) * 0.5)) + 1;
}

inline cv::Mat Refined(const cv::Mat& mask, int t, int k) {
  cv::Mat out = mask.clone();
  if (t != 0) {
    const int side = 2 * std::abs(t) + 1;
    const cv::Mat element = cv::Mat::ones(side, side, CV_8U);
    if (t < 0)
      cv::erode(out, out, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
                cv::morphologyDefaultBorderValue());
    else
      cv::dilate(out, out, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
                 cv::morphologyDefaultBorderValue());
  }
  if (k > 1)
    cv::boxFilter(out, out, -1, cv::Size(k, k), cv::Point(-1, -1), true, cv::BORDER_REFLECT_101);
  return out;
}

// Every byte of the source scaled by the mask: the person with pre-multiplied alpha.
inline cv::Mat Premultiplied(const cv::Mat& src, const cv::Mat& mask) {
  return ref::applyMask(ref::maskPixel, src, mask, 4);
}

// A pre-multiplied layer laid over `base` at full strength.
inline cv::Mat OverPremultiplied(const cv::Mat& layer, const cv::Mat& base) {
  return ref::blendImage(layer, base, 0, 255, true);
}

}  // namespace kaztest
