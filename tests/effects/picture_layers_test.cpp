// SPDX-License-Identifier: MIT
// Picture Layers ("3092F414-FEBF-4389-BEDE-7DB1C98B9734") and Background Change
// ("496B0B93-9A49-4280-BB77-E939E2D51139") through the exported API, with the segmentation double
// painting the mask from the source's alpha. Expected bytes come from the blend reference and
// OpenCV, in the order the effects' documents give.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "effect_reference.h"
#include "effects/picture_layers.h"
#include "framework/param_value.h"
#include "imaging/blend.h"
#include "support/test_support.h"

using namespace kaztest;

namespace {

constexpr char kLayers[] = "3092F414-FEBF-4389-BEDE-7DB1C98B9734";
constexpr char kChange[] = "496B0B93-9A49-4280-BB77-E939E2D51139";
const cv::Size kCanvas(96, 54);

// A random BGRA picture, pre-multiplied as the bundled sequences are, written as `name`.
cv::Mat WritePicture(const TempDir& dir, const std::string& name, cv::Size size, int seed) {
  cv::Mat p(size, CV_8UC4);
  cv::theRNG().state = seed;
  cv::randu(p, 0, 256);
  const cv::Mat premultiplied = ref::applyMask(ref::maskPixel, p, Channel(p, 3), 4);
  std::filesystem::create_directories((dir.path() / name).parent_path());
  EXPECT_TRUE(cv::imwrite((dir.path() / name).string(), premultiplied));
  return premultiplied;
}

class PictureLayers : public ::testing::Test {
 protected:
  void SetUp() override {
    UseMaskFromChannel(3);
    vorta::PictureSequences::Instance().Clear();
    src_ = Source(kCanvas.width, kCanvas.height, 21);
    fore_ = WritePicture(dir_, "fg/a.png", kCanvas, 1);
    middle_ = WritePicture(dir_, "ag/a.png", kCanvas, 2);
    back_ = WritePicture(dir_, "bg/a.png", kCanvas, 3);
  }
  // Paths relative to the resources folder the filter is made with.
  Filter Make(const char* guid) { return Filter(guid, dir_.str().c_str()); }

  TempDir dir_;
  cv::Mat src_, fore_, middle_, back_;
};

// Full-canvas layers at the identity placement, the person faded to 50 (strength 127) and the
// foreground at 60 (opacity strength trunc(0.6f * 255) = 153): foreground over person over
// middle ground over background.
TEST_F(PictureLayers, IdentityPlacementStacksInOrderWithFadesAndOpacity) {
  Filter filter = Make(kLayers);
  filter.Text("FG_ImagePath", "fg").Text("AG_ImagePath", "ag");
  filter.Text("BG_ImagePath", (dir_.path() / "bg").string());
  const cv::Mat out = filter.Int("Human_Alpha", 50).Int("FG_Alpha", 60).Run(src_);

  const cv::Mat person =
      ref::blendSolid(ref::applyMask(ref::maskPixel, src_, Channel(src_, 3), 4), 0, 0, 127, true);
  const cv::Mat withFore = ref::blendImage(fore_, person, 0, 153, true);
  const cv::Mat withMiddle = ref::blendImage(withFore, middle_, 0, 255, true);
  EXPECT_EQ(CountDifferent(out, ref::blendImage(withMiddle, back_, 0, 255, true)), 0);
}

// Without sequences the frame itself is the background, and Human_Alpha 100 does not fade.
TEST_F(PictureLayers, EmptyPathsPutThePersonBackOverTheFrame) {
  Filter filter = Make(kLayers);
  const cv::Mat person = ref::applyMask(ref::maskPixel, src_, Channel(src_, 3), 4);
  const cv::Mat over = ref::blendImage(
      ref::blendImage(person, cv::Mat::zeros(kCanvas, CV_8UC4), 0, 255, true), src_, 0, 255, true);
  EXPECT_EQ(CountDifferent(filter.Run(src_), over), 0);
}

// Ten pictures of one colour each: frame 23 shows the fourth, frame -3 the eighth.
TEST_F(PictureLayers, TheFrameNumberPicksTheFileModuloTheCount) {
  std::filesystem::create_directories(dir_.path() / "ten");
  for (int i = 0; i < 10; ++i) {
    cv::imwrite((dir_.path() / "ten" / ("f" + std::to_string(i) + ".png")).string(),
                cv::Mat(kCanvas, CV_8UC4, cv::Scalar(10 * i, 20, 30, 255)));
  }
  cv::Mat transparent = src_.clone();
  transparent.forEach<cv::Vec4b>([](cv::Vec4b& p, const int*) { p[3] = 0; });
  Filter filter = Make(kLayers);
  filter.Text("BG_ImagePath", "ten");
  for (const auto& [frame, file] : {std::pair{23, 3}, {-3, 7}, {0, 0}}) {
    NLEEffectFilterSetCurrentTime(filter.f, frame);
    const cv::Mat out = filter.Run(transparent, 4);
    EXPECT_EQ(out.at<cv::Vec4b>(5, 5), cv::Vec4b(10 * file, 20, 30, 255)) << "frame " << frame;
  }
}

// A layer that cannot load is empty with its line in the log; the others are still drawn.
TEST_F(PictureLayers, AnUnusableSequenceLeavesOnlyThatLayerEmpty) {
  dir_.Write("corrupt/a.png", "not a png");
  dir_.Write("empty/readme.txt", "no pictures");
  for (int i = 0; i <= static_cast<int>(vorta::PictureSequences::kMaxEntries); ++i)
    dir_.Write("crowded/" + std::to_string(i), "");
  Filter reference = Make(kLayers);
  const cv::Mat expected = reference.Text("BG_ImagePath", "bg").Run(src_);
  for (const std::string path : {"missing", "empty", "crowded", "bg/a.png/x", "corrupt"}) {
    LogCapture log;
    Filter filter = Make(kLayers);
    filter.Text("BG_ImagePath", "bg").Text("FG_ImagePath", path);
    EXPECT_EQ(CountDifferent(filter.Run(src_), expected), 0) << path;
    const std::string line = path == "corrupt"
                                 ? "imread image failed:" + (dir_.path() / "corrupt/a.png").string()
                                 : "Parse image path error: " + (dir_.path() / path).string();
    EXPECT_EQ(log.Count(4, "HumanSegSequenceFrame::" + line + "\n"), 1) << log.Dump();
  }
}

// Odd values have a defined result: scale 0 or NaN draws no person, a huge position moves it off
// the canvas; both leave the background alone.
TEST_F(PictureLayers, ZeroNanAndFarAwayPlacementsDrawNothing) {
  Filter reference = Make(kLayers);
  const cv::Mat background = reference.Text("BG_ImagePath", "bg").Int("Human_Alpha", 0).Run(src_);
  for (const auto& [name, value] : {std::pair{"Human_Scale_x", 0.0},
                                    {"Human_Scale_y", std::nan("")},
                                    {"Human_Position_x", 1e12}}) {
    Filter filter = Make(kLayers);
    filter.Text("BG_ImagePath", "bg").Set(name, vorta::MakeDoubleValue(value));
    EXPECT_EQ(CountDifferent(filter.Run(src_), background), 0) << name;
  }
}

// The layer's corners, the box they span (edges rounded half up), and the two ways into it.
TEST(DrawLayer, ResizesBelowTheRotationThresholdAndWarpsFromIt) {
  cv::Mat layer(40, 60, CV_8UC4);
  cv::randu(layer, 0, 256);
  const auto draw = [&](double rotation, double scale) {
    cv::Mat canvas = cv::Mat::zeros(50, 80, CV_8UC4);
    vorta::DrawLayer(layer, {0.125, -0.1, scale, scale, rotation}, canvas);
    return canvas;
  };
  // Scale 0.5: the layer spans x 80/2 + 10 -+ 15 = [35, 65), y 25 - 5 -+ 10 = [10, 30).
  cv::Mat resized = cv::Mat::zeros(50, 80, CV_8UC4);
  cv::resize(layer, resized(cv::Rect(35, 10, 30, 20)), cv::Size(30, 20), 0, 0, cv::INTER_LINEAR);
  EXPECT_EQ(CountDifferent(draw(5e-7, 0.5), resized), 0);

  const double a = 1e-6 * CV_PI / 180, c = std::cos(a) * 0.5, s = std::sin(a) * 0.5;
  // Forward: centre (30, 20) of the layer to (50, 20) on the canvas, then the box's offset.
  const cv::Matx23d forward(c, s, 50 - (c * 30 + s * 20) - 35, -s, c, 20 - (-s * 30 + c * 20) - 10);
  cv::Matx23d inverse;
  cv::invertAffineTransform(forward, inverse);
  cv::Mat warped = cv::Mat::zeros(50, 80, CV_8UC4);
  cv::warpAffine(layer, warped(cv::Rect(35, 10, 30, 20)), inverse, cv::Size(30, 20),
                 cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, cv::BORDER_CONSTANT, cv::Scalar::all(0));
  EXPECT_EQ(CountDifferent(draw(1e-6, 0.5), warped), 0);
  EXPECT_GT(CountDifferent(resized, warped), 0) << "the two paths must be told apart";
}

// Background change: the refined person, light-wrapped toward the blurred new background, laid
// pre-multiplied over it.
TEST_F(PictureLayers, BackgroundChangeFollowsItsRule) {
  const cv::Size size(200, 120);  // long side 200: s = 0.3125
  src_ = Source(size.width, size.height, 5);
  const cv::Mat picture = WritePicture(dir_, "pic.png", size, 9);
  struct Case {
    const char* path;
    int blur, wrap;
    float thickness, feather;
  };
  for (const Case& c : {Case{"", 0, 0, 0, 0}, Case{"pic.png", 40, 50, -16, 8}}) {
    Filter filter = Make(kChange);
    filter.Text("Background Path", c.path)
        .Int("Background Color", 0x336699)
        .Int("Background Blur", c.blur)
        .Int("Light Wrap", c.wrap);
    const cv::Mat out =
        filter.Float("Edge Thickness", c.thickness).Float("Edge Feather", c.feather).Run(src_);

    const cv::Mat mask =
        Refined(Channel(src_, 3), MorphSize(c.thickness, 200, 120), BlurSize(c.feather, 200, 120));
    cv::Mat background =
        *c.path ? picture.clone() : cv::Mat(size, CV_8UC4, cv::Scalar(0x99, 0x66, 0x33, 255));
    const int kernel = 2 * static_cast<int>(c.blur * 0.3125 * 0.5) + 1;  // 13 for 40
    if (kernel > 1)
      cv::GaussianBlur(background, background, {kernel, kernel}, kernel, kernel,
                       cv::BORDER_REFLECT_101);
    cv::Mat person = src_.clone();
    if (c.wrap > 0) {
      // The wrap's pixel rules are the imaging tests'; here, that its side (2 max(1, floor(0.3125
      // * 6)) + 1 = 3) and strength reach them.
      cv::Mat edge, weight(size, CV_8UC1);
      cv::blur(mask, edge, {3, 3}, {-1, -1}, cv::BORDER_REFLECT_101);
      imageC::edgeWeight(edge, mask, c.wrap * 255 / 100, weight);
      imageC::lerpToward(background, weight, person);
    }
    const cv::Mat expected =
        ref::blendImage(ref::applyMask(ref::maskPixel, person, mask, 4), background, 0, 255, true);
    EXPECT_EQ(CountDifferent(out, expected), 0) << (*c.path ? c.path : "colour");
  }
}

}  // namespace
