// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <tuple>
#include <vector>

#include "quorin/quorin_kernel.h"

namespace {

int BytesPerPixel(int32_t format) { return format == QUORIN_FORMAT_BGRA8 ? 4 : 1; }

// Format, width, height, and the bytes by which made frames' rows are longer than their pixels.
class KernelFrames : public ::testing::TestWithParam<std::tuple<int32_t, int, int, int>> {};

TEST_P(KernelFrames, MadeFramesUseTheCallersPixelsInPlace) {
  const auto [format, width, height, pad] = GetParam();
  const int32_t row = width * BytesPerPixel(format), step = row + pad;
  std::vector<uint8_t> pixels(static_cast<size_t>(step) * height, 7);
  uint8_t* const planes[3] = {pixels.data(), nullptr, nullptr};
  const int32_t strides[3] = {step, 0, 0};
  QuorinFrame* frame = QuorinVideoFrameMake(planes, format, 0, width, height, strides, 0);
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(std::make_tuple(frame->format, frame->width, frame->height, frame->planes[0],
                            frame->strides[0], frame->flags & QUORIN_FRAME_OWNS_PIXELS),
            std::make_tuple(format, width, height, pixels.data(), step, 0));
  // Writing through the frame lands in the caller's buffer: nothing was copied.
  const size_t last = static_cast<size_t>(height - 1) * step + row - 1;
  frame->planes[0][last] = 201;
  QuorinFrameFree(frame);
  // The pixels outlive the frame (a kernel that freed them would fail under AddressSanitizer).
  EXPECT_EQ(pixels[last], 201);
  EXPECT_EQ(std::count(pixels.begin(), pixels.end(), 7), static_cast<long>(pixels.size()) - 1);
  // A stride of zero, or none at all, means tight rows.
  const int32_t zero[3] = {0, 0, 0};
  for (const int32_t* tight : {zero, static_cast<const int32_t*>(nullptr)}) {
    QuorinFrame* f = QuorinVideoFrameMake(planes, format, 0, width, height, tight, 0);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->strides[0], row);
    QuorinFrameFree(f);
  }
}

TEST_P(KernelFrames, AllocatedFramesOwnZeroedAlignedRows) {
  [[maybe_unused]] const auto [format, width, height, pad] = GetParam();
  QuorinFrame* frame = QuorinVideoFrameAlloc(format, width, height);
  ASSERT_NE(frame, nullptr);
  const int32_t row = width * BytesPerPixel(format);
  ASSERT_EQ(std::make_tuple(frame->flags & QUORIN_FRAME_OWNS_PIXELS, frame->format, frame->width,
                            frame->height, frame->strides[0]),
            std::make_tuple(QUORIN_FRAME_OWNS_PIXELS, format, width, height, row));
  EXPECT_EQ(reinterpret_cast<uintptr_t>(frame->planes[0]) % 64, 0u);
  uint8_t* const pixels = frame->planes[0];
  const size_t bytes = static_cast<size_t>(row) * height;
  EXPECT_EQ(std::count(pixels, pixels + bytes, 0), static_cast<long>(bytes));
  // Every byte of every row is writable; the kernel frees what it allocated.
  for (size_t i = 0; i < bytes; ++i) pixels[i] = static_cast<uint8_t>(i);
  QuorinFrameFree(frame);
}

INSTANTIATE_TEST_SUITE_P(FormatsAndSizes, KernelFrames,
                         ::testing::Combine(::testing::Values(QUORIN_FORMAT_BGRA8,
                                                              QUORIN_FORMAT_GRAY8,
                                                              QUORIN_FORMAT_GRAY8_AUX),
                                            ::testing::Values(1, 7, 641),
                                            ::testing::Values(1, 3, 480),
                                            ::testing::Values(0, 13)));

// Make and Alloc share one geometry check; Make alone takes a row step and the caller's pixels.
TEST(Kernel, MakeAndAllocRejectFramesTheyCannotHold) {
  const struct {
    const char* what;
    int32_t format, width, height, stride;
    bool nullPlane;
  } faults[] = {{"no pixels", QUORIN_FORMAT_BGRA8, 2, 2, 0, true},
                {"format 0", 0, 2, 2, 0, false},
                {"format 3", 3, 2, 2, 0, false},
                {"format 5", 5, 2, 2, 0, false},
                {"format -1", -1, 2, 2, 0, false},
                {"width 0", QUORIN_FORMAT_BGRA8, 0, 2, 0, false},
                {"height 0", QUORIN_FORMAT_GRAY8, 2, 0, 0, false},
                {"negative width", QUORIN_FORMAT_GRAY8_AUX, -4, 2, 0, false},
                {"negative height", QUORIN_FORMAT_BGRA8, 2, -4, 0, false},
                {"stride below the row", QUORIN_FORMAT_BGRA8, 4, 2, 15, false},
                {"negative stride", QUORIN_FORMAT_GRAY8, 4, 2, -8, false},
                {"rows beyond 2 GiB", QUORIN_FORMAT_BGRA8, 30000, 30000, 0, false},
                {"a row beyond 2 GiB", QUORIN_FORMAT_BGRA8, INT_MAX / 2, 1, 0, false},
                {"two rows beyond 2 GiB", QUORIN_FORMAT_GRAY8, INT_MAX, 2, 0, false},
                {"padded rows beyond 2 GiB", QUORIN_FORMAT_GRAY8, 16, 2, INT_MAX / 2 + 1, false}};
  uint8_t pixel[16] = {0};
  for (const auto& bad : faults) {
    uint8_t* const planes[3] = {bad.nullPlane ? nullptr : pixel, nullptr, nullptr};
    const int32_t strides[3] = {bad.stride, 0, 0};
    EXPECT_EQ(QuorinVideoFrameMake(planes, bad.format, 0, bad.width, bad.height, strides, 0),
              nullptr)
        << bad.what;
    if (bad.stride == 0 && !bad.nullPlane) {
      EXPECT_EQ(QuorinVideoFrameAlloc(bad.format, bad.width, bad.height), nullptr) << bad.what;
    }
  }
  EXPECT_EQ(QuorinVideoFrameMake(nullptr, QUORIN_FORMAT_GRAY8, 0, 2, 2, nullptr, 0), nullptr);
  EXPECT_EQ(QuorinVideoOpenGLFrameMake(1, QUORIN_FORMAT_BGRA8, 16, 16), nullptr);
  QuorinFrameFree(nullptr);  // accepted, does nothing
}

}  // namespace
