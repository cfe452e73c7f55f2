// SPDX-License-Identifier: MIT
// Process with the kernel, human segmentation and every other module double on its search path.
#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include <opencv2/core.hpp>

#include "ai/module_symbols.h"
#include "ai/quorin_common.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;

namespace {

TEST(Binding, SameObjectFromEveryCallerAndThread) {
  const auto kernel = GetQuorinCommonSymbols();
  ASSERT_NE(kernel, nullptr);
  EXPECT_EQ(kernel, GetQuorinCommonSymbols());
  EXPECT_EQ(kaz_test::ScenarioOf(*kernel), "kernel");

  std::vector<std::shared_ptr<QuorinHumanSegSymbols>> seen(8);
  std::vector<std::thread> threads;
  for (auto& slot : seen) threads.emplace_back([&slot] { slot = GetQuorinHumanSegSymbols(); });
  for (auto& thread : threads) thread.join();
  ASSERT_NE(seen[0], nullptr);
  for (const auto& binding : seen) EXPECT_EQ(binding, seen[0]);
  EXPECT_EQ(kaz_test::ScenarioOf(*seen[0]), "humanseg");
  EXPECT_EQ(seen[0]->FileName(), "libquorin_module_human_segment.so");
}

// Each module binding against the double built from its public header: a misspelt entry point
// or a wrong library name leaves a field null.
struct ModuleCase {
  const char* file;
  std::function<std::shared_ptr<LibarySymbols>()> get;
  std::function<std::vector<void*>(const LibarySymbols&)> fields;
};

template <typename T, typename... Fn>
ModuleCase Case(const char* file, std::shared_ptr<T> (*get)(), Fn T::*... fields) {
  return {file, [get] { return std::shared_ptr<LibarySymbols>(get()); },
          [fields...](const LibarySymbols& b) {
            const T& t = static_cast<const T&>(b);
            return std::vector<void*>{reinterpret_cast<void*>(t.*fields)...};
          }};
}

class ModuleBinding : public ::testing::TestWithParam<ModuleCase> {};

TEST_P(ModuleBinding, ResolvesEveryEntryPointFromItsDouble) {
  const ModuleCase& c = GetParam();
  const auto binding = c.get();
  ASSERT_NE(binding, nullptr);
  EXPECT_EQ(binding->FileName(), c.file);
  ASSERT_NE(binding->ModuleHandle(), nullptr) << c.file;
  EXPECT_EQ(kaz_test::ScenarioOf(*binding), "modules");
  const auto fields = c.fields(*binding);
  for (size_t i = 0; i < fields.size(); ++i) EXPECT_NE(fields[i], nullptr) << c.file << " #" << i;
  EXPECT_EQ(binding, c.get());
}

using S1 = QuorinClothesSegSymbols;
using S2 = QuorinDepthEstimationSymbols;
using S3 = QuorinFadeFilmSymbols;
using S4 = QuorinHumanFaceInfoSymbols;
using S5 = QuorinHumanPoseSymbols;
using S6 = QuorinHumanSkinSegmentSymbols;
using S7 = QuorinSemanticSegmentSymbols;
using S8 = QuorinWiperSegSymbols;

INSTANTIATE_TEST_SUITE_P(
    Modules, ModuleBinding,
    ::testing::Values(
        Case("libquorin_module_clothes_segmentation.so", &GetQuorinClothesSegSymbols,
             &S1::QuorinClothesSegmentationCreate, &S1::QuorinClothesSegmentationProcess,
             &S1::QuorinClothesSegmentationDestroy),
        Case("libquorin_module_depth_estimate.so", &GetQuorinDepthEstimationSymbols,
             &S2::QuorinDepthEstimateCreate, &S2::QuorinDepthEstimateProcess,
             &S2::QuorinDepthEstimateDestroy),
        Case("libquorin_module_fade_film.so", &GetQuorinFadeFilmSymbols, &S3::QuorinFadeFilmCreate,
             &S3::QuorinFadeFilmParamSet, &S3::QuorinFadeFilmProcess, &S3::QuorinFadeFilmDestroy),
        Case("libquorin_module_pipeline_face_landmarks_v2.so", &GetQuorinHumanFaceInfoSymbols,
             &S4::QuorinPipelineFaceLandmarksV2Create, &S4::QuorinPipelineFaceLandmarksV2Process,
             &S4::QuorinPipelineFaceLandmarksV2OutputRelease,
             &S4::QuorinPipelineFaceLandmarksV2Destroy,
             &S4::QuorinPipelineFaceLandmarksV2StatusReset),
        Case("libquorin_module_human_landmarks.so", &GetQuorinHumanPoseSymbols,
             &S5::QuorinHumanLandmarksCreate, &S5::QuorinHumanLandmarksProcess,
             &S5::QuorinHumanLandmarksOutputRelease, &S5::QuorinHumanLandmarksDestroy,
             &S5::QuorinHumanLandmarksStatusReset),
        Case("libquorin_module_human_attribute_segments.so", &GetQuorinHumanSkinSegmentSymbols,
             &S6::QuorinHumanAttributeSegmentsCreate, &S6::QuorinHumanAttributeSegmentsProcess,
             &S6::QuorinHumanAttributeSegmentsDestroy),
        Case("libquorin_module_semantic_segmentation.so", &GetQuorinSemanticSegmentSymbols,
             &S7::QuorinSemanticSegmentationCreate, &S7::QuorinSemanticSegmentationProcess,
             &S7::QuorinSemanticSegmentationParamSet, &S7::QuorinSemanticSegmentationDestroy),
        Case("libquorin_module_wiper.so", &GetQuorinWiperSegSymbols, &S8::QuorinWiperCreate,
             &S8::QuorinWiper, &S8::QuorinWiperDestroy)));

TEST(KernelFrames, MakePassesTheSevenArgumentsInOrderAndFreeReturnsTheFrame) {
  const auto kernel = GetQuorinCommonSymbols();
  const KazKernelDoubleStats before = kaz_test::KernelStats(*kernel);
  uint8_t pixels[4 * 8 * 3] = {};
  uint8_t* const planes[3] = {pixels, pixels + 1, pixels + 2};
  const int32_t strides[3] = {32, 5, 6};
  // Distinct values everywhere, so a swapped pair of arguments shows.
  QuorinFrame* frame = MakeKernelFrame(planes, QUORIN_FORMAT_BGRA8, 11, 7, 3, strides, 22);
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->format, QUORIN_FORMAT_BGRA8);
  EXPECT_EQ(frame->width, 7);
  EXPECT_EQ(frame->height, 3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(frame->planes[i], planes[i]);
    EXPECT_EQ(frame->strides[i], strides[i]);
  }
  KazKernelDoubleStats made = kaz_test::KernelStats(*kernel);
  EXPECT_EQ(made.lastReserved0, 11);
  EXPECT_EQ(made.lastReserved1, 22);
  EXPECT_EQ(made.liveFrames, before.liveFrames + 1);

  FreeKernelFrame(frame);
  const KazKernelDoubleStats after = kaz_test::KernelStats(*kernel);
  EXPECT_EQ(after.liveFrames, before.liveFrames);
  EXPECT_EQ(after.freeCalls, before.freeCalls + 1);
  EXPECT_EQ(after.unknownFrees, 0);
}

TEST(KernelFrames, ScopedFrameDescribesAnImageRegionAndFreesItself) {
  const auto kernel = GetQuorinCommonSymbols();
  const int before = kaz_test::KernelStats(*kernel).liveFrames;
  cv::Mat whole(20, 30, CV_8UC4);
  const cv::Mat region = whole(cv::Rect(3, 2, 10, 5));
  {
    ScopedKernelFrame frame(region, QUORIN_FORMAT_BGRA8);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame.get()->planes[0], region.data);
    EXPECT_EQ(frame.get()->planes[1], nullptr);
    EXPECT_EQ(frame.get()->strides[0], 30 * 4);
    EXPECT_EQ(frame.get()->strides[1], 0);
    EXPECT_EQ(frame.get()->width, 10);
    EXPECT_EQ(frame.get()->height, 5);
    const KazKernelDoubleStats made = kaz_test::KernelStats(*kernel);
    EXPECT_EQ(made.lastReserved0, 0);
    EXPECT_EQ(made.lastReserved1, 0);
    EXPECT_EQ(made.liveFrames, before + 1);
  }
  EXPECT_EQ(kaz_test::KernelStats(*kernel).liveFrames, before);
}

TEST(KernelFrames, DeviceTypeComesFromTheKernel) {
  LogCapture log;
  EXPECT_EQ(GetDefaultDeviceType(), KAZ_DOUBLE_DEVICE_TYPE);
  EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

}  // namespace
