// SPDX-License-Identifier: MIT
// kazfx renders a clip in one run and in parts (--start), as editors scrub and render farms
// split clips, with the matte backend on a tiny network: every frame from the end of a part's
// window on (and from a cut on) has the same bytes as in the whole run.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <string>

#include "kazsample/sample_clip.h"
#include "segment_helpers.h"

namespace {

namespace fs = std::filesystem;

constexpr int kFrames = 14;
constexpr int kCut = 8;     // frames from here on are another shot
constexpr int kWindow = 2;  // the manifests' matte.window

int Kazfx(const std::string& args) {
  // The runtime lies beside kazfx and the plug-in. Named on the library path too: under
  // AddressSanitizer dlopen is intercepted and no longer sees the plug-in's RUNPATH.
  const std::string bin = fs::path(KAZFX).parent_path().string();
  return std::system(
      ("LD_LIBRARY_PATH=" + bin + " " + KAZFX + " apply --quiet " + args + " 2>&1").c_str());
}

std::string Png(const std::string& folder, int frame) {
  char name[32];
  std::snprintf(name, sizeof name, "/frame_%06d.png", frame);
  return folder + name;
}

TEST(Chunks, PartsMatchTheWholeRunFromTheWindowOnAndFromACut) {
  const std::string dir = kaztest::TempDir("chunks");
  const std::string resources = dir + "/resources";
  fs::create_directories(resources + "/kaz_effect/plugin");
  fs::copy(std::string(KAZ_RESOURCES) + "/kaz_effect/plugin/AiEffect",
           resources + "/kaz_effect/plugin/AiEffect", fs::copy_options::recursive);
  const std::string manifest = "{\"backend\": \"matte\", \"matte\": {\"network\": \"" +
                               std::string(QUORIN_TEST_NETWORKS) +
                               "/matte_mean.onnx\", \"window\": " + std::to_string(kWindow) + "}}";
  for (const auto& entry : fs::recursive_directory_iterator(std::string(KAZ_RESOURCES) +
                                                            "/kaz_effect/plugin/AiModel")) {
    if (entry.path().extension() != ".model") continue;
    const fs::path relative = fs::relative(entry.path(), KAZ_RESOURCES);
    fs::create_directories((resources / relative).parent_path());
    kaztest::WriteFile((resources / relative).string(), manifest);
  }

  fs::create_directories(dir + "/in");
  kazsample::ClipSettings settings;
  settings.width = 160;
  settings.height = 90;
  const kazsample::SampleClip first(settings);
  settings.seed = 2;
  const kazsample::SampleClip second(settings);
  for (int i = 0; i < kFrames; ++i) {
    cv::Mat frame;
    (i < kCut ? first : second).Render(200 + i, frame);
    // The other shot is another room in a night look: unmistakably a cut.
    if (i >= kCut) {
      frame = cv::Scalar::all(255) - frame;
      cv::insertChannel(cv::Mat(frame.size(), CV_8UC1, cv::Scalar(255)), frame, 3);
    }
    ASSERT_TRUE(cv::imwrite(Png(dir + "/in", i), frame));
  }

  const std::string common = "--effect \"Background Blur\" --resources " + resources + " ";
  ASSERT_EQ(Kazfx(common + dir + "/in " + dir + "/whole"), 0);
  for (int start : {3, 7, 9}) {
    const std::string part = dir + "/part" + std::to_string(start);
    ASSERT_EQ(Kazfx(common + "--start " + std::to_string(start) + " " + dir + "/in " + part), 0);
    for (int t = start; t < kFrames; ++t) {
      ASSERT_TRUE(fs::exists(Png(part, t))) << t;
      // Settled: the part has seen the window, or a cut has emptied the whole run's window.
      if (t < start + kWindow && !(start < kCut && t >= kCut)) continue;
      const cv::Mat a = cv::imread(Png(dir + "/whole", t), cv::IMREAD_UNCHANGED);
      const cv::Mat b = cv::imread(Png(part, t), cv::IMREAD_UNCHANGED);
      ASSERT_FALSE(a.empty());
      EXPECT_EQ(cv::norm(a, b, cv::NORM_INF), 0) << "part from " << start << ", frame " << t;
    }
  }
  fs::remove_all(dir);
}

}  // namespace
