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

double Mean(const std::vector<double>& v, size_t from = 0) {
  double sum = 0;
  for (size_t i = from; i < v.size(); ++i) sum += v[i];
  return v.size() > from ? sum / (v.size() - from) : 0.0;
}

// Figures of one run over consecutive frames of a clip.
struct Scores {
  std::vector<double> iou;          // per frame, against the frame's own truth
  std::vector<double> stillFlips;   // still frames: flipped mask pixels per person pixel
  std::vector<double> stillChange;  // still frames: mean |mask change| over the frame, levels
};

// Feeds frames first .. first+count-1 of `clip` to `segmenter` and scores each mask.
void Feed(Segmenter& segmenter, const kazsample::SampleClip& clip, int first, int count,
          Scores* run, cv::Mat* lastMask = nullptr) {
  const cv::Size size(clip.settings().width, clip.settings().height);
  cv::Mat frame, truth, mask(size, CV_8UC1), previousMask;
  for (int i = first; i < first + count; ++i) {
    clip.Render(i, frame, &truth);
    ASSERT_EQ(segmenter.Run(frame, mask), 0) << "frame " << i;
    run->iou.push_back(IoU(mask, truth));
    if (i > first && clip.Still(i)) {
      cv::Mat change;
      cv::absdiff(mask, previousMask, change);
      run->stillChange.push_back(cv::mean(change)[0]);
      const cv::Mat flips = (mask >= 128) != (previousMask >= 128);
      run->stillFlips.push_back(cv::countNonZero(flips) / double(cv::countNonZero(truth)));
    }
    previousMask = mask.clone();
  }
  if (lastMask != nullptr) *lastMask = previousMask;
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
  static kazsample::SampleClip Clip(int width, int height, uint32_t seed) {
    kazsample::ClipSettings settings;
    settings.width = width;
    settings.height = height;
    settings.seed = seed;
    return kazsample::SampleClip(settings);
  }
  static std::string dir_;
};
std::string ClassicalBackend::dir_;

// One pass of the clip's script: walking, standing, waving, standing, walking, walking back.
TEST_F(ClassicalBackend, SegmentsTheSampleClipWithoutShimmerOrLag) {
  const kazsample::SampleClip clip = Clip(960, 540, 1);
  Segmenter segmenter;
  ASSERT_EQ(segmenter.Create(dir_ + "/classical.model"), 0);
  Scores run;
  const int frames = static_cast<int>(kazsample::SampleClip::ScriptSeconds() * clip.settings().fps);
  Feed(segmenter, clip, 0, frames, &run);
  ASSERT_GT(run.stillFlips.size(), 60u);

  const double iou = Mean(run.iou, 10);
  const double flips = Mean(run.stillFlips), change = Mean(run.stillChange);
  EXPECT_GE(iou, 0.85);
  // A shimmering outline flips a band of pixels along the whole outline every frame: several
  // per cent of the person's area. Noise in the picture must flip far fewer.
  EXPECT_LT(flips, 0.005);
  EXPECT_LT(change, 0.25);
}

// Each mask belongs to its own frame: where the figure moves, the mask fits the figure where
// it is now better than where it was a frame ago. A mask one frame late would do the opposite.
TEST_F(ClassicalBackend, MasksDoNotLagBehindTheFrame) {
  const kazsample::SampleClip clip = Clip(640, 360, 1);
  Segmenter segmenter;
  ASSERT_EQ(segmenter.Create(dir_ + "/classical.model"), 0);
  cv::Mat frame, truth, previousTruth, mask(360, 640, CV_8UC1);
  int better = 0, counted = 0;
  double now = 0, before = 0;
  for (int i = 0; i < 60; ++i) {  // walking in, fastest half-way
    clip.Render(i, frame, &truth);
    ASSERT_EQ(segmenter.Run(frame, mask), 0);
    if (i >= 10) {
      const double a = IoU(mask, truth), b = IoU(mask, previousTruth);
      ++counted;
      better += a > b;
      now += a;
      before += b;
    }
    previousTruth = truth.clone();
  }
  EXPECT_GE(better, counted * 9 / 10);
  EXPECT_GT(now / counted, before / counted + 0.01);
}

// Nobody has moved yet: the detector and GrabCut find the person from the first frame.
TEST_F(ClassicalBackend, FindsAPersonStandingStillFromTheFirstFrame) {
  const kazsample::SampleClip clip = Clip(960, 540, 3);
  const int still = static_cast<int>(2.0 * clip.settings().fps) + 1;  // the figure stands still
  ASSERT_TRUE(clip.Still(still + 1));
  Scores with, without;
  {
    Segmenter segmenter;
    ASSERT_EQ(segmenter.Create(dir_ + "/classical.model"), 0);
    Feed(segmenter, clip, still, 30, &with);
  }
  {
    Segmenter segmenter;
    ASSERT_EQ(segmenter.Create(dir_ + "/no_detector.model"), 0);
    Feed(segmenter, clip, still, 30, &without);
  }
  EXPECT_GE(Mean(with.iou), 0.6);
  EXPECT_GE(with.iou[0], 0.6);
  // Without the detector nothing tells a still person from the background yet.
  EXPECT_LT(Mean(without.iou), 0.1);
}

// Masks of `clip` frames first .. first+count-1 from an instance that sees nothing else.
std::vector<cv::Mat> Alone(const std::string& model, const kazsample::SampleClip& clip, int first,
                           int count) {
  Segmenter segmenter;
  EXPECT_EQ(segmenter.Create(model), 0);
  std::vector<cv::Mat> masks;
  cv::Mat frame;
  for (int i = first; i < first + count; ++i) {
    clip.Render(i, frame);
    masks.emplace_back(clip.settings().height, clip.settings().width, CV_8UC1);
    EXPECT_EQ(segmenter.Run(frame, masks.back()), 0);
  }
  return masks;
}

// Runs one frame through a shared instance and compares it with the lone instance's mask.
void ExpectSame(Segmenter& shared, const kazsample::SampleClip& clip, int index,
                const cv::Mat& alone, const char* what) {
  cv::Mat frame, mask(clip.settings().height, clip.settings().width, CV_8UC1);
  clip.Render(index, frame);
  ASSERT_EQ(shared.Run(frame, mask), 0);
  EXPECT_EQ(cv::countNonZero(mask != alone), 0) << what << ", frame " << index;
}

// A cut to another room: a fresh model starts at the cut, so what follows is segmented exactly
// as by an instance that never saw the first room.
TEST_F(ClassicalBackend, StartsAFreshModelAfterACut) {
  const std::string model = dir_ + "/classical.model";
  const kazsample::SampleClip first = Clip(320, 180, 1), second = Clip(320, 180, 6);
  const std::vector<cv::Mat> alone = Alone(model, second, 195, 60);
  Segmenter shared;
  ASSERT_EQ(shared.Create(model), 0);
  Scores before;
  Feed(shared, first, 0, 60, &before);
  for (int i = 0; i < 60; ++i) ExpectSame(shared, second, 195 + i, alone[i], "after the cut");
}

// Two filters sharing one module instance: frames of two clips arrive in turn, and frames of a
// third clip of another size now and then. Each clip keeps its own background model, so each is
// segmented exactly as by an instance of its own.
TEST_F(ClassicalBackend, InterleavedClipsKeepTheirOwnBackgrounds) {
  const std::string model = dir_ + "/classical.model";
  const kazsample::SampleClip a = Clip(320, 180, 1), b = Clip(320, 180, 2), c = Clip(256, 144, 4);
  const std::vector<cv::Mat> aloneA = Alone(model, a, 0, 60), aloneB = Alone(model, b, 195, 60),
                             aloneC = Alone(model, c, 270, 20);
  Segmenter shared;
  ASSERT_EQ(shared.Create(model), 0);
  for (int i = 0; i < 60; ++i) {
    ExpectSame(shared, a, i, aloneA[i], "clip a");
    ExpectSame(shared, b, 195 + i, aloneB[i], "clip b");
    if (i % 3 == 0) ExpectSame(shared, c, 270 + i / 3, aloneC[i / 3], "clip c");
  }
}

// A paused editor renders the same frame again: same mask, and no learning from it.
TEST_F(ClassicalBackend, TheSameFrameAgainGetsTheSameMask) {
  const kazsample::SampleClip clip = Clip(640, 360, 1);
  Segmenter segmenter;
  ASSERT_EQ(segmenter.Create(dir_ + "/classical.model"), 0);
  Scores run;
  cv::Mat last;
  Feed(segmenter, clip, 0, 40, &run, &last);
  cv::Mat frame, truth, mask(360, 640, CV_8UC1);
  clip.Render(39, frame, &truth);
  for (int repeat = 0; repeat < 50; ++repeat) {
    ASSERT_EQ(segmenter.Run(frame, mask), 0);
    ASSERT_EQ(cv::countNonZero(mask != last), 0) << "repeat " << repeat;
  }
}

}  // namespace
