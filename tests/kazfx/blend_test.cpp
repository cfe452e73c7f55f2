// SPDX-License-Identifier: MIT
// kazfx blend against the blend rules written out here pixel by pixel.
#include <gtest/gtest.h>

#include <functional>

#include <opencv2/imgproc.hpp>

#include "imaging/reference.h"
#include "kazfx_run.h"

namespace kazfxtest {
namespace {

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

// How an option reaches the blend: the mode, strength and pre-multiplication it must come to;
// a solid colour instead of the layer when `solid` is set.
struct ModeCase {
  const char* name;
  std::vector<std::string> options;
  uint32_t mode;
  int strength;
  bool pre;
  uint32_t solid = 0;
};
void PrintTo(const ModeCase& c, std::ostream* os) { *os << c.name; }

class Modes : public BlendCommand, public ::testing::WithParamInterface<ModeCase> {};

TEST_P(Modes, MatchTheRuleOnEveryPixel) {
  const ModeCase& c = GetParam();
  std::vector<std::string> args = {"blend"};
  args.insert(args.end(), c.options.begin(), c.options.end());
  if (c.solid == 0) args.push_back(layerPath_);
  args.insert(args.end(), {basePath_, outPath_});
  const RunResult run = RunKazfx(args);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_TRUE(SameBytes(c.solid == 0 ? ref::blendImage(layer_, base_, c.mode, c.strength, c.pre)
                                     : ref::blendSolid(base_, c.solid, c.mode, c.strength, c.pre),
                        ReadUnchanged(outPath_)));
}

// Strengths: trunc(opacity * 255) in float; 0.5 -> 127, 0.8 -> 204, 0.6 -> 153, 0.7 -> 178
// (178.49999 in float).
INSTANTIATE_TEST_SUITE_P(
    Blend, Modes,
    ::testing::Values(
        ModeCase{"NormalHalf", {"--opacity", "0.5"}, 0, 127, false},
        ModeCase{"NormalPremultiplied", {"--premultiplied", "--opacity", "0.8"}, 0, 204, true},
        ModeCase{"MultiplyLowerCase", {"--mode", "multiply", "--opacity", "0.6"}, 2, 153, false},
        ModeCase{"ScreenByNumber", {"--mode", "5"}, 5, 255, false},
        ModeCase{
            "SolidHalf", {"--solid", "0x80336699", "--opacity", "0.5"}, 0, 127, false, 0x80336699u},
        ModeCase{"SolidPremultiplied",
                 {"--solid", "0x40A0B0C0", "--premultiplied", "--opacity", "0.7"},
                 0,
                 178,
                 true,
                 0x40A0B0C0u},
        ModeCase{"SolidMultiply",
                 {"--solid", "#FF804020", "--mode", "Multiply"},
                 2,
                 255,
                 false,
                 0xFF804020u}),
    [](const ::testing::TestParamInfo<ModeCase>& info) { return info.param.name; });

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
  ref::blendImage(piece, base_(c.target), 0, 255, false).copyTo(expected(c.target));
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

}  // namespace
}  // namespace kazfxtest
