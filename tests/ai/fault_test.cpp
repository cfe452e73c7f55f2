// SPDX-License-Identifier: MIT
// What a partly bound kernel and module still do (layout 1: the kernel lacks
// QuorinVideoOpenGLFrameMake, human segmentation lacks QuorinHumanSegmentOutputSizeSet, depth
// refuses every creation).
#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include "ai/frame_modules.h"
#include "ai/human_seg.h"
#include "ai/quorin_common.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;

namespace {

TEST(PartialKernel, WhatWasResolvedWorksAndTheRestFailsSoftly) {
  const auto kernel = GetQuorinCommonSymbols();
  auto frameFree = kaz_test::DoubleExport<void(QuorinFrame*)>(*kernel, "QuorinFrameFree");
  ASSERT_NE(frameFree, nullptr);
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
}

TEST(PartialModule, HumanSegCreatesButCannotProcessOrDestroy) {
  const auto binding = GetQuorinHumanSegSymbols();
  const cv::Mat image(4, 4, CV_8UC4, cv::Scalar::all(1));
  cv::Mat mask(4, 4, CV_8UC1, cv::Scalar(6));
  {
    QuorinHumanSeg seg("", "", "/models", 3);
    EXPECT_TRUE(seg.Created());
    LogCapture log;
    EXPECT_FALSE(seg.Process(image, mask));
    // The missing process call, then the two frames that cannot be returned to this kernel.
    EXPECT_EQ(log.CountFormat(kaz_test::kApiNull, 4), 3) << log.Dump();
    EXPECT_EQ(cv::countNonZero(mask != 6), 0);
  }
  const KazModuleDoubleStats stats = kaz_test::ModuleStats(*binding);
  const auto kernel = GetQuorinCommonSymbols();
  EXPECT_EQ(std::vector<int>({stats.processCalls, stats.destroyCalls, stats.liveInstances,
                              kaz_test::KernelStats(*kernel).liveFrames}),
            std::vector<int>({0, 0, 1, 2}));

  // Left behind by the missing entry points; released here so leak checks stay meaningful.
  auto releaseInstances = kaz_test::DoubleExport<void()>(*binding, "KazModuleDoubleReleaseAll");
  auto releaseFrames = kaz_test::DoubleExport<void()>(*kernel, "KazKernelDoubleReleaseAll");
  ASSERT_NE(releaseInstances, nullptr);
  ASSERT_NE(releaseFrames, nullptr);
  releaseInstances();
  releaseFrames();
  EXPECT_EQ(kaz_test::KernelStats(*kernel).liveFrames, 0);
}

TEST(CreateFails, UncreatedWrapperNeverCallsTheModuleNorLogs) {
  QuorinDepthEstimate depth("/models");
  ASSERT_FALSE(depth.Created());
  const auto binding = GetQuorinDepthEstimationSymbols();
  const int calls = kaz_test::ModuleStats(*binding).processCalls;
  const cv::Mat image(4, 4, CV_8UC4, cv::Scalar::all(1));
  cv::Mat result(2, 2, CV_8UC1, cv::Scalar(6));
  LogCapture log;
  EXPECT_FALSE(depth.Process(image, result));
  EXPECT_FALSE(depth.Process(image, result));
  EXPECT_EQ(kaz_test::ModuleStats(*binding).processCalls, calls);
  EXPECT_EQ(cv::countNonZero(result != 6), 0);
  EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

}  // namespace
