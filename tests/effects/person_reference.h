// SPDX-License-Identifier: MIT
// What the outline and clone tests share: a filter driven through the exported API, a host
// receiver that lends a ready segmentation, and the person image the test-double module yields.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>

#include <opencv2/core.hpp>

#include "effect_reference.h"
#include "framework/param_value.h"
#include "kaz/ai_data.h"
#include "kaz/filter_api.h"

namespace kaztest {

// A host receiver with a segmentation image ready for every frame.
class ReadyReceiver : public KAZAiDataReceiver {
 public:
  explicit ReadyReceiver(cv::Mat image) : image_(std::move(image)) {}
  bool ReadySegmentation(unsigned char** pixels, int32_t* width, int32_t* height,
                         int32_t* pitch) override {
    *pixels = image_.data;
    *width = image_.cols;
    *height = image_.rows;
    *pitch = static_cast<int32_t>(image_.step);
    return true;
  }
  void ReceiveGrayImage(const unsigned char*, int32_t, int32_t, int32_t) override {}

 private:
  cv::Mat image_;
};

// Random colours and alpha; channel 0 is the person mask the test double hands back: a disc of
// 255 with a soft rim, 0 outside, and a sprinkle of 127, 128 and 129 around the threshold.
inline cv::Mat PersonSource(int w, int h, unsigned seed = 1) {
  std::mt19937 rng(seed);
  cv::Mat src(h, w, CV_8UC4);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      cv::Vec4b& p = src.at<cv::Vec4b>(y, x);
      for (int c = 1; c < 4; ++c) p[c] = static_cast<uint8_t>(rng());
      if (rng() % 3) p[3] = 255;
      const double dx = (x - w * 0.5) / (w * 0.22), dy = (y - h * 0.5) / (h * 0.3);
      const double r = std::sqrt(dx * dx + dy * dy);
      int m = r < 0.8 ? 255 : r > 1.1 ? 0 : static_cast<int>((1.1 - r) / 0.3 * 255);
      if (rng() % 11 == 0) m = 127 + static_cast<int>(rng() % 3);
      p[0] = static_cast<uint8_t>(m);
    }
  }
  return src;
}

// The person image the inner cut-out filter makes from PersonSource with the mask in channel 0.
inline cv::Mat PersonOf(const cv::Mat& src) { return Premultiplied(src, Channel(src, 0)); }

}  // namespace kaztest
