// SPDX-License-Identifier: MIT
// Driving the effects through the exported API, and their expected results computed plainly:
// OpenCV for the morphology and blurs, the per-pixel rules from the blend reference.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "framework/param_value.h"
#include "imaging/reference.h"
#include "kaz/ai_data.h"
#include "kaz/filter_api.h"

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
  const cv::Mat element = cv::Mat::ones(2 * std::abs(t) + 1, 2 * std::abs(t) + 1, CV_8U);
  if (t != 0)
    (t < 0 ? cv::erode : cv::dilate)(out, out, element, {-1, -1}, 1, cv::BORDER_CONSTANT,
                                     cv::morphologyDefaultBorderValue());
  if (k > 1)
    cv::boxFilter(out, out, -1, cv::Size(k, k), cv::Point(-1, -1), true, cv::BORDER_REFLECT_101);
  return out;
}

inline cv::Mat Channel(const cv::Mat& image, int c) {
  cv::Mat plane;
  cv::extractChannel(image, plane, c);
  return plane;
}

// Every byte of the source scaled by the mask: the person with pre-multiplied alpha.
inline cv::Mat Premultiplied(const cv::Mat& src, const cv::Mat& mask) {
  return ref::applyMask(ref::maskPixel, src, mask, 4);
}

// A pre-multiplied layer laid over `base` at full strength.
inline cv::Mat OverPremultiplied(const cv::Mat& layer, const cv::Mat& base) {
  return ref::blendImage(layer, base, 0, 255, true);
}

// Random colours; alpha a soft blob (a "person") over noise, so every mask value occurs.
inline cv::Mat Source(int w, int h, unsigned seed = 1) {
  std::mt19937 rng(seed);
  cv::Mat src(h, w, CV_8UC4);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      cv::Vec4b& p = src.at<cv::Vec4b>(y, x);
      for (int c = 0; c < 3; ++c) p[c] = static_cast<uint8_t>(rng());
      const double dx = (x - w / 2.0) / (w / 3.0), dy = (y - h / 2.0) / (h / 2.5);
      const double r = std::sqrt(dx * dx + dy * dy);
      const int inside = r < 0.8 ? 255 : r > 1.2 ? 0 : static_cast<int>((1.2 - r) / 0.4 * 255);
      p[3] = static_cast<uint8_t>(rng() % 7 == 0 ? rng() : inside);
    }
  }
  return src;
}

// The person image the outline and clone effects start from, with the mask in the alpha.
inline cv::Mat PersonOf(const cv::Mat& src) { return Premultiplied(src, Channel(src, 3)); }

inline void UseMaskFromChannel(int c) {
  setenv("KAZ_DOUBLE_HUMANSEG_MASK", ("channel:" + std::to_string(c)).c_str(), 1);
}

// A host receiver keeping what the effects send it; it lends `ready`, when given, as the ready
// segmentation of every frame.
struct Receiver : KAZAiDataReceiver {
  explicit Receiver(cv::Mat image = cv::Mat()) : ready(std::move(image)) {}
  bool ReadySegmentation(unsigned char** pixels, int32_t* w, int32_t* h, int32_t* pitch) override {
    *pixels = ready.data;
    *w = ready.cols;
    *h = ready.rows;
    *pitch = static_cast<int32_t>(ready.step);
    return !ready.empty();
  }
  void ReceiveGrayImage(const unsigned char* pixels, int32_t w, int32_t h, int32_t s) override {
    grays.push_back(cv::Mat(h, w, CV_8UC4, const_cast<unsigned char*>(pixels), s).clone());
    stride = s;
  }
  void ReceiveFaceData(const unsigned char* b, uint32_t n) override {
    faces.emplace_back(b, b + n);
  }
  void ReceivePoseData(const unsigned char* b, uint32_t n) override {
    poses.emplace_back(b, b + n);
  }
  cv::Mat ready;
  std::vector<cv::Mat> grays;
  int32_t stride = 0;
  std::vector<std::vector<uint8_t>> faces, poses;
};

// A filter made through the exported API, with the resources folder it is told.
struct Filter {
  explicit Filter(const char* guid, const char* resources = "/opt/res")
      : f(CreateNLEAIEffectFilterFromGUID(guid, resources)) {}
  ~Filter() { DeleteNLEAIEffectFilter(&f); }
  Filter& Set(const char* name, NLEParamValue v) {
    NLEEffectFilterSetParameter(f, name, v.type, v);
    return *this;
  }
  Filter& Float(const char* name, float v) { return Set(name, vorta::MakeFloatValue(v)); }
  Filter& Int(const char* name, int32_t v) { return Set(name, vorta::MakeIntValue(v)); }
  Filter& Text(const char* name, const std::string& v) {
    return Set(name, vorta::MakeTextValue(v));
  }
  // Hands the filter the host's receiver of AI data.
  void Lend(AIDATA::BaseAIDATA* receiver) {
    Set(kKAZAiDataTransferName, vorta::MakePointerValue(receiver));
  }
  // Runs one frame into a destination of 77s with padded rows, keeping the answer in `result`;
  // returns the destination without the padding.
  cv::Mat Run(const cv::Mat& src, int dstChannels = 4) {
    cv::Mat padded(src.rows, src.cols + 3, CV_8UC(dstChannels), cv::Scalar::all(77));
    cv::Mat dst = padded(cv::Rect(0, 0, src.cols, src.rows));
    result = NLEEffectFilterTransformChannels(
        f, dst.data, dst.cols, dst.rows, static_cast<int32_t>(dst.step), nullptr, 0, 0, 0, src.data,
        src.cols, src.rows, static_cast<int32_t>(src.step), dstChannels, 4, 4);
    return dst.clone();
  }
  // Runs one frame in place through the four-channel entry.
  int32_t RunInPlace(cv::Mat& frame) {
    return NLEEffectFilterTransform(f, frame.data, frame.cols, frame.rows,
                                    static_cast<int32_t>(frame.step), nullptr, 0, 0, 0, frame.data,
                                    frame.cols, frame.rows, static_cast<int32_t>(frame.step));
  }
  vorta::NLEEffectFilter* f;
  int32_t result = -1;
};

inline int64_t CountDifferent(const cv::Mat& a, const cv::Mat& b) {
  return ref::differingBytes(a, b);
}

}  // namespace kaztest
