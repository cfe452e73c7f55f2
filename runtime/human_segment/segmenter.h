// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>

namespace quorin::hs {

// One loaded model. Calls never overlap on one object; different objects may run at once.
class Segmenter {
 public:
  virtual ~Segmenter() = default;
  // The picture size the model works at (informational).
  virtual cv::Size InputSize() const = 0;
  // bgra: 8-bit four channels; mask: 8-bit one channel of any size, every byte written.
  // Throws Failure (or an OpenCV exception) when the frame cannot be processed.
  virtual void Process(const cv::Mat& bgra, cv::Mat& mask) = 0;
};

}  // namespace quorin::hs
