// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>
#include <vector>

#include <opencv2/core.hpp>

#include "ai/human_seg.h"
#include "ai/quorin_common.h"
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

// Sets the mask the double writes, for one test.
class MaskPattern {
 public:
  explicit MaskPattern(const char* pattern) { setenv("KAZ_DOUBLE_HUMANSEG_MASK", pattern, 1); }
  ~MaskPattern() { unsetenv("KAZ_DOUBLE_HUMANSEG_MASK"); }
};

struct VariantCase {
  int32_t variant;
  const char* file;  // "" when the variant selects none
};

class HumanSegVariant : public ::testing::TestWithParam<VariantCase> {};

TEST_P(HumanSegVariant, ModelPathConfigurationAndCreationLine) {
  const VariantCase c = GetParam();
  const std::string path = std::string(kModels) + c.file;
  const KazModuleDoubleStats before = SegStats();
  LogCapture log;
  {
    QuorinHumanSeg seg("first", "second", kModels, c.variant);
    EXPECT_EQ(seg.ModelPath(), path);
    EXPECT_EQ(seg.First(), "first");
    EXPECT_EQ(seg.Second(), "second");
    const KazModuleDoubleStats made = SegStats();
    EXPECT_EQ(made.createCalls, before.createCalls + 1);
    EXPECT_STREQ(made.lastModelPath, path.c_str());
    EXPECT_EQ(made.lastConfig.deviceType, KAZ_DOUBLE_DEVICE_TYPE);
    EXPECT_EQ(made.lastConfig.reserved, 0);
    EXPECT_EQ(made.lastConfig.threads, 4);
    // The double refuses a model path that is only the directory, as the real module does.
    EXPECT_EQ(seg.Created(), *c.file != '\0');
    EXPECT_EQ(made.liveInstances, before.liveInstances + (seg.Created() ? 1 : 0));

    // The creation line is written whether creation worked or not, and nothing else is.
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u) << log.Dump();
    EXPECT_EQ(lines[0].level, 2);
    EXPECT_EQ(lines[0].format, kaz_test::kLoadLib);
    EXPECT_EQ(lines[0].text, "load lib: " + path + " error\n");

    if (!seg.Created()) {
      cv::Mat image = RandomImage(8, 8, CV_8UC4), mask(8, 8, CV_8UC1, cv::Scalar(42));
      EXPECT_FALSE(seg.Process(image, mask));
      EXPECT_EQ(SegStats().processCalls, before.processCalls);
      EXPECT_EQ(cv::countNonZero(mask != 42), 0);
      EXPECT_EQ(log.Lines().size(), 1u) << log.Dump();
    }
  }
  const KazModuleDoubleStats after = SegStats();
  EXPECT_EQ(after.destroyCalls, before.destroyCalls + 1);
  // A failed creation still destroys, with the null instance.
  EXPECT_EQ(after.destroyNullCalls, before.destroyNullCalls + (*c.file == '\0' ? 1 : 0));
  EXPECT_EQ(after.liveInstances, before.liveInstances);
  EXPECT_EQ(after.sizeCalls, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Variants, HumanSegVariant,
    ::testing::Values(
        VariantCase{0,
                    "/humansegmentation_capture/RQ_HumanSegmentCapture_Openvino_Fp16_V3.0.1.model"},
        VariantCase{1,
                    "/humansegmentation_effect/"
                    "RQ_EffectHumanSegment_X86_CPU_Openvino_Fp16_2.4.1.1.model"},
        VariantCase{2,
                    "/humansegmentation_highacc/"
                    "RQ_HumanSegmentHighAcc_CPU_Openvino_INT8_3.1.0.5.model"},
        VariantCase{3,
                    "/humansegmentation_hair/RQ_HumanSegmentHair_CPU_Openvino_Fp16_V4.0.8.model"},
        VariantCase{5, ""}, VariantCase{-1, ""}));

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
  EXPECT_EQ(stats.lastInput.format, QUORIN_FORMAT_BGRA8);
  EXPECT_EQ(stats.lastInput.pixels, image.data);
  EXPECT_EQ(stats.lastInput.stride, 37 * 4);
  EXPECT_EQ(stats.lastOutput.format, QUORIN_FORMAT_GRAY8);
  EXPECT_EQ(stats.lastOutput.pixels, mask.data);
  EXPECT_EQ(stats.lastOutput.stride, 37);
  EXPECT_EQ(LiveFrames(), framesBefore) << "both frames go back to the kernel";
  EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST(HumanSeg, MaskOfAnotherSizeGoesToTheModuleAsItIs) {
  MaskPattern pattern("channel:3");
  QuorinHumanSeg seg("", "", kModels, 1);
  const cv::Mat image = RandomImage(48, 64, CV_8UC4);
  cv::Mat mask(10, 20, CV_8UC1);
  ASSERT_TRUE(seg.Process(image, mask));

  const KazModuleDoubleStats stats = SegStats();
  EXPECT_EQ(stats.lastInput.width, 64);
  EXPECT_EQ(stats.lastInput.height, 48);
  EXPECT_EQ(stats.lastOutput.width, 20);
  EXPECT_EQ(stats.lastOutput.height, 10);
  for (int y = 0; y < 10; ++y) {
    for (int x = 0; x < 20; ++x) {
      ASSERT_EQ(mask.at<uint8_t>(y, x), image.at<cv::Vec4b>(y * 48 / 10, x * 64 / 20)[3]);
    }
  }
}

TEST(HumanSeg, RegionsOfLargerImagesKeepTheirRowStep) {
  MaskPattern pattern("channel:2");
  QuorinHumanSeg seg("", "", kModels, 2);
  const cv::Mat whole = RandomImage(40, 50, CV_8UC4);
  const cv::Mat image = whole(cv::Rect(5, 7, 21, 13));
  cv::Mat maskWhole(30, 40, CV_8UC1, cv::Scalar(200));
  cv::Mat mask = maskWhole(cv::Rect(2, 3, 21, 13));
  ASSERT_TRUE(seg.Process(image, mask));

  cv::Mat red;
  cv::extractChannel(image, red, 2);
  EXPECT_EQ(cv::countNonZero(mask != red), 0);
  EXPECT_EQ(SegStats().lastInput.stride, 50 * 4);
  EXPECT_EQ(SegStats().lastOutput.stride, 40);
  // Outside the region nothing was written.
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

TEST(HumanSeg, TwoWrappersShareTheBindingButNotTheInstance) {
  const auto binding = GetQuorinHumanSegSymbols();
  const KazModuleDoubleStats before = SegStats();
  {
    QuorinHumanSeg a("", "", kModels, 2), b("", "", kModels, 3);
    ASSERT_TRUE(a.Created());
    ASSERT_TRUE(b.Created());
    EXPECT_EQ(SegStats().liveInstances, before.liveInstances + 2);
    EXPECT_EQ(GetQuorinHumanSegSymbols(), binding);
    MaskPattern pattern("fill:1");
    const cv::Mat image(4, 4, CV_8UC4, cv::Scalar::all(0));
    cv::Mat mask(4, 4, CV_8UC1);
    EXPECT_TRUE(a.Process(image, mask));
    EXPECT_TRUE(b.Process(image, mask));
  }
  EXPECT_EQ(SegStats().liveInstances, before.liveInstances);
  EXPECT_EQ(SegStats().destroyCalls, before.destroyCalls + 2);
}

}  // namespace
