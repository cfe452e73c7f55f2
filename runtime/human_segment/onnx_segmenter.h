// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/dnn.hpp>
#include <string>
#include <vector>

#include "human_segment/model_file.h"
#include "human_segment/segmenter.h"

namespace quorin::hs {

// Runs a portrait-segmentation network with OpenCV's dnn module, with the pre- and
// post-processing its manifest describes.
class OnnxSegmenter : public Segmenter {
 public:
  // Loads the network and runs it once on a grey picture, so a network that loads but cannot
  // run, or whose output does not fit the settings, fails here rather than on the first frame.
  explicit OnnxSegmenter(OnnxSettings settings);

  cv::Size InputSize() const override { return size_; }
  void Process(const cv::Mat& bgra, cv::Mat& mask) override;

  // The person probability (0..1, float) at the network's output size. Valid until the next
  // call.
  const cv::Mat& Infer(const cv::Mat& bgra);

 private:
  // The network's output, checked against the settings: channel count and the plane geometry.
  struct OutputShape {
    int channels = 0;
    int height = 0;
    int width = 0;
  };

  cv::Size SizeFromSettings() const;
  void LoadNetwork();
  void ChooseOutput();
  int Probe();  // runs once on a grey picture; answers the output's channel count
  void FillBlob(const cv::Mat& bgra);
  cv::Mat Forward();
  OutputShape Inspect(const cv::Mat& out) const;
  void Probability(const cv::Mat& out, const OutputShape& shape);

  OnnxSettings settings_;
  cv::dnn::Net net_;
  cv::Size size_;
  std::vector<std::string> outputNames_;
  cv::Mat resized_;      // the frame at the network's size, BGRA
  cv::Mat blob_;         // float input tensor
  cv::Mat probability_;  // float person probability at the output's size
};

}  // namespace quorin::hs
