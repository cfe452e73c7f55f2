// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>
#include <tuple>
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
int LiveFrames() { return kaz_test::KernelStats(*GetQuorinCommonSymbols()).liveFrames; }

cv::Mat RandomImage(int rows, int cols, int type) {
  cv::Mat image(rows, cols, type);
  cv::randu(image, 0, 256);
  return image;
}

bool Same(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

// Sets the mask the double writes, for one test.
class MaskPattern {
 public:
  explicit MaskPattern(const char* pattern) { setenv("KAZ_DOUBLE_HUMANSEG_MASK", pattern, 1); }
  ~MaskPattern() { unsetenv("KAZ_DOUBLE_HUMANSEG_MASK"); }
};

// The variant picks the model file; an unknown one picks none, and the module refuses the bare
// directory as the real one does.
class HumanSegVariant : public ::testing::TestWithParam<std::pair<int32_t, const char*>> {};

TEST_P(HumanSegVariant, PicksTheModelFile) {
  const auto& [variant, file] = GetParam();
  QuorinHumanSeg seg("first", "second", kModels, variant);
  EXPECT_EQ(seg.ModelPath(), std::string(kModels) + file);
  EXPECT_STREQ(SegStats().lastModelPath, seg.ModelPath().c_str());
  EXPECT_EQ(seg.Created(), *file != '\0');
  cv::Mat image = RandomImage(8, 8, CV_8UC4), mask(8, 8, CV_8UC1, cv::Scalar(42));
  const int calls = SegStats().processCalls;
  LogCapture log;
  EXPECT_EQ(seg.Process(image, mask), seg.Created());
  EXPECT_EQ(SegStats().processCalls, calls + (seg.Created() ? 1 : 0));
  EXPECT_TRUE(log.Lines().empty()) << log.Dump();
  EXPECT_TRUE(seg.Created() || cv::countNonZero(mask != 42) == 0);
}

INSTANTIATE_TEST_SUITE_P(
    Variants, HumanSegVariant,
    ::testing::Values(
        std::pair{0,
                  "/humansegmentation_capture/RQ_HumanSegmentCapture_Openvino_Fp16_V3.0.1.model"},
        std::pair{1,
                  "/humansegmentation_effect/"
                  "RQ_EffectHumanSegment_X86_CPU_Openvino_Fp16_2.4.1.1.model"},
        std::pair{2,
                  "/humansegmentation_highacc/"
                  "RQ_HumanSegmentHighAcc_CPU_Openvino_INT8_3.1.0.5.model"},
        std::pair{3, "/humansegmentation_hair/RQ_HumanSegmentHair_CPU_Openvino_Fp16_V4.0.8.model"},
        std::pair{4, ""}, std::pair{5, ""}, std::pair{-1, ""}));

TEST(HumanSeg, WritesTheModuleMaskThroughFramesOverTheCallersPixels) {
  MaskPattern pattern("ramp");
  QuorinHumanSeg seg("", "", kModels, 2);
  ASSERT_TRUE(seg.Created());
  const int framesBefore = LiveFrames();
  const cv::Mat image = RandomImage(23, 37, CV_8UC4);
  cv::Mat mask(23, 37, CV_8UC1, cv::Scalar(0));
  LogCapture log;

  ASSERT_TRUE(seg.Process(image, mask));
  for (int y = 0; y < mask.rows; ++y) {
    for (int x = 0; x < mask.cols; ++x) {
      ASSERT_EQ(mask.at<uint8_t>(y, x), (x + 2 * y) % 256) << x << "," << y;
    }
  }
  const KazModuleDoubleStats stats = SegStats();
  EXPECT_EQ(
      std::make_tuple(stats.lastInput.format, stats.lastInput.pixels, stats.lastInput.stride,
                      stats.lastOutput.format, stats.lastOutput.pixels, stats.lastOutput.stride),
      std::make_tuple(QUORIN_FORMAT_BGRA8, image.data, 37 * 4, QUORIN_FORMAT_GRAY8, mask.data, 37));
  EXPECT_EQ(LiveFrames(), framesBefore) << "both frames go back to the kernel";
  EXPECT_EQ(stats.sizeCalls, 0) << "the module gets the caller's sizes, never asked for its own";
  EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

// A region of a larger image and a mask of another size, itself a region: both go to the module
// as they are, with their own row steps, and nothing outside the mask region is written.
TEST(HumanSeg, RegionsAndMasksOfAnotherSizeGoAsTheyAre) {
  MaskPattern pattern("channel:2");
  QuorinHumanSeg seg("", "", kModels, 1);
  const cv::Mat whole = RandomImage(60, 70, CV_8UC4);
  const cv::Mat image = whole(cv::Rect(5, 7, 64, 48));
  cv::Mat maskWhole(30, 40, CV_8UC1, cv::Scalar(200));
  cv::Mat mask = maskWhole(cv::Rect(2, 3, 20, 10));
  ASSERT_TRUE(seg.Process(image, mask));

  const KazModuleDoubleStats stats = SegStats();
  EXPECT_EQ(
      std::vector<int>({stats.lastInput.width, stats.lastInput.height, stats.lastInput.stride,
                        stats.lastOutput.width, stats.lastOutput.height, stats.lastOutput.stride}),
      std::vector<int>({64, 48, 70 * 4, 20, 10, 40}));
  for (int y = 0; y < 10; ++y) {
    for (int x = 0; x < 20; ++x) {
      ASSERT_EQ(mask.at<uint8_t>(y, x), image.at<cv::Vec4b>(y * 48 / 10, x * 64 / 20)[2]);
    }
  }
  mask.setTo(200);
  EXPECT_EQ(cv::countNonZero(maskWhole != 200), 0);
}

TEST(HumanSeg, FailedProcessLeavesWhateverTheModuleWrote) {
  QuorinHumanSeg seg("", "", kModels, 2);
  const cv::Mat image = RandomImage(6, 9, CV_8UC4);
  cv::Mat mask(6, 9, CV_8UC1, cv::Scalar(3));
  const int framesBefore = LiveFrames();
  {
    MaskPattern pattern("fail:77");
    EXPECT_FALSE(seg.Process(image, mask));
    EXPECT_EQ(cv::countNonZero(mask != 77), 0);
  }
  {
    MaskPattern pattern("fail");
    mask.setTo(3);
    EXPECT_FALSE(seg.Process(image, mask));
    EXPECT_EQ(cv::countNonZero(mask != 3), 0);
  }
  EXPECT_EQ(LiveFrames(), framesBefore);
  // The wrapper stays usable after a failed call.
  MaskPattern pattern("fill:255");
  EXPECT_TRUE(seg.Process(image, mask));
  EXPECT_EQ(cv::countNonZero(mask != 255), 0);
}

TEST(HumanSeg, ImagesOfTheWrongKindNeverReachTheModule) {
  QuorinHumanSeg seg("", "", kModels, 2);
  const int calls = SegStats().processCalls;
  const int made = kaz_test::KernelStats(*GetQuorinCommonSymbols()).makeCalls;
  const cv::Mat bgra = RandomImage(4, 4, CV_8UC4), bgr = RandomImage(4, 4, CV_8UC3);
  cv::Mat mask(4, 4, CV_8UC1), wideMask(4, 4, CV_16UC1), none;
  LogCapture log;
  EXPECT_FALSE(seg.Process(bgr, mask));
  EXPECT_FALSE(seg.Process(bgra, wideMask));
  EXPECT_FALSE(seg.Process(bgra, none));
  EXPECT_FALSE(seg.Process(cv::Mat(), mask));
  EXPECT_EQ(SegStats().processCalls, calls);
  EXPECT_EQ(kaz_test::KernelStats(*GetQuorinCommonSymbols()).makeCalls, made);
  EXPECT_EQ(log.Lines().size(), 4u) << log.Dump();
  for (const auto& line : log.Lines()) EXPECT_EQ(line.level, 4);
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
  for (int count : successes) EXPECT_EQ(count, 10);
  EXPECT_EQ(SegStats().overlaps, overlapsBefore);
}

TEST(KernelFrames, MakePassesTheSevenArgumentsInOrderAndFreeReturnsTheFrame) {
  const auto kernel = GetQuorinCommonSymbols();
  const KazKernelDoubleStats before = kaz_test::KernelStats(*kernel);
  uint8_t pixels[4 * 8 * 3] = {};
  uint8_t* const planes[3] = {pixels, pixels + 1, pixels + 2};
  const int32_t strides[3] = {32, 5, 6};
  // Distinct values everywhere, so a swapped pair of arguments shows.
  QuorinFrame* frame = MakeKernelFrame(planes, QUORIN_FORMAT_BGRA8, 11, 7, 3, strides, 22);
  ASSERT_NE(frame, nullptr);
  const KazKernelDoubleStats made = kaz_test::KernelStats(*kernel);
  EXPECT_EQ(std::vector<int64_t>({frame->format, frame->width, frame->height, frame->strides[0],
                                  frame->strides[1], frame->strides[2], made.lastReserved0,
                                  made.lastReserved1, made.liveFrames - before.liveFrames}),
            std::vector<int64_t>({QUORIN_FORMAT_BGRA8, 7, 3, 32, 5, 6, 11, 22, 1}));
  EXPECT_TRUE(std::equal(planes, planes + 3, frame->planes));

  FreeKernelFrame(frame);
  const KazKernelDoubleStats after = kaz_test::KernelStats(*kernel);
  EXPECT_EQ(std::vector<int>({after.liveFrames, after.freeCalls, after.unknownFrees}),
            std::vector<int>({before.liveFrames, before.freeCalls + 1, 0}));
}

// What each double hands back, computed here from the image (see frame_module_double.c).
cv::Mat ChannelOf(const cv::Mat& image, int channel) {
  cv::Mat plane;
  cv::extractChannel(image, plane, channel);
  return plane;
}

cv::Mat EverySecondGreen(const cv::Mat& image) {
  cv::Mat out((image.rows + 1) / 2, (image.cols + 1) / 2, CV_8UC1);
  for (int y = 0; y < out.rows; ++y) {
    for (int x = 0; x < out.cols; ++x) out.at<uint8_t>(y, x) = image.at<cv::Vec4b>(2 * y, 2 * x)[1];
  }
  return out;
}

struct OwnFrameCase {
  const char* name;
  std::function<std::unique_ptr<QuorinOwnFrameModule>()> make;
  std::function<std::shared_ptr<LibarySymbols>()> binding;
  std::function<cv::Mat(const cv::Mat&)> expected;
};

void PrintTo(const OwnFrameCase& c, std::ostream* os) { *os << c.name; }

class OwnFrameModule : public ::testing::TestWithParam<OwnFrameCase> {};

// Each module hands back a frame of its own, laid out its own way; the result is copied out
// (into the caller's image when it has the right size) and the frame goes back to the kernel,
// also when the module fails.
TEST_P(OwnFrameModule, CopiesItsFramesAndReturnsThemToTheKernel) {
  const OwnFrameCase& c = GetParam();
  auto module = c.make();
  const int framesBefore = LiveFrames();
  for (const cv::Size size : {cv::Size(33, 17), cv::Size(1, 1), cv::Size(2, 5)}) {
    const cv::Mat image = RandomImage(size.height, size.width, CV_8UC4);
    cv::Mat result;
    ASSERT_TRUE(module->Process(image, result)) << size;
    EXPECT_TRUE(Same(result, c.expected(image))) << size;
    EXPECT_EQ(kaz_test::ModuleStats(*c.binding()).lastInput.pixels, image.data);
    const uint8_t* pixels = result.data;
    ASSERT_TRUE(module->Process(image, result));
    EXPECT_EQ(result.data, pixels) << "written in place";
  }
  const cv::Mat image = RandomImage(8, 8, CV_8UC4);
  cv::Mat result(3, 3, CV_8UC1, cv::Scalar(5));
  setenv("KAZ_DOUBLE_FRAME_MODULE_FAIL", "1", 1);
  const bool ok = module->Process(image, result);
  unsetenv("KAZ_DOUBLE_FRAME_MODULE_FAIL");
  EXPECT_FALSE(ok);
  EXPECT_TRUE(Same(result, cv::Mat(3, 3, CV_8UC1, cv::Scalar(5))));
  EXPECT_FALSE(module->Process(cv::Mat(8, 8, CV_8UC3), result));
  EXPECT_EQ(LiveFrames(), framesBefore);
}

template <typename Wrapper>
std::function<std::unique_ptr<QuorinOwnFrameModule>()> Maker() {
  return [] { return std::make_unique<Wrapper>(kModels); };
}
template <auto Get>
std::shared_ptr<LibarySymbols> Bound() {
  return Get();
}

INSTANTIATE_TEST_SUITE_P(
    Modules, OwnFrameModule,
    ::testing::Values(OwnFrameCase{"clothes", Maker<QuorinClothesSeg>(),
                                   Bound<GetQuorinClothesSegSymbols>,
                                   [](const cv::Mat& image) { return ChannelOf(image, 0); }},
                      OwnFrameCase{"depth", Maker<QuorinDepthEstimate>(),
                                   Bound<GetQuorinDepthEstimationSymbols>, EverySecondGreen},
                      OwnFrameCase{"skin", Maker<QuorinHumanSkinSegment>(),
                                   Bound<GetQuorinHumanSkinSegmentSymbols>,
                                   [](const cv::Mat& image) { return ChannelOf(image, 2); }},
                      OwnFrameCase{"semantic", Maker<QuorinSemanticSegment>(),
                                   Bound<GetQuorinSemanticSegmentSymbols>,
                                   [](const cv::Mat& image) { return ChannelOf(image, 3); }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SemanticSegment, ParameterReachesTheModuleBeforeProcessing) {
  QuorinSemanticSegment semantic(kModels);
  const auto binding = GetQuorinSemanticSegmentSymbols();
  ASSERT_TRUE(semantic.SetParam("offset", 40.0f));
  EXPECT_STREQ(kaz_test::ModuleStats(*binding).lastParamName, "offset");
  EXPECT_EQ(kaz_test::ModuleStats(*binding).lastParamValue, 40.0f);
  EXPECT_FALSE(semantic.SetParam("no such parameter", 1.0f));
  EXPECT_FALSE(semantic.SetParam(nullptr, 1.0f));

  const cv::Mat image = RandomImage(9, 11, CV_8UC4);
  cv::Mat result;
  ASSERT_TRUE(semantic.Process(image, result));
  cv::Mat want;
  cv::add(ChannelOf(image, 3), cv::Scalar(40), want);  // saturates at 255
  EXPECT_TRUE(Same(result, want));
}

TEST(FadeFilm, RendersIntoTheCallersOutputWithItsParameter) {
  QuorinFadeFilm fade;
  const auto binding = GetQuorinFadeFilmSymbols();
  ASSERT_TRUE(fade.SetParam("level", 30.0f));
  EXPECT_FALSE(fade.SetParam("unknown", 30.0f));
  const cv::Mat whole = RandomImage(20, 20, CV_8UC4);
  const cv::Mat input = whole(cv::Rect(1, 2, 13, 7));
  cv::Mat output(7, 13, CV_8UC4, cv::Scalar::all(0));
  const int framesBefore = LiveFrames();
  ASSERT_TRUE(fade.Process(input, output));
  cv::Mat want;
  cv::add(input, cv::Scalar::all(30), want);
  EXPECT_TRUE(Same(output, want));
  EXPECT_EQ(LiveFrames(), framesBefore);

  // Sizes go to the module as they are; this one refuses unequal ones.
  cv::Mat smaller(6, 13, CV_8UC4, cv::Scalar::all(0));
  EXPECT_FALSE(fade.Process(input, smaller));
  EXPECT_EQ(kaz_test::ModuleStats(*binding).lastOutput.height, 6);
  EXPECT_EQ(cv::norm(smaller, cv::NORM_INF), 0);
}

TEST(WiperSeg, GuideFrameIsPassedOnlyWhenGiven) {
  auto wiper = std::make_shared<QuorinWiperSeg>();
  const auto binding = GetQuorinWiperSegSymbols();
  const cv::Mat image = RandomImage(15, 21, CV_8UC4);
  cv::Mat mask(15, 21, CV_8UC1, cv::Scalar(0));

  ASSERT_TRUE(wiper->Process(image, mask));
  EXPECT_EQ(kaz_test::ModuleStats(*binding).lastAux.present, 0);
  EXPECT_TRUE(Same(mask, ChannelOf(image, 2)));

  const cv::Mat guide = RandomImage(15, 21, CV_8UC1);
  ASSERT_TRUE(wiper->Process(image, mask, guide));
  const KazModuleDoubleStats stats = kaz_test::ModuleStats(*binding);
  EXPECT_EQ(std::make_tuple(stats.lastAux.present, stats.lastAux.format, stats.lastAux.pixels),
            std::make_tuple(1, QUORIN_FORMAT_GRAY8_AUX, guide.data));
  cv::Mat want;
  cv::max(ChannelOf(image, 2), guide, want);
  EXPECT_TRUE(Same(mask, want));

  EXPECT_FALSE(wiper->Process(image, mask, cv::Mat(15, 21, CV_8UC3)));
}

}  // namespace
