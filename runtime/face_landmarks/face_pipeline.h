// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <opencv2/core.hpp>
#include <vector>

#include "landmarks_common/landmarks.h"
#include "quorin/quorin_pipeline_face_landmarks_v2.h"

namespace quorin::face {

struct FaceSettings {
  std::string shortRange, fullRange, mesh;  // network files; fullRange may be empty
  float minScore = 0.5f;                    // detector score for a face
  int maxFaces = 4;
  float minPresence = 0.5f;   // mesh face score below which a track is lost
  int redetectEvery = 30;     // frames between detector runs while faces are tracked
  float smoothing = 0.02f;    // movement (share of face size) followed without smoothing
  float depthMargin = 0.08f;  // share of face size a point may lie behind the surface
  float frontalYaw = 25, frontalPitch = 20;  // degrees, for the frontal flag
};

// Reads the four manifests; fails with the file and reason when a network is not installed.
FaceSettings ReadFaceSettings(const char* detector, const char* landmarks, const char* visibility,
                              const char* pose);

class FacePipeline {
 public:
  explicit FacePipeline(const FaceSettings& settings);
  // The faces of one frame, tracked from the frame before unless Reset was called.
  std::vector<QuorinFaceRecord> Process(const cv::Mat& bgra);
  void Reset() {
    tracks_.clear();
    nextCorner_ = 0;
    lookedEverywhere_ = false;
  }

 private:
  struct Track {
    lm::Crop crop;
    std::vector<cv::Point3f> mesh;  // frame pixels; z in pixels, smaller is nearer
    int id = 0;
    bool tracked = false;  // came from the last frame's landmarks
  };

  std::vector<lm::Detection> Detect(const cv::Mat& bgra);
  bool RunMesh(const cv::Mat& bgra, Track& track);
  QuorinFaceRecord Record(const Track& track, cv::Size frame) const;

  FaceSettings settings_;
  lm::Network shortNet_, meshNet_;
  std::unique_ptr<lm::Network> fullNet_;
  std::vector<cv::Point2f> shortAnchors_, fullAnchors_;
  std::vector<Track> tracks_;
  int sinceDetect_ = 0;
  int nextId_ = 1;
  int nextCorner_ = 0;             // the corner of the frame the next closer look takes
  bool lookedEverywhere_ = false;  // every corner was looked at since the start
  cv::Mat blob_;
};

}  // namespace quorin::face
