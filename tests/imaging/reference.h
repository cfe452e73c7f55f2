// SPDX-License-Identifier: MIT
#pragma once

// Plain reference of the blend rules, written from the formulas without the production code.
// mul rounds with an integer formula and the planes divide through the real quotient (exact in
// double at these magnitudes), so the arithmetic differs in form from the production code.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <opencv2/core.hpp>

namespace ref {

inline int clamp255(int v) { return std::min(255, std::max(0, v)); }
// Truncating division toward zero of integers, via the real quotient.
inline int tdiv(int n, int d) {
  const double q = static_cast<double>(n) / d;
  return static_cast<int>(q < 0 ? std::ceil(q) : std::floor(q));
}

// Nearest integer to a*b/255 (never a tie): floor((2ab + 255) / 510).
inline int mul(int a, int b) { return (2 * a * b + 255) / 510; }
// Operands are non-negative here, so / truncates as the rules ask.
inline int lerp(int a, int b, int k) { return (a * k + b * (255 - k)) / 255; }
inline int over(int a, int b) { return clamp255(a + (255 - a) * b / 255); }

inline int plane(int p, int a, int b) {
  switch (p) {
    case 0:
    case 15:
      return std::min(a + b, 255);
    case 1:
      return mul(a, b);
    case 2:
      return 255 - ((255 - a) * (255 - b)) / 256;
    case 3:
      return a <= 127 ? (2 * a * b) / 256 : 255 - tdiv(2 * (255 - a) * (255 - b), 255);
    case 4: {
      const float A = a / 255.0f, B = b / 255.0f;
      const float v = b < 128 ? ((1 - 2 * B) * (A * A) + 2 * A * B) * 255
                              : ((1 - B) * (2 * A) + (2 * B - 1) * std::sqrt(A)) * 255;
      return static_cast<int>(v) & 0xFF;
    }
    case 5:
      return b < 128 ? clamp255(tdiv(2 * a * b, 255))
                     : clamp255(255 - tdiv(2 * (255 - a) * (255 - b), 255));
    case 6:
      return b == 255 ? 255 : std::min(255, tdiv(a * 255, 255 - b));
    case 7:
      return b == 0 ? 0 : clamp255(255 - tdiv((255 - a) * 255, b));
    case 8:
      return std::min(a, b);
    case 9:
      return std::max(a, b);
    case 10:
      return std::abs(a - b);
    case 11:
      return a + b - tdiv(2 * a * b, 255);
    case 12:
      return a + b < 254 ? 0 : 255;
    case 13:
      if (b == 255) return 255;
      if (b >= 128) return std::min(255, tdiv(a * 256, 511 - 2 * b));
      if (b >= 1) return clamp255(255 - tdiv((255 - a) * 256, 2 * b));
      return 0;
    case 14:
      return std::max(a + b - 255, 0);
    case 16:
      return std::max(2 * b - 255, std::min(a, 2 * b));
    case 17:
      return clamp255(a + 2 * b - 255);
    case 18: {
      if (b == 0) return 255;
      const float q = static_cast<float>(a * 255) / (static_cast<float>(b) + 0.5f);
      return static_cast<int>(std::min(255.0f, q));
    }
    case 19:
      return clamp255(a + tdiv((255 - a) * b, 255));
  }
  return -1;
}

// Reference planes, built once per test process.
struct Planes {
  uint8_t v[20][256][256];
  Planes() {
    for (int p = 0; p < 20; ++p)
      for (int a = 0; a < 256; ++a)
        for (int b = 0; b < 256; ++b) v[p][a][b] = static_cast<uint8_t>(plane(p, a, b));
  }
};
inline const Planes& planes() {
  static const Planes* p = new Planes;
  return *p;
}

// The mode table: plane per mode number, -1 where the mode is not table-driven.
inline int modePlane(uint32_t mode) {
  static const int kPlanes[24] = {-1, 8,  1,  7,  14, 2, 6,  15, 3,  4,  5,  13,
                                  17, 16, 12, 10, 11, 9, -1, -1, -1, -1, -1, 0};
  return mode < 24 ? kPlanes[mode] : -1;
}
inline uint32_t effectiveMode(uint32_t mode) { return mode > 23 || mode == 18 ? 0 : mode; }

// One pixel of the image entry; d is the destination pixel, changed in place.
inline void imagePixel(uint32_t mode, const uint8_t* l, uint8_t* d, int s, bool pre) {
  mode = effectiveMode(mode);
  if (mode == 0 && !pre) {
    if (s < 255) {
      const int k = mul(l[3], s);
      if (k == 0) return;
      for (int c = 0; c < 3; ++c) d[c] = static_cast<uint8_t>(lerp(l[c], d[c], k));
      d[3] = static_cast<uint8_t>(over(k, d[3]));
    } else {
      for (int c = 0; c < 3; ++c) d[c] = static_cast<uint8_t>(lerp(l[c], mul(d[c], d[3]), l[3]));
      d[3] = static_cast<uint8_t>(over(l[3], d[3]));
    }
  } else if (mode == 0) {
    if (l[3] == 0) return;
    const int k = mul(l[3], s), i = 255 - k;
    for (int c = 0; c < 3; ++c)
      d[c] = static_cast<uint8_t>(std::min(255, mul(l[c], s) + mul(d[c], i)));
    d[3] = static_cast<uint8_t>(std::min(255, mul(d[3], i) + k));
  } else if (mode == 19) {
    for (int c = 0; c < 4; ++c) d[c] = static_cast<uint8_t>(mul(d[c], l[3]));
  } else if (mode == 20) {
    if (d[3] == 0) {
      std::copy(l, l + 4, d);
    } else {
      for (int c = 0; c < 4; ++c) d[c] = static_cast<uint8_t>(mul(d[c], 255 - l[3]));
    }
  } else if (mode == 21) {
    const int a = d[3];
    for (int c = 0; c < 4; ++c) d[c] = static_cast<uint8_t>(mul(l[c], a));
  } else if (mode == 22) {
    std::copy(l, l + 4, d);
  } else {
    if (l[3] == 0) return;
    const int k = mul(l[3], s), i = 255 - k;
    const auto& T = planes().v[modePlane(mode)];
    // mul(t, k) <= k and mul(d, i) <= i, so the sum stays a byte.
    for (int c = 0; c < 4; ++c) d[c] = static_cast<uint8_t>(mul(T[d[c]][l[c]], k) + mul(d[c], i));
  }
}

// One pixel of the solid-colour entry.
inline void solidPixel(uint32_t mode, uint32_t packed, uint8_t* x, int s, bool pre) {
  mode = effectiveMode(mode);
  const int c[4] = {static_cast<int>(packed & 0xFF), static_cast<int>((packed >> 8) & 0xFF),
                    static_cast<int>((packed >> 16) & 0xFF), static_cast<int>(packed >> 24)};
  const int p[3] = {mul(c[0], c[3]), mul(c[1], c[3]), mul(c[2], c[3])};
  // Image channel j takes colour channel 2 - j for j < 3.
  if (mode == 0 && !pre) {
    if (s < 255) {
      const int k = mul(x[3], s);
      if (k == 0) return;
      for (int j = 0; j < 3; ++j) x[j] = static_cast<uint8_t>(lerp(x[j], c[2 - j], k));
      x[3] = static_cast<uint8_t>(over(k, c[3]));
    } else {
      const int k = x[3];
      for (int j = 0; j < 3; ++j) x[j] = static_cast<uint8_t>(lerp(x[j], p[2 - j], k));
      x[3] = static_cast<uint8_t>(over(k, c[3]));
    }
  } else if (mode == 0) {
    if (x[3] == 0) {
      for (int j = 0; j < 3; ++j) x[j] = static_cast<uint8_t>(c[2 - j]);
      x[3] = static_cast<uint8_t>(c[3]);
      return;
    }
    const int k = mul(x[3], s), i = 255 - k;
    for (int j = 0; j < 3; ++j)
      x[j] = static_cast<uint8_t>(std::min(255, mul(x[j], s) + mul(c[2 - j], i)));
    x[3] = static_cast<uint8_t>(std::min(255, mul(c[3], i) + k));
  } else if (mode == 19) {
    const int k = x[3];
    for (int j = 0; j < 3; ++j) x[j] = static_cast<uint8_t>(mul(c[2 - j], k));
    x[3] = static_cast<uint8_t>(mul(c[3], k));
  } else if (mode == 20) {
    if (c[3] == 0) return;
    const int i = 255 - x[3];
    for (int j = 0; j < 3; ++j) x[j] = static_cast<uint8_t>(mul(c[2 - j], i));
    x[3] = static_cast<uint8_t>(mul(c[3], i));
  } else if (mode == 21) {
    for (int j = 0; j < 4; ++j) x[j] = static_cast<uint8_t>(mul(x[j], c[3]));
  } else if (mode == 22) {
    return;
  } else {
    if (x[3] == 0) return;
    const int k = mul(x[3], s), i = 255 - k;
    const auto& T = planes().v[modePlane(mode)];
    for (int j = 0; j < 3; ++j)
      x[j] = static_cast<uint8_t>(mul(T[c[2 - j]][x[j]], k) + mul(c[2 - j], i));
    x[3] = static_cast<uint8_t>(mul(c[3], i) + k);
  }
}

// The mask rules: a source pixel, its mask value, what the rule writes (four bytes, or one).
using MaskRule = void (*)(const uint8_t* src, int m, uint8_t* out);

inline void maskPixel(const uint8_t* src, int m, uint8_t* dst) {
  for (int c = 0; c < 4; ++c)
    dst[c] = static_cast<uint8_t>(m == 0 ? 0 : m == 255 ? src[c] : mul(src[c], m));
}
// The person over opaque white.
inline void whitePixel(const uint8_t* src, int m, uint8_t* dst) {
  for (int c = 0; c < 4; ++c) dst[c] = static_cast<uint8_t>(mul(src[c], m) + 255 - m);
}
// The mask limited by the source's alpha.
inline void alphaLimitedPixel(const uint8_t* src, int m, uint8_t* dst) {
  dst[0] = static_cast<uint8_t>(mul(m, src[3]));
}
// The source's colour with the limited mask as straight alpha; transparent black where it is 0.
inline void alphaLimitedCutOutPixel(const uint8_t* src, int m, uint8_t* dst) {
  const int c = mul(m, src[3]);
  for (int k = 0; k < 3; ++k) dst[k] = c == 0 ? 0 : src[k];
  dst[3] = static_cast<uint8_t>(c);
}

inline cv::Mat applyMask(MaskRule rule, const cv::Mat& src, const cv::Mat& mask, int channels) {
  cv::Mat out(src.size(), CV_8UC(channels));
  for (int y = 0; y < src.rows; ++y)
    for (int x = 0; x < src.cols; ++x)
      rule(src.ptr<uint8_t>(y) + 4 * x, mask.at<uint8_t>(y, x), out.ptr<uint8_t>(y) + channels * x);
  return out;
}

inline cv::Mat blendImage(const cv::Mat& layer, const cv::Mat& dst, uint32_t mode, int s,
                          bool pre) {
  cv::Mat out = dst.clone();
  for (int y = 0; y < out.rows; ++y)
    for (int x = 0; x < out.cols; ++x)
      imagePixel(mode, layer.ptr<uint8_t>(y) + 4 * x, out.ptr<uint8_t>(y) + 4 * x, s & 0xFF, pre);
  return out;
}

inline cv::Mat blendSolid(const cv::Mat& image, uint32_t packed, uint32_t mode, int s, bool pre) {
  cv::Mat out = image.clone();
  for (int y = 0; y < out.rows; ++y)
    for (int x = 0; x < out.cols; ++x)
      solidPixel(mode, packed, out.ptr<uint8_t>(y) + 4 * x, s & 0xFF, pre);
  return out;
}

// A random BGRA image in which about half the bytes are edge values (0, 1, 127, 128, 254, 255),
// so alpha 0 and 255 and the table edges all occur.
inline cv::Mat edgyImage(int rows, int cols, uint64_t seed) {
  static const uint8_t kEdges[] = {0, 1, 127, 128, 254, 255};
  cv::RNG rng(seed);
  cv::Mat m(rows, cols, CV_8UC4);
  for (int y = 0; y < rows; ++y)
    for (int x = 0; x < 4 * cols; ++x)
      m.ptr<uint8_t>(y)[x] =
          rng.uniform(0, 2) ? kEdges[rng.uniform(0, 6)] : static_cast<uint8_t>(rng.uniform(0, 256));
  return m;
}

// Number of bytes that differ, for messages.
inline int64_t differingBytes(const cv::Mat& a, const cv::Mat& b) {
  cv::Mat diff;
  cv::compare(a.reshape(1), b.reshape(1), diff, cv::CMP_NE);
  return cv::countNonZero(diff);
}

}  // namespace ref
