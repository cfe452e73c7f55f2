// SPDX-License-Identifier: MIT
// The outline and clone row kernels, vector and plain forms, against their rules written out
// with rounding in double precision, on inputs that give each channel every operand combination.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include <opencv2/core.hpp>

#include "imaging/person_rows.h"

namespace {

namespace rows = imageC::rows;

int M(int a, int b) { return static_cast<int>(std::lround(a * b / 255.0)); }

// Row y is the per-row operand. Column x < 65536 carries the pair (x >> 8, x & 255), rotated per
// channel so channels differ; the channel-3 bytes cycle through every value. Three more columns
// leave a tail for the plain code after the vector loop.
constexpr int kCols = 65536 + 3;

struct Pairs {
  cv::Mat first, second;
  Pairs() : first(256, kCols, CV_8UC4), second(256, kCols, CV_8UC4) {
    for (int y = 0; y < 256; ++y)
      for (int x = 0; x < kCols; ++x) {
        const int u = x < 65536 ? x >> 8 : 77 * x, v = x < 65536 ? x & 255 : 51 * x + y;
        for (int c = 0; c < 3; ++c) {
          first.ptr<uint8_t>(y)[4 * x + c] = static_cast<uint8_t>(u + 85 * c);
          second.ptr<uint8_t>(y)[4 * x + c] = static_cast<uint8_t>(v + 37 * c);
        }
        first.ptr<uint8_t>(y)[4 * x + 3] = static_cast<uint8_t>(x * 131 + y * 29);
        second.ptr<uint8_t>(y)[4 * x + 3] = static_cast<uint8_t>(x * 7 + y);
      }
  }
};

const Pairs& pairs() {
  static const Pairs* p = new Pairs;
  return *p;
}

// Runs `row` (vector, then plain) over every row with `expect` giving the reference pixel.
void CheckRows(const std::function<void(int y, uint8_t* out, bool simd)>& row,
               const std::function<void(int y, int x, uint8_t* px)>& expect, const char* what) {
  std::vector<uint8_t> out(4 * kCols), want(4 * kCols);
  for (int y = 0; y < 256; ++y) {
    for (int x = 0; x < kCols; ++x) expect(y, x, &want[4 * x]);
    for (bool simd : {true, false}) {
      row(y, out.data(), simd);
      ASSERT_EQ(out, want) << what << (simd ? " vector" : " plain") << " row " << y;
    }
  }
}

TEST(PersonKernels, BorderCompositeForEveryRingColourSourceTriple) {
  const Pairs& p = pairs();
  for (uint32_t o : {0u, 1u, 127u, 128u, 200u, 254u, 255u}) {
    // Ring value = row; colour = first, source = second.
    std::vector<uint8_t> ring(kCols);
    CheckRows(
        [&](int y, uint8_t* out, bool simd) {
          std::fill(ring.begin(), ring.end(), static_cast<uint8_t>(y));
          auto f = simd ? rows::humanBorder<true> : rows::humanBorder<false>;
          f(p.second.ptr<uint8_t>(y), ring.data(), p.first.ptr<uint8_t>(y), out, kCols, o);
        },
        [&](int y, int x, uint8_t* d) {
          const uint8_t* c = p.first.ptr<uint8_t>(y) + 4 * x;
          const uint8_t* s = p.second.ptr<uint8_t>(y) + 4 * x;
          for (int i = 0; i < 3; ++i) {
            const int t = M(y, c[i]) + M(255 - y, s[i]);
            d[i] = static_cast<uint8_t>(M(t, o) + M(s[i], 255 - o));
          }
          d[3] = static_cast<uint8_t>(std::max<int>(s[3], y));
        },
        "humanBorder");
  }
}

TEST(PersonKernels, CloneLayerForEveryPersonDestinationPairAndAlpha) {
  const Pairs& p = pairs();
  const uint8_t tints[][3] = {{218, 124, 133}, {255, 255, 255}, {0, 1, 128}};
  for (const auto& tint : tints) {
    // Clone alpha = row; person = first (its colour may exceed its alpha: sums wrap), dst = second.
    CheckRows(
        [&](int y, uint8_t* out, bool simd) {
          std::copy(p.second.ptr<uint8_t>(y), p.second.ptr<uint8_t>(y) + 4 * kCols, out);
          auto f = simd ? rows::cloneLayer<true> : rows::cloneLayer<false>;
          f(p.first.ptr<uint8_t>(y), out, kCols, static_cast<uint32_t>(y), tint);
        },
        [&](int y, int x, uint8_t* d) {
          const uint8_t* q = p.first.ptr<uint8_t>(y) + 4 * x;
          const uint8_t* c = p.second.ptr<uint8_t>(y) + 4 * x;
          const int a = M(q[3], y);
          for (int i = 0; i < 3; ++i)
            d[i] = static_cast<uint8_t>(M(M(q[i], y), tint[i]) + M(c[i], 255 - a));
          d[3] = static_cast<uint8_t>(M(c[3], 255 - a) + a);
        },
        "cloneLayer");
  }
}

TEST(PersonKernels, PersonOnTopForEveryColourPairAndPersonAlpha) {
  const Pairs& p = pairs();
  cv::Mat person = p.first.clone();
  for (int y = 0; y < 256; ++y)
    for (int x = 0; x < kCols; ++x) person.ptr<uint8_t>(y)[4 * x + 3] = static_cast<uint8_t>(y);
  CheckRows(
      [&](int y, uint8_t* out, bool simd) {
        std::copy(p.second.ptr<uint8_t>(y), p.second.ptr<uint8_t>(y) + 4 * kCols, out);
        (simd ? rows::personOnTop<true> : rows::personOnTop<false>)(person.ptr<uint8_t>(y), out,
                                                                    kCols);
      },
      [&](int y, int x, uint8_t* d) {
        const uint8_t* q = person.ptr<uint8_t>(y) + 4 * x;
        const uint8_t* c = p.second.ptr<uint8_t>(y) + 4 * x;
        for (int i = 0; i < 4; ++i) d[i] = static_cast<uint8_t>(M(c[i], 255 - y) + q[i]);
      },
      "personOnTop");
}

}  // namespace
