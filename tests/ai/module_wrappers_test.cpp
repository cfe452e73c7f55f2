// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>

#include <opencv2/core.hpp>

#include "ai/fade_film.h"
#include "ai/frame_modules.h"
#include "ai/quorin_common.h"
#include "ai/wiper_seg.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;

namespace {

const char kModels[] = "/res/models";

int LiveFrames() { return kaz_test::KernelStats(*GetQuorinCommonSymbols()).liveFrames; }

cv::Mat RandomImage(int rows, int cols, int type) {
  cv::Mat image(rows, cols, type);
  cv::randu(image, 0, 256);
  return image;
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
  const char* modelPath;
  std::function<cv::Mat(const cv::Mat&)> expected;
};

void PrintTo(const OwnFrameCase& c, std::ostream* os) { *os << c.name; }

class OwnFrameModule : public ::testing::TestWithParam<OwnFrameCase> {};

bool Same(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

TEST_P(OwnFrameModule, CreatesWithItsModelCopiesItsFramesAndDestroys) {
  const OwnFrameCase& c = GetParam();
  const auto binding = c.binding();
  ASSERT_EQ(kaz_test::ScenarioOf(*binding), "modules");
  const KazModuleDoubleStats before = kaz_test::ModuleStats(*binding);
  LogCapture log;
  auto module = c.make();
  ASSERT_TRUE(module->Created());
  EXPECT_EQ(module->ModelPath(), c.modelPath);
  const KazModuleDoubleStats made = kaz_test::ModuleStats(*binding);
  EXPECT_STREQ(made.lastModelPath, c.modelPath);
  EXPECT_EQ(made.lastConfig.deviceType, KAZ_DOUBLE_DEVICE_TYPE);
  EXPECT_EQ(made.lastConfig.reserved, 0);
  EXPECT_EQ(made.lastConfig.threads, 4);
  EXPECT_EQ(log.CountText(std::string("load lib: ") + c.modelPath + " error\n"), 1) << log.Dump();

  const int framesBefore = LiveFrames();
  for (const cv::Size size : {cv::Size(33, 17), cv::Size(1, 1), cv::Size(2, 5)}) {
    const cv::Mat image = RandomImage(size.height, size.width, CV_8UC4);
    cv::Mat result;
    ASSERT_TRUE(module->Process(image, result)) << size;
    EXPECT_TRUE(Same(result, c.expected(image))) << size;
    EXPECT_EQ(kaz_test::ModuleStats(*binding).lastInput.pixels, image.data);
  }
  EXPECT_EQ(LiveFrames(), framesBefore) << "the module's frames go back to the kernel";

  module.reset();
  const KazModuleDoubleStats after = kaz_test::ModuleStats(*binding);
  EXPECT_EQ(after.destroyCalls, before.destroyCalls + 1);
  EXPECT_EQ(after.destroyNullCalls, before.destroyNullCalls);
  EXPECT_EQ(after.liveInstances, before.liveInstances);
}

TEST_P(OwnFrameModule, ResultOfTheRightSizeIsWrittenInPlace) {
  const OwnFrameCase& c = GetParam();
  auto module = c.make();
  const cv::Mat image = RandomImage(12, 10, CV_8UC4);
  const cv::Mat want = c.expected(image);
  cv::Mat result(want.size(), CV_8UC1, cv::Scalar(1));
  const uint8_t* pixels = result.data;
  ASSERT_TRUE(module->Process(image, result));
  EXPECT_EQ(result.data, pixels);
  EXPECT_TRUE(Same(result, want));
}

TEST_P(OwnFrameModule, FailedProcessStillReturnsTheFrameToTheKernel) {
  const OwnFrameCase& c = GetParam();
  auto module = c.make();
  const cv::Mat image = RandomImage(8, 8, CV_8UC4);
  cv::Mat result(3, 3, CV_8UC1, cv::Scalar(5));
  const int framesBefore = LiveFrames();
  setenv("KAZ_DOUBLE_FRAME_MODULE_FAIL", "1", 1);
  const bool ok = module->Process(image, result);
  unsetenv("KAZ_DOUBLE_FRAME_MODULE_FAIL");
  EXPECT_FALSE(ok);
  EXPECT_EQ(LiveFrames(), framesBefore);
  EXPECT_TRUE(Same(result, cv::Mat(3, 3, CV_8UC1, cv::Scalar(5))));
  EXPECT_FALSE(module->Process(cv::Mat(8, 8, CV_8UC3), result));
}

template <typename Wrapper>
std::function<std::unique_ptr<QuorinOwnFrameModule>()> Maker() {
  return [] { return std::make_unique<Wrapper>(kModels); };
}

INSTANTIATE_TEST_SUITE_P(
    Modules, OwnFrameModule,
    ::testing::Values(
        OwnFrameCase{
            "clothes", Maker<QuorinClothesSeg>(),
            [] { return std::shared_ptr<LibarySymbols>(GetQuorinClothesSegSymbols()); },
            "/res/models/clothes_segmentation/RQ_ClothesSegmentation_X86_Openivno_fp16.model",
            [](const cv::Mat& image) { return ChannelOf(image, 0); }},
        OwnFrameCase{
            "depth", Maker<QuorinDepthEstimate>(),
            [] { return std::shared_ptr<LibarySymbols>(GetQuorinDepthEstimationSymbols()); },
            "/res/models/depth_estimate/RQ_DepthEstimate_CPU_Openvino_Fp16_1.0.0.model",
            EverySecondGreen},
        OwnFrameCase{
            "skin", Maker<QuorinHumanSkinSegment>(),
            [] { return std::shared_ptr<LibarySymbols>(GetQuorinHumanSkinSegmentSymbols()); },
            "/res/models/human_skin_segment/"
            "RQ_HumanAttributeSegments_SkinSegment_CPU_OpenVino_FP32_v1.0.0.0.model",
            [](const cv::Mat& image) { return ChannelOf(image, 2); }},
        OwnFrameCase{
            "semantic", Maker<QuorinSemanticSegment>(),
            [] { return std::shared_ptr<LibarySymbols>(GetQuorinSemanticSegmentSymbols()); },
            "/res/models/semantic_segmentation/"
            "RQ_SemanticSegmentation_X86_Openvino_FP32_1.0.2.model",
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
  LogCapture log;
  QuorinFadeFilm fade;
  ASSERT_TRUE(fade.Created());
  const auto binding = GetQuorinFadeFilmSymbols();
  EXPECT_EQ(kaz_test::ModuleStats(*binding).lastConfig.deviceType, KAZ_DOUBLE_DEVICE_TYPE);
  // No model, so no creation line.
  EXPECT_EQ(log.CountFormat(kaz_test::kLoadLib), 0) << log.Dump();

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
  ASSERT_TRUE(wiper->Created());
  const auto binding = GetQuorinWiperSegSymbols();
  const cv::Mat image = RandomImage(15, 21, CV_8UC4);
  cv::Mat mask(15, 21, CV_8UC1, cv::Scalar(0));

  ASSERT_TRUE(wiper->Process(image, mask));
  EXPECT_EQ(kaz_test::ModuleStats(*binding).lastAux.present, 0);
  EXPECT_TRUE(Same(mask, ChannelOf(image, 2)));

  const cv::Mat guide = RandomImage(15, 21, CV_8UC1);
  ASSERT_TRUE(wiper->Process(image, mask, guide));
  const KazModuleDoubleStats stats = kaz_test::ModuleStats(*binding);
  EXPECT_EQ(stats.lastAux.present, 1);
  EXPECT_EQ(stats.lastAux.format, QUORIN_FORMAT_GRAY8_AUX);
  EXPECT_EQ(stats.lastAux.pixels, guide.data);
  cv::Mat want;
  cv::max(ChannelOf(image, 2), guide, want);
  EXPECT_TRUE(Same(mask, want));

  EXPECT_FALSE(wiper->Process(image, mask, cv::Mat(15, 21, CV_8UC3)));
}

}  // namespace
