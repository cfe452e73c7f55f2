// SPDX-License-Identifier: MIT
// A model that cannot be created is tried again on the next frame, and frames pass meanwhile.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include "kaz/filter_api.h"
#include "support/test_support.h"

namespace {

TEST(CreateFails, EveryFrameTriesAgainAndPassesTheFrameThrough) {
  const std::string model =
      "/res/kaz_effect/plugin/AiModel/humansegmentation_highacc/"
      "RQ_HumanSegmentHighAcc_CPU_Openvino_INT8_3.1.0.5.model";
  cv::Mat src(6, 10, CV_8UC4, cv::Scalar(1, 2, 3, 4)), dst(6, 10, CV_8UC4, cv::Scalar::all(0));
  for (const char* guid :
       {"974A1C95-921E-4D28-89D5-23B7B249589A", "1AEA14C6-59BC-491F-A1D1-EB02009706B7"}) {
    kaztest::LogCapture log;
    vorta::NLEEffectFilter* f = CreateNLEAIEffectFilterFromGUID(guid, "/res");
    for (int frame = 0; frame < 3; ++frame) {
      dst.setTo(0);
      ASSERT_EQ(
          NLEEffectFilterTransform(f, dst.data, 10, 6, 40, nullptr, 0, 0, 0, src.data, 10, 6, 40),
          0);
      EXPECT_EQ(cv::norm(dst, src, cv::NORM_INF), 0.0);
    }
    EXPECT_EQ(log.Count(2, "load lib: " + model + " error\n"), 3) << guid;
    DeleteNLEAIEffectFilter(&f);
  }
}

}  // namespace
