// SPDX-License-Identifier: MIT
// What still works with part of the runtime. Layout 1: the kernel lacks
// QuorinVideoOpenGLFrameMake, human segmentation lacks QuorinHumanSegmentOutputSizeSet, depth
// refuses every creation. Resolution stops at the first missing entry point: what came before
// it works (frame making, module creation), what came after it is null (frame freeing, module
// processing and destruction); the device type falls back, as binding_test checks. Layout 2: no
// kernel at all.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include "ai/frame_modules.h"
#include "ai/human_seg.h"
#include "ai/quorin_common.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;

namespace {

#if KAZ_LAYOUT == 1
TEST(PartialModule, HumanSegCreatesButCannotProcessOrDestroyNorFreeItsFrames) {
  const int framesBefore = kaz_test::LiveFrames();
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
  const KazModuleDoubleStats stats = kaz_test::ModuleStats(*GetQuorinHumanSegSymbols());
  EXPECT_EQ(std::vector<int>({stats.processCalls, stats.destroyCalls, stats.liveInstances,
                              kaz_test::LiveFrames() - framesBefore}),
            std::vector<int>({0, 0, 1, 2}));
}

TEST(CreateFails, UncreatedWrapperNeverCallsTheModuleNorLogs) {
  QuorinDepthEstimate depth("/models");
  ASSERT_FALSE(depth.Created());
  const cv::Mat image(4, 4, CV_8UC4, cv::Scalar::all(1));
  cv::Mat result(2, 2, CV_8UC1, cv::Scalar(6));
  LogCapture log;
  EXPECT_FALSE(depth.Process(image, result));
  EXPECT_EQ(kaz_test::ModuleStats(*GetQuorinDepthEstimationSymbols()).processCalls, 0);
  EXPECT_EQ(cv::countNonZero(result != 6), 0);
  EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

#elif KAZ_LAYOUT == 2
// No frame can be made, so the module is never called; one "API is null" line per frame.
TEST(KernelAbsent, HumanSegNeverGetsAFrame) {
  QuorinHumanSeg seg("", "", "/models", 2);
  ASSERT_TRUE(seg.Created());
  LogCapture log;
  const cv::Mat image(4, 4, CV_8UC4, cv::Scalar::all(1));
  cv::Mat mask(4, 4, CV_8UC1, cv::Scalar(6));
  EXPECT_FALSE(seg.Process(image, mask));
  EXPECT_EQ(kaz_test::ModuleStats(*GetQuorinHumanSegSymbols()).processCalls, 0);
  EXPECT_EQ(cv::countNonZero(mask != 6), 0);
  EXPECT_EQ(log.CountFormat(kKAZLogApiNull, 4), 2) << log.Dump();
}
#endif

}  // namespace
