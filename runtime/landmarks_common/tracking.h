// SPDX-License-Identifier: MIT
// Frame-to-frame helpers of the landmark trackers, header-only so the tests reach them.
#pragma once

#include <algorithm>
#include <opencv2/core.hpp>
#include <vector>

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

}  // namespace quorin::lm
