// SPDX-License-Identifier: MIT
// Without the segmentation module every effect hands the frame back unchanged.
#include <gtest/gtest.h>

#include <random>

#include <opencv2/core.hpp>

#include "framework/registry.h"
#include "kaz/ai_results.h"
#include "kaz/filter_api.h"
#include "support/test_support.h"

namespace {

// The analysis effects answer 1 without their module: face info still hands the frame back, pose
// leaves the destination as given.
TEST(ModuleAbsent, EveryEffectPassesTheFrameThroughByteForByte) {
  cv::Mat src(37, 53, CV_8UC4);
  cv::randu(src, 0, 256);
  for (const auto& row : vorta::FilterClassTable()) {
    vorta::NLEEffectFilter* f = CreateNLEAIEffectFilterFromGUID(row.guid, "/nowhere");
    ASSERT_NE(f, nullptr) << row.guid;
    const bool face = std::string(row.guid) == kKAZFaceInfoEffectGUID;
    const bool pose = std::string(row.guid) == kKAZPoseEffectGUID;
    cv::Mat dst(37, 60, CV_8UC4, cv::Scalar::all(5));
    cv::Mat view = dst(cv::Rect(0, 0, 53, 37));
    for (int frame = 0; frame < 2; ++frame) {
      EXPECT_EQ(
          NLEEffectFilterTransform(f, view.data, 53, 37, static_cast<int32_t>(view.step), nullptr,
                                   0, 0, 0, src.data, 53, 37, static_cast<int32_t>(src.step)),
          face || pose ? 1 : 0);
      cv::Mat diff;
      cv::absdiff(view, pose ? cv::Mat(37, 53, CV_8UC4, cv::Scalar::all(5)) : src, diff);
      EXPECT_EQ(cv::countNonZero(diff.reshape(1)), 0) << row.guid;
    }
    DeleteNLEAIEffectFilter(&f);
  }
}

TEST(ModuleAbsent, AOneChannelDestinationIsLeftAsGiven) {
  cv::Mat src(8, 8, CV_8UC4, cv::Scalar::all(200));
  cv::Mat dst(8, 8, CV_8UC1, cv::Scalar::all(9));
  vorta::NLEEffectFilter* f =
      CreateNLEAIEffectFilterFromGUID("974A1C95-921E-4D28-89D5-23B7B249589A", "/nowhere");
  EXPECT_EQ(NLEEffectFilterTransformChannels(f, dst.data, 8, 8, 8, nullptr, 0, 0, 0, src.data, 8, 8,
                                             32, 1, 4, 4),
            0);
  EXPECT_EQ(cv::countNonZero(dst != 9), 0);
  DeleteNLEAIEffectFilter(&f);
}

}  // namespace
