// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>
#include <string>

#include "kazsample/sample_clip.h"

namespace {

namespace fs = std::filesystem;

class Kazsample : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("kaz_kazsample_" + std::to_string(::getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  int Run(const std::string& arguments) {
    const std::string command = std::string(KAZSAMPLE) + " " + arguments + " 2>/dev/null";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  fs::path dir_;
};

// The video holds the rendered frames (up to the codec's loss) and the masks are the
// renderer's ground truth exactly.
TEST_F(Kazsample, WritesTheClipAndItsMasks) {
  for (const char* name : {"clip.avi", "clip.mp4"}) {
    const fs::path video = dir_ / name, masks = dir_ / (std::string(name) + "_masks");
    ASSERT_EQ(Run(video.string() + " --size 320x180 --frames 12 --fps 25 --seed 3 --masks " +
                  masks.string()),
              0)
        << name;
    cv::VideoCapture capture(video.string());
    ASSERT_TRUE(capture.isOpened()) << name;
    kazsample::ClipSettings settings;
    settings.width = 320;
    settings.height = 180;
    settings.fps = 25;
    settings.seed = 3;
    const kazsample::SampleClip clip(settings);
    cv::Mat decoded, rendered, truth, bgr;
    int frames = 0;
    while (capture.read(decoded)) {
      ASSERT_EQ(decoded.size(), cv::Size(320, 180));
      clip.Render(frames, rendered, &truth);
      cv::cvtColor(rendered, bgr, cv::COLOR_BGRA2BGR);
      EXPECT_GT(cv::PSNR(decoded, bgr), 28.0) << name << " frame " << frames;
      char file[32];
      std::snprintf(file, sizeof(file), "mask_%05d.png", frames);
      const cv::Mat mask = cv::imread((masks / file).string(), cv::IMREAD_UNCHANGED);
      ASSERT_FALSE(mask.empty()) << file;
      EXPECT_EQ(cv::countNonZero(mask != truth), 0) << file;
      ++frames;
    }
    EXPECT_EQ(frames, 12) << name;
    EXPECT_FALSE(fs::exists(masks / "mask_00012.png"));
  }
}

TEST_F(Kazsample, RefusesBadArgumentsAndLeavesNoFile) {
  const std::string video = (dir_ / "bad.mp4").string();
  EXPECT_EQ(Run(""), 2);
  EXPECT_EQ(Run((dir_ / "clip.mkv").string()), 1);
  EXPECT_EQ(Run(video + " --size 320"), 1);
  EXPECT_EQ(Run(video + " --size 321x180"), 1);
  EXPECT_EQ(Run(video + " --frames 0"), 1);
  EXPECT_EQ(Run(video + " --fps x"), 1);
  EXPECT_EQ(Run(video + " --colour red"), 1);
  EXPECT_EQ(Run(video + " --frames"), 1);
  EXPECT_EQ(Run(video + " " + video), 1);
  EXPECT_EQ(Run((dir_ / "missing" / "clip.avi").string() + " --frames 2"), 1);
  EXPECT_TRUE(fs::is_empty(dir_));
}

}  // namespace
