// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <memory>
#include <opencv2/core.hpp>
#include <vector>

#include "human_segment/model_file.h"
#include "human_segment/onnx_segmenter.h"
#include "human_segment/segmenter.h"

namespace quorin::hs {

// A person-matte network run on the whole frame (the square or the landscape network, by the
// frame's shape), steadied over the last few frames where the picture stands still, and fitted
// to the frame's own edges with a guided filter.
//
// A mask depends only on its frame and the `window` frames before it that follow on from it:
// frames follow when they have the same size and less than kCutShare of the picture changes
// a lot between them; anything else (a cut, a jump, a new clip) starts afresh. So a render
// started at any frame gives the same bytes as a sequential one from `window` frames on.
class MatteSegmenter : public Segmenter {
 public:
  explicit MatteSegmenter(MatteSettings settings);

  cv::Size InputSize() const override { return square_->InputSize(); }
  void Process(const cv::Mat& bgra, cv::Mat& mask) override;

  // Share of the picture that must change by more than kCutLevels between two frames for the
  // second not to follow the first.
  static constexpr double kCutShare = 0.35;
  static constexpr int kCutLevels = 40;

 private:
  // A frame seen before: its grey picture and the network's answer, at the network's size.
  struct Past {
    cv::Mat grey;
    cv::Mat probability;
  };

  // A second look with the square network at a part of the frame.
  struct Look {
    cv::Rect crop;        // in frame pixels
    cv::Mat probability;  // the network's answer for it
  };

  void LookAgain(const cv::Mat& bgra, const cv::Mat& probability);
  bool Follows(const cv::Mat& grey, cv::Size frame, const OnnxSegmenter* network) const;
  cv::Mat Steady(const cv::Mat& grey, const cv::Mat& probability) const;
  void Refine(const cv::Mat& bgra, const cv::Mat& probability, cv::Mat& mask);

  MatteSettings settings_;
  std::unique_ptr<OnnxSegmenter> square_;
  std::unique_ptr<OnnxSegmenter> landscape_;
  std::deque<Past> past_;  // newest first
  cv::Size lastFrame_;
  const OnnxSegmenter* lastNetwork_ = nullptr;
  cv::Mat input_;      // the frame at the network's size, BGRA
  cv::Mat cropInput_;  // a second look's part of the frame at the square network's size
  std::vector<Look> looks_;
  cv::Mat guide_;    // the frame's grey at the mask's size
  cv::Mat scratch_;  // the first step of a shrink
  // Where each mask column reads the refinement's coefficients: left sample and weight.
  std::vector<int> left_;
  std::vector<float> weight_;
  cv::Size fitted_;
};

}  // namespace quorin::hs
