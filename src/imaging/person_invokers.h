// SPDX-License-Identifier: MIT
#pragma once

// Band-parallel bodies of the person outline and clone effects, run by cv::parallel_for_ over
// bands [0, 8): band k takes rows k * (rows / 8) .. , the last band also the remainder. Each
// writes only its own rows. They trust their arguments: 8UC4 images (ring and matte 8UC1) of
// one size, and a person image that does not share bytes with the destination.

#include <array>
#include <cstdint>

#include <opencv2/core.hpp>

namespace imageC {

inline constexpr int kPersonBands = 8;

// Channel 3 of `src` into the one-channel `dst`.
class parallelAChannel : public cv::ParallelLoopBody {
 public:
  parallelAChannel(const cv::Mat& dst, const cv::Mat& src) : dst_(dst), src_(src) {}
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& dst_;
  const cv::Mat& src_;
};

// Three bytes into every pixel of `image` (8UC3 or 8UC4; a fourth byte is left alone).
class parallelSetColor : public cv::ParallelLoopBody {
 public:
  parallelSetColor(const cv::Mat& image, uint8_t c0, uint8_t c1, uint8_t c2)
      : image_(image), colour_{c0, c1, c2} {}
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& image_;
  uint8_t colour_[3];
};

// The outline composite of rows::humanBorder. colour is 8UC4 (its fourth byte unused).
class parallelHumanBorder : public cv::ParallelLoopBody {
 public:
  parallelHumanBorder(const cv::Mat& dst, const cv::Mat& src, const cv::Mat& ring,
                      const cv::Mat& colour, uint32_t opacity)
      : dst_(dst), src_(src), ring_(ring), colour_(colour), opacity_(opacity) {}
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& dst_;
  const cv::Mat& src_;
  const cv::Mat& ring_;
  const cv::Mat& colour_;
  uint32_t opacity_;
};

// One copy of the person: the pixel at (x, y) takes the person at (x - dx, y - dy) where that
// lies inside the frame; elsewhere the copy is absent.
struct CloneLayer {
  int dx = 0, dy = 0;
  uint8_t alpha = 0;
  uint8_t tint[3] = {255, 255, 255};
};

// Starts from the source, lays the clones in order with rows::cloneLayer, then the person on
// top with rows::personOnTop.
class parallelCloneLayers : public cv::ParallelLoopBody {
 public:
  static constexpr int kMaxLayers = 4;
  void operator()(const cv::Range& bands) const override;
  int LayerCount() const { return count_; }
  const CloneLayer& Layer(int i) const { return layers_[i]; }

 protected:
  parallelCloneLayers(const cv::Mat& dst, const cv::Mat& src, const cv::Mat& person)
      : dst_(dst), src_(src), person_(person) {}
  void Add(const CloneLayer& layer) { layers_[count_++] = layer; }

 private:
  const cv::Mat& dst_;
  const cv::Mat& src_;
  const cv::Mat& person_;
  std::array<CloneLayer, kMaxLayers> layers_{};
  int count_ = 0;
};

// Four tinted clones, far right, far left, near right, near left. Offsets in pixels, 0..width.
class parallelHumanCloneColor : public parallelCloneLayers {
 public:
  parallelHumanCloneColor(const cv::Mat& dst, const cv::Mat& src, const cv::Mat& person,
                          int farOffset, int nearOffset, uint8_t farAlpha, uint8_t nearAlpha);
};

// Four untinted clones, far left, near left, far right, near right.
class parallelHumanClone : public parallelCloneLayers {
 public:
  parallelHumanClone(const cv::Mat& dst, const cv::Mat& src, const cv::Mat& person, int farOffset,
                     int nearOffset, uint8_t farAlpha, uint8_t nearAlpha);
};

// Wings: four tinted copies fanned out to one side and upward, farthest first, opening and
// closing with time. t in seconds; beat = 80 - 10 * speed (a beat lasts beat / 40 seconds);
// dist = feather spacing in percent of the frame width. The geometry is WingLayers'.
class parallelHumanCloneWingLeft : public parallelCloneLayers {
 public:
  parallelHumanCloneWingLeft(const cv::Mat& dst, const cv::Mat& src, const cv::Mat& person, float t,
                             float beat, int32_t dist);
};
class parallelHumanCloneWingRight : public parallelCloneLayers {
 public:
  parallelHumanCloneWingRight(const cv::Mat& dst, const cv::Mat& src, const cv::Mat& person,
                              float t, float beat, int32_t dist);
};

// How far the wings are open at time t (0 folded .. 1 open): |sin(pi * t / L)| in single
// precision with L = beat / 40 seconds; 1 (standing open) when L is not above 0.
float WingOpening(float t, float beat);

// The four feathers of a wing on `side` (-1 left, +1 right) of a w x h frame, farthest first.
std::array<CloneLayer, 4> WingLayers(int side, int w, int h, float t, float beat, int32_t dist);

}  // namespace imageC
