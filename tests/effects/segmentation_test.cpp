// SPDX-License-Identifier: MIT
// The segmentation effects end to end through the exported filter API, with the test-double
// module: KAZ_DOUBLE_HUMANSEG_MASK=channel:C makes the module's mask the source's channel C, so
// each test paints the mask it wants into its source.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
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

struct SegCase {
  int w, h;
  float thickness, feather;
  int dstChannels;
};

class PersonCutOut : public ::testing::TestWithParam<SegCase> {};

TEST_P(PersonCutOut, MaskIsRefinedAndAppliedExactly) {
  const SegCase c = GetParam();
  UseMaskFromChannel(3);
  const cv::Mat src = Source(c.w, c.h);
  Filter filter(kSeg);
  ASSERT_NE(filter.f, nullptr);
  filter.Set("Edge Thickness", vorta::MakeFloatValue(c.thickness));
  filter.Set("Edge Feather", vorta::MakeFloatValue(c.feather));
  int32_t result = -1;
  const cv::Mat out = filter.Run(src, c.dstChannels, 77, &result);
  ASSERT_EQ(result, 0);

  cv::Mat alpha;
  cv::extractChannel(src, alpha, 3);
  const cv::Mat mask =
      Refined(alpha, MorphSize(c.thickness, c.w, c.h), BlurSize(c.feather, c.w, c.h));
  const cv::Mat expected = c.dstChannels == 4 ? Premultiplied(src, mask) : mask;
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
                      SegCase{1280, 720, -2, 3, 4},   // t = -2 (5x5), k = 7
                      SegCase{33, 7, 40, 60, 4},      // seven rows: the last band takes them all
                      SegCase{200, 120, 12, 25, 1},   // one-channel destination: the mask
                      // r = 150: a 301-wide box over a 64x36 mask, exactly OpenCV's bytes
                      SegCase{64, 36, 0, 3000, 1}));

TEST(PersonCutOut, AKernelBeyondTheLimitRefusesTheFrameUntouched) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(64, 36);
  for (const char* name : {"Edge Thickness", "Edge Feather"}) {
    Filter filter(kSeg);
    // 12.3e4 at a long side of 64: a half-size of 6150, past 2048.
    filter.Set(name, vorta::MakeFloatValue(12.3e4f));
    int32_t result = 0;
    const cv::Mat out = filter.Run(src, 4, 77, &result);
    EXPECT_EQ(result, 1) << name;
    EXPECT_EQ(cv::countNonZero(out.reshape(1) != 77), 0) << name;
  }
}

// The cut-out reads the underscore spellings when the spaced names are absent; hair reads only
// the spaced names; the blur effect's underscore names have no effect.
TEST(PersonCutOut, WhichEffectsReadTheUnderscoreSpellings) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(160, 90);
  cv::Mat alpha;
  cv::extractChannel(src, alpha, 3);
  // 16 at 160x90: t = 2; 8: r = 1, k = 3.
  const cv::Mat refined = Refined(alpha, MorphSize(16, 160, 90), BlurSize(8, 160, 90));
  Filter seg(kSeg), hair(kHair), plain(kBlur), underscored(kBlur);
  for (Filter* f : {&seg, &hair}) f->Float("Edge_Thickness", 16).Float("Edge_Feather", 8);
  EXPECT_EQ(CountDifferent(seg.Run(src, 1), refined), 0);
  EXPECT_EQ(CountDifferent(hair.Run(src, 1), alpha), 0);
  seg.Float("Edge Thickness", -16);
  EXPECT_EQ(CountDifferent(seg.Run(src, 1),
                           Refined(alpha, MorphSize(-16, 160, 90), BlurSize(8, 160, 90))),
            0)
      << "the spaced name wins once present";
  hair.Float("Edge Thickness", 16).Float("Edge Feather", 8);
  EXPECT_EQ(CountDifferent(hair.Run(src, 4), Premultiplied(src, refined)), 0);
  underscored.Set("Edge_Thickness", vorta::MakeDoubleValue(-40));
  underscored.Set("Edge_Feather", vorta::MakeDoubleValue(40));
  EXPECT_EQ(CountDifferent(plain.Run(src, 4), underscored.Run(src, 4)), 0);
}

TEST(PersonCutOut, EffectModelTakesItsEdgeFromTheDescriptionOnce) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(320, 180);
  cv::Mat alpha;
  cv::extractChannel(src, alpha, 3);
  {
    Filter filter(kEffect);  // no description cached: no edge at all
    filter.Set("Edge Thickness", vorta::MakeFloatValue(20));
    EXPECT_EQ(CountDifferent(filter.Run(src, 1), alpha), 0) << "per-frame values are not read";
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

TEST(PersonCutOut, HighAccuracyMaskIsLimitedByTheSourceAlpha) {
  UseMaskFromChannel(2);                // the red channel is the module's mask, the alpha limits it
  for (const int width : {120, 123}) {  // vectors only, and vectors with a scalar tail
    const cv::Mat src = Source(width, 80, 5);
    Filter filter(kHighAcc);
    const cv::Mat one = filter.Run(src, 1);
    const cv::Mat four = filter.Run(src, 4);
    for (int y = 0; y < src.rows; ++y) {
      for (int x = 0; x < src.cols; ++x) {
        const cv::Vec4b s = src.at<cv::Vec4b>(y, x);
        const int m = ref::mul(s[2], s[3]);
        ASSERT_EQ(one.at<uint8_t>(y, x), m) << x << "," << y;
        const cv::Vec4b d = four.at<cv::Vec4b>(y, x);
        const cv::Vec4b want = m == 0 ? cv::Vec4b(0, 0, 0, 0) : cv::Vec4b(s[0], s[1], s[2], m);
        ASSERT_EQ(d, want) << x << "," << y;
      }
    }
  }
}

TEST(PersonCutOut, CaptureLaysThePersonOverWhite) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(130, 70, 9);
  Filter filter(kCapture);
  filter.Set("Edge_Feather", vorta::MakeFloatValue(10));
  cv::Mat alpha;
  cv::extractChannel(src, alpha, 3);
  const cv::Mat mask = Refined(alpha, 0, BlurSize(10, 130, 70));
  EXPECT_EQ(CountDifferent(filter.Run(src, 4), ref::applyMask(ref::whitePixel, src, mask, 4)), 0);
}

class GrayReceiver : public KAZAiDataReceiver {
 public:
  void ReceiveGrayImage(const unsigned char* pixels, int32_t w, int32_t h,
                        int32_t stride) override {
    calls++;
    image = cv::Mat(h, w, CV_8UC4, const_cast<unsigned char*>(pixels), stride).clone();
    lastStride = stride;
  }
  int calls = 0;
  int32_t lastStride = 0;
  cv::Mat image;
};

TEST(PersonCutOut, TheGrayMaskGoesToTheReceiverOnlyWhenAsked) {
  UseMaskFromChannel(3);
  cv::Mat wide(50, 80, CV_8UC4);
  const cv::Mat src = wide(cv::Rect(0, 0, 70, 50));  // rows 320 bytes apart, 280 used
  Source(70, 50).copyTo(src);
  GrayReceiver receiver;
  Filter filter(kSeg);
  filter.Set("ObjectAiDataTransferPtr",
             vorta::MakePointerValue(static_cast<AIDATA::BaseAIDATA*>(&receiver)));
  filter.Set("Edge Feather", vorta::MakeFloatValue(20));
  filter.Run(src, 4);
  EXPECT_EQ(receiver.calls, 0) << "need gray Image is 0";
  filter.Set("need gray Image", vorta::MakeIntValue(1));
  const cv::Mat out = filter.Run(src, 4);
  ASSERT_EQ(receiver.calls, 1);
  EXPECT_EQ(receiver.lastStride, 320);
  cv::Mat alpha, gray;
  cv::extractChannel(src, alpha, 3);
  cv::cvtColor(Refined(alpha, 0, BlurSize(20, 70, 50)), gray, cv::COLOR_GRAY2BGRA);
  EXPECT_EQ(CountDifferent(receiver.image, gray), 0);
  filter.Run(src, 1);
  EXPECT_EQ(receiver.calls, 1) << "a one-channel destination sends nothing";
  Filter mask(kHighAcc);
  mask.Set("ObjectAiDataTransferPtr",
           vorta::MakePointerValue(static_cast<AIDATA::BaseAIDATA*>(&receiver)));
  mask.Set("need gray Image", vorta::MakeIntValue(1));
  mask.Run(src, 4);
  EXPECT_EQ(receiver.calls, 1) << "the person mask effect never sends the grey image";
}

struct BlurCase {
  int w, h;
  double thickness, feather;
  int backBlur;
  int kernel;  // the Gaussian size the case must come to
};

class BackgroundBlur : public ::testing::TestWithParam<BlurCase> {};

TEST_P(BackgroundBlur, BlurredBackgroundUnderThePremultipliedPerson) {
  const BlurCase c = GetParam();
  UseMaskFromChannel(3);
  const cv::Mat src = Source(c.w, c.h, 3);
  Filter filter(kBlur);
  filter.Set("Edge Thickness", vorta::MakeDoubleValue(c.thickness));
  filter.Set("Edge Feather", vorta::MakeDoubleValue(c.feather));
  filter.Set("Back Blur", vorta::MakeIntValue(c.backBlur));
  const cv::Mat out = filter.Run(src, 4);

  ASSERT_EQ(2 * static_cast<int>(std::trunc(c.backBlur * (std::max(c.w, c.h) / 640.0) * 0.5)) + 1,
            c.kernel);
  cv::Mat alpha, blurred;
  cv::extractChannel(src, alpha, 3);
  const cv::Mat mask =
      Refined(alpha, MorphSize(c.thickness, c.w, c.h), BlurSize(c.feather, c.w, c.h));
  cv::GaussianBlur(src, blurred, cv::Size(c.kernel, c.kernel), c.kernel, c.kernel,
                   cv::BORDER_REFLECT_101);
  EXPECT_EQ(CountDifferent(out, OverPremultiplied(Premultiplied(src, mask), blurred)), 0);
}

INSTANTIATE_TEST_SUITE_P(Effects, BackgroundBlur,
                         ::testing::Values(BlurCase{1280, 720, 0, 2, 10, 21},
                                           BlurCase{1280, 720, -2, 0, 0, 1},
                                           BlurCase{200, 120, 6, 9, 40, 13},
                                           BlurCase{64, 9, -30, 0, 7, 1}));

TEST(Segmentation, AFailingModulePassesTheFrameThrough) {
  setenv("KAZ_DOUBLE_HUMANSEG_MASK", "fail:128", 1);
  const cv::Mat src = Source(40, 30);
  for (const char* guid : {kSeg, kEffect, kHighAcc, kHair, kCapture, kBlur}) {
    Filter filter(guid);
    int32_t result = -1;
    EXPECT_EQ(CountDifferent(filter.Run(src, 4, 77, &result), src), 0) << guid;
    EXPECT_EQ(result, 0);
    const cv::Mat untouched = filter.Run(src, 1, 77);
    if (std::string(guid) != kBlur) {
      EXPECT_EQ(cv::countNonZero(untouched != 77), 0) << guid << ": channel counts differ";
    }
  }
}

TEST(Segmentation, SourceAndDestinationMayBeTheSameBuffer) {
  UseMaskFromChannel(3);
  const cv::Mat src = Source(90, 40, 8);
  cv::Mat alpha;
  cv::extractChannel(src, alpha, 3);
  for (const char* guid : {kSeg, kHighAcc, kCapture, kBlur}) {
    Filter separate(guid), inPlace(guid);
    const cv::Mat expected = separate.Run(src, 4);
    cv::Mat frame = src.clone();
    ASSERT_EQ(NLEEffectFilterTransform(inPlace.f, frame.data, 90, 40, 360, nullptr, 0, 0, 0,
                                       frame.data, 90, 40, 360),
              0);
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
    if (std::string(guids[i]) == kBlur) {
      filter.Set("Edge Thickness", vorta::MakeDoubleValue(thickness[i]));
      filter.Set("Back Blur", vorta::MakeIntValue(5 * i));
    } else {
      filter.Set("Edge Thickness", vorta::MakeFloatValue(thickness[i]));
      filter.Set("Edge Feather", vorta::MakeFloatValue(i * 2.0f));
    }
    cv::Mat last;
    for (int frame = 0; frame < 3; ++frame) last = filter.Run(src, 4);
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
  for (const auto& row : vorta::FilterClassTable()) {
    EXPECT_TRUE(table.insert(row.guid).second) << "duplicate " << row.guid;
  }
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
