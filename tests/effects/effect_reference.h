// SPDX-License-Identifier: MIT
// Expected results of the segmentation effects, computed plainly: OpenCV for the morphology and
// blurs, the per-pixel rules written from their formulas.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>

#include <opencv2/imgproc.hpp>

namespace kaztest {

inline int Mul255(int a, int b) { return static_cast<int>(std::lround(a * b / 255.0)); }

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
  cv::Mat out(src.size(), CV_8UC4);
  for (int y = 0; y < src.rows; ++y) {
    for (int x = 0; x < src.cols; ++x) {
      const int m = mask.at<uint8_t>(y, x);
      for (int c = 0; c < 4; ++c) {
        const int s = src.at<cv::Vec4b>(y, x)[c];
        out.at<cv::Vec4b>(y, x)[c] = static_cast<uint8_t>(m == 0 ? 0 : m == 255 ? s : Mul255(s, m));
      }
    }
  }
  return out;
}

// A pre-multiplied layer laid over `base` at full strength.
inline cv::Mat OverPremultiplied(const cv::Mat& layer, const cv::Mat& base) {
  cv::Mat out = base.clone();
  for (int y = 0; y < base.rows; ++y) {
    for (int x = 0; x < base.cols; ++x) {
      const cv::Vec4b l = layer.at<cv::Vec4b>(y, x);
      if (l[3] == 0) continue;
      cv::Vec4b& d = out.at<cv::Vec4b>(y, x);
      const int inv = 255 - l[3];
      for (int c = 0; c < 3; ++c)
        d[c] = static_cast<uint8_t>(std::min(255, l[c] + Mul255(d[c], inv)));
      d[3] = static_cast<uint8_t>(std::min(255, Mul255(d[3], inv) + l[3]));
    }
  }
  return out;
}

}  // namespace kaztest
