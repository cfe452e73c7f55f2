// SPDX-License-Identifier: MIT
// kazfx apply --data with the analysis doubles: the JSON lines hold what the blobs carried.
#include <gtest/gtest.h>

#include <fstream>

#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include "kazfx/kazfx_run.h"

namespace {

namespace fs = std::filesystem;
using kazfxtest::RunKazfx;

std::vector<nlohmann::json> Lines(const fs::path& path) {
  std::vector<nlohmann::json> lines;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) lines.push_back(nlohmann::json::parse(line));
  return lines;
}

class KazfxData : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(dir_.path() / "in");
    for (int i = 0; i < 3; ++i) {
      cv::Mat frame(48, 64, CV_8UC4, cv::Scalar(10, 20, 30 + i, 255));
      cv::imwrite((dir_.path() / "in" / ("f" + std::to_string(i) + ".png")).string(), frame);
    }
  }
  std::string P(const char* name) const { return (dir_.path() / name).string(); }
  kaztest::TempDir dir_;
};

TEST_F(KazfxData, FaceLinesCarryEveryFaceOfEveryFrame) {
  const auto run = RunKazfx({"apply", "--effect", "Face Info", "--data", P("faces.jsonl"), "--draw",
                             "--quiet", P("in"), P("out")},
                            {{"KAZ_DOUBLE_COUNT", "2"}});
  ASSERT_EQ(run.status, 0) << run.err;
  const std::vector<nlohmann::json> lines = Lines(P("faces.jsonl"));
  ASSERT_EQ(lines.size(), 3u);
  // The values are the double's (see analysis_test.cpp); here only that each reaches its key.
  for (int frame = 0; frame < 3; ++frame) {
    const nlohmann::json& line = lines[frame];
    EXPECT_EQ(line.at("frame"), frame);
    EXPECT_FALSE(line.contains("people"));
    ASSERT_EQ(line.at("faces").size(), 2u);
    const nlohmann::json& face = line.at("faces")[1];
    EXPECT_EQ(face.at("flagA"), 0xA1);
    EXPECT_EQ(face.at("flagB"), 0xB1);
    EXPECT_EQ(face.at("box")[0].get<float>(), (64 / 8 + 1) / 64.0f);
    ASSERT_EQ(face.at("points").size(), 106u);
    EXPECT_EQ(face.at("points")[105], nlohmann::json({107 / 128.0, 1 / 128.0}));
    EXPECT_EQ(face.at("visible")[1].get<float>(), 1.0f);
    EXPECT_EQ(face.at("visible")[2].get<float>(), 0.0f);
    const uint8_t bytes[8] = {0x61, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68};  // the double's
    double valueA;
    std::memcpy(&valueA, bytes, 8);
    EXPECT_EQ(face.at("valueA").get<double>(), valueA);
  }
  // Drawn: the first face's last visible point (k = 104: x 105/128, y 2/128) is marked.
  const cv::Mat out = cv::imread(P("out/frame_000000.png"), cv::IMREAD_UNCHANGED);
  ASSERT_FALSE(out.empty());
  EXPECT_NE(out.at<cv::Vec4b>(cvRound(2 / 128.0 * 48), cvRound(105 / 128.0 * 64)),
            cv::Vec4b(10, 20, 30, 255));
}

TEST_F(KazfxData, PoseLinesAndRefusals) {
  auto run = RunKazfx(
      {"apply", "--effect", "Body Pose", "--data", P("pose.jsonl"), "--quiet", P("in"), P("out")},
      {{"KAZ_DOUBLE_COUNT", "2"}, {"KAZ_DOUBLE_POINTS", "3"}});
  ASSERT_EQ(run.status, 0) << run.err;
  const std::vector<nlohmann::json> lines = Lines(P("pose.jsonl"));
  ASSERT_EQ(lines.size(), 3u);
  const nlohmann::json points = {
      {2 / 64.0f, 3 / 48.0f}, {4 / 64.0f, 6 / 48.0f}, {6 / 64.0f, 9 / 48.0f}};
  for (const nlohmann::json& line : lines) {
    ASSERT_EQ(line.at("people").size(), 2u);
    for (const nlohmann::json& person : line.at("people")) EXPECT_EQ(person.at("points"), points);
  }
  // A runtime that answers nonsense fails the render, and no data file appears.
  run = RunKazfx({"apply", "--effect", "Body Pose", "--data", P("bad.jsonl"), P("in"), P("bad")},
                 {{"KAZ_DOUBLE_COUNT", "-1"}});
  EXPECT_EQ(run.status, 1);
  EXPECT_FALSE(fs::exists(P("bad.jsonl")));
  run = RunKazfx({"apply", "--effect", "Person Cut-Out", "--data", P("x.jsonl"), P("in"), P("x")});
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.err.find("not an analysis effect"), std::string::npos) << run.err;

  run = RunKazfx({"list", "--json"});
  ASSERT_EQ(run.status, 0) << run.err;
  const nlohmann::json listed = nlohmann::json::parse(run.out);
  for (const nlohmann::json& effect : listed.at("effects")) {
    const bool analysis = effect.at("guid") == "AD36FDCA-6B5E-4399-8625-DE97EBF12E41" ||
                          effect.at("guid") == "02E5BBF3-8C49-4392-9B0F-5B72E56FC762";
    EXPECT_EQ(effect.at("analysis"), analysis) << effect.at("name");
  }
}

}  // namespace
