// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kazsample/sample_clip.h"
#include "segment_helpers.h"

namespace {

using kaztest::FrameOver;
using kaztest::Segmenter;

// Both backends answer the same entry points the same way.
class ModuleApi : public ::testing::TestWithParam<const char*> {
 protected:
  static void SetUpTestSuite() {
    dir_ = kaztest::TempDir("module");
    kaztest::WriteFile(dir_ + "/classical.model", "{\"backend\": \"classical\"}");
    kaztest::WriteFile(dir_ + "/onnx.model",
                       "{\"backend\": \"onnx\", \"network\": \"" +
                           std::string(QUORIN_TEST_NETWORKS) +
                           "/passthrough_nchw.onnx\", \"input\": {\"width\": 96, \"height\": 54}}");
  }
  static void TearDownTestSuite() { std::filesystem::remove_all(dir_); }
  void SetUp() override {
    ASSERT_EQ(segmenter_.Create(dir_ + "/" + GetParam() + ".model"), 0);
    frame_ = cv::Mat(24, 32, CV_8UC4);
    for (int y = 0; y < frame_.rows; ++y) {
      for (int x = 0; x < frame_.cols; ++x) {
        frame_.at<cv::Vec4b>(y, x) = cv::Vec4b(uint8_t(8 * x), uint8_t(10 * y), 128, 255);
      }
    }
  }

  static std::string dir_;
  Segmenter segmenter_;
  cv::Mat frame_;
};
std::string ModuleApi::dir_;

struct FrameFault {
  const char* what;
  void (*apply)(QuorinFrame& in, QuorinFrame& out);
};

// Both frames pass one check; the output's own cases show that it is checked as grey.
TEST_P(ModuleApi, RejectsBadFramesWithoutTouchingTheMask) {
  const FrameFault faults[] = {
      {"input format 2", [](QuorinFrame& in, QuorinFrame&) { in.format = QUORIN_FORMAT_GRAY8; }},
      {"output format 1", [](QuorinFrame&, QuorinFrame& out) { out.format = 1; }},
      {"input width 0", [](QuorinFrame& in, QuorinFrame&) { in.width = 0; }},
      {"input height 0", [](QuorinFrame& in, QuorinFrame&) { in.height = 0; }},
      {"input without pixels", [](QuorinFrame& in, QuorinFrame&) { in.planes[0] = nullptr; }},
      {"input rows shorter than the width",
       [](QuorinFrame& in, QuorinFrame&) { in.strides[0] = in.width * 4 - 1; }},
      {"output rows shorter than the width",
       [](QuorinFrame&, QuorinFrame& out) { out.strides[0] = out.width - 1; }},
      {"negative stride", [](QuorinFrame& in, QuorinFrame&) { in.strides[0] = -128; }},
      {"input wider than any video", [](QuorinFrame& in, QuorinFrame&) { in.width = 40000; }},
      {"rows adding up beyond 2 GiB",
       [](QuorinFrame& in, QuorinFrame&) { in.strides[0] = INT_MAX / 8; }},
  };
  for (const FrameFault& fault : faults) {
    cv::Mat mask(24, 32, CV_8UC1, cv::Scalar(0x5A));
    QuorinFrame in = FrameOver(frame_, QUORIN_FORMAT_BGRA8);
    QuorinFrame out = FrameOver(mask, QUORIN_FORMAT_GRAY8);
    fault.apply(in, out);
    EXPECT_EQ(QuorinHumanSegmentProcess(segmenter_.get(), &in, &out), 1) << fault.what;
    EXPECT_EQ(cv::countNonZero(mask != 0x5A), 0) << fault.what;
  }
  cv::Mat mask(24, 32, CV_8UC1, cv::Scalar(0x5A));
  QuorinFrame in = FrameOver(frame_, QUORIN_FORMAT_BGRA8);
  QuorinFrame out = FrameOver(mask, QUORIN_FORMAT_GRAY8);
  EXPECT_EQ(QuorinHumanSegmentProcess(segmenter_.get(), nullptr, &out), 1);
  EXPECT_EQ(QuorinHumanSegmentProcess(segmenter_.get(), &in, nullptr), 1);
  EXPECT_EQ(QuorinHumanSegmentProcess(nullptr, &in, &out), 1);
  EXPECT_EQ(cv::countNonZero(mask != 0x5A), 0);
}

TEST_P(ModuleApi, FillsEveryByteOfAMaskOfAnySize) {
  // Tight rows (stride 0), pictures from one pixel to a long line, masks of another shape than
  // the picture; two runs over different fillings agree only if every mask byte is written.
  const std::pair<cv::Size, cv::Size> sizes[] = {
      {{32, 24}, {50, 7}}, {{32, 24}, {1, 1}},     {{32, 24}, {3, 90}},   {{1, 1}, {1, 1}},
      {{2, 3}, {2, 3}},    {{4000, 1}, {4000, 1}}, {{1, 3000}, {1, 3000}}};
  for (const auto& [pictureSize, maskSize] : sizes) {
    cv::Mat picture;
    cv::resize(frame_, picture, pictureSize, 0, 0, cv::INTER_NEAREST);
    cv::Mat first(maskSize, CV_8UC1, cv::Scalar(0x11)), second(maskSize, CV_8UC1, cv::Scalar(0xEE));
    for (cv::Mat* mask : {&first, &second}) {
      QuorinFrame in = FrameOver(picture, QUORIN_FORMAT_BGRA8);
      QuorinFrame out = FrameOver(*mask, QUORIN_FORMAT_GRAY8);
      in.strides[0] = 0;
      out.strides[0] = 0;
      ASSERT_EQ(QuorinHumanSegmentProcess(segmenter_.get(), &in, &out), 0) << pictureSize;
    }
    EXPECT_EQ(cv::countNonZero(first != second), 0) << pictureSize << " to " << maskSize;
  }
}

// The plug-in's way: frames made by the kernel over its pictures, and allocated by it.
TEST_P(ModuleApi, TakesFramesMadeAndAllocatedByTheKernel) {
  uint8_t* const planes[3] = {frame_.data, nullptr, nullptr};
  QuorinFrame* input = QuorinVideoFrameMake(planes, QUORIN_FORMAT_BGRA8, 0, 32, 24, nullptr, 0);
  QuorinFrame* output = QuorinVideoFrameAlloc(QUORIN_FORMAT_GRAY8, 32, 24);
  ASSERT_NE(input, nullptr);
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(QuorinHumanSegmentProcess(segmenter_.get(), input, output), 0);
  // The same frame again gets the same mask, from either backend.
  cv::Mat expected(24, 32, CV_8UC1);
  ASSERT_EQ(segmenter_.Run(frame_, expected), 0);
  const cv::Mat mask(24, 32, CV_8UC1, output->planes[0], output->strides[0]);
  EXPECT_EQ(cv::countNonZero(mask != expected), 0);
  QuorinFrameFree(input);
  QuorinFrameFree(output);
}

// Instances share nothing: several on different threads, with OpenCV's worker pool busy, give
// exactly what one gives alone on a pool of one thread.
TEST_P(ModuleApi, InstancesRunTogetherOnThreads) {
  const kazsample::ClipSettings settings{320, 180};
  const kazsample::SampleClip clip(settings);
  constexpr int kFrames = 24, kThreads = 4;
  std::vector<cv::Mat> frames(kFrames);
  for (int i = 0; i < kFrames; ++i) clip.Render(i, frames[i]);
  const std::string model = dir_ + "/" + GetParam() + ".model";
  auto run = [&](std::vector<cv::Mat>* masks, int* status) {
    Segmenter segmenter;
    *status = segmenter.Create(model);
    masks->resize(kFrames);
    for (int i = 0; i < kFrames && *status == 0; ++i) {
      cv::Mat picture = frames[i].clone();
      (*masks)[i].create(settings.height, settings.width, CV_8UC1);
      *status = segmenter.Run(picture, (*masks)[i]);
    }
  };
  std::vector<cv::Mat> alone;
  int status = -1;
  const int poolSize = cv::getNumThreads();
  cv::setNumThreads(1);
  run(&alone, &status);
  ASSERT_EQ(status, 0);
  cv::setNumThreads(4);
  std::vector<std::vector<cv::Mat>> masks(kThreads);
  std::vector<int> statuses(kThreads, -1);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(run, &masks[t], &statuses[t]);
  for (std::thread& thread : threads) thread.join();
  cv::setNumThreads(poolSize);
  for (int t = 0; t < kThreads; ++t) {
    ASSERT_EQ(statuses[t], 0);
    for (int i = 0; i < kFrames; ++i) {
      EXPECT_EQ(cv::countNonZero(masks[t][i] != alone[i]), 0) << "thread " << t << ", frame " << i;
    }
  }
}

TEST_P(ModuleApi, SizeCallsCheckTheirArguments) {
  int32_t width = 0, height = 0;
  EXPECT_EQ(QuorinHumanSegmentInputSizeGet(nullptr, &width, &height), 1);
  EXPECT_EQ(QuorinHumanSegmentInputSizeGet(segmenter_.get(), nullptr, &height), 1);
  EXPECT_EQ(QuorinHumanSegmentInputSizeGet(segmenter_.get(), &width, nullptr), 1);
  ASSERT_EQ(QuorinHumanSegmentInputSizeGet(segmenter_.get(), &width, &height), 0);
  EXPECT_TRUE(width > 0 && height > 0);
  EXPECT_EQ(QuorinHumanSegmentOutputSizeSet(nullptr, 64, 48), 1);
  EXPECT_EQ(QuorinHumanSegmentOutputSizeSet(segmenter_.get(), 0, 48), 1);
  EXPECT_EQ(QuorinHumanSegmentOutputSizeSet(segmenter_.get(), 64, -1), 1);
  EXPECT_EQ(QuorinHumanSegmentOutputSizeSet(segmenter_.get(), 64, 48), 0);
}

INSTANTIATE_TEST_SUITE_P(Backends, ModuleApi, ::testing::Values("classical", "onnx"));

TEST(Module, CreateAndDestroyTakeNulls) {
  EXPECT_EQ(QuorinHumanSegmentDestroy(nullptr), 0);
  const std::string model = std::string(QUORIN_TEST_NETWORKS) + "/fixed_32x24.onnx";
  const QuorinModuleConfig config{1, 0, 4};
  EXPECT_EQ(QuorinHumanSegmentCreate(model.c_str(), &config, nullptr), 1);
  void* instance = &instance;  // not null before the call
  EXPECT_EQ(QuorinHumanSegmentCreate(nullptr, &config, &instance), 2);
  EXPECT_EQ(instance, nullptr);
  // The configuration carries nothing the reference runtime needs.
  ASSERT_EQ(QuorinHumanSegmentCreate(model.c_str(), nullptr, &instance), 0);
  EXPECT_NE(instance, nullptr);
  EXPECT_EQ(QuorinHumanSegmentDestroy(instance), 0);
}

// Every model path the segmentation effects use has a model file that works out of the box.
TEST(Module, BundledModelFilesSegmentTheSampleClip) {
  const char* variants[] = {
      "/humansegmentation_capture/RQ_HumanSegmentCapture_Openvino_Fp16_V3.0.1.model",
      "/humansegmentation_effect/RQ_EffectHumanSegment_X86_CPU_Openvino_Fp16_2.4.1.1.model",
      "/humansegmentation_highacc/RQ_HumanSegmentHighAcc_CPU_Openvino_INT8_3.1.0.5.model",
      "/humansegmentation_hair/RQ_HumanSegmentHair_CPU_Openvino_Fp16_V4.0.8.model",
  };
  const kazsample::ClipSettings settings{320, 180};
  const kazsample::SampleClip clip(settings);
  for (const char* variant : variants) {
    Segmenter segmenter;
    ASSERT_EQ(segmenter.Create(std::string(KAZ_RESOURCES) + "/kaz_effect/plugin/AiModel" + variant),
              0)
        << variant;
    cv::Mat picture, truth, mask(settings.height, settings.width, CV_8UC1);
    for (int i = 0; i < 45; ++i) {
      clip.Render(i, picture, &truth);
      ASSERT_EQ(segmenter.Run(picture, mask), 0);
    }
    const cv::Mat person = mask >= 128;
    const double iou = cv::countNonZero(person & truth) / double(cv::countNonZero(person | truth));
    EXPECT_GT(iou, 0.7) << variant;
  }
}

}  // namespace
