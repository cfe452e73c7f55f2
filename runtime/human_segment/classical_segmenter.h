// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/objdetect.hpp>
#include <utility>
#include <vector>

#include "human_segment/model_file.h"
#include "human_segment/segmenter.h"

namespace quorin::hs {

// Person segmentation without weights, for a still camera: a per-pixel background model learnt
// from the frames themselves, bootstrapped from where the picture stays still, with a people
// detector and GrabCut for people the model has not seen move yet. Each mask is computed from
// its own frame (the history only tells what the background looks like), so it never lags.
//
// One object may be fed frames of several clips, even interleaved: it keeps a few scene
// models and picks the one that matches the frame, starting a new one on a cut or a new size.
class ClassicalSegmenter : public Segmenter {
 public:
  explicit ClassicalSegmenter(const ClassicalSettings& settings);
  ~ClassicalSegmenter() override;

  cv::Size InputSize() const override;
  void Process(const cv::Mat& bgra, cv::Mat& mask) override;

  struct Scene;

 private:
  Scene& SceneFor(const cv::Mat& small, cv::Size input);
  Scene& NewScene(const cv::Mat& small, cv::Size input, const cv::Mat& thumb);
  bool LooksLikeACut(Scene& scene, const cv::Mat& small) const;
  void EstimateNoise(Scene& scene);
  void Classify(Scene& scene);
  void EraseGhosts(Scene& scene);
  void FindPeople(Scene& scene);
  void FindFaces(const cv::Rect& frame, std::vector<std::pair<cv::Rect, cv::Rect>>* windows);
  cv::Mat CutPeople(const Scene& scene, const cv::Rect& roi, bool wholeBox);
  cv::Mat Decide(Scene& scene);
  void Clean(cv::Mat& decided) const;
  void Learn(Scene& scene, const cv::Mat& decided);
  void Output(const cv::Mat& soft, cv::Mat& mask) const;

  ClassicalSettings settings_;
  cv::Size lastSize_;
  std::vector<std::unique_ptr<Scene>> scenes_;  // most recently used first
  cv::HOGDescriptor detector_;
  cv::CascadeClassifier faces_;
  bool findFaces_ = false;
  cv::Mat shrunk_;      // the frame at the working size, BGRA
  cv::Mat small_;       // the same, BGR
  float enter_ = 0.0f;  // squared colour distance from the background that makes a person
  float stay_ = 0.0f;   // the distance that keeps a pixel in the person
};

}  // namespace quorin::hs
