// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "landmarks_common/landmarks.h"
#include "landmarks_common/tracking.h"

namespace quorin::body {

// Points per person: MediaPipe's 33 body landmarks (order in docs/runtime.md).
constexpr int kBodyPoints = 33;

struct BodySettings {
  std::string detector, landmarks;
  float minScore = 0.5f;  // detector score for a person
  int maxPeople = 4;
  float minPresence = 0.5f;  // landmark network's person score below which a track is lost
  int redetectEvery = 15;    // frames between detector runs while people are tracked
  // The next crop comes from the alignment points through their own filter, and stays put
  // until it would move by more than this share of its side: a crop that follows every wobble
  // feeds the network's noise back into its next input.
  float cropSlack = 0.01f;
  lm::OneEuroSettings cropFilter{0.1f, 40.0f, 1.0f, 30.0f};
  // The body points' filter. Speeds are in crop sides per second, frames taken as 1/30 s apart
  // (frames come without times).
  lm::OneEuroSettings filter{0.3f, 150.0f, 1.0f, 30.0f};
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
    std::vector<cv::Point3f> points;  // all 39 network points as found; z unused
    std::vector<float> scores;
    std::vector<lm::OneEuro> filters;  // x and y of each body point
    lm::OneEuro cropFilters[4];        // x and y of the two alignment points
    std::vector<cv::Point2f> shown;    // the body points after the filter
  };
  bool RunLandmarks(const cv::Mat& bgra, Track& track);
  void Smooth(Track& track) const;

  BodySettings settings_;
  lm::Network detector_, landmarks_;
  std::vector<cv::Point2f> anchors_;
  std::vector<Track> tracks_;
  int sinceDetect_ = 0;
  cv::Mat blob_;
};

}  // namespace quorin::body
