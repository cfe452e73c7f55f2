// SPDX-License-Identifier: MIT
// Process whose kernel lacks QuorinVideoOpenGLFrameMake and whose human segmentation module
// lacks QuorinHumanSegmentOutputSizeSet; both still export the entry points after those.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include "ai/human_seg.h"
#include "ai/quorin_common.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;

namespace {

TEST(PartialBinding, KernelStopsAtTheFirstMissingEntryPoint) {
  const auto kernel = GetQuorinCommonSymbols();
  ASSERT_NE(kernel->ModuleHandle(), nullptr) << "a partly bound library stays loaded";
  ASSERT_EQ(kaz_test::ScenarioOf(*kernel), "kernel_lacking");
  EXPECT_NE(kernel->QuorinVideoFrameAlloc, nullptr);
  EXPECT_NE(kernel->QuorinVideoFrameMake, nullptr);
  EXPECT_EQ(kernel->QuorinVideoOpenGLFrameMake, nullptr);
  EXPECT_EQ(kernel->QuorinFrameFree, nullptr);
  EXPECT_EQ(kernel->QuorinDefaultDeviceTypeGet, nullptr);
  auto frameFree = kaz_test::DoubleExport<void(QuorinFrame*)>(*kernel, "QuorinFrameFree");
  ASSERT_NE(frameFree, nullptr) << "the library does export what was left unbound";

  const LogCapture all = LogCapture::FromProcessStart();
  EXPECT_EQ(all.CountText("load func (QuorinVideoOpenGLFrameMake) from (libquorin_kernel.so) "
                          "failed!\n"),
            1)
      << all.Dump();
  EXPECT_EQ(all.CountText("load lib: libquorin_kernel.so error\n"), 1);
  EXPECT_EQ(all.CountFormat(kaz_test::kLoadFunc, 4), all.CountFormat(kaz_test::kLoadFunc));

  // What was resolved before the gap keeps working; what follows it fails softly.
  LogCapture log;
  uint8_t pixels[8] = {};
  uint8_t* const planes[3] = {pixels, nullptr, nullptr};
  const int32_t strides[3] = {8, 0, 0};
  QuorinFrame* frame = MakeKernelFrame(planes, QUORIN_FORMAT_BGRA8, 0, 2, 1, strides, 0);
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->planes[0], pixels);
  FreeKernelFrame(frame);
  EXPECT_EQ(GetDefaultDeviceType(), 16);
  EXPECT_EQ(log.CountFormat(kaz_test::kApiNull, 4), 2) << log.Dump();
  EXPECT_EQ(kaz_test::KernelStats(*kernel).liveFrames, 1);
  frameFree(frame);
  EXPECT_EQ(kaz_test::KernelStats(*kernel).liveFrames, 0);
}

TEST(PartialBinding, LoadingAgainChangesNothing) {
  const auto binding = GetQuorinHumanSegSymbols();
  LogCapture log;
  EXPECT_TRUE(binding->Load());
  EXPECT_EQ(binding->QuorinHumanSegmentProcess, nullptr);
  EXPECT_EQ(GetQuorinHumanSegSymbols(), binding);
  EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST(PartialBinding, HumanSegCreatesButCannotProcessOrDestroy) {
  const auto binding = GetQuorinHumanSegSymbols();
  ASSERT_EQ(kaz_test::ScenarioOf(*binding), "humanseg_lacking");
  EXPECT_NE(binding->QuorinHumanSegmentCreate, nullptr);
  EXPECT_NE(binding->QuorinHumanSegmentInputSizeGet, nullptr);
  EXPECT_EQ(binding->QuorinHumanSegmentOutputSizeSet, nullptr);
  EXPECT_EQ(binding->QuorinHumanSegmentProcess, nullptr);
  EXPECT_EQ(binding->QuorinHumanSegmentDestroy, nullptr);
  const LogCapture all = LogCapture::FromProcessStart();
  EXPECT_EQ(all.CountText("load func (QuorinHumanSegmentOutputSizeSet) from "
                          "(libquorin_module_human_segment.so) failed!\n"),
            1)
      << all.Dump();
  EXPECT_EQ(all.CountText("load lib: libquorin_module_human_segment.so error\n"), 1);

  const cv::Mat image(4, 4, CV_8UC4, cv::Scalar::all(1));
  cv::Mat mask(4, 4, CV_8UC1, cv::Scalar(6));
  {
    QuorinHumanSeg seg("", "", "/models", 3);
    EXPECT_TRUE(seg.Created());
    EXPECT_EQ(kaz_test::ModuleStats(*binding).lastConfig.deviceType, 16);
    LogCapture log;
    EXPECT_FALSE(seg.Process(image, mask));
    // The missing process call, then the two frames that cannot be returned to this kernel.
    EXPECT_EQ(log.CountFormat(kaz_test::kApiNull, 4), 3) << log.Dump();
    EXPECT_EQ(cv::countNonZero(mask != 6), 0);
  }
  const KazModuleDoubleStats stats = kaz_test::ModuleStats(*binding);
  EXPECT_EQ(stats.processCalls, 0);
  EXPECT_EQ(stats.destroyCalls, 0);
  EXPECT_EQ(stats.liveInstances, 1);
  EXPECT_EQ(kaz_test::KernelStats(*GetQuorinCommonSymbols()).liveFrames, 2);

  // Left behind by the missing entry points; released here so leak checks stay meaningful.
  auto releaseInstances = kaz_test::DoubleExport<void()>(*binding, "KazModuleDoubleReleaseAll");
  auto releaseFrames =
      kaz_test::DoubleExport<void()>(*GetQuorinCommonSymbols(), "KazKernelDoubleReleaseAll");
  ASSERT_NE(releaseInstances, nullptr);
  ASSERT_NE(releaseFrames, nullptr);
  releaseInstances();
  releaseFrames();
  EXPECT_EQ(kaz_test::KernelStats(*GetQuorinCommonSymbols()).liveFrames, 0);
}

}  // namespace
