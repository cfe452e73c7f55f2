// SPDX-License-Identifier: MIT
// Frame-to-frame helpers of the landmark trackers, header-only so the tests reach them.
#pragma once

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <vector>

#include "landmarks_common/landmarks.h"

namespace quorin::lm {

// The box round the first `count` points. Built from min and max: cv::Rect's union skips empty
// rectangles, so uniting zero-size boxes of single points gives an empty box.
inline cv::Rect2f PointBounds(const std::vector<cv::Point3f>& points, size_t count) {
  count = std::min(count, points.size());
  if (count == 0) return cv::Rect2f();
  float x0 = points[0].x, y0 = points[0].y, x1 = x0, y1 = y0;
  for (size_t i = 1; i < count; ++i) {
    x0 = std::min(x0, points[i].x), x1 = std::max(x1, points[i].x);
    y0 = std::min(y0, points[i].y), y1 = std::max(y1, points[i].y);
  }
  return cv::Rect2f(x0, y0, x1 - x0, y1 - y0);
}

// Whether `next` differs from `last` enough to be worth using: a crop that follows every
// wobble of the points feeds the network's noise back into its next input. Each bound is the
// movement of a crop edge's midpoint by `slack` x side: the centre's shift, half the change
// of side, and the turn (half the side times the angle).
inline bool CropMoved(const Crop& last, const Crop& next, float slack) {
  const float limit = slack * last.side;
  const cv::Point2f shift = next.centre - last.centre;
  const float turn = std::remainder(next.angle - last.angle, 2 * static_cast<float>(CV_PI));
  return !(std::hypot(shift.x, shift.y) <= limit && std::abs(next.side - last.side) <= 2 * limit &&
           std::abs(turn) * last.side <= 2 * limit);
}

// The One Euro filter (Casiez, Roussel and Vogel, CHI 2012) of one coordinate: a low-pass whose
// cut-off rises with the speed, so a point at rest is steady and a moving one lags little.
struct OneEuroSettings {
  float minCutoff = 1;         // Hz: the cut-off at rest
  float beta = 0;              // Hz added per unit of speed (speed in `scale`s per second)
  float derivativeCutoff = 1;  // Hz: smoothing of the speed estimate
  float rate = 30;             // samples per second
};

class OneEuro {
 public:
  // `scale` divides the speed, so one setting suits large and small bodies alike.
  float Filter(float x, float scale, const OneEuroSettings& s) {
    if (!started_) {
      started_ = true, x_ = x, dx_ = 0;
      return x;
    }
    const float dx = (x - x_) * s.rate / scale;
    dx_ += Alpha(s.derivativeCutoff, s.rate) * (dx - dx_);
    x_ += Alpha(s.minCutoff + s.beta * std::abs(dx_), s.rate) * (x - x_);
    return x_;
  }
  void Reset() { started_ = false; }

 private:
  // The smoothing factor of an exponential low-pass with this cut-off at this sample rate.
  static float Alpha(float cutoff, float rate) {
    const float tau = 1 / (2 * static_cast<float>(CV_PI) * cutoff);
    return 1 / (1 + tau * rate);
  }
  bool started_ = false;
  float x_ = 0, dx_ = 0;
};

}  // namespace quorin::lm
