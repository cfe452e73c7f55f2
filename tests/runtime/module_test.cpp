// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <functional>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <thread>
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
                           "/single_channel.onnx\", \"input\": {\"width\": 16, \"height\": 12}}");
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
  std::function<void(QuorinFrame& in, QuorinFrame& out)> apply;
};

TEST_P(ModuleApi, RejectsBadFramesWithoutTouchingTheMask) {
  const FrameFault faults[] = {
      {"input format 2", [](QuorinFrame& in, QuorinFrame&) { in.format = QUORIN_FORMAT_GRAY8; }},
      {"input format 0", [](QuorinFrame& in, QuorinFrame&) { in.format = 0; }},
      {"output format 1", [](QuorinFrame&, QuorinFrame& out) { out.format = 1; }},
      {"input width 0", [](QuorinFrame& in, QuorinFrame&) { in.width = 0; }},
      {"input height 0", [](QuorinFrame& in, QuorinFrame&) { in.height = 0; }},
      {"output width 0", [](QuorinFrame&, QuorinFrame& out) { out.width = 0; }},
      {"output height -1", [](QuorinFrame&, QuorinFrame& out) { out.height = -1; }},
      {"input without pixels", [](QuorinFrame& in, QuorinFrame&) { in.planes[0] = nullptr; }},
      {"output without pixels", [](QuorinFrame&, QuorinFrame& out) { out.planes[0] = nullptr; }},
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
  // Tight rows (stride 0) on both frames, and a mask of another shape than the picture; two
  // runs over different fillings agree only if every mask byte is written.
  for (const cv::Size size : {cv::Size(50, 7), cv::Size(1, 1), cv::Size(3, 90)}) {
    cv::Mat first(size, CV_8UC1, cv::Scalar(0x11)), second(size, CV_8UC1, cv::Scalar(0xEE));
    for (cv::Mat* mask : {&first, &second}) {
      QuorinFrame in = FrameOver(frame_, QUORIN_FORMAT_BGRA8);
      QuorinFrame out = FrameOver(*mask, QUORIN_FORMAT_GRAY8);
      in.strides[0] = 0;
      out.strides[0] = 0;
      ASSERT_EQ(QuorinHumanSegmentProcess(segmenter_.get(), &in, &out), 0) << size;
    }
    EXPECT_EQ(cv::countNonZero(first != second), 0) << size;
  }
}

TEST_P(ModuleApi, TakesTinyAndStretchedPictures) {
  for (const cv::Size size :
       {cv::Size(1, 1), cv::Size(2, 3), cv::Size(4000, 1), cv::Size(1, 3000)}) {
    cv::Mat picture(size, CV_8UC4, cv::Scalar(30, 60, 90, 255)), mask(size, CV_8UC1);
    EXPECT_EQ(segmenter_.Run(picture, mask), 0) << size;
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

// The plug-in's way: frames made by the kernel over its pictures, handed to the module.
TEST(Module, TakesFramesMadeAndAllocatedByTheKernel) {
  Segmenter segmenter;
  const std::string dir = kaztest::TempDir("kernel_frames");
  kaztest::WriteFile(dir + "/green.model",
                     "{\"backend\": \"onnx\", \"network\": \"" + std::string(QUORIN_TEST_NETWORKS) +
                         "/single_channel.onnx\", \"input\": {\"width\": 20, \"height\": 10}}");
  ASSERT_EQ(segmenter.Create(dir + "/green.model"), 0);
  cv::Mat picture = kaztest::Padded(10, 20, CV_8UC4, 8, 0);
  cv::RNG(11).fill(picture, cv::RNG::UNIFORM, 0, 256);
  uint8_t* const planes[3] = {picture.data, nullptr, nullptr};
  const int32_t strides[3] = {static_cast<int32_t>(picture.step[0]), 0, 0};
  QuorinFrame* input = QuorinVideoFrameMake(planes, QUORIN_FORMAT_BGRA8, 0, 20, 10, strides, 0);
  QuorinFrame* output = QuorinVideoFrameAlloc(QUORIN_FORMAT_GRAY8, 20, 10);
  ASSERT_NE(input, nullptr);
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(QuorinHumanSegmentProcess(segmenter.get(), input, output), 0);
  // The network answers the green channel scaled to 0..1; no activation for one channel.
  cv::Mat green, expected;
  cv::extractChannel(picture, green, 1);
  green.convertTo(expected, CV_32F, 1.0 / 255.0);
  expected.convertTo(expected, CV_8U, 255.0);
  const cv::Mat mask(10, 20, CV_8UC1, output->planes[0], output->strides[0]);
  EXPECT_EQ(cv::countNonZero(mask != expected), 0);
  QuorinFrameFree(input);
  QuorinFrameFree(output);
  std::filesystem::remove_all(dir);
}

// Instances share nothing: several on different threads give exactly what one gives alone, and
// OpenCV's worker pool (busy, idle, of any size) never changes a mask.
TEST(Module, InstancesRunTogetherOnThreads) {
  const std::string dir = kaztest::TempDir("threads");
  kaztest::WriteFile(dir + "/classical.model", "{\"backend\": \"classical\"}");
  kaztest::WriteFile(dir + "/onnx.model",
                     "{\"backend\": \"onnx\", \"network\": \"" + std::string(QUORIN_TEST_NETWORKS) +
                         "/passthrough_nchw.onnx\", \"input\": {\"width\": 96, \"height\": 54}}");
  kazsample::ClipSettings settings;
  settings.width = 320;
  settings.height = 180;
  const kazsample::SampleClip clip(settings);
  constexpr int kFrames = 24;
  std::vector<cv::Mat> frames(kFrames);
  for (int i = 0; i < kFrames; ++i) clip.Render(i, frames[i]);

  auto run = [&](const std::string& model, std::vector<cv::Mat>* masks, int* status) {
    Segmenter segmenter;
    *status = segmenter.Create(model);
    for (int i = 0; i < kFrames && *status == 0; ++i) {
      cv::Mat picture = frames[i].clone();
      (*masks)[i].create(settings.height, settings.width, CV_8UC1);
      *status = segmenter.Run(picture, (*masks)[i]);
    }
  };
  for (const char* backend : {"classical", "onnx"}) {
    const std::string model = dir + "/" + backend + ".model";
    std::vector<cv::Mat> alone(kFrames), serial(kFrames);
    int status = -1;
    const int poolSize = cv::getNumThreads();
    cv::setNumThreads(4);
    run(model, &alone, &status);
    ASSERT_EQ(status, 0) << backend;
    cv::setNumThreads(1);
    run(model, &serial, &status);
    cv::setNumThreads(poolSize);
    ASSERT_EQ(status, 0) << backend;
    for (int i = 0; i < kFrames; ++i) {
      EXPECT_EQ(cv::countNonZero(serial[i] != alone[i]), 0) << backend << ", frame " << i;
    }
    constexpr int kThreads = 4;
    std::vector<std::vector<cv::Mat>> masks(kThreads, std::vector<cv::Mat>(kFrames));
    std::vector<int> statuses(kThreads, -1);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back(run, model, &masks[t], &statuses[t]);
    for (std::thread& thread : threads) thread.join();
    for (int t = 0; t < kThreads; ++t) {
      ASSERT_EQ(statuses[t], 0) << backend;
      for (int i = 0; i < kFrames; ++i) {
        EXPECT_EQ(cv::countNonZero(masks[t][i] != alone[i]), 0)
            << backend << ", thread " << t << ", frame " << i;
      }
    }
  }
  std::filesystem::remove_all(dir);
}

// Every model path the segmentation effects use has a model file that works out of the box.
TEST(Module, BundledModelFilesSegmentTheSampleClip) {
  const char* variants[] = {
      "/humansegmentation_capture/RQ_HumanSegmentCapture_Openvino_Fp16_V3.0.1.model",
      "/humansegmentation_effect/RQ_EffectHumanSegment_X86_CPU_Openvino_Fp16_2.4.1.1.model",
      "/humansegmentation_highacc/RQ_HumanSegmentHighAcc_CPU_Openvino_INT8_3.1.0.5.model",
      "/humansegmentation_hair/RQ_HumanSegmentHair_CPU_Openvino_Fp16_V4.0.8.model",
  };
  kazsample::ClipSettings settings;
  settings.width = 320;
  settings.height = 180;
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
