// SPDX-License-Identifier: MIT
// The matte backend on tiny generated networks: which network a frame gets, the finite window
// of earlier frames a mask may depend on, no trailing behind motion, and the classical
// fallback when the networks are not installed.
#include <gtest/gtest.h>

#include <filesystem>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "kazsample/sample_clip.h"
#include "segment_helpers.h"

namespace {

using kaztest::Segmenter;
namespace fs = std::filesystem;

class Matte : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = kaztest::TempDir("matte");
    for (const char* name :
         {"matte_square", "matte_landscape", "matte_mean", "matte_mean_landscape"}) {
      fs::copy_file(std::string(QUORIN_TEST_NETWORKS) + "/" + name + ".onnx",
                    dir_ + "/" + name + ".onnx");
    }
  }
  static void TearDownTestSuite() { fs::remove_all(dir_); }

  // The matte backend with these options, then any more members of the manifest.
  static std::string Manifest(const std::string& name, const std::string& matte,
                              const std::string& more = "") {
    const std::string path = dir_ + "/" + name + ".model";
    kaztest::WriteFile(path, "{\"backend\": \"matte\", \"matte\": {" + matte + "}" + more + "}");
    return path;
  }

  // Masks of `frames` run in order through one fresh instance.
  static std::vector<cv::Mat> Render(const std::string& model, std::vector<cv::Mat> frames) {
    Segmenter segmenter;
    EXPECT_EQ(segmenter.Create(model), 0);
    std::vector<cv::Mat> masks;
    for (cv::Mat& frame : frames) {
      cv::Mat mask(frame.size(), CV_8UC1, cv::Scalar(7));
      EXPECT_EQ(segmenter.Run(frame, mask), 0);
      masks.push_back(mask);
    }
    return masks;
  }

  static std::string dir_;
};
std::string Matte::dir_;

// A still, textured scene with sensor noise and a square that moves; from frame 7 on the right
// half is another picture (a cut that leaves the left half as it was).
std::vector<cv::Mat> StillSceneWithACut() {
  cv::RNG rng(11);
  cv::Mat scenes[2];
  scenes[0].create(96, 96, CV_8UC4);
  rng.fill(scenes[0], cv::RNG::UNIFORM, 0, 256);
  scenes[1] = scenes[0].clone();
  scenes[1].colRange(48, 96).setTo(cv::Scalar(240, 30, 30, 255));
  std::vector<cv::Mat> frames;
  for (int i = 0; i < 12; ++i) {
    cv::Mat frame = scenes[i < 7 ? 0 : 1].clone();
    frame(cv::Rect(8 + 6 * i, 30, 20, 20)).setTo(cv::Scalar(250, 250, 250, 255));
    cv::Mat noise(frame.size(), CV_16SC4);
    rng.fill(noise, cv::RNG::NORMAL, 0, 6);
    cv::add(frame, noise, frame, cv::noArray(), CV_8UC4);
    frames.push_back(frame);
  }
  return frames;
}

TEST_F(Matte, TheFrameShapeChoosesTheNetwork) {
  // The square network answers 0.25 everywhere, the landscape one 0.75; a flat matte stays flat.
  const std::string model = Manifest(
      "shapes",
      "\"network\": \"matte_square.onnx\", \"landscapeNetwork\": \"matte_landscape.onnx\"");
  const struct {
    int width, height, level;
  } cases[] = {{640, 480, 64}, {480, 640, 64}, {1280, 720, 191}, {700, 500, 191},
               {660, 500, 64}, {1, 1, 64},     {3, 2, 191}};
  cv::RNG rng(3);
  for (const auto& c : cases) {
    cv::Mat frame(c.height, c.width, CV_8UC4);
    rng.fill(frame, cv::RNG::UNIFORM, 0, 256);
    const cv::Mat mask = Render(model, {frame})[0];
    EXPECT_EQ(cv::countNonZero(mask != c.level), 0) << c.width << "x" << c.height;
  }
}

TEST_F(Matte, ARenderStartedLaterMatchesFromTheWindowOnAndAfterACut) {
  const std::string model = Manifest("window", "\"network\": \"matte_mean.onnx\", \"window\": 2");
  const std::vector<cv::Mat> frames = StillSceneWithACut();
  const std::vector<cv::Mat> sequential = Render(model, frames);
  for (int start : {1, 3, 6, 8}) {
    const std::vector<cv::Mat> chunk =
        Render(model, std::vector<cv::Mat>(frames.begin() + start, frames.end()));
    for (int t = start; t < int(frames.size()); ++t) {
      const bool same = cv::countNonZero(chunk[t - start] != sequential[t]) == 0;
      if (t >= start + 2 || t == 7) {
        EXPECT_TRUE(same) << "start " << start << ", frame " << t;
      } else if (t == start && t != 8) {
        // Its earlier frames are missing here, and they do count.
        EXPECT_FALSE(same) << "start " << start << ", frame " << t;
      }
    }
  }
}

TEST_F(Matte, StillPartsSteadyMovingPartsDoNotTrail) {
  const std::string steady = Manifest("w2", "\"network\": \"matte_mean.onnx\", \"window\": 2");
  const std::string raw = Manifest("w0", "\"network\": \"matte_mean.onnx\", \"window\": 0");
  // Every pixel brightens by 20 levels a frame: all of it moves, none of it is a cut.
  std::vector<cv::Mat> brightening;
  for (int i = 0; i < 5; ++i)
    brightening.emplace_back(64, 64, CV_8UC4, cv::Scalar::all(60 + 20 * i));
  const std::vector<cv::Mat> a = Render(steady, brightening), b = Render(raw, brightening);
  for (size_t i = 0; i < a.size(); ++i) EXPECT_EQ(cv::countNonZero(a[i] != b[i]), 0) << i;

  // A still noisy scene: the matte flickers less with the window than without.
  std::vector<cv::Mat> frames = StillSceneWithACut();
  frames.resize(5);
  for (cv::Mat& f : frames) f(cv::Rect(0, 30, 96, 20)).setTo(cv::Scalar::all(128));  // no square
  const std::vector<cv::Mat> s = Render(steady, frames), r = Render(raw, frames);
  double flickerSteady = 0, flickerRaw = 0;
  for (size_t i = 3; i < frames.size(); ++i) {
    flickerSteady += cv::norm(s[i], s[i - 1], cv::NORM_L1);
    flickerRaw += cv::norm(r[i], r[i - 1], cv::NORM_L1);
  }
  EXPECT_LT(flickerSteady, 0.7 * flickerRaw);
}

TEST_F(Matte, SecondLooksCoverTheSquareAroundASmallFind) {
  // Wide frames: the landscape network answers the mean colour, so a white 40x40 block on black
  // (one network cell) is a small find; the second look's square network answers 0.25
  // everywhere, so the square it covers shows.
  const std::string network =
      "\"network\": \"matte_square.onnx\", \"landscapeNetwork\": \"matte_mean_landscape.onnx\", "
      "\"window\": 0, ";
  const std::string looks = Manifest("looks", network + "\"crops\": 1");
  const std::string once = Manifest("once", network + "\"crops\": 0");
  const cv::Rect block(400, 120, 40, 40);
  cv::Mat frame(360, 640, CV_8UC4, cv::Scalar(0, 0, 0, 255));
  frame(block).setTo(cv::Scalar::all(255));
  const cv::Mat a = Render(looks, {frame})[0], b = Render(once, {frame})[0];
  // The square: side max(4 x 40, 0.35 x 360) = 160, centred on the find, 15% of it above. The
  // refinement (radius 4 at 512 wide, twice) blurs edges by up to 12 pixels; the find's own
  // answer, enlarged from one cell, reaches a cell further.
  const cv::Rect square(340, 96, 160, 160);
  const auto grown = [](cv::Rect r, int by) {
    return cv::Rect(r.x - by, r.y - by, r.width + 2 * by, r.height + 2 * by);
  };
  cv::Mat outside(a.size(), CV_8UC1, cv::Scalar(255)), inside(a.size(), CV_8UC1, cv::Scalar(0));
  outside(grown(square, 12)).setTo(0);
  inside(grown(square, -12)).setTo(255);
  inside(grown(block, 52)).setTo(0);
  ASSERT_GT(cv::countNonZero(inside), 3000);
  EXPECT_EQ(cv::countNonZero((a != b) & outside), 0);
  EXPECT_EQ(cv::countNonZero((a != 64) & inside), 0);
  EXPECT_EQ(cv::countNonZero(b & inside), 0);

  // A find more than half the picture high is seen well enough: no second look.
  cv::Mat tall(360, 640, CV_8UC4, cv::Scalar(0, 0, 0, 255));
  tall(cv::Rect(400, 40, 40, 240)).setTo(cv::Scalar::all(255));
  EXPECT_EQ(cv::countNonZero(Render(looks, {tall})[0] != Render(once, {tall})[0]), 0);
}

TEST_F(Matte, WithoutItsNetworksTheClassicalBackendRuns) {
  const std::string missing = Manifest("missing", "\"network\": \"absent.onnx\"",
                                       ", \"classical\": {\"workingSize\": 128}");
  const std::string classical = dir_ + "/classical.model";
  kaztest::WriteFile(classical,
                     "{\"backend\": \"classical\", \"classical\": {\"workingSize\": 128}}");
  const kazsample::ClipSettings settings{160, 90};
  const kazsample::SampleClip clip(settings);
  std::vector<cv::Mat> frames(12);
  for (int i = 0; i < 12; ++i) clip.Render(i, frames[i], nullptr);
  const std::vector<cv::Mat> a = Render(missing, frames), b = Render(classical, frames);
  for (size_t i = 0; i < a.size(); ++i) EXPECT_EQ(cv::countNonZero(a[i] != b[i]), 0) << i;
  EXPECT_GT(cv::countNonZero(a.back()), 0);
}

}  // namespace
