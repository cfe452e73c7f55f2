// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

#include "ai/copy_plane.h"
#include "ai/module_support.h"
#include "ai/platform.h"

namespace {

constexpr unsigned char kUntouched = 0xA5;

struct PlaneCase {
  int32_t width, height, srcStride, dstStride;
};

class CopyPlaneTest : public ::testing::TestWithParam<PlaneCase> {};

TEST_P(CopyPlaneTest, CopiesTheSmallerStrideOrTheWholeBlock) {
  const PlaneCase c = GetParam();
  std::vector<unsigned char> src(static_cast<size_t>(c.srcStride) * c.height);
  for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<unsigned char>(i * 7 + 3);
  std::vector<unsigned char> dst(static_cast<size_t>(c.dstStride) * c.height, kUntouched);

  ASSERT_TRUE(kaz::CopyPlane(src.data(), dst.data(), c.width, c.height, c.srcStride, c.dstStride));

  // Equal strides move the whole block, padding included; otherwise each row moves the smaller
  // stride and the rest of a longer destination row keeps its bytes.
  std::vector<unsigned char> want(dst.size(), kUntouched);
  for (int32_t y = 0; y < c.height; ++y) {
    std::copy_n(&src[static_cast<size_t>(y) * c.srcStride], std::min(c.srcStride, c.dstStride),
                &want[static_cast<size_t>(y) * c.dstStride]);
  }
  EXPECT_EQ(dst, want);
}

INSTANTIATE_TEST_SUITE_P(
    Strides, CopyPlaneTest,
    ::testing::Values(PlaneCase{3, 5, 16, 16},    // padded rows: the last row's padding too
                      PlaneCase{3, 5, 12, 16},    // 12 bytes a row, 4 left untouched
                      PlaneCase{4, 5, 16, 12}));  // narrower destination: 12, not width x 4

TEST(CopyPlane, RejectsNonPositiveSizesAndNullPointersAndLeavesTheSameBuffer) {
  std::vector<unsigned char> src(64), dst(64, kUntouched);
  std::iota(src.begin(), src.end(), 0);
  const std::vector<unsigned char> before = dst;
  // Width plays no part in the copy, yet a width of 0 still refuses it.
  EXPECT_FALSE(kaz::CopyPlane(src.data(), dst.data(), 0, 4, 16, 16));
  EXPECT_FALSE(kaz::CopyPlane(src.data(), dst.data(), 4, 0, 16, 16));
  EXPECT_FALSE(kaz::CopyPlane(src.data(), dst.data(), 4, 4, 0, 16));
  EXPECT_FALSE(kaz::CopyPlane(src.data(), dst.data(), 4, 4, 16, -16));
  EXPECT_FALSE(kaz::CopyPlane(nullptr, dst.data(), 4, 4, 16, 16));
  EXPECT_FALSE(kaz::CopyPlane(src.data(), nullptr, 4, 4, 16, 16));
  EXPECT_EQ(dst, before);
  // The same buffer on both sides is left as it was.
  const std::vector<unsigned char> same = src;
  EXPECT_TRUE(kaz::CopyPlane(src.data(), src.data(), 4, 4, 16, 16));
  EXPECT_EQ(src, same);
}

// Only a final ".dll", in any case, gives way to the platform's suffix.
TEST(PlatformLibraryName, ModuleTableNamesBecomeLinuxFileNames) {
  EXPECT_EQ(kaz::platform::PlatformLibraryName("QUORIN_KERNEL.DLL"), "libQUORIN_KERNEL.so");
  EXPECT_EQ(kaz::platform::PlatformLibraryName("dll.dll.dll"), "libdll.dll.so");
}

// The plain joins, a separator on one side or on neither, are the binding table's model paths.
TEST(ModelPath, RelativePathsJoinTheDirectoryAsGiven) {
  using THIRD_LIBRARY_IMPORT::JoinModelPath;
  EXPECT_EQ(JoinModelPath("/res/models/", "/seg/a.model"), "/res/models//seg/a.model");
  EXPECT_EQ(JoinModelPath("/res/models/", "clothes/c.model"), "/res/models/clothes/c.model");
  EXPECT_EQ(JoinModelPath("C:\\res\\", "clothes/c.model"), "C:\\res\\clothes/c.model");
  EXPECT_EQ(JoinModelPath("/res/models", ""), "/res/models");
  EXPECT_EQ(JoinModelPath("", "clothes/c.model"), "clothes/c.model");
}

}  // namespace
