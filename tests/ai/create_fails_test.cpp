// SPDX-License-Identifier: MIT
// Process whose human segmentation module refuses every creation.
#include <gtest/gtest.h>

#include <memory>

#include <opencv2/core.hpp>

#include "ai/human_seg.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;

namespace {

const char kModels[] = "/srv/models";
const char kHighAcc[] =
    "/srv/models/humansegmentation_highacc/RQ_HumanSegmentHighAcc_CPU_Openvino_INT8_3.1.0.5.model";

TEST(CreateFails, WrapperStaysUncreatedAndStillDestroysTheNullInstance) {
  const auto binding = GetQuorinHumanSegSymbols();
  ASSERT_EQ(kaz_test::ScenarioOf(*binding), "humanseg_create_fails");
  const KazModuleDoubleStats before = kaz_test::ModuleStats(*binding);
  LogCapture log;
  {
    QuorinHumanSeg seg("a", "b", kModels, 2);
    EXPECT_FALSE(seg.Created());
    EXPECT_STREQ(kaz_test::ModuleStats(*binding).lastModelPath, kHighAcc);
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u) << log.Dump();
    EXPECT_EQ(lines[0].level, 2);
    EXPECT_EQ(lines[0].text, std::string("load lib: ") + kHighAcc + " error\n");

    const cv::Mat image(4, 4, CV_8UC4, cv::Scalar::all(1));
    cv::Mat mask(4, 4, CV_8UC1, cv::Scalar(6));
    EXPECT_FALSE(seg.Process(image, mask));
    EXPECT_FALSE(seg.Process(image, mask));
    EXPECT_EQ(log.Lines().size(), 1u) << "a failed Process logs nothing";
  }
  const KazModuleDoubleStats after = kaz_test::ModuleStats(*binding);
  EXPECT_EQ(after.processCalls, before.processCalls);
  EXPECT_EQ(after.destroyCalls, before.destroyCalls + 1);
  EXPECT_EQ(after.destroyNullCalls, before.destroyNullCalls + 1);
}

TEST(CreateFails, EveryNewWrapperTriesAgainOnTheSameBinding) {
  const auto binding = GetQuorinHumanSegSymbols();
  const auto handle = binding->ModuleHandle();
  const KazModuleDoubleStats before = kaz_test::ModuleStats(*binding);
  LogCapture log;
  for (int frame = 0; frame < 3; ++frame) {
    auto seg = std::make_unique<QuorinHumanSeg>("", "", kModels, 2);
    EXPECT_FALSE(seg->Created());
  }
  EXPECT_EQ(GetQuorinHumanSegSymbols(), binding);
  EXPECT_EQ(binding->ModuleHandle(), handle);
  const KazModuleDoubleStats after = kaz_test::ModuleStats(*binding);
  EXPECT_EQ(after.createCalls, before.createCalls + 3);
  EXPECT_EQ(after.destroyNullCalls, before.destroyNullCalls + 3);
  EXPECT_EQ(log.CountFormat(kaz_test::kLoadLib, 2), 3);
  EXPECT_EQ(log.CountFormat(kaz_test::kApiNull), 0);
}

}  // namespace
