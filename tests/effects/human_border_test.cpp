// SPDX-License-Identifier: MIT
// The person outline end to end through the exported filter API, with the test-double module
// (the person mask is the source's alpha), against the rule written out plainly here.
#include <cmath>
#include <limits>

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include "effect_reference.h"
#include "imaging/person_rows.h"

using namespace kaztest;

namespace {

constexpr char kBorder[] = "391B5862-8487-4DC1-834F-AAC9773E87B6";

struct BorderCase {
  int w, h;
  float size, blur;
  int opacity;
  uint32_t start, end;
  int direction;
};

int Thousandths(int h, float factor) {
  return static_cast<int>(std::trunc(static_cast<double>(static_cast<float>(h) * factor) * 0.002));
}

uint8_t GradientChannel(int x, int y, int w, int h, int i, const BorderCase& c) {
  const int p = (c.start >> (8 * i)) & 255, q = (c.end >> (8 * i)) & 255, d = c.direction;
  if (d < 0 || d > 7) return ((c.start ^ c.end) & 0xFFFFFF) == 0 ? p : 0;  // black unless P = Q
  // Odd directions 1, 3 run along x; 2, 3, 5, 7 start from P; 4, 7 follow the diagonal, 5, 6 the
  // anti-diagonal.
  const bool fromP = d == 2 || d == 3 || d == 5 || d == 7;
  const float from = static_cast<float>(fromP ? p : q),
              step = static_cast<float>(fromP ? q - p : p - q);
  const int64_t yy = d == 4 || d == 7 ? y : h - 1 - y;
  const float t =
      static_cast<float>(yy * h + static_cast<int64_t>(x) * w) / static_cast<float>(h * h + w * w);
  const float v = d >= 4 ? from + t * step : from + (d % 2 ? x * (step / w) : y * (step / h));
  return static_cast<uint8_t>(static_cast<int>(v));
}

cv::Mat Border(const cv::Mat& src, const cv::Mat& person, const BorderCase& c) {
  const int w = src.cols, h = src.rows, r = Thousandths(h, c.size);
  int b = Thousandths(h, c.blur);
  b -= b % 2;
  if (r <= 0) return src.clone();
  // Strictly above: the random source holds mattes of exactly 128, which must stay background.
  const cv::Mat matte = Channel(person, 3) > 128;
  cv::Mat grown = Refined(matte, r, 0);
  for (int pass = 0; b > 0 && pass < 2; ++pass)
    cv::boxFilter(grown, grown, -1, {b + 1, b + 1}, {-1, -1}, true, cv::BORDER_REFLECT_101);
  cv::Mat ring = matte ^ grown;
  cv::boxFilter(ring, ring, -1, {2, 2}, {-1, -1}, true, cv::BORDER_REFLECT_101);
  const int o = static_cast<int>(std::trunc(c.opacity * 0.01 * 255.0));
  cv::Mat colour(h, w, CV_8UC4), out(h, w, CV_8UC4);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      for (int i = 0; i < 3; ++i) colour.at<cv::Vec4b>(y, x)[i] = GradientChannel(x, y, w, h, i, c);
  // The composite's pixel rule is proven exhaustively in the imaging tests; here its inputs are.
  for (int y = 0; y < h; ++y)
    imageC::rows::humanBorder<false>(src.ptr(y), ring.ptr(y), colour.ptr(y), out.ptr(y), w, o);
  return out;
}

void Configure(Filter& f, const BorderCase& c) {
  f.Float("Size", c.size).Float("Blur", c.blur).Int("Opacity", c.opacity);
  f.Int("Start", static_cast<int32_t>(c.start)).Int("End", static_cast<int32_t>(c.end));
  f.Int("Gradient Direction", c.direction);
}

// What the frame is given and what the rule is computed with, when the two differ.
struct BorderRun {
  BorderCase given, rule;
};

class PersonOutline : public ::testing::TestWithParam<BorderRun> {};

TEST_P(PersonOutline, OutlineMatchesTheRule) {
  const BorderRun run = GetParam();
  UseMaskFromChannel(3);
  const cv::Mat src = Source(run.given.w, run.given.h);
  Filter f(kBorder);
  Configure(f, run.given);
  const cv::Mat out = f.Run(src);
  ASSERT_EQ(f.result, 0);
  EXPECT_EQ(CountDifferent(out, Border(src, PersonOf(src), run.rule)), 0);
}

BorderRun Same(BorderCase c) { return {c, c}; }
constexpr uint32_t kP = 0x2040F0, kQ = 0xF08010;
const float kNaN = std::numeric_limits<float>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Effects, PersonOutline,
    ::testing::Values(
        Same({160, 90, 20, 0, 100, kP, kQ, 0}),     // r = 3, above 10,000 pixels: invokers
        Same({100, 100, 20, 0, 100, kP, kQ, 1}),    // exactly 10,000 pixels: plain loops
        Same({101, 100, 20, 0, 55, kP, kQ, 2}),     // 10,100 pixels: invokers
        Same({160, 90, 20, 0, 0, kP, kQ, 3}),       // colours untouched, alpha still grows
        Same({24, 1000, 5, 0, 100, kP, kQ, 4}),     // r = 10, no blur
        Same({24, 1000, 5, 1, 100, kP, kQ, 5}),     // b = 2 * 1 -> 2 -> two 3x3 passes
        Same({24, 1000, 5, 1.4f, 100, kP, kQ, 6}),  // b = trunc(2.8) = 2
        Same({24, 1000, 5, 0.5f, 100, kP, kQ, 7}),  // b = 1 -> 0: no pass
        Same({33, 7, 600, 0, 100, kP, kQ, 7}),      // seven rows: the last band takes them all
        Same({160, 90, 5, 9, 100, kP, kQ, 0}),      // r = trunc(0.9) = 0: a copy, blur ignored
        // Out of range: documented stand-ins.
        BorderRun{{160, 90, -20, 0, 100, kP, kQ, 0}, {160, 90, 0, 0, 100, kP, kQ, 0}},
        BorderRun{{160, 90, kNaN, 0, 100, kP, kQ, 0}, {160, 90, 0, 0, 100, kP, kQ, 0}},
        BorderRun{{40, 30, 1e30f, 0, 100, kP, kQ, 1}, {40, 30, 2000, 0, 100, kP, kQ, 1}},
        BorderRun{{160, 90, 20, 0, 300, kP, kQ, 2}, {160, 90, 20, 0, 100, kP, kQ, 2}},
        BorderRun{{160, 90, 20, 0, -5, kP, kQ, 2}, {160, 90, 20, 0, 0, kP, kQ, 2}},
        BorderRun{{160, 90, 20, 0, 100, kP, kQ, -1}, {160, 90, 20, 0, 100, kP, kQ, 0}},
        Same({160, 90, 20, 0, 100, kP, kQ, 9}),  // unknown direction: a black ring
        Same({160, 90, 20, 0, 100, kP, kP, 9})));

// The inner filter is made to refuse every frame (an edge element far beyond any frame): the
// effect fails untouched, unless the host lends a ready segmentation, which leaves the inner
// filter idle.
TEST(PersonOutline, FailuresLeaveTheFrameAndAReadySegmentationIdlesTheInnerFilter) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(160, 90, 4);
  const BorderCase c{160, 90, 20, 0, 100, kP, kQ, 4};
  Filter f(kBorder);
  Configure(f, c);
  f.Float("Edge_Thickness", 1e6f);
  const cv::Mat untouched(90, 160, CV_8UC4, cv::Scalar::all(77));
  EXPECT_EQ(CountDifferent(f.Run(src), untouched), 0);
  EXPECT_EQ(f.result, 1);

  const cv::Mat ready = PersonOf(Source(160, 90, 5));
  Receiver receiver(ready);
  f.Lend(&receiver);
  EXPECT_EQ(CountDifferent(f.Run(src), Border(src, ready, c)), 0);
  EXPECT_EQ(f.result, 0);

  f.Float("Blur", 1e9f);  // a blur box beyond any frame is refused
  EXPECT_EQ(CountDifferent(f.Run(src), untouched), 0);
  EXPECT_EQ(f.result, 1);
}

}  // namespace
