// SPDX-License-Identifier: MIT
// kazfx blend against the blend rules written out here pixel by pixel.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

#include <opencv2/imgproc.hpp>

#include "kazfx_run.h"

namespace kazfxtest {
namespace {

using Px = std::array<int, 4>;

int Mul(int a, int b) { return static_cast<int>(std::lround(a * b / 255.0)); }
int Lerp(int a, int b, int k) { return (a * k + b * (255 - k)) / 255; }
int Over(int a, int b) { return std::min(255, a + ((255 - a) * b) / 255); }

// Layer-mode planes, a = base, b = blend.
int Multiply(int a, int b) { return Mul(a, b); }
int Screen(int a, int b) { return 255 - (((255 - a) * (255 - b)) >> 8); }

Px NormalStrength(Px d, const Px& l, int s) {
  if (s < 255) {
    const int k = Mul(l[3], s);
    if (k == 0) return d;
    for (int c = 0; c < 3; ++c) d[c] = Lerp(l[c], d[c], k);
    d[3] = Over(k, d[3]);
    return d;
  }
  for (int c = 0; c < 3; ++c) d[c] = Lerp(l[c], Mul(d[c], d[3]), l[3]);
  d[3] = Over(l[3], d[3]);
  return d;
}

Px NormalPremultiplied(Px d, const Px& l, int s) {
  if (l[3] == 0) return d;
  const int k = Mul(l[3], s), i = 255 - k;
  for (int c = 0; c < 3; ++c) d[c] = std::min(255, Mul(l[c], s) + Mul(d[c], i));
  d[3] = std::min(255, Mul(d[3], i) + k);
  return d;
}

Px LayerMode(Px d, const Px& l, int s, int (*plane)(int, int)) {
  if (l[3] == 0) return d;
  const int k = Mul(l[3], s), i = 255 - k;
  for (int c = 0; c < 4; ++c) d[c] = Mul(plane(d[c], l[c]), k) + Mul(d[c], i);
  return d;
}

// A packed colour 0xAABBGGRR as c0..c3 (least significant first).
Px Unpack(uint32_t color) {
  return {static_cast<int>(color & 255), static_cast<int>((color >> 8) & 255),
          static_cast<int>((color >> 16) & 255), static_cast<int>(color >> 24)};
}

Px SolidNormal(Px x, uint32_t color, int s) {
  const Px c = Unpack(color);
  if (s < 255) {
    const int k = Mul(x[3], s);
    if (k == 0) return x;
    return {Lerp(x[0], c[2], k), Lerp(x[1], c[1], k), Lerp(x[2], c[0], k), Over(k, c[3])};
  }
  const int k = x[3];
  return {Lerp(x[0], Mul(c[2], c[3]), k), Lerp(x[1], Mul(c[1], c[3]), k),
          Lerp(x[2], Mul(c[0], c[3]), k), Over(k, c[3])};
}

Px SolidPremultiplied(Px x, uint32_t color, int s) {
  const Px c = Unpack(color);
  if (x[3] == 0) return {c[2], c[1], c[0], c[3]};
  const int k = Mul(x[3], s), i = 255 - k;
  return {std::min(255, Mul(x[0], s) + Mul(c[2], i)), std::min(255, Mul(x[1], s) + Mul(c[1], i)),
          std::min(255, Mul(x[2], s) + Mul(c[0], i)), std::min(255, Mul(c[3], i) + k)};
}

Px SolidLayer(Px x, uint32_t color, int s, int (*plane)(int, int)) {
  const Px c = Unpack(color);
  if (x[3] == 0) return x;
  const int k = Mul(x[3], s), i = 255 - k;
  return {Mul(plane(c[2], x[0]), k) + Mul(c[2], i), Mul(plane(c[1], x[1]), k) + Mul(c[1], i),
          Mul(plane(c[0], x[2]), k) + Mul(c[0], i), Mul(c[3], i) + k};
}

Px At(const cv::Mat& m, int y, int x) {
  const cv::Vec4b& p = m.at<cv::Vec4b>(y, x);
  return {p[0], p[1], p[2], p[3]};
}

void Put(cv::Mat& m, int y, int x, const Px& v) {
  m.at<cv::Vec4b>(y, x) = cv::Vec4b(static_cast<uchar>(v[0]), static_cast<uchar>(v[1]),
                                    static_cast<uchar>(v[2]), static_cast<uchar>(v[3]));
}

// Random BGRA with whole rows of alpha 0 and 255, where the rules have their special cases.
cv::Mat RandomBgra(cv::Size size, uint64_t seed) {
  cv::Mat m(size, CV_8UC4);
  cv::RNG rng(seed);
  rng.fill(m, cv::RNG::UNIFORM, 0, 256);
  for (int x = 0; x < size.width; ++x) {
    m.at<cv::Vec4b>(1, x)[3] = 0;
    m.at<cv::Vec4b>(2, x)[3] = 255;
  }
  return m;
}

class BlendCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    layer_ = RandomBgra({37, 23}, 11);
    base_ = RandomBgra({37, 23}, 12);
    layerPath_ = (dir_.path() / "layer.png").string();
    basePath_ = (dir_.path() / "base.png").string();
    outPath_ = (dir_.path() / "out.png").string();
    ASSERT_TRUE(cv::imwrite(layerPath_, layer_));
    ASSERT_TRUE(cv::imwrite(basePath_, base_));
  }
  kaztest::TempDir dir_;
  cv::Mat layer_, base_;
  std::string layerPath_, basePath_, outPath_;
};

struct ImageCase {
  const char* name;
  std::vector<std::string> options;
  std::function<Px(const Px& d, const Px& l)> rule;
};
void PrintTo(const ImageCase& c, std::ostream* os) { *os << c.name; }

class ImageModes : public BlendCommand, public ::testing::WithParamInterface<ImageCase> {};

TEST_P(ImageModes, MatchTheRuleOnEveryPixel) {
  const ImageCase& c = GetParam();
  std::vector<std::string> args = {"blend"};
  args.insert(args.end(), c.options.begin(), c.options.end());
  args.insert(args.end(), {layerPath_, basePath_, outPath_});
  const RunResult run = RunKazfx(args);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");

  cv::Mat expected = base_.clone();
  for (int y = 0; y < expected.rows; ++y) {
    for (int x = 0; x < expected.cols; ++x)
      Put(expected, y, x, c.rule(At(base_, y, x), At(layer_, y, x)));
  }
  EXPECT_TRUE(SameBytes(expected, ReadUnchanged(outPath_)));
}

// Strengths: trunc(opacity * 255) in float; 0.5 -> 127, 0.8 -> 204, 0.6 -> 153.
INSTANTIATE_TEST_SUITE_P(
    Blend, ImageModes,
    ::testing::Values(
        ImageCase{"NormalHalf",
                  {"--opacity", "0.5"},
                  [](const Px& d, const Px& l) { return NormalStrength(d, l, 127); }},
        ImageCase{"NormalPremultiplied",
                  {"--premultiplied", "--opacity", "0.8"},
                  [](const Px& d, const Px& l) { return NormalPremultiplied(d, l, 204); }},
        ImageCase{"MultiplyLowerCase",
                  {"--mode", "multiply", "--opacity", "0.6"},
                  [](const Px& d, const Px& l) { return LayerMode(d, l, 153, Multiply); }},
        ImageCase{"ScreenByNumber",
                  {"--mode", "5"},
                  [](const Px& d, const Px& l) { return LayerMode(d, l, 255, Screen); }}),
    [](const ::testing::TestParamInfo<ImageCase>& info) { return info.param.name; });

struct SolidCase {
  const char* name;
  std::vector<std::string> options;
  std::function<Px(const Px& x)> rule;
};
void PrintTo(const SolidCase& c, std::ostream* os) { *os << c.name; }

class SolidModes : public BlendCommand, public ::testing::WithParamInterface<SolidCase> {};

TEST_P(SolidModes, MatchTheRuleOnEveryPixel) {
  const SolidCase& c = GetParam();
  std::vector<std::string> args = {"blend"};
  args.insert(args.end(), c.options.begin(), c.options.end());
  args.insert(args.end(), {basePath_, outPath_});
  const RunResult run = RunKazfx(args);
  ASSERT_EQ(run.status, 0) << run.err;

  cv::Mat expected = base_.clone();
  for (int y = 0; y < expected.rows; ++y) {
    for (int x = 0; x < expected.cols; ++x) Put(expected, y, x, c.rule(At(base_, y, x)));
  }
  EXPECT_TRUE(SameBytes(expected, ReadUnchanged(outPath_)));
}

// Strengths: 0.5 -> 127, 0.7 -> 178 (178.49999 in float).
INSTANTIATE_TEST_SUITE_P(
    Blend, SolidModes,
    ::testing::Values(
        SolidCase{"NormalHalf",
                  {"--solid", "0x80336699", "--opacity", "0.5"},
                  [](const Px& x) { return SolidNormal(x, 0x80336699u, 127); }},
        SolidCase{"NormalPremultiplied",
                  {"--solid", "0x40A0B0C0", "--premultiplied", "--opacity", "0.7"},
                  [](const Px& x) { return SolidPremultiplied(x, 0x40A0B0C0u, 178); }},
        SolidCase{"Multiply",
                  {"--solid", "#FF804020", "--mode", "Multiply"},
                  [](const Px& x) { return SolidLayer(x, 0xFF804020u, 255, Multiply); }}),
    [](const ::testing::TestParamInfo<SolidCase>& info) { return info.param.name; });

TEST_F(BlendCommand, ImageWithoutAlphaIsOpaque) {
  cv::Mat bgr;
  cv::cvtColor(layer_, bgr, cv::COLOR_BGRA2BGR);
  ASSERT_TRUE(cv::imwrite(layerPath_, bgr));
  const RunResult run = RunKazfx({"blend", layerPath_, basePath_, outPath_});
  ASSERT_EQ(run.status, 0) << run.err;
  // An opaque layer at full strength replaces colour and makes alpha 255.
  cv::Mat expected;
  cv::cvtColor(bgr, expected, cv::COLOR_BGR2BGRA);
  EXPECT_TRUE(SameBytes(expected, ReadUnchanged(outPath_)));
}

struct PlaceCase {
  const char* name;
  const char* place;
  bool resize;
  cv::Rect layerPiece;  // the part of the layer that lands (before any resize)
  cv::Rect target;      // where it lands on the base
};
void PrintTo(const PlaceCase& c, std::ostream* os) { *os << c.name; }

class Placement : public BlendCommand, public ::testing::WithParamInterface<PlaceCase> {};

TEST_P(Placement, LandsTheLayerWhereTheFractionsSay) {
  const PlaceCase& c = GetParam();
  // A 20x10 layer on the 37x23 base.
  const cv::Mat small = RandomBgra({20, 10}, 13);
  ASSERT_TRUE(cv::imwrite(layerPath_, small));
  std::vector<std::string> args = {"blend", "--place", c.place};
  if (c.resize) args.push_back("--resize");
  args.insert(args.end(), {layerPath_, basePath_, outPath_});
  const RunResult run = RunKazfx(args);
  ASSERT_EQ(run.status, 0) << run.err;

  cv::Mat piece = small(c.layerPiece);
  if (c.resize) cv::resize(small(c.layerPiece), piece, c.target.size(), 0, 0, cv::INTER_LINEAR);
  cv::Mat expected = base_.clone();
  for (int y = 0; y < c.target.height; ++y) {
    for (int x = 0; x < c.target.width; ++x) {
      const int by = c.target.y + y, bx = c.target.x + x;
      Put(expected, by, bx, NormalStrength(At(base_, by, bx), At(piece, y, x), 255));
    }
  }
  EXPECT_TRUE(SameBytes(expected, ReadUnchanged(outPath_)));
}

// Positions round half up from the base's size: 37 x 0.5 + 0.5 = 19, 23 x 0.25 + 0.5 = 6.
INSTANTIATE_TEST_SUITE_P(
    Blend, Placement,
    ::testing::Values(
        // Runs off the right edge: 37 - 19 = 18 of 20 columns show.
        PlaceCase{"CutAtTheRight", "0,0,1,1,0.5,0.25,1,1", false, {0, 0, 18, 10}, {19, 6, 18, 10}},
        // Crop x 5 width 10; position 37 x -0.1 = -3.7 -> -3: three columns fall off the left.
        PlaceCase{"CroppedAndCutAtTheLeft",
                  "0.25,0,0.5,1,-0.1,0,1,1",
                  false,
                  {8, 0, 7, 10},
                  {0, 0, 7, 10}},
        // Resized to 37 x 0.5 = 18.5 by 23 x 0.5 = 11.5 at (4, 5): right edge 4 + 18.5 -> 23.
        PlaceCase{"Resized", "0,0,1,1,0.1,0.2,0.5,0.5", true, {0, 0, 20, 10}, {4, 5, 19, 12}}),
    [](const ::testing::TestParamInfo<PlaceCase>& info) { return info.param.name; });

struct ErrorCase {
  const char* name;
  std::vector<std::string> args;  // "@L", "@B", "@O", "@D" stand for the test's paths
  int status;
};
void PrintTo(const ErrorCase& c, std::ostream* os) { *os << c.name; }

class BlendErrors : public BlendCommand, public ::testing::WithParamInterface<ErrorCase> {};

TEST_P(BlendErrors, OneLineNonZeroAndNoOutput) {
  kaztest::TempDir outDir;
  const std::string aFile = dir_.Write("file", "x");
  std::vector<std::string> args = {"blend"};
  for (const std::string& a : GetParam().args) {
    if (a == "@L") {
      args.push_back(layerPath_);
    } else if (a == "@B") {
      args.push_back(basePath_);
    } else if (a == "@O") {
      args.push_back((outDir.path() / "out.png").string());
    } else if (a == "@F") {
      args.push_back(aFile + "/out.png");
    } else if (a == "@S") {
      args.push_back((dir_.path() / "small.png").string());
    } else {
      args.push_back(a);
    }
  }
  ASSERT_TRUE(cv::imwrite((dir_.path() / "small.png").string(), RandomBgra({5, 5}, 3)));
  const RunResult run = RunKazfx(args);
  EXPECT_EQ(run.status, GetParam().status) << run.err;
  ASSERT_EQ(run.ErrLines().size(), 1u) << run.err;
  EXPECT_EQ(run.ErrLines()[0].rfind("kazfx: error: ", 0), 0u) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_TRUE(Entries(outDir.path()).empty());
}

INSTANTIATE_TEST_SUITE_P(
    Blend, BlendErrors,
    ::testing::Values(
        ErrorCase{"UnknownMode", {"--mode", "Dissolve", "@L", "@B", "@O"}, 2},
        ErrorCase{"ModeOutOfRange", {"--mode", "24", "@L", "@B", "@O"}, 2},
        ErrorCase{"OpacityAboveOne", {"--opacity", "1.5", "@L", "@B", "@O"}, 2},
        ErrorCase{"SizesDiffer", {"@S", "@B", "@O"}, 2},
        ErrorCase{"PlaceNeedsEight", {"--place", "0,0,1,1,0,0,1", "@L", "@B", "@O"}, 2},
        ErrorCase{"ResizeWithoutPlace", {"--resize", "@L", "@B", "@O"}, 2},
        ErrorCase{"SolidBadColour", {"--solid", "0xZZ", "@B", "@O"}, 2},
        ErrorCase{"MissingArgument", {"@L", "@O"}, 2},
        ErrorCase{"NotPng", {"@L", "@B", "out.jpg"}, 2},
        ErrorCase{"LayerMissing", {"nowhere.png", "@B", "@O"}, 1},
        ErrorCase{"OutputUnderAFile", {"@L", "@B", "@F"}, 1},
        ErrorCase{"OutputFolderMissing", {"@L", "@B", "/nonexistent-kazfx/out.png"}, 1}),
    [](const ::testing::TestParamInfo<ErrorCase>& info) { return info.param.name; });

TEST_F(BlendCommand, HelpGoesToStdoutAndSucceeds) {
  const RunResult run = RunKazfx({"blend", "--help"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out.rfind("usage: kazfx blend", 0), 0u);
  EXPECT_EQ(run.err, "");
}

}  // namespace
}  // namespace kazfxtest
