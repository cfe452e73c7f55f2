// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>

#include <opencv2/core.hpp>

#include "imaging/white_blend.h"

namespace {

// Every (byte, mask) pair, in every channel and at every position of a vector, through the
// banded, vectorised entry: each byte must be round(s * m / 255) + 255 - m.
TEST(WhiteBlend, EveryByteAndMaskPairInEveryChannelIsExact) {
  const int width = 256 * 4 + 3;  // vectors and a scalar tail on every row
  cv::Mat src(256, width, CV_8UC4), mask(256, width, CV_8UC1), dst(256, width, CV_8UC4);
  for (int m = 0; m < 256; ++m) {
    for (int x = 0; x < width; ++x) {
      const int s = x % 256;
      src.at<cv::Vec4b>(m, x) = cv::Vec4b(s, 255 - s, (s * 7) % 256, (s + m) % 256);
      mask.at<uint8_t>(m, x) = static_cast<uint8_t>(m);
    }
  }
  imageC::whiteBlend(src, mask, dst);
  for (int m = 0; m < 256; ++m) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < 4; ++c) {
        const int s = src.at<cv::Vec4b>(m, x)[c];
        const int want = static_cast<int>(std::lround(s * m / 255.0)) + 255 - m;
        ASSERT_EQ(dst.at<cv::Vec4b>(m, x)[c], want) << "s=" << s << " m=" << m << " c=" << c;
      }
    }
  }
}

TEST(WhiteBlend, BandsEqualASingleThreadAndInPlaceEqualsSeparate) {
  cv::Mat src(13, 37, CV_8UC4), mask(13, 37, CV_8UC1);
  cv::randu(src, 0, 256);
  cv::randu(mask, 0, 256);
  cv::Mat parallel(13, 37, CV_8UC4), single(13, 37, CV_8UC4);
  imageC::whiteBlend(src, mask, parallel);
  const int threads = cv::getNumThreads();
  cv::setNumThreads(1);
  imageC::whiteBlend(src, mask, single);
  cv::setNumThreads(threads);
  EXPECT_EQ(cv::norm(parallel, single, cv::NORM_INF), 0.0);
  cv::Mat inPlace = src.clone();
  imageC::whiteBlend(inPlace, mask, inPlace);
  EXPECT_EQ(cv::norm(inPlace, parallel, cv::NORM_INF), 0.0);
}

}  // namespace
