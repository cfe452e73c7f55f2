// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

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
}

// The shared helpers against the tables and the lerp formula, every operand combination.
TEST(Exact8, ScalarHelpersEqualTheTables) {
  namespace e = imageC::exact8;
  const auto& T = getBlendTables();
  for (uint32_t a = 0; a < 256; ++a)
    for (uint32_t b = 0; b < 256; ++b) {
      ASSERT_EQ(e::mul<uint32_t>(a, b), T.planes[imageC::kPlaneMul][a][b]) << a << " " << b;
      ASSERT_EQ(e::over<uint32_t>(a, b), T.planes[imageC::kPlaneOver][a][b]) << a << " " << b;
      for (uint32_t k = 0; k < 256; ++k)
        ASSERT_EQ(e::lerp<uint32_t>(a, b, k), ref::lerp(a, b, k)) << a << " " << b << " " << k;
    }
  for (uint32_t x = 0; x < 65536; ++x) ASSERT_EQ(imageC::exact8::div255<uint32_t>(x), x / 255);
}

}  // namespace
