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

struct EffectFilter {
  explicit EffectFilter(const char* guid) : f(CreateNLEAIEffectFilterFromGUID(guid, "/opt/res")) {}
  ~EffectFilter() { DeleteNLEAIEffectFilter(&f); }
  EffectFilter& Float(const char* name, float v) {
    NLEEffectFilterSetParameter(f, name, vorta::kKindFloat, vorta::MakeFloatValue(v));
    return *this;
  }
  EffectFilter& Int(const char* name, int32_t v) {
    NLEEffectFilterSetParameter(f, name, vorta::kKindInt, vorta::MakeIntValue(v));
    return *this;
  }
  void Lend(KAZAiDataReceiver* receiver) {
    NLEEffectFilterSetParameter(
        f, kKAZAiDataTransferName, vorta::kKindPointer,
        vorta::MakePointerValue(static_cast<AIDATA::BaseAIDATA*>(receiver)));
  }
  // One frame into a destination of padded rows filled with 77; the destination without padding.
  cv::Mat Run(const cv::Mat& src, int32_t* result = nullptr) {
    cv::Mat padded(src.rows, src.cols + 3, CV_8UC4, cv::Scalar::all(77));
    cv::Mat dst = padded(cv::Rect(0, 0, src.cols, src.rows));
    const int32_t r = NLEEffectFilterTransform(
        f, dst.data, dst.cols, dst.rows, static_cast<int32_t>(dst.step), nullptr, 0, 0, 0, src.data,
        src.cols, src.rows, static_cast<int32_t>(src.step));
    if (result) *result = r;
    return dst.clone();
  }
  vorta::NLEEffectFilter* f;
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
inline cv::Mat PersonOf(const cv::Mat& src) {
  cv::Mat mask;
  cv::extractChannel(src, mask, 0);
  return Premultiplied(src, mask);
}

inline void MaskFromChannel0() { setenv("KAZ_DOUBLE_HUMANSEG_MASK", "channel:0", 1); }

inline int Different(const cv::Mat& a, const cv::Mat& b) {
  cv::Mat diff;
  cv::absdiff(a, b, diff);
  return cv::countNonZero(diff.reshape(1));
}

}  // namespace kaztest
