// SPDX-License-Identifier: MIT
// kazfx renders a clip in one run and in a part (--start), as editors scrub and render farms
// split clips, with the matte backend on a tiny network: every frame from the end of the part's
// window on has the same bytes as in the whole run.
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

constexpr int kFrames = 10;
constexpr int kStart = 4;
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

TEST(Chunks, APartMatchesTheWholeRunFromTheWindowOn) {
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
  const kazsample::ClipSettings settings{160, 90};
  const kazsample::SampleClip clip(settings);
  for (int i = 0; i < kFrames; ++i) {
    cv::Mat frame;
    clip.Render(200 + i, frame);
    ASSERT_TRUE(cv::imwrite(Png(dir + "/in", i), frame));
  }

  const std::string common = "--effect \"Background Blur\" --resources " + resources + " ";
  ASSERT_EQ(Kazfx(common + dir + "/in " + dir + "/whole"), 0);
  ASSERT_EQ(
      Kazfx(common + "--start " + std::to_string(kStart) + " " + dir + "/in " + dir + "/part"), 0);
  for (int t = kStart; t < kFrames; ++t) {
    ASSERT_TRUE(fs::exists(Png(dir + "/part", t))) << t;
    if (t < kStart + kWindow) continue;  // the part has not seen a whole window yet
    const cv::Mat a = cv::imread(Png(dir + "/whole", t), cv::IMREAD_UNCHANGED);
    const cv::Mat b = cv::imread(Png(dir + "/part", t), cv::IMREAD_UNCHANGED);
    ASSERT_FALSE(a.empty());
    EXPECT_EQ(cv::norm(a, b, cv::NORM_INF), 0) << "frame " << t;
  }
  fs::remove_all(dir);
}

}  // namespace
