// SPDX-License-Identifier: MIT
// The module wrappers' processing against the doubles; their creation is binding_test.cpp's.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include <opencv2/core.hpp>

#include "ai/fade_film.h"
#include "ai/frame_modules.h"
#include "ai/human_seg.h"
#include "ai/quorin_common.h"
#include "ai/wiper_seg.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;

namespace {

const char kModels[] = "/opt/editor/resources/models";

KazModuleDoubleStats SegStats() { return kaz_test::ModuleStats(*GetQuorinHumanSegSymbols()); }

cv::Mat RandomImage(int rows, int cols, int type) {
  cv::Mat image(rows, cols, type);
  cv::randu(image, 0, 256);
  return image;
}

bool Same(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

// What the doubles paint (see module_double.c): byte `channel` of the input pixel at
// x * cols / width, y * rows / height.
cv::Mat Nearest(const cv::Mat& image, cv::Size size, int channel) {
  cv::Mat out(size, CV_8UC1);
  for (int y = 0; y < out.rows; ++y) {
    for (int x = 0; x < out.cols; ++x) {
      out.at<uint8_t>(y, x) =
          image.at<cv::Vec4b>(y * image.rows / out.rows, x * image.cols / out.cols)[channel];
    }
  }
  return out;
}

// Sets the mask the double writes, for one test.
class MaskPattern {
 public:
  explicit MaskPattern(const char* pattern) { setenv("KAZ_DOUBLE_HUMANSEG_MASK", pattern, 1); }
  ~MaskPattern() { unsetenv("KAZ_DOUBLE_HUMANSEG_MASK"); }
};

// Each known variant names a model file of its own; an unknown one names none, the module
// refuses the bare directory as the real one does, and the wrapper never calls it.
TEST(HumanSeg, EachVariantHasItsOwnModelAndUnknownOnesStayUncreated) {
  std::set<std::string> models;
  for (int32_t variant : {0, 1, 2, 3, 4, -1}) {
    QuorinHumanSeg seg("first", "second", kModels, variant);
    const bool known = variant >= 0 && variant <= 3;
    EXPECT_EQ(seg.Created(), known) << variant;
    EXPECT_EQ(seg.ModelPath() == kModels, !known) << variant;
    models.insert(seg.ModelPath());
    cv::Mat image = RandomImage(8, 8, CV_8UC4), mask(8, 8, CV_8UC1, cv::Scalar(42));
    const int calls = SegStats().processCalls;
    LogCapture log;
    EXPECT_EQ(seg.Process(image, mask), known);
    EXPECT_EQ(SegStats().processCalls, calls + (known ? 1 : 0));
    EXPECT_TRUE(log.Lines().empty()) << log.Dump();
    EXPECT_TRUE(known || cv::countNonZero(mask != 42) == 0);
  }
  EXPECT_EQ(models.size(), 5u) << "the bare directory and four model files";
}

// A region of a larger image and a mask of another size, itself a region: both go to the module
// as kernel frames over the caller's pixels, with their own row steps, and nothing outside the
// mask region is written. A failing module's mask stays as it left it, and the wrapper usable.
TEST(HumanSeg, RegionsAndMasksOfAnotherSizeGoAsTheyAre) {
  QuorinHumanSeg seg("", "", kModels, 1);
  const cv::Mat whole = RandomImage(60, 70, CV_8UC4);
  const cv::Mat image = whole(cv::Rect(5, 7, 64, 48));
  cv::Mat maskWhole(30, 40, CV_8UC1, cv::Scalar(200));
  cv::Mat mask = maskWhole(cv::Rect(2, 3, 20, 10));
  {
    MaskPattern pattern("fail:77");
    EXPECT_FALSE(seg.Process(image, mask));
    EXPECT_EQ(cv::countNonZero(mask != 77), 0);
  }
  MaskPattern pattern("channel:2");
  ASSERT_TRUE(seg.Process(image, mask));
  const KazModuleDoubleStats stats = SegStats();
  const auto shape = [](const KazFrameShape& s) {
    return std::vector<intptr_t>(
        {s.format, s.width, s.height, s.stride, reinterpret_cast<intptr_t>(s.pixels)});
  };
  EXPECT_EQ(shape(stats.lastInput), shape({QUORIN_FORMAT_BGRA8, 64, 48, 70 * 4, image.data}));
  EXPECT_EQ(shape(stats.lastOutput), shape({QUORIN_FORMAT_GRAY8, 20, 10, 40, mask.data}));
  EXPECT_TRUE(Same(mask, Nearest(image, mask.size(), 2)));
  mask.setTo(200);
  EXPECT_EQ(cv::countNonZero(maskWhole != 200), 0);
}

TEST(HumanSeg, ImagesOfTheWrongKindNeverReachTheModule) {
  QuorinHumanSeg seg("", "", kModels, 2);
  const int calls = SegStats().processCalls;
  const cv::Mat bgra = RandomImage(4, 4, CV_8UC4), bgr = RandomImage(4, 4, CV_8UC3);
  cv::Mat mask(4, 4, CV_8UC1), wideMask(4, 4, CV_16UC1), none;
  LogCapture log;
  EXPECT_FALSE(seg.Process(bgr, mask));
  EXPECT_FALSE(seg.Process(bgra, wideMask));
  EXPECT_FALSE(seg.Process(bgra, none));
  EXPECT_FALSE(seg.Process(cv::Mat(), mask));
  EXPECT_EQ(SegStats().processCalls, calls);
  const char kUnusable[] = "QuorinHumanSeg: images of an unexpected type, size or row step\n";
  EXPECT_EQ(log.Count(4, kUnusable), 4) << log.Dump();
}

TEST(HumanSeg, OneWrapperSerialisesItsCallers) {
  setenv("KAZ_DOUBLE_DELAY_US", "300", 1);
  MaskPattern pattern("fill:9");
  QuorinHumanSeg seg("", "", kModels, 2);
  const int overlapsBefore = SegStats().overlaps;
  std::vector<std::thread> threads;
  std::vector<int> successes(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&seg, &successes, t] {
      const cv::Mat image(16, 16, CV_8UC4, cv::Scalar::all(t));
      cv::Mat mask(16, 16, CV_8UC1);
      for (int i = 0; i < 10; ++i) successes[t] += seg.Process(image, mask);
    });
  }
  for (auto& thread : threads) thread.join();
  unsetenv("KAZ_DOUBLE_DELAY_US");
  EXPECT_EQ(successes, std::vector<int>(4, 10));
  EXPECT_EQ(SegStats().overlaps, overlapsBefore);
}

struct OwnFrameCase {
  const char* name;
  std::function<std::unique_ptr<QuorinOwnFrameModule>()> make;
  int channel;
  bool half;  // answers at half the size, rounded up
};

void PrintTo(const OwnFrameCase& c, std::ostream* os) { *os << c.name; }

class OwnFrameModule : public ::testing::TestWithParam<OwnFrameCase> {};

// Each module hands back a frame of its own, laid out its own way; the result is copied out
// (into the caller's image when it has the right size) and the frame goes back to the kernel,
// also when the module fails.
TEST_P(OwnFrameModule, CopiesItsFramesAndReturnsThemToTheKernel) {
  const OwnFrameCase& c = GetParam();
  auto module = c.make();
  const int framesBefore = kaz_test::LiveFrames();
  // Odd sizes, so a half size rounded down shows.
  const cv::Mat image = RandomImage(17, 33, CV_8UC4);
  cv::Mat result;
  ASSERT_TRUE(module->Process(image, result));
  const cv::Size want = c.half ? cv::Size(17, 9) : image.size();
  EXPECT_TRUE(Same(result, Nearest(image, want, c.channel)));
  const uint8_t* pixels = result.data;
  ASSERT_TRUE(module->Process(image, result));
  EXPECT_EQ(result.data, pixels) << "written in place";
  result = cv::Mat(3, 3, CV_8UC1, cv::Scalar(5));
  setenv("KAZ_DOUBLE_FRAME_MODULE_FAIL", "1", 1);
  const bool ok = module->Process(image, result);
  unsetenv("KAZ_DOUBLE_FRAME_MODULE_FAIL");
  EXPECT_FALSE(ok);
  EXPECT_TRUE(Same(result, cv::Mat(3, 3, CV_8UC1, cv::Scalar(5))));
  EXPECT_FALSE(module->Process(cv::Mat(8, 8, CV_8UC3), result));
  EXPECT_EQ(kaz_test::LiveFrames(), framesBefore);
}

template <typename Wrapper>
std::function<std::unique_ptr<QuorinOwnFrameModule>()> Maker() {
  return [] { return std::make_unique<Wrapper>(kModels); };
}

INSTANTIATE_TEST_SUITE_P(
    Modules, OwnFrameModule,
    ::testing::Values(OwnFrameCase{"clothes", Maker<QuorinClothesSeg>(), 0, false},
                      OwnFrameCase{"depth", Maker<QuorinDepthEstimate>(), 1, true},
                      OwnFrameCase{"skin", Maker<QuorinHumanSkinSegment>(), 2, false},
                      OwnFrameCase{"semantic", Maker<QuorinSemanticSegment>(), 3, false}),
    [](const auto& info) { return std::string(info.param.name); });

// The double adds a known parameter to every byte, so the result shows its name and value
// arrived; an unknown or null name is refused.
TEST(SemanticSegment, ParameterReachesTheModuleBeforeProcessing) {
  QuorinSemanticSegment semantic(kModels);
  ASSERT_TRUE(semantic.SetParam("offset", 40.0f));
  EXPECT_FALSE(semantic.SetParam("no such parameter", 1.0f));
  EXPECT_FALSE(semantic.SetParam(nullptr, 1.0f));
  const cv::Mat image = RandomImage(9, 11, CV_8UC4);
  cv::Mat result;
  ASSERT_TRUE(semantic.Process(image, result));
  cv::Mat want;
  cv::add(Nearest(image, image.size(), 3), cv::Scalar(40), want);  // saturates at 255
  EXPECT_TRUE(Same(result, want));
}

TEST(FadeFilm, RendersIntoTheCallersOutputWithItsParameter) {
  QuorinFadeFilm fade;
  ASSERT_TRUE(fade.SetParam("level", 30.0f));
  EXPECT_FALSE(fade.SetParam("unknown", 30.0f));
  const cv::Mat input = RandomImage(7, 13, CV_8UC4);
  cv::Mat output(7, 13, CV_8UC4, cv::Scalar::all(0));
  ASSERT_TRUE(fade.Process(input, output));
  cv::Mat want;
  cv::add(input, cv::Scalar::all(30), want);
  EXPECT_TRUE(Same(output, want));

  // Sizes go to the module as they are; this one refuses unequal ones.
  cv::Mat smaller(6, 13, CV_8UC4, cv::Scalar::all(0));
  EXPECT_FALSE(fade.Process(input, smaller));
  EXPECT_EQ(kaz_test::ModuleStats(*GetQuorinFadeFilmSymbols()).lastOutput.height, 6);
  EXPECT_EQ(cv::norm(smaller, cv::NORM_INF), 0);
}

TEST(WiperSeg, GuideFrameIsPassedOnlyWhenGiven) {
  QuorinWiperSeg wiper;
  const auto binding = GetQuorinWiperSegSymbols();
  const cv::Mat image = RandomImage(15, 21, CV_8UC4);
  cv::Mat mask(15, 21, CV_8UC1, cv::Scalar(0));
  ASSERT_TRUE(wiper.Process(image, mask));
  EXPECT_EQ(kaz_test::ModuleStats(*binding).lastAux.pixels, nullptr);
  EXPECT_TRUE(Same(mask, Nearest(image, mask.size(), 2)));

  const cv::Mat guide = RandomImage(15, 21, CV_8UC1);
  ASSERT_TRUE(wiper.Process(image, mask, guide));
  EXPECT_EQ(kaz_test::ModuleStats(*binding).lastAux.pixels, guide.data);
  cv::Mat want;
  cv::max(Nearest(image, mask.size(), 2), guide, want);
  EXPECT_TRUE(Same(mask, want));
  EXPECT_FALSE(wiper.Process(image, mask, cv::Mat(15, 21, CV_8UC3)));
}

}  // namespace
