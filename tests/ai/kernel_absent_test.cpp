// SPDX-License-Identifier: MIT
// Layout 2: no kernel, and the human segmentation double.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include "ai/human_seg.h"
#include "ai/quorin_common.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;

namespace {

// No frame can be made, so the module is never called; one "API is null" line per frame.
TEST(KernelAbsent, HumanSegNeverGetsAFrame) {
  const auto binding = GetQuorinHumanSegSymbols();
  QuorinHumanSeg seg("", "", "/models", 2);
  ASSERT_TRUE(seg.Created());
  LogCapture log;
  const cv::Mat image(4, 4, CV_8UC4, cv::Scalar::all(1));
  cv::Mat mask(4, 4, CV_8UC1, cv::Scalar(6));
  EXPECT_FALSE(seg.Process(image, mask));
  EXPECT_EQ(kaz_test::ModuleStats(*binding).processCalls, 0);
  EXPECT_EQ(cv::countNonZero(mask != 6), 0);
  EXPECT_EQ(log.CountFormat(kKAZLogApiNull, 4), 2) << log.Dump();
}

}  // namespace
