// SPDX-License-Identifier: MIT
// kazfx blend: how its options reach the blend rules, which tests/imaging proves on their own.
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "imaging/reference.h"
#include "kazfx_run.h"

namespace kazfxtest {
namespace {

class BlendCommand : public InTempDir {
 protected:
  void SetUp() override {
    InTempDir::SetUp();
    ASSERT_TRUE(cv::imwrite("layer.png", layer_));
    ASSERT_TRUE(cv::imwrite("base.png", base_));
  }
  const cv::Mat layer_ = ref::edgyImage(23, 37, 11), base_ = ref::edgyImage(23, 37, 12);
};

// How the options reach the blend: the mode, strength and pre-multiplication they must come
// to, with a solid colour instead of the layer when `solid` is set. Strengths: trunc(opacity x
// 255) in float; 0.5 -> 127, 0.8 -> 204, 0.7 -> 178 (178.49999 in float). Pre-multiplication
// changes only Normal, so both paths take Normal with and without it.
TEST_F(BlendCommand, OptionsReachTheRule) {
  const struct {
    std::vector<std::string> options;
    uint32_t mode;
    int strength;
    bool pre;
    uint32_t solid;
  } cases[] = {
      {{"--opacity", "0.5"}, 0, 127, false, 0},
      {{"--premultiplied", "--opacity", "0.8"}, 0, 204, true, 0},
      {{"--mode", "Multiply", "--opacity", "0.5"}, 2, 127, false, 0},
      {{"--solid", "0x80336699", "--opacity", "0.5"}, 0, 127, false, 0x80336699},
      {{"--solid", "0x40A0B0C0", "--premultiplied", "--opacity", "0.7"}, 0, 178, true, 0x40A0B0C0},
      {{"--solid", "#FF804020", "--mode", "5"}, 5, 255, false, 0xFF804020}};
  for (const auto& c : cases) {
    std::vector<std::string> args = Concat({"blend"}, c.options);
    if (c.solid == 0) args.push_back("layer.png");
    const RunResult run = RunKazfx(Concat(args, {"base.png", "out.png"}));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    const cv::Mat expected = c.solid == 0
                                 ? ref::blendImage(layer_, base_, c.mode, c.strength, c.pre)
                                 : ref::blendSolid(base_, c.solid, c.mode, c.strength, c.pre);
    EXPECT_EQ(ref::differingBytes(expected, ReadUnchanged("out.png")), 0)
        << ::testing::PrintToString(c.options);
  }
}

// The rounding and cutting are tests/imaging's; here each of the eight numbers and --resize
// must reach their place. A 20x10 layer on the 37x23 base: positions round half up from the
// base's size, 37 x 0.1 + 0.5 -> 4, 23 x 0.2 + 0.5 -> 5.
TEST_F(BlendCommand, PlacementLandsTheLayerWhereTheFractionsSay) {
  const struct {
    const char* place;
    bool resize;
    cv::Rect layerPiece;  // the part of the layer that lands (before any resize)
    cv::Rect target;      // where it lands on the base
  } cases[] = {
      // Crop x 5 width 10; position 37 x -0.1 = -3.7 -> -3: three columns fall off the left.
      {"0.25,0,0.5,1,-0.1,0,1,1", false, {8, 0, 7, 10}, {0, 0, 7, 10}},
      // Crop (5, 2.5 -> 3, 10, 5) resized to 37 x 0.5 = 18.5 by 23 x 0.5 = 11.5 at (4, 5):
      // right edge 4 + 18.5 -> 23, bottom 5 + 11.5 -> 17.
      {"0.25,0.25,0.5,0.5,0.1,0.2,0.5,0.5", true, {5, 3, 10, 5}, {4, 5, 19, 12}}};
  const cv::Mat small = ref::edgyImage(10, 20, 13);
  ASSERT_TRUE(cv::imwrite("small.png", small));
  for (const auto& c : cases) {
    std::vector<std::string> args = {"blend", "--place", c.place};
    if (c.resize) args.push_back("--resize");
    const RunResult run = RunKazfx(Concat(args, {"small.png", "base.png", "out.png"}));
    ASSERT_EQ(run.status, 0) << run.err;
    cv::Mat piece = small(c.layerPiece);
    if (c.resize) cv::resize(small(c.layerPiece), piece, c.target.size(), 0, 0, cv::INTER_LINEAR);
    cv::Mat expected = base_.clone();
    ref::blendImage(piece, base_(c.target), 0, 255, false).copyTo(expected(c.target));
    EXPECT_EQ(ref::differingBytes(expected, ReadUnchanged("out.png")), 0) << c.place;
  }
}

struct ErrorCase {
  const char* name;
  std::vector<std::string> args;
  int status;
};
void PrintTo(const ErrorCase& c, std::ostream* os) { *os << c.name; }

class BlendErrors : public BlendCommand, public ::testing::WithParamInterface<ErrorCase> {};

TEST_P(BlendErrors, OneLineNonZeroAndNoOutput) {
  ASSERT_TRUE(cv::imwrite("small.png", ref::edgyImage(5, 5, 3)));
  dir_.Write("file", "x");
  std::filesystem::create_directory("out");
  ExpectError(RunKazfx(Concat({"blend"}, GetParam().args)), GetParam().status);
  EXPECT_TRUE(Entries("out").empty());
}

const std::vector<std::string> kFiles = {"layer.png", "base.png", "out/out.png"};

INSTANTIATE_TEST_SUITE_P(
    Blend, BlendErrors,
    ::testing::Values(ErrorCase{"UnknownMode", Concat({"--mode", "Dissolve"}, kFiles), 2},
                      ErrorCase{"ModeOutOfRange", Concat({"--mode", "24"}, kFiles), 2},
                      ErrorCase{"OpacityAboveOne", Concat({"--opacity", "1.5"}, kFiles), 2},
                      ErrorCase{"SizesDiffer", {"small.png", "base.png", "out/out.png"}, 2},
                      ErrorCase{"PlaceNeedsEight", Concat({"--place", "0,0,1,1,0,0,1"}, kFiles), 2},
                      ErrorCase{"ResizeWithoutPlace", Concat({"--resize"}, kFiles), 2},
                      ErrorCase{"MissingArgument", {"layer.png", "out/out.png"}, 2},
                      ErrorCase{"NotPng", {"layer.png", "base.png", "out/out.jpg"}, 2},
                      ErrorCase{"LayerMissing", {"nowhere.png", "base.png", "out/out.png"}, 1},
                      ErrorCase{"OutputUnderAFile", {"layer.png", "base.png", "file/out.png"}, 1}),
    [](const ::testing::TestParamInfo<ErrorCase>& info) { return info.param.name; });

}  // namespace
}  // namespace kazfxtest
