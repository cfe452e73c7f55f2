// SPDX-License-Identifier: MIT
#include "imaging/person_invokers.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <opencv2/core/hal/intrin.hpp>

#include "imaging/blend.h"
#include "imaging/person_rows.h"

namespace imageC {
namespace {

// The images are held as const references, but their pixels are the invoker's to write.
uint8_t* Row(const cv::Mat& m, int y) { return m.data + m.step[0] * y; }

}  // namespace

void parallelAChannel::operator()(const cv::Range& bands) const {
  for (int b = bands.start; b < bands.end; ++b) {
    const cv::Range r = bandRows(b, kPersonBands, src_.rows);
    for (int y = r.start; y < r.end; ++y) {
      const uint8_t* s = src_.ptr<uint8_t>(y);
      uint8_t* d = Row(dst_, y);
      int x = 0;
#if CV_SIMD128
      for (; x <= src_.cols - 16; x += 16) {
        cv::v_uint8x16 c0, c1, c2, alpha;
        cv::v_load_deinterleave(s + 4 * x, c0, c1, c2, alpha);
        cv::v_store(d + x, alpha);
      }
#endif
      for (; x < src_.cols; ++x) d[x] = s[4 * x + 3];
    }
  }
}

void parallelSetColor::operator()(const cv::Range& bands) const {
  const int n = image_.channels();
  for (int b = bands.start; b < bands.end; ++b) {
    const cv::Range r = bandRows(b, kPersonBands, image_.rows);
    for (int y = r.start; y < r.end; ++y) {
      uint8_t* p = Row(image_, y);
      for (int x = 0; x < image_.cols; ++x) std::memcpy(p + n * x, colour_, 3);
    }
  }
}

void parallelHumanBorder::operator()(const cv::Range& bands) const {
  for (int b = bands.start; b < bands.end; ++b) {
    const cv::Range r = bandRows(b, kPersonBands, src_.rows);
    for (int y = r.start; y < r.end; ++y) {
      rows::humanBorder<true>(src_.ptr<uint8_t>(y), ring_.ptr<uint8_t>(y), colour_.ptr<uint8_t>(y),
                              Row(dst_, y), src_.cols, opacity_);
    }
  }
}

void parallelCloneLayers::operator()(const cv::Range& bands) const {
  const int w = src_.cols, h = src_.rows;
  for (int b = bands.start; b < bands.end; ++b) {
    const cv::Range r = bandRows(b, kPersonBands, h);
    for (int y = r.start; y < r.end; ++y) {
      uint8_t* d = Row(dst_, y);
      const uint8_t* s = src_.ptr<uint8_t>(y);
      if (d != s) std::memcpy(d, s, 4 * static_cast<size_t>(w));
      for (int i = 0; i < count_; ++i) {
        const CloneLayer& l = layers_[i];
        const int sy = y - l.dy;
        const int x0 = std::max(0, l.dx), x1 = std::min(w, w + l.dx);
        if (sy < 0 || sy >= h || x1 <= x0) continue;
        rows::cloneLayer<true>(person_.ptr<uint8_t>(sy) + 4 * (x0 - l.dx), d + 4 * x0, x1 - x0,
                               l.alpha, l.tint);
      }
      rows::personOnTop<true>(person_.ptr<uint8_t>(y), d, w);
    }
  }
}

namespace {

CloneLayer Clone(int dx, int dy, uint8_t alpha, uint8_t t0, uint8_t t1, uint8_t t2) {
  CloneLayer l;
  l.dx = dx;
  l.dy = dy;
  l.alpha = alpha;
  l.tint[0] = t0;
  l.tint[1] = t1;
  l.tint[2] = t2;
  return l;
}

// trunc(v) limited to 0..limit; NaN gives 0.
int Pixels(float v, int limit) {
  if (!(v > 0.0f)) return 0;
  return v >= static_cast<float>(limit) ? limit : static_cast<int>(v);
}

}  // namespace

parallelHumanCloneColor::parallelHumanCloneColor(const cv::Mat& dst, const cv::Mat& src,
                                                 const cv::Mat& person, int farOffset,
                                                 int nearOffset, uint8_t farAlpha,
                                                 uint8_t nearAlpha)
    : parallelCloneLayers(dst, src, person) {
  Add(Clone(farOffset, 0, farAlpha, 218, 124, 133));
  Add(Clone(-farOffset, 0, farAlpha, 218, 124, 133));
  Add(Clone(nearOffset, 0, nearAlpha, 223, 120, 238));
  Add(Clone(-nearOffset, 0, nearAlpha, 238, 131, 120));
}

parallelHumanClone::parallelHumanClone(const cv::Mat& dst, const cv::Mat& src,
                                       const cv::Mat& person, int farOffset, int nearOffset,
                                       uint8_t farAlpha, uint8_t nearAlpha)
    : parallelCloneLayers(dst, src, person) {
  Add(Clone(-farOffset, 0, farAlpha, 255, 255, 255));
  Add(Clone(-nearOffset, 0, nearAlpha, 255, 255, 255));
  Add(Clone(farOffset, 0, farAlpha, 255, 255, 255));
  Add(Clone(nearOffset, 0, nearAlpha, 255, 255, 255));
}

float WingOpening(float t, float beat) {
  const float seconds = beat / 40.0f;
  if (!(seconds > 0.0f)) return 1.0f;
  const float opening = std::fabs(std::sin(3.14159265f * t / seconds));
  return std::isfinite(opening) ? opening : 1.0f;
}

// Feather k (1..4) lies k spacings out, a quarter of the way when folded, all of it when open,
// and rises k half-spacings of the frame height as it opens. Nearer feathers are brighter and
// whiter, so they are drawn last.
std::array<CloneLayer, 4> WingLayers(int side, int w, int h, float t, float beat, int32_t dist) {
  static const uint8_t kTints[4][3] = {
      {255, 236, 214}, {250, 210, 170}, {240, 180, 130}, {230, 150, 100}};
  const float open = WingOpening(t, beat);
  const float d = static_cast<float>(std::clamp<int32_t>(dist, 0, 100));
  const float across = d * static_cast<float>(w) / 100.0f * (0.25f + 0.75f * open);
  const float up = d * static_cast<float>(h) / 200.0f * open;
  std::array<CloneLayer, 4> wing;
  for (int k = 4; k >= 1; --k) {
    const int dx = Pixels(static_cast<float>(k) * across, w);
    const int dy = Pixels(static_cast<float>(k) * up, h);
    const uint8_t* tint = kTints[k - 1];
    wing[4 - k] =
        Clone(side * dx, -dy, static_cast<uint8_t>(255 - 48 * k), tint[0], tint[1], tint[2]);
  }
  return wing;
}

parallelHumanCloneWingLeft::parallelHumanCloneWingLeft(const cv::Mat& dst, const cv::Mat& src,
                                                       const cv::Mat& person, float t, float beat,
                                                       int32_t dist)
    : parallelCloneLayers(dst, src, person) {
  for (const CloneLayer& l : WingLayers(-1, src.cols, src.rows, t, beat, dist)) Add(l);
}

parallelHumanCloneWingRight::parallelHumanCloneWingRight(const cv::Mat& dst, const cv::Mat& src,
                                                         const cv::Mat& person, float t, float beat,
                                                         int32_t dist)
    : parallelCloneLayers(dst, src, person) {
  for (const CloneLayer& l : WingLayers(1, src.cols, src.rows, t, beat, dist)) Add(l);
}

}  // namespace imageC
