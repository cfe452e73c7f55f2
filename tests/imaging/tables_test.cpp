// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <thread>
#include <vector>

#include "imaging/blend_tables.h"
#include "imaging/exact8.h"
#include "imaging/reference.h"

namespace {

using imageC::BlendModeTables;
using imageC::getBlendTables;

// Defined first so that, in the default order, it makes the first call of the process.
TEST(BlendTables, ConcurrentFirstUseBuildsOneObject) {
  std::vector<const BlendModeTables*> seen(8, nullptr);
  std::vector<std::thread> threads;
  for (auto& s : seen) threads.emplace_back([&s] { s = &getBlendTables(); });
  for (auto& t : threads) t.join();
  for (const auto* s : seen) EXPECT_EQ(s, &getBlendTables());
}

class PlaneTest : public ::testing::TestWithParam<int> {};

TEST_P(PlaneTest, EveryEntryMatchesTheFormula) {
  const int p = GetParam();
  const auto& plane = getBlendTables().planes[p];
  int wrong = 0;
  for (int a = 0; a < 256; ++a)
    for (int b = 0; b < 256; ++b) {
      const int expected = ref::plane(p, a, b);
      ASSERT_GE(expected, 0);
      ASSERT_LE(expected, 255);
      if (plane[a][b] != expected && ++wrong <= 5)
        ADD_FAILURE() << "plane " << p << " [" << a << "][" << b << "] = " << int{plane[a][b]}
                      << ", expected " << expected;
    }
  EXPECT_EQ(wrong, 0);
}

INSTANTIATE_TEST_SUITE_P(AllPlanes, PlaneTest, ::testing::Range(0, 20));

TEST(BlendTables, LerpCubeMatchesTheFormulaEverywhere) {
  const auto& lerp = getBlendTables().lerp;
  int64_t wrong = 0;
  for (int a = 0; a < 256; ++a)
    for (int b = 0; b < 256; ++b)
      for (int k = 0; k < 256; ++k) wrong += lerp[a][b][k] != (a * k + b * (255 - k)) / 255;
  EXPECT_EQ(wrong, 0);
}

// Values worked out by hand from the rules, including their deliberate quirks.
TEST(BlendTables, DeliberateEdgesHold) {
  const auto& P = getBlendTables().planes;
  EXPECT_EQ(P[imageC::kPlaneHardMix][127][127], 255);  // 254 is already "high"
  EXPECT_EQ(P[imageC::kPlaneHardMix][126][127], 0);
  EXPECT_EQ(P[imageC::kPlaneColorDodge][0][255], 255);
  EXPECT_EQ(P[imageC::kPlaneColorBurn][255][0], 0);
  EXPECT_EQ(P[imageC::kPlaneVividLight][0][255], 255);
  EXPECT_EQ(P[imageC::kPlaneVividLight][255][0], 0);
  // Screen divides by 256: two blacks give 255 - 65025/256 = 1.
  EXPECT_EQ(P[imageC::kPlaneScreen][0][0], 1);
  EXPECT_EQ(P[imageC::kPlaneOver][0][0], 0);
  // Overlay's lower half divides by 256 (64770 >> 8 = 253), hard light by 255 (64770 / 255).
  EXPECT_EQ(P[imageC::kPlaneOverlay][127][255], 253);
  EXPECT_EQ(P[imageC::kPlaneHardLight][255][127], 254);
  EXPECT_EQ(P[imageC::kPlaneDivide][10][0], 255);
  EXPECT_EQ(P[imageC::kPlaneDivide][1][1], 170);  // 255 / 1.5
  EXPECT_EQ(0, std::memcmp(P[imageC::kPlaneAdd], P[imageC::kPlaneLinearDodge], 65536));
  for (int a = 0; a < 256; ++a)
    for (int b = 0; b < 256; ++b) {
      ASSERT_EQ(P[imageC::kPlaneMul][a][b], P[imageC::kPlaneMul][b][a]);
      ASSERT_EQ(P[imageC::kPlaneOver][255][b], 255);
    }
}

// The shared helpers against the tables, every operand combination, scalar and vector forms.
TEST(Exact8, ScalarHelpersEqualTheTables) {
  namespace e = imageC::exact8;
  const auto& T = getBlendTables();
  for (uint32_t a = 0; a < 256; ++a)
    for (uint32_t b = 0; b < 256; ++b) {
      ASSERT_EQ(e::mul<uint32_t>(a, b), T.planes[imageC::kPlaneMul][a][b]) << a << " " << b;
      ASSERT_EQ(e::over<uint32_t>(a, b), T.planes[imageC::kPlaneOver][a][b]) << a << " " << b;
      for (uint32_t k = 0; k < 256; ++k)
        ASSERT_EQ(e::lerp<uint32_t>(a, b, k), T.lerp[a][b][k]) << a << " " << b << " " << k;
    }
  for (uint32_t x = 0; x < 65536; ++x) ASSERT_EQ(imageC::exact8::div255<uint32_t>(x), x / 255);
}

#if CV_SIMD128
std::array<uint16_t, 8> lanes(const cv::v_uint16x8& v) {
  std::array<uint16_t, 8> out;
  cv::v_store(out.data(), v);
  return out;
}

TEST(Exact8, VectorHelpersEqualTheTables) {
  namespace e = imageC::exact8;
  const auto& T = getBlendTables();
  alignas(16) uint16_t av[8], bv[8], kv[8];
  for (int a = 0; a < 256; ++a)
    for (int b0 = 0; b0 < 256; b0 += 8) {
      for (int j = 0; j < 8; ++j) {
        av[j] = static_cast<uint16_t>(a);
        bv[j] = static_cast<uint16_t>(b0 + j);
      }
      const cv::v_uint16x8 A = cv::v_load(av), B = cv::v_load(bv);
      const auto m = lanes(e::mul(A, B)), o = lanes(e::over(A, B));
      for (int j = 0; j < 8; ++j) {
        ASSERT_EQ(m[j], T.planes[imageC::kPlaneMul][a][b0 + j]);
        ASSERT_EQ(o[j], T.planes[imageC::kPlaneOver][a][b0 + j]);
      }
      for (int k = 0; k < 256; ++k) {
        for (int j = 0; j < 8; ++j) kv[j] = static_cast<uint16_t>(k);
        const auto l = lanes(e::lerp(A, B, cv::v_load(kv)));
        for (int j = 0; j < 8; ++j) ASSERT_EQ(l[j], T.lerp[a][b0 + j][k]);
      }
    }
  for (int x0 = 0; x0 < 65536; x0 += 8) {
    for (int j = 0; j < 8; ++j) av[j] = static_cast<uint16_t>(x0 + j);
    const auto d = lanes(e::div255(cv::v_load(av)));
    for (int j = 0; j < 8; ++j) ASSERT_EQ(d[j], (x0 + j) / 255);
  }
}

TEST(Exact8, PixelLanesRoundTripAndBroadcastAlpha) {
  namespace e = imageC::exact8;
  uint8_t px[16], back[16];
  for (int i = 0; i < 16; ++i) px[i] = static_cast<uint8_t>(17 * i + 3);
  const e::Pixels4 p = e::loadPixels(px);
  e::storePixels(back, p.even, p.odd);
  EXPECT_EQ(0, std::memcmp(px, back, 16));
  const auto a = lanes(e::broadcastAlpha(p.odd));
  const auto ev = lanes(p.even), od = lanes(p.odd);
  for (int q = 0; q < 4; ++q) {
    EXPECT_EQ(ev[2 * q], px[4 * q]);
    EXPECT_EQ(ev[2 * q + 1], px[4 * q + 2]);
    EXPECT_EQ(od[2 * q], px[4 * q + 1]);
    EXPECT_EQ(od[2 * q + 1], px[4 * q + 3]);
    EXPECT_EQ(a[2 * q], px[4 * q + 3]);
    EXPECT_EQ(a[2 * q + 1], px[4 * q + 3]);
  }
  const uint8_t mask[4] = {9, 0, 255, 77};
  const auto m = lanes(e::loadPerPixel(mask));
  for (int q = 0; q < 4; ++q) {
    EXPECT_EQ(m[2 * q], mask[q]);
    EXPECT_EQ(m[2 * q + 1], mask[q]);
  }
}
#endif

}  // namespace
