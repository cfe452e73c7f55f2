// SPDX-License-Identifier: MIT
// The segmentation effects end to end through the exported filter API, with the test-double
// module: KAZ_DOUBLE_HUMANSEG_MASK=channel:C makes the module's mask the source's channel C, so
// each test paints the mask it wants into its source.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include <opencv2/imgproc.hpp>

#include "effect_reference.h"
#include "framework/effect_registry.h"
#include "framework/filter_info.h"
#include "framework/param_value.h"
#include "framework/registry.h"
#include "kaz/ai_data.h"
#include "kaz/filter_api.h"
#include "nlohmann/json.hpp"

using namespace kaztest;

namespace {

constexpr char kSeg[] = "974A1C95-921E-4D28-89D5-23B7B249589A";
constexpr char kEffect[] = "2193B116-1AD4-49F4-84A1-FFA3CB983A94";
constexpr char kHighAcc[] = "D4BFB781-5506-494C-B9AB-738D79814B60";
constexpr char kHair[] = "EE6BC05B-DD9B-4154-9E03-00740D1CA060";
constexpr char kCapture[] = "7208B311-D2F9-456D-B556-CFA222B130B7";
constexpr char kBlur[] = "1AEA14C6-59BC-491F-A1D1-EB02009706B7";

// The cut-out, or Background Blur when a Gaussian size is given: the refined person, over the
// blurred frame for the blur.
struct SegCase {
  int w, h;
  float thickness, feather;
  int dstChannels;
  int backBlur = 0, kernel = 0;  // kernel: 2 trunc(back blur * long side / 1280) + 1, by hand
};

class PersonCutOut : public ::testing::TestWithParam<SegCase> {};

TEST_P(PersonCutOut, MaskIsRefinedAndAppliedExactly) {
  const SegCase c = GetParam();
  UseMaskFromChannel(3);
  const cv::Mat src = Source(c.w, c.h);
  Filter filter(c.kernel ? kBlur : kSeg);
  filter.Float("Edge Thickness", c.thickness).Float("Edge Feather", c.feather);
  const cv::Mat out = filter.Int("Back Blur", c.backBlur).Run(src, c.dstChannels);
  ASSERT_EQ(filter.result, 0);

  const cv::Mat mask =
      Refined(Channel(src, 3), MorphSize(c.thickness, c.w, c.h), BlurSize(c.feather, c.w, c.h));
  cv::Mat expected = c.dstChannels == 4 ? Premultiplied(src, mask) : mask, blurred;
  if (c.kernel) {
    const cv::Size size(c.kernel, c.kernel);
    cv::GaussianBlur(src, blurred, size, c.kernel, c.kernel, cv::BORDER_REFLECT_101);
    expected = OverPremultiplied(expected, blurred);
  }
  EXPECT_EQ(CountDifferent(out, expected), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Effects, PersonCutOut,
    ::testing::Values(SegCase{64, 48, 0, 0, 4},       // no refinement
                      SegCase{96, 54, -3.5f, 0, 4},   // too thin to erode at this size: t = 0
                      SegCase{640, 360, -6, 0, 4},    // t = -3: a 7x7 erosion
                      SegCase{640, 360, 5, 0, 4},     // t = 2: a 5x5 dilation
                      SegCase{640, 100, 0, 0.5f, 4},  // r = floor(0.25) = 0: no blur
                      SegCase{640, 100, 0, 7, 4},     // k = 7
                      SegCase{200, 120, 12, 25, 1},   // one-channel destination: the mask
                      // r = 150: a 301-wide box over a 64x36 mask, exactly OpenCV's bytes
                      SegCase{64, 36, 0, 3000, 1},
                      // Background Blur.
                      SegCase{1280, 720, 0, 2, 4, 10, 21}, SegCase{1280, 720, -2, 0, 4, 0, 1},
                      SegCase{200, 120, 6, 9, 4, 40, 13}, SegCase{64, 9, -30, 0, 4, 7, 1}));

TEST(PersonCutOut, AKernelBeyondTheLimitRefusesTheFrameUntouched) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(64, 36);
  for (const char* name : {"Edge Thickness", "Edge Feather"}) {
    Filter filter(kSeg);
    // 12.3e4 at a long side of 64: a half-size of 6150, past 2048.
    const cv::Mat out = filter.Float(name, 12.3e4f).Run(src);
    EXPECT_EQ(filter.result, 1) << name;
    EXPECT_EQ(cv::countNonZero(out.reshape(1) != 77), 0) << name;
  }
}

// The cut-out reads the underscore spellings when the spaced names are absent; hair reads only
// the spaced names; the blur effect's underscore names have no effect.
TEST(PersonCutOut, WhichEffectsReadTheUnderscoreSpellings) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(160, 90);
  const cv::Mat alpha = Channel(src, 3);
  // 16 at 160x90: t = 2; 8: r = 1, k = 3.
  const cv::Mat refined = Refined(alpha, MorphSize(16, 160, 90), BlurSize(8, 160, 90));
  Filter seg(kSeg), hair(kHair), plain(kBlur), underscored(kBlur);
  for (Filter* f : {&seg, &hair}) f->Float("Edge_Thickness", 16).Float("Edge_Feather", 8);
  EXPECT_EQ(CountDifferent(seg.Run(src, 1), refined), 0);
  EXPECT_EQ(CountDifferent(hair.Run(src, 1), alpha), 0);
  hair.Float("Edge Thickness", 16).Float("Edge Feather", 8);
  EXPECT_EQ(CountDifferent(hair.Run(src, 4), Premultiplied(src, refined)), 0);
  underscored.Float("Edge_Thickness", -40).Float("Edge_Feather", 40);
  EXPECT_EQ(CountDifferent(plain.Run(src), underscored.Run(src)), 0);
}

TEST(PersonCutOut, EffectModelTakesItsEdgeFromTheDescriptionOnce) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(320, 180);
  const cv::Mat alpha = Channel(src, 3);
  {
    Filter filter(kEffect);  // no description cached: no edge at all
    EXPECT_EQ(CountDifferent(filter.Float("Edge Thickness", 20).Run(src, 1), alpha), 0)
        << "per-frame values are not read";
  }
  auto info = std::make_shared<vorta::NLEFilterInfo>();
  info->guid = kEffect;
  vorta::ReadParams(nlohmann::json::parse(R"([
      {"NAME": "Edge Thickness", "TYPE": "float", "DEFAULT": -8, "UIType": "NoShow"},
      {"NAME": "Edge Feather", "TYPE": "float", "DEFAULT": 8, "UIType": "NoShow"}])"),
                    *info);
  ASSERT_TRUE(vorta::EffectRegistry::Instance().Add(info));
  Filter filter(kEffect);
  EXPECT_EQ(CountDifferent(filter.Run(src, 1),
                           Refined(alpha, MorphSize(-8, 320, 180), BlurSize(8, 320, 180))),
            0);
}

// The per-byte rules are the blend reference's; here, that each destination reaches its own.
TEST(PersonCutOut, HighAccuracyMaskIsLimitedByTheSourceAlpha) {
  UseMaskFromChannel(2);  // the red channel is the module's mask, the alpha limits it
  const cv::Mat src = Source(123, 80, 5);
  const cv::Mat red = Channel(src, 2);
  Filter filter(kHighAcc);
  EXPECT_EQ(CountDifferent(filter.Run(src, 1), ref::applyMask(ref::alphaLimitedPixel, src, red, 1)),
            0);
  EXPECT_EQ(
      CountDifferent(filter.Run(src), ref::applyMask(ref::alphaLimitedCutOutPixel, src, red, 4)),
      0);
}

TEST(PersonCutOut, CaptureLaysThePersonOverWhite) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(130, 70, 9);
  Filter filter(kCapture);
  filter.Float("Edge_Feather", 10);
  const cv::Mat alpha = Channel(src, 3);
  const cv::Mat mask = Refined(alpha, 0, BlurSize(10, 130, 70));
  EXPECT_EQ(CountDifferent(filter.Run(src, 4), ref::applyMask(ref::whitePixel, src, mask, 4)), 0);
}

TEST(PersonCutOut, TheGrayMaskGoesToTheReceiverOnlyWhenAsked) {
  UseMaskFromChannel(3);
  cv::Mat wide(50, 80, CV_8UC4);
  const cv::Mat src = wide(cv::Rect(0, 0, 70, 50));  // rows 320 bytes apart, 280 used
  Source(70, 50).copyTo(src);
  Receiver receiver;
  Filter filter(kSeg);
  filter.Lend(&receiver);
  filter.Float("Edge Feather", 20).Run(src);
  EXPECT_EQ(receiver.grays.size(), 0u) << "need gray Image is 0";
  filter.Int("need gray Image", 1).Run(src);
  ASSERT_EQ(receiver.grays.size(), 1u);
  EXPECT_EQ(receiver.stride, 320);
  cv::Mat gray;
  cv::cvtColor(Refined(Channel(src, 3), 0, BlurSize(20, 70, 50)), gray, cv::COLOR_GRAY2BGRA);
  EXPECT_EQ(CountDifferent(receiver.grays[0], gray), 0);
  filter.Run(src, 1);
  EXPECT_EQ(receiver.grays.size(), 1u) << "a one-channel destination sends nothing";
  Filter mask(kHighAcc);
  mask.Lend(&receiver);
  mask.Int("need gray Image", 1).Run(src);
  EXPECT_EQ(receiver.grays.size(), 1u) << "the person mask effect never sends the grey image";
}

TEST(Segmentation, AFailingModulePassesTheFrameThrough) {
  setenv("KAZ_DOUBLE_HUMANSEG_MASK", "fail:128", 1);
  const cv::Mat src = Source(40, 30);
  for (const char* guid : {kSeg, kEffect, kHighAcc, kHair, kCapture, kBlur}) {
    Filter filter(guid);
    EXPECT_EQ(CountDifferent(filter.Run(src), src), 0) << guid;
    EXPECT_EQ(filter.result, 0);
    const cv::Mat untouched = filter.Run(src, 1);
    if (std::string(guid) != kBlur) {
      EXPECT_EQ(cv::countNonZero(untouched != 77), 0) << guid << ": channel counts differ";
    }
  }
}

TEST(Segmentation, SourceAndDestinationMayBeTheSameBuffer) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(90, 40, 8);
  for (const char* guid : {kSeg, kHighAcc, kCapture, kBlur}) {
    Filter separate(guid), inPlace(guid);
    const cv::Mat expected = separate.Run(src);
    cv::Mat frame = src.clone();
    ASSERT_EQ(inPlace.RunInPlace(frame), 0);
    EXPECT_EQ(CountDifferent(frame, expected), 0) << guid;
  }
}

TEST(Segmentation, FiltersOnSeveralThreadsGiveTheBytesOfOneAtATime) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(240, 136, 2);
  const char* guids[] = {kSeg, kSeg, kHair, kCapture, kBlur, kBlur};
  const float thickness[] = {-4, 6, 3, 0, -5, 8};
  auto runOne = [&](int i) {
    Filter filter(guids[i]);
    filter.Float("Edge Thickness", thickness[i]).Float("Edge Feather", i * 2.0f);
    filter.Int("Back Blur", 5 * i);
    cv::Mat last;
    for (int frame = 0; frame < 3; ++frame) last = filter.Run(src);
    return last;
  };
  std::vector<cv::Mat> alone(std::size(guids)), together(std::size(guids));
  for (size_t i = 0; i < std::size(guids); ++i) alone[i] = runOne(static_cast<int>(i));
  std::vector<std::thread> threads;
  for (size_t i = 0; i < std::size(guids); ++i) {
    threads.emplace_back([&, i] { together[i] = runOne(static_cast<int>(i)); });
  }
  for (auto& t : threads) t.join();
  for (size_t i = 0; i < std::size(guids); ++i) {
    EXPECT_EQ(CountDifferent(alone[i], together[i]), 0) << i;
  }
}

TEST(Registry, EveryEffectHasABundledDescriptionAndATestHere) {
  std::set<std::string> table;
  for (const auto& row : vorta::FilterClassTable()) table.insert(row.guid);
  // A GUID twice in the table would leave its second effect unreachable.
  EXPECT_EQ(table.size(), vorta::FilterClassTable().size());
  std::vector<vorta::FilterInfoPtr> found;
  ASSERT_TRUE(
      vorta::ScanEffectDirectory(std::string(KAZ_RESOURCES_DIR) + kKAZEffectFolder, found, false));
  std::set<std::string> described;
  for (const auto& info : found) {
    EXPECT_TRUE(described.insert(info->guid).second) << "described twice: " << info->guid;
  }
  EXPECT_EQ(described, table);
  // Every GUID of the table is named by a test file of this folder.
  std::string tests;
  for (const auto& e : std::filesystem::directory_iterator(KAZ_EFFECT_TESTS_DIR)) {
    if (e.path().extension() != ".cpp") continue;
    std::ifstream in(e.path());
    tests += std::string(std::istreambuf_iterator<char>(in), {});
  }
  for (const std::string& guid : table) {
    EXPECT_NE(tests.find(guid), std::string::npos) << "no test names " << guid;
  }
}

}  // namespace
