// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>

namespace kazsample {

struct ClipSettings {
  int width = 1280;
  int height = 720;
  double fps = 30.0;
  double noise = 3.0;  // standard deviation of the sensor noise, in 8-bit levels
  uint32_t seed = 1;   // picks the room's furnishing and the noise
};

// A person-like figure (head, torso, swinging arms, walking legs, a soft shadow) moving over a
// still, textured room, with sensor noise and its exact silhouette as ground truth. Every frame
// is rendered on its own from its index, so frames can be drawn in any order.
//
// The script repeats every ScriptSeconds(): the figure walks in from the left, stands, waves,
// stands, walks right, stands, and walks back. While it stands, frames differ only by noise.
class SampleClip {
 public:
  explicit SampleClip(const ClipSettings& settings);

  const ClipSettings& settings() const { return settings_; }

  // Frame `index`: 8-bit B G R A with alpha 255 into `bgra`, and, when `mask` is given, the
  // figure's silhouette (255 person, 0 elsewhere; the shadow is not part of it).
  void Render(int index, cv::Mat& bgra, cv::Mat* mask = nullptr) const;

  // True when the figure stands exactly as in the previous frame (only the noise differs).
  bool Still(int index) const;

  static double ScriptSeconds();

 private:
  struct Pose {
    double x = 0;       // pelvis, as a fraction of the width
    double stride = 0;  // 0 standing .. 1 full stride
    double phase = 0;   // walking cycle, radians
    double wave = 0;    // 0 arm down .. 1 waving
    double time = 0;    // drives the wave
    bool operator==(const Pose& o) const {
      return x == o.x && stride == o.stride && phase == o.phase && wave == o.wave &&
             (wave == 0 || time == o.time);
    }
  };

  Pose PoseAt(int index) const;
  void DrawFigure(const Pose& pose, cv::Mat& labels, cv::Point2d* origin) const;

  ClipSettings settings_;
  double unit_;          // the figure's height in pixels
  cv::Mat room_;         // the still background, 8-bit BGR
  cv::Mat textures_[8];  // one per body part label, in body coordinates
  cv::Point textureOrigin_;
};

}  // namespace kazsample
