// SPDX-License-Identifier: MIT
// What a partly bound kernel and module still do (layout 1: the kernel lacks
// QuorinVideoOpenGLFrameMake, human segmentation lacks QuorinHumanSegmentOutputSizeSet, depth
// refuses every creation). Resolution stops at the first missing entry point: what came before
// it works, what came after it is null.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include "ai/frame_modules.h"
#include "ai/human_seg.h"
#include "ai/quorin_common.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;

namespace {

TEST(PartialKernel, FramesAreMadeButNeverFreedAndTheDeviceFallsBack) {
  const int framesBefore = kaz_test::KernelStats().liveFrames;
  LogCapture log;
  uint8_t pixels[8] = {};
  uint8_t* const planes[3] = {pixels, nullptr, nullptr};
  const int32_t strides[3] = {8, 0, 0};
  QuorinFrame* frame = MakeKernelFrame(planes, QUORIN_FORMAT_BGRA8, 0, 2, 1, strides, 0);
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->planes[0], pixels);
  FreeKernelFrame(frame);
  EXPECT_EQ(GetDefaultDeviceType(), 16);
  EXPECT_EQ(log.CountFormat(kKAZLogApiNull, 4), 2) << log.Dump();
  EXPECT_EQ(kaz_test::KernelStats().liveFrames, framesBefore + 1);
}

TEST(PartialModule, HumanSegCreatesButCannotProcessOrDestroy) {
  const auto binding = GetQuorinHumanSegSymbols();
  const int framesBefore = kaz_test::KernelStats().liveFrames;
  const cv::Mat image(4, 4, CV_8UC4, cv::Scalar::all(1));
  cv::Mat mask(4, 4, CV_8UC1, cv::Scalar(6));
  {
    QuorinHumanSeg seg("", "", "/models", 3);
    EXPECT_TRUE(seg.Created());
    LogCapture log;
    EXPECT_FALSE(seg.Process(image, mask));
    // The missing process call, then the two frames that cannot be returned to this kernel.
    EXPECT_EQ(log.CountFormat(kKAZLogApiNull, 4), 3) << log.Dump();
    EXPECT_EQ(cv::countNonZero(mask != 6), 0);
  }
  const KazModuleDoubleStats stats = kaz_test::ModuleStats(*binding);
  EXPECT_EQ(std::vector<int>({stats.processCalls, stats.destroyCalls, stats.liveInstances,
                              kaz_test::KernelStats().liveFrames - framesBefore}),
            std::vector<int>({0, 0, 1, 2}));
}

TEST(CreateFails, UncreatedWrapperNeverCallsTheModuleNorLogs) {
  QuorinDepthEstimate depth("/models");
  ASSERT_FALSE(depth.Created());
  const auto binding = GetQuorinDepthEstimationSymbols();
  const cv::Mat image(4, 4, CV_8UC4, cv::Scalar::all(1));
  cv::Mat result(2, 2, CV_8UC1, cv::Scalar(6));
  LogCapture log;
  EXPECT_FALSE(depth.Process(image, result));
  EXPECT_EQ(kaz_test::ModuleStats(*binding).processCalls, 0);
  EXPECT_EQ(cv::countNonZero(result != 6), 0);
  EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

}  // namespace
