// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <filesystem>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "kazsample/sample_clip.h"
#include "segment_helpers.h"

namespace {

using kaztest::Segmenter;

double IoU(const cv::Mat& mask, const cv::Mat& truth) {
  const cv::Mat person = mask >= 128;
  const int united = cv::countNonZero(person | truth);
  return united == 0 ? 1.0 : cv::countNonZero(person & truth) / double(united);
}

kazsample::SampleClip Clip(int width, int height, uint32_t seed) {
  kazsample::ClipSettings settings;
  settings.width = width;
  settings.height = height;
  settings.seed = seed;
  return kazsample::SampleClip(settings);
}

class ClassicalBackend : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = kaztest::TempDir("classical");
    kaztest::WriteFile(dir_ + "/classical.model", "{\"backend\": \"classical\"}");
    kaztest::WriteFile(dir_ + "/no_detector.model",
                       "{\"backend\": \"classical\", \"classical\": {\"peopleDetector\": false, "
                       "\"faceCascade\": \"\"}}");
  }
  static void TearDownTestSuite() { std::filesystem::remove_all(dir_); }

  // Masks (and the truths, if asked) of `clip` frames first .. first+count-1 from an instance
  // that sees nothing else.
  static std::vector<cv::Mat> Alone(const std::string& model, const kazsample::SampleClip& clip,
                                    int first, int count, std::vector<cv::Mat>* truths = nullptr) {
    Segmenter segmenter;
    EXPECT_EQ(segmenter.Create(dir_ + "/" + model + ".model"), 0);
    std::vector<cv::Mat> masks;
    cv::Mat frame, truth;
    for (int i = first; i < first + count; ++i) {
      clip.Render(i, frame, &truth);
      masks.emplace_back(clip.settings().height, clip.settings().width, CV_8UC1);
      EXPECT_EQ(segmenter.Run(frame, masks.back()), 0);
      if (truths != nullptr) truths->push_back(truth.clone());
    }
    return masks;
  }

  static std::string dir_;
};
std::string ClassicalBackend::dir_;

// One pass of the clip's script: walking, standing, waving, standing, walking, walking back.
TEST_F(ClassicalBackend, SegmentsTheSampleClipWithoutShimmerOrLag) {
  const kazsample::SampleClip clip = Clip(960, 540, 1);
  Segmenter segmenter;
  ASSERT_EQ(segmenter.Create(dir_ + "/classical.model"), 0);
  const int frames = static_cast<int>(kazsample::SampleClip::ScriptSeconds() * clip.settings().fps);
  double iou = 0, flips = 0, change = 0;
  int stills = 0, onTime = 0;
  cv::Mat frame, truth, previousTruth, mask(540, 960, CV_8UC1), previousMask,
      again(540, 960, CV_8UC1);
  for (int i = 0; i < frames; ++i) {
    clip.Render(i, frame, &truth);
    ASSERT_EQ(segmenter.Run(frame, mask), 0) << "frame " << i;
    if (i >= 10) iou += IoU(mask, truth) / (frames - 10);
    // Walking in, fastest half-way: each mask fits the figure where it is now better than where
    // it was a frame ago. A mask one frame late would do the opposite.
    if (i >= 10 && i < 60) onTime += IoU(mask, truth) > IoU(mask, previousTruth);
    if (i > 0 && clip.Still(i)) {
      cv::Mat diff;
      cv::absdiff(mask, previousMask, diff);
      change += cv::mean(diff)[0];
      flips += cv::countNonZero((mask >= 128) != (previousMask >= 128)) /
               double(cv::countNonZero(truth));
      ++stills;
    }
    // A paused editor renders the same frame again: same mask, and no learning from it.
    for (int repeat = 0; i == 39 && repeat < 50; ++repeat) {
      ASSERT_EQ(segmenter.Run(frame, again), 0);
      ASSERT_EQ(cv::countNonZero(again != mask), 0) << "repeat " << repeat;
    }
    previousMask = mask.clone();
    previousTruth = truth.clone();
  }
  ASSERT_GT(stills, 60);
  EXPECT_GE(iou, 0.85);
  EXPECT_GE(onTime, 45);  // of 50
  // A shimmering outline flips a band of pixels along the whole outline every frame: several
  // per cent of the person's area. Noise in the picture must flip far fewer.
  EXPECT_LT(flips / stills, 0.005);
  EXPECT_LT(change / stills, 0.25);
}

// Nobody has moved yet: the detector and GrabCut find the person from the first frame; without
// them nothing tells a still person from the background yet.
TEST_F(ClassicalBackend, FindsAPersonStandingStillFromTheFirstFrame) {
  const kazsample::SampleClip clip = Clip(960, 540, 3);
  const int still = static_cast<int>(2.0 * clip.settings().fps) + 1;  // the figure stands still
  ASSERT_TRUE(clip.Still(still + 1));
  std::vector<cv::Mat> truths;
  const std::vector<cv::Mat> with = Alone("classical", clip, still, 30, &truths);
  const std::vector<cv::Mat> without = Alone("no_detector", clip, still, 30);
  double withIoU = 0, withoutIoU = 0;
  for (int i = 0; i < 30; ++i) {
    withIoU += IoU(with[i], truths[i]) / 30;
    withoutIoU += IoU(without[i], truths[i]) / 30;
  }
  EXPECT_GE(IoU(with[0], truths[0]), 0.6);
  EXPECT_GE(withIoU, 0.6);
  EXPECT_LT(withoutIoU, 0.1);
}

// Two filters sharing one module instance: frames of two clips arrive in turn, and frames of a
// third clip of another size now and then; then a cut to another room. Each clip keeps its own
// background model and the cut starts a fresh one, so every frame is segmented exactly as by an
// instance of its own.
TEST_F(ClassicalBackend, InterleavedClipsAndCutsGetModelsOfTheirOwn) {
  const kazsample::SampleClip a = Clip(320, 180, 1), b = Clip(320, 180, 2), c = Clip(256, 144, 4),
                              d = Clip(320, 180, 6);
  const std::vector<cv::Mat> aloneA = Alone("classical", a, 0, 60),
                             aloneB = Alone("classical", b, 195, 60),
                             aloneC = Alone("classical", c, 270, 20),
                             aloneD = Alone("classical", d, 195, 60);
  Segmenter shared;
  ASSERT_EQ(shared.Create(dir_ + "/classical.model"), 0);
  const auto expectSame = [&](const kazsample::SampleClip& clip, int index, const cv::Mat& alone,
                              const char* what) {
    cv::Mat frame, mask(alone.size(), CV_8UC1);
    clip.Render(index, frame);
    ASSERT_EQ(shared.Run(frame, mask), 0);
    EXPECT_EQ(cv::countNonZero(mask != alone), 0) << what << ", frame " << index;
  };
  for (int i = 0; i < 60; ++i) {
    expectSame(a, i, aloneA[i], "clip a");
    expectSame(b, 195 + i, aloneB[i], "clip b");
    if (i % 3 == 0) expectSame(c, 270 + i / 3, aloneC[i / 3], "clip c");
  }
  for (int i = 0; i < 60; ++i) expectSame(d, 195 + i, aloneD[i], "after the cut");
}

}  // namespace
