// SPDX-License-Identifier: MIT
// The checked entries: mode dispatch, band-parallel runs, ROIs, validation and the mask blend.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "imaging/blend.h"
#include "imaging/blend_invokers.h"
#include "imaging/reference.h"

namespace {

using imageC::blendImage;
using imageC::blendSolidColor;

// Restores OpenCV's thread count when a test changes it.
struct ThreadCount {
  const int saved = cv::getNumThreads();
  ~ThreadCount() { cv::setNumThreads(saved); }
};

// An ROI inside a larger image of the same type whose frame holds a known byte, so that rows
// are strided (step > width * channels) and writes outside the ROI are visible.
struct Framed {
  static constexpr uint8_t kFrame = 0xA5;
  cv::Mat whole, roi;
  cv::Rect rect;
  Framed(const cv::Mat& content, int margin = 3)
      : whole(content.rows + 2 * margin, content.cols + 2 * margin + 5, content.type(),
              cv::Scalar::all(kFrame)),
        rect(margin, margin, content.cols, content.rows) {
    roi = whole(rect);
    content.copyTo(roi);
  }
  // Frame bytes that are no longer the frame value.
  int64_t frameChanges() const {
    cv::Mat outside = whole.clone();
    outside(rect).setTo(cv::Scalar::all(kFrame));
    return cv::countNonZero(outside.reshape(1) != kFrame);
  }
};

// Every mode number that means something, plus 1000, through both entries.
const uint32_t kModes[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,  12,
                           13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 1000};
const int kStrengths[] = {0, 1, 128, 254, 255};

using EntryCase = std::tuple<uint32_t, bool, int>;

std::string entryName(const ::testing::TestParamInfo<EntryCase>& info) {
  return "Mode" + std::to_string(std::get<0>(info.param)) +
         (std::get<1>(info.param) ? "_Pre" : "") + "_S" + std::to_string(std::get<2>(info.param));
}

class ImageEntry : public ::testing::TestWithParam<EntryCase> {};

TEST_P(ImageEntry, MatchesTheReferenceInsideAStridedRoiOnly) {
  const auto [mode, pre, s] = GetParam();
  const cv::Mat layerContent = ref::edgyImage(37, 61, 11), dstContent = ref::edgyImage(37, 61, 12);
  const Framed layer(layerContent), dst(dstContent, 4);
  // Only the strength's low 8 bits count.
  ASSERT_TRUE(blendImage(layer.roi, dst.roi, mode, 0x5A00u | s, pre, 8));
  EXPECT_EQ(ref::differingBytes(dst.roi, ref::blendImage(layerContent, dstContent, mode, s, pre)),
            0);
  EXPECT_EQ(dst.frameChanges(), 0);
  EXPECT_EQ(layer.frameChanges(), 0);
}

INSTANTIATE_TEST_SUITE_P(AllModes, ImageEntry,
                         ::testing::Combine(::testing::ValuesIn(kModes), ::testing::Bool(),
                                            ::testing::ValuesIn(kStrengths)),
                         entryName);

class SolidEntry : public ::testing::TestWithParam<EntryCase> {};

TEST_P(SolidEntry, MatchesTheReferenceForSeveralColours) {
  const auto [mode, pre, s] = GetParam();
  const cv::Mat content = ref::edgyImage(29, 45, 21);
  for (uint32_t packed : {0x00000000u, 0xFF102030u, 0x80FF00FEu, 0x01FFFFFFu, 0xFE7F8001u}) {
    const Framed image(content);
    ASSERT_TRUE(blendSolidColor(image.roi, packed, mode, s, pre, 8));
    EXPECT_EQ(ref::differingBytes(image.roi, ref::blendSolid(content, packed, mode, s, pre)), 0)
        << std::hex << "colour 0x" << packed;
    EXPECT_EQ(image.frameChanges(), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(AllModes, SolidEntry,
                         ::testing::Combine(::testing::ValuesIn(kModes), ::testing::Bool(),
                                            ::testing::ValuesIn(kStrengths)),
                         entryName);

// Band geometry shows in the result only as rows that were missed or blended twice, which
// Normal at strength 200 would reveal. Every band count over row counts around 8.
class Banding : public ::testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(Banding, EveryRowIsBlendedOnceAndThreadsDoNotMatter) {
  ThreadCount restore;
  const auto [rows, bands] = GetParam();
  const cv::Mat layer = ref::edgyImage(rows, 23, 5), dst = ref::edgyImage(rows, 23, 6);
  const cv::Mat expected = ref::blendImage(layer, dst, imageC::Normal, 200, false);
  cv::Mat parallel = dst.clone(), serial = dst.clone();
  ASSERT_TRUE(blendImage(layer, parallel, imageC::Normal, 200, false, bands));
  cv::setNumThreads(1);
  ASSERT_TRUE(blendImage(layer, serial, imageC::Normal, 200, false, bands));
  EXPECT_EQ(ref::differingBytes(parallel, expected), 0);
  EXPECT_EQ(ref::differingBytes(serial, parallel), 0);
}

INSTANTIATE_TEST_SUITE_P(RowsAndBands, Banding,
                         ::testing::Combine(::testing::Values(1, 7, 8, 9, 17, 64),
                                            ::testing::Values(-3, 0, 1, 3, 8, 64, 1000)));

TEST(Banding, BandRowsSplitsEvenlyAndTheLastBandTakesTheRest) {
  for (int b = 0; b < 7; ++b) {
    EXPECT_EQ(imageC::bandRows(b, 8, 20), cv::Range(2 * b, 2 * b + 2));
    EXPECT_EQ(imageC::bandRows(b, 8, 7), cv::Range(0, 0));
  }
  EXPECT_EQ(imageC::bandRows(7, 8, 20), cv::Range(14, 20));
  EXPECT_EQ(imageC::bandRows(7, 8, 7), cv::Range(0, 7));
  EXPECT_EQ(imageC::bandRows(0, 1, 5), cv::Range(0, 5));
}

// The destination is the layer's own pixels, or overlaps them shifted.
TEST(BlendImage, OverlappingLayerIsReadBeforeAnyBandWrites) {
  const cv::Mat original = ref::edgyImage(60, 80, 14);
  const cv::Rect layerRect(0, 0, 70, 50);
  for (const cv::Rect& dstRect : {layerRect, cv::Rect(5, 6, 70, 50)}) {
    for (uint32_t mode : kModes) {
      cv::Mat image = original.clone();
      ASSERT_TRUE(blendImage(image(layerRect), image(dstRect), mode, 200, false, 8));
      cv::Mat expected = original.clone();
      ref::blendImage(original(layerRect), original(dstRect), mode, 200, false)
          .copyTo(expected(dstRect));
      EXPECT_EQ(ref::differingBytes(image, expected), 0) << "mode " << mode << " at " << dstRect;
    }
  }
}

TEST(BlendImage, RejectsUnusableImagesWithoutTouchingThem) {
  const cv::Mat original = ref::edgyImage(10, 12, 15);
  cv::Mat dst = original.clone();
  const cv::Mat layer = ref::edgyImage(10, 12, 16);
  EXPECT_FALSE(blendImage(cv::Mat(10, 12, CV_8UC3, cv::Scalar::all(1)), dst, 0, 255, false, 8));
  EXPECT_FALSE(blendImage(layer, cv::Mat(10, 12, CV_8UC1), 0, 255, false, 8));
  EXPECT_FALSE(blendImage(layer(cv::Rect(0, 0, 11, 10)), dst, 0, 255, false, 8));
  EXPECT_FALSE(blendImage(layer(cv::Rect(0, 0, 12, 9)), dst, 22, 255, false, 8));
  EXPECT_FALSE(blendImage(cv::Mat(), dst, 0, 255, false, 8));
  EXPECT_FALSE(blendImage(cv::Mat(0, 0, CV_8UC4), cv::Mat(0, 0, CV_8UC4), 0, 255, false, 8));
  EXPECT_FALSE(blendSolidColor(cv::Mat(10, 12, CV_16UC4), 0xFFFFFFFFu, 0, 255, false, 8));
  EXPECT_FALSE(blendSolidColor(cv::Mat(), 0xFFFFFFFFu, 0, 255, false, 8));
  EXPECT_EQ(ref::differingBytes(dst, original), 0);
}

// The mask entries share one band invoker and one set of checks: each rule is proven
// exhaustively on its row kernel; here the entries' bands, ROIs, in-place use and refusals.
using MaskEntry = bool (*)(const cv::Mat&, const cv::Mat&, const cv::Mat&);
struct MaskEntryCase {
  const char* name;
  MaskEntry entry;
  int dstType;
  ref::MaskRule rule;
};

const MaskEntryCase kMaskEntries[] = {
    {"MaskBlend", imageC::maskBlend, CV_8UC4, ref::maskPixel},
    {"WhiteBlend", imageC::whiteBlend, CV_8UC4, ref::whitePixel},
    {"AlphaLimitedMask", imageC::alphaLimitedMask, CV_8UC1, ref::alphaLimitedPixel},
    {"AlphaLimitedCutOut", imageC::alphaLimitedCutOut, CV_8UC4, ref::alphaLimitedCutOutPixel},
};

class MaskEntries : public ::testing::TestWithParam<MaskEntryCase> {};

TEST_P(MaskEntries, EveryBandOfAStridedRoiOnceAndInPlaceAlike) {
  ThreadCount restore;
  const MaskEntryCase& c = GetParam();
  const int channels = CV_MAT_CN(c.dstType);
  for (int rows : {1, 7, 8, 9, 123}) {
    const cv::Mat srcContent = ref::edgyImage(rows, 77, 17);
    cv::Mat maskContent(rows, 77, CV_8UC1);
    cv::randu(maskContent, 0, 256);
    const Framed src(srcContent), mask(maskContent, 1),
        dst(cv::Mat(rows, 77, c.dstType, cv::Scalar::all(3)), 2);
    ASSERT_TRUE(c.entry(src.roi, mask.roi, dst.roi));
    const cv::Mat expected = ref::applyMask(c.rule, srcContent, maskContent, channels);
    EXPECT_EQ(ref::differingBytes(dst.roi, expected), 0) << rows << " rows";
    EXPECT_EQ(dst.frameChanges(), 0) << "wrote outside its rows";

    cv::setNumThreads(1);
    cv::Mat inPlace = channels == 4 ? srcContent.clone() : maskContent.clone();
    ASSERT_TRUE(channels == 4 ? c.entry(inPlace, maskContent, inPlace)
                              : c.entry(srcContent, inPlace, inPlace));
    EXPECT_EQ(ref::differingBytes(inPlace, expected), 0) << "in place";
    cv::setNumThreads(-1);
  }
}

TEST_P(MaskEntries, RejectsMismatchedArgumentsUntouched) {
  const MaskEntryCase& c = GetParam();
  const cv::Mat src = ref::edgyImage(8, 8, 18);
  cv::Mat dst(8, 8, c.dstType, cv::Scalar::all(5));
  const cv::Mat mask(8, 8, CV_8UC1, cv::Scalar(128));
  const cv::Mat wrongDst(8, 8, c.dstType == CV_8UC4 ? CV_8UC1 : CV_8UC4);
  EXPECT_FALSE(c.entry(src, cv::Mat(8, 8, CV_8UC4), dst));
  EXPECT_FALSE(c.entry(src, mask(cv::Rect(0, 0, 7, 8)), dst));
  EXPECT_FALSE(c.entry(src(cv::Rect(0, 0, 8, 7)), mask(cv::Rect(0, 0, 8, 7)), dst));
  EXPECT_FALSE(c.entry(cv::Mat(8, 8, CV_8UC3), mask, dst));
  EXPECT_FALSE(c.entry(src, mask, wrongDst));
  EXPECT_FALSE(c.entry(cv::Mat(), cv::Mat(), dst));
  EXPECT_EQ(cv::countNonZero(dst.reshape(1) != 5), 0);
}

INSTANTIATE_TEST_SUITE_P(Entries, MaskEntries, ::testing::ValuesIn(kMaskEntries),
                         [](const ::testing::TestParamInfo<MaskEntryCase>& info) {
                           return std::string(info.param.name);
                         });

TEST(BlendModeNames, NamesAndNumbersRoundTripAnyCase) {
  int named = 0;
  for (uint32_t m = 0; m < 30; ++m) {
    const char* name = imageC::blendModeName(m);
    if (name == nullptr) continue;
    ++named;
    uint32_t back = 99;
    ASSERT_TRUE(imageC::blendModeFromName(name, &back)) << name;
    EXPECT_EQ(back, m);
  }
  EXPECT_EQ(named, 23);  // 0..23 without 18
  uint32_t m = 0;
  EXPECT_TRUE(imageC::blendModeFromName("hardmix", &m));
  EXPECT_EQ(m, 14u);
  for (const char* unknown : {"Hollow", "", "Divide"})
    EXPECT_FALSE(imageC::blendModeFromName(unknown, &m)) << unknown;
}

}  // namespace
