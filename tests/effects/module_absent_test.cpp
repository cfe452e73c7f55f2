// SPDX-License-Identifier: MIT
// Without the segmentation module no effect hands back a frame it did not finish.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include "framework/registry.h"
#include "kaz/filter_api.h"

namespace {

// An effect either hands the frame back unchanged (0), or refuses it (1) leaving the destination
// as given or holding the unchanged frame (the analysis effects copy it); never anything else.
TEST(ModuleAbsent, EveryEffectPassesTheFrameThroughOrRefusesItUntouched) {
  cv::Mat src(37, 53, CV_8UC4);
  cv::randu(src, 0, 256);
  for (const auto& row : vorta::FilterClassTable()) {
    vorta::NLEEffectFilter* f = CreateNLEAIEffectFilterFromGUID(row.guid, "/nowhere");
    ASSERT_NE(f, nullptr) << row.guid;
    for (int frame = 0; frame < 2; ++frame) {
      cv::Mat dst(37, 60, CV_8UC4, cv::Scalar::all(5));
      cv::Mat view = dst(cv::Rect(0, 0, 53, 37));
      const int32_t result =
          NLEEffectFilterTransform(f, view.data, 53, 37, static_cast<int32_t>(view.step), nullptr,
                                   0, 0, 0, src.data, 53, 37, static_cast<int32_t>(src.step));
      ASSERT_TRUE(result == 0 || result == 1) << row.guid;
      const bool untouched = cv::countNonZero(view.reshape(1) != 5) == 0;
      const bool unchanged = cv::norm(view, src, cv::NORM_INF) == 0.0;
      EXPECT_TRUE(unchanged || (result == 1 && untouched)) << row.guid << " answered " << result;
    }
    DeleteNLEAIEffectFilter(&f);
  }
}

}  // namespace
