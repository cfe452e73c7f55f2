// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "landmarks_common/landmarks.h"

namespace quorin::body {

// Points per person: MediaPipe's 33 body landmarks (order in docs/runtime.md).
constexpr int kBodyPoints = 33;

struct BodySettings {
  std::string detector, landmarks;
  float minScore = 0.5f;  // detector score for a person
  int maxPeople = 4;
  float minPresence = 0.5f;  // landmark network's person score below which a track is lost
  int redetectEvery = 15;    // frames between detector runs while people are tracked
  float smoothing = 0.01f;   // movement (share of body size) followed without smoothing
};

BodySettings ReadBodySettings(const char* path);

struct Person {
  std::vector<cv::Point2f> points;  // frame pixels
  std::vector<float> scores;        // 0..1
};

class BodyPipeline {
 public:
  explicit BodyPipeline(const BodySettings& settings);
  // With `track` the last frame's people place this frame's crops; without, every frame is
  // detected afresh.
  std::vector<Person> Process(const cv::Mat& bgra, bool track);
  void Reset() { tracks_.clear(); }

 private:
  struct Track {
    lm::Crop crop;
    std::vector<cv::Point3f> points;  // all 39 network points; z unused
    std::vector<float> scores;
    bool tracked = false;
  };
  bool RunLandmarks(const cv::Mat& bgra, Track& track);

  BodySettings settings_;
  lm::Network detector_, landmarks_;
  std::vector<cv::Point2f> anchors_;
  std::vector<Track> tracks_;
  int sinceDetect_ = 0;
  cv::Mat blob_;
};

}  // namespace quorin::body
