// SPDX-License-Identifier: MIT
// Layer placement: crop rounding, position, the visible part, resize-squeeze and band choice.
// Expected rectangles are worked out by hand in the comments; fractions are binary so that the
// products are exact.
#include <gtest/gtest.h>

#include <limits>
#include <tuple>

#include <opencv2/imgproc.hpp>

#include "imaging/blend.h"
#include "imaging/reference.h"

namespace {

using imageC::LayerPlacement;
using imageC::LayerPlan;

const cv::Size kLayer(200, 100), kCanvas(400, 300);

LayerPlacement place(double cx, double cy, double cw, double ch, double px, double py,
                     double sw = 0, double sh = 0) {
  return {cx, cy, cw, ch, px, py, sw, sh};
}

struct PlanCase {
  const char* name;
  cv::Size layer;
  LayerPlacement placement;
  bool resize;
  cv::Rect crop, source, target;
  int bands;
};

void PrintTo(const PlanCase& c, std::ostream* os) { *os << c.name; }

class Plan : public ::testing::TestWithParam<PlanCase> {};

TEST_P(Plan, GivesTheHandWorkedRectangles) {
  const PlanCase& c = GetParam();
  LayerPlan plan{};
  ASSERT_TRUE(imageC::planLayer(c.layer, kCanvas, c.placement, c.resize, &plan));
  EXPECT_EQ(std::make_tuple(plan.crop, plan.source, plan.target, plan.bands),
            std::make_tuple(c.crop, c.source, c.target, c.bands));
}

INSTANTIATE_TEST_SUITE_P(
    Placements, Plan,
    ::testing::Values(
        // Crop 12.5 -> 13, 12.5 -> 13, 87.5 -> 88, 37.5 -> 38. Position x 100, y -18.75 + 0.5
        // -> -18 (truncated toward zero). Right 100 + 87.5 -> 188, bottom -18 + 37.5 -> 20:
        // visible 88 x 20 with 18 rows cut at the top.
        PlanCase{"CropRoundingAndTopCut", kLayer,
                 place(0.0625, 0.125, 0.4375, 0.375, 0.25, -0.0625), false,
                 cv::Rect(13, 13, 88, 38), cv::Rect(0, 18, 88, 20), cv::Rect(100, 0, 88, 20), 1},
        // Negative crop x becomes 0, crop width 1.5 becomes the layer width. At x 360 only 40
        // columns fit on the canvas.
        PlanCase{"RightEdgeOffCanvas", kLayer, place(-0.25, 0, 1.5, 1, 0.9, 0.5), false,
                 cv::Rect(0, 0, 200, 100), cv::Rect(0, 0, 40, 100), cv::Rect(360, 150, 40, 100), 1},
        // x = -50 + 0.5 -> -49; right -49 + 200.5 -> 151: 151 columns, 49 cut at the left.
        PlanCase{"LeftCut", kLayer, place(0, 0, 1, 1, -0.125, 0), false, cv::Rect(0, 0, 200, 100),
                 cv::Rect(49, 0, 151, 100), cv::Rect(0, 0, 151, 100), 8},
        // Crop x 150 with width 100 reaches past the layer: 50 columns remain.
        PlanCase{"CropPastTheLayerEdge", kLayer, place(0.75, 0, 0.5, 1, 0, 0), false,
                 cv::Rect(150, 0, 50, 100), cv::Rect(0, 0, 50, 100), cv::Rect(0, 0, 50, 100), 1},
        // Resizing to 200 x 150 at (300, 150): only 100 x 150 is visible and the whole crop is
        // squeezed into it.
        PlanCase{"ResizeSqueezedIntoTheVisiblePart", kLayer,
                 place(0.25, 0, 0.5, 1, 0.75, 0.5, 0.5, 0.5), true, cv::Rect(50, 0, 100, 100),
                 cv::Rect(0, 0, 100, 100), cv::Rect(300, 150, 100, 150), 8},
        // 100 x 100 = 10,000 pixels is one band; 137 x 73 = 10,001 is eight.
        PlanCase{"TenThousandPixelsIsOneBand", cv::Size(100, 100), place(0, 0, 1, 1, 0, 0), false,
                 cv::Rect(0, 0, 100, 100), cv::Rect(0, 0, 100, 100), cv::Rect(0, 0, 100, 100), 1},
        PlanCase{"TenThousandAndOnePixelsIsEightBands", cv::Size(137, 73), place(0, 0, 1, 1, 0, 0),
                 false, cv::Rect(0, 0, 137, 73), cv::Rect(0, 0, 137, 73), cv::Rect(0, 0, 137, 73),
                 8}),
    [](const ::testing::TestParamInfo<PlanCase>& info) { return info.param.name; });

TEST(Plan, NothingVisibleOrNothingCroppedIsNoPlan) {
  LayerPlan plan{};
  // x = 400: the layer starts at the canvas's right edge.
  EXPECT_FALSE(imageC::planLayer(kLayer, kCanvas, place(0, 0, 1, 1, 1.0, 0), false, &plan));
  // y = -300 + 0.5 -> -299; bottom -299 + 100.5 -> -198.
  EXPECT_FALSE(imageC::planLayer(kLayer, kCanvas, place(0, 0, 1, 1, 0, -1.0), false, &plan));
  EXPECT_FALSE(imageC::planLayer(kLayer, kCanvas, place(0, 0, 0, 1, 0, 0), false, &plan));
  EXPECT_FALSE(imageC::planLayer(kLayer, kCanvas, place(1.0, 0, 1, 1, 0, 0), false, &plan));
  EXPECT_FALSE(imageC::planLayer(kLayer, kCanvas, place(0, 0, 1, 1, 0, 0, 0, 1), true, &plan));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(imageC::planLayer(kLayer, kCanvas, place(0, nan, 1, 1, 0, 0), false, &plan));
  // Huge values saturate instead of overflowing.
  EXPECT_FALSE(imageC::planLayer(kLayer, kCanvas, place(0, 0, 1, 1, 1e300, 0), false, &plan));
  EXPECT_TRUE(imageC::planLayer(kLayer, kCanvas, place(0, 0, 1e300, 1, 0, 0), false, &plan));
}

// 60000 x 60000 overflows an int area; only the sizes are planned, no pixels exist.
TEST(Plan, HugeCanvasSizesDoNotOverflow) {
  LayerPlan plan{};
  ASSERT_TRUE(
      imageC::planLayer(kLayer, cv::Size(60000, 60000), place(0, 0, 1, 1, 0.5, 0.5), false, &plan));
  EXPECT_EQ(plan.target, cv::Rect(30000, 30000, 200, 100));
  EXPECT_EQ(plan.bands, 8);
}

// blendLayer against the reference blend of the hand-worked pieces, everything else untouched.
struct Scene {
  cv::Mat layer = ref::edgyImage(kLayer.height, kLayer.width, 31);
  cv::Mat canvas = ref::edgyImage(kCanvas.height, kCanvas.width, 32);
  cv::Mat expectBlend(const cv::Mat& piece, cv::Rect target, uint32_t mode, int s, bool pre) const {
    cv::Mat out = canvas.clone();
    ref::blendImage(piece, canvas(target), mode, s, pre).copyTo(out(target));
    return out;
  }
};

TEST(BlendLayer, CroppedAndCutLayerBlendsOnlyTheVisiblePart) {
  const Scene scene;
  const LayerPlacement p = place(0.0625, 0.125, 0.4375, 0.375, 0.25, -0.0625);
  for (uint32_t mode : {0u, 5u, 19u, 22u}) {
    cv::Mat dst = scene.canvas.clone();
    ASSERT_TRUE(imageC::blendLayer(scene.layer, dst, dst, &p, mode, 1.0f, false, false, 0));
    const cv::Mat piece = scene.layer(cv::Rect(13, 13, 88, 38))(cv::Rect(0, 18, 88, 20));
    EXPECT_EQ(ref::differingBytes(
                  dst, scene.expectBlend(piece, cv::Rect(100, 0, 88, 20), mode, 255, false)),
              0)
        << "mode " << mode;
  }
}

TEST(BlendLayer, ResizedLayerIsSqueezedIntoTheVisiblePart) {
  const Scene scene;
  const LayerPlacement p = place(0.25, 0, 0.5, 1, 0.75, 0.5, 0.5, 0.5);
  for (int interpolation : {cv::INTER_NEAREST, cv::INTER_LINEAR, cv::INTER_AREA}) {
    cv::Mat dst = scene.canvas.clone();
    ASSERT_TRUE(imageC::blendLayer(scene.layer, dst, dst, &p, 0, 0.75f, true, true, interpolation));
    cv::Mat squeezed;
    cv::resize(scene.layer(cv::Rect(50, 0, 100, 100)), squeezed, cv::Size(100, 150), 0, 0,
               interpolation);
    // 0.75 * 255 = 191.25 -> 191.
    EXPECT_EQ(ref::differingBytes(
                  dst, scene.expectBlend(squeezed, cv::Rect(300, 150, 100, 150), 0, 191, true)),
              0)
        << "interpolation " << interpolation;
  }
}

TEST(BlendLayer, OpacityGivesTheLowEightBitsOfItsTruncatedScale) {
  const Scene scene;
  const LayerPlacement p = place(0, 0, 1, 1, 0.5, 0.5);
  const cv::Rect target(200, 150, 200, 100);
  // 1 -> 255, 0.5 -> 127.5 -> 127, 2 -> 510 -> 254, -0.5 -> -127 -> 129, 0 -> 0.
  const std::pair<float, int> cases[] = {
      {1.0f, 255}, {0.5f, 127}, {2.0f, 254}, {-0.5f, 129}, {0.0f, 0}};
  for (const auto& [opacity, strength] : cases) {
    cv::Mat dst = scene.canvas.clone();
    ASSERT_TRUE(imageC::blendLayer(scene.layer, dst, dst, &p, 2, opacity, false, false, 0));
    EXPECT_EQ(ref::differingBytes(dst, scene.expectBlend(scene.layer, target, 2, strength, false)),
              0)
        << "opacity " << opacity;
  }
}

TEST(BlendLayer, OffCanvasChangesNothingAndIsNotAnError) {
  const Scene scene;
  cv::Mat dst = scene.canvas.clone();
  // x = -300 + 0.5 -> -299, right edge -299 + 200.5 -> -98.
  // Which placements show nothing is the planning tests'; here that nothing is drawn.
  for (const LayerPlacement& p : {place(0, 0, 1, 1, -0.75, 0), place(0, 0, 0, 0, 0, 0)})
    EXPECT_TRUE(imageC::blendLayer(scene.layer, dst, dst, &p, 0, 1.0f, false, false, 0));
  EXPECT_EQ(ref::differingBytes(dst, scene.canvas), 0);
}

TEST(BlendLayer, CanvasOnlyLendsItsSize) {
  const Scene scene;
  const LayerPlacement p = place(0, 0, 1, 1, 0.5, 0.5);
  cv::Mat dst = scene.canvas.clone();
  const cv::Mat grey(kCanvas, CV_8UC1, cv::Scalar(0));
  ASSERT_TRUE(imageC::blendLayer(scene.layer, grey, dst, &p, 0, 1.0f, false, false, 0));
  EXPECT_EQ(ref::differingBytes(
                dst, scene.expectBlend(scene.layer, cv::Rect(200, 150, 200, 100), 0, 255, false)),
            0);
}

TEST(BlendLayer, RejectsUnusableArgumentsWithoutTouchingTheDestination) {
  const Scene scene;
  cv::Mat dst = scene.canvas.clone();
  const LayerPlacement p = place(0, 0, 1, 1, 0, 0);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const LayerPlacement bad = place(0, 0, 1, nan, 0, 0);
  const float fnan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_FALSE(imageC::blendLayer(scene.layer, dst, dst, nullptr, 0, 1.0f, false, false, 0));
  EXPECT_FALSE(imageC::blendLayer(scene.layer, dst, dst, &bad, 0, 1.0f, false, false, 0));
  EXPECT_FALSE(imageC::blendLayer(scene.layer, dst, dst, &p, 0, fnan, false, false, 0));
  EXPECT_FALSE(imageC::blendLayer(scene.layer, dst, dst, &p, 0, 1e30f, false, false, 0));
  EXPECT_FALSE(imageC::blendLayer(scene.layer, dst, dst, &p, 0, 1.0f, false, true, 99));
  EXPECT_FALSE(imageC::blendLayer(cv::Mat(), dst, dst, &p, 0, 1.0f, false, false, 0));
  EXPECT_FALSE(
      imageC::blendLayer(cv::Mat(10, 10, CV_8UC3), dst, dst, &p, 0, 1.0f, false, false, 0));
  EXPECT_FALSE(imageC::blendLayer(scene.layer, cv::Mat(), dst, &p, 0, 1.0f, false, false, 0));
  EXPECT_FALSE(imageC::blendLayer(scene.layer, dst(cv::Rect(0, 0, 399, 300)), dst, &p, 0, 1.0f,
                                  false, false, 0));
  EXPECT_FALSE(imageC::blendLayer(scene.layer, dst, cv::Mat(kCanvas, CV_8UC1), &p, 0, 1.0f, false,
                                  false, 0));
  EXPECT_EQ(ref::differingBytes(dst, scene.canvas), 0);
  // Interpolation matters only when resizing.
  EXPECT_TRUE(imageC::blendLayer(scene.layer, dst, dst, &p, 0, 1.0f, false, false, 99));
}

}  // namespace
