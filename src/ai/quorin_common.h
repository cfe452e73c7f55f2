// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include <opencv2/core/mat.hpp>

#include "ai/library_symbols.h"
#include "quorin/quorin_kernel.h"

namespace THIRD_LIBRARY_IMPORT {

using QuorinVideoFrameAllocFn = decltype(&::QuorinVideoFrameAlloc);
using QuorinVideoFrameMakeFn = decltype(&::QuorinVideoFrameMake);
using QuorinVideoOpenGLFrameMakeFn = decltype(&::QuorinVideoOpenGLFrameMake);
using QuorinFrameFreeFn = decltype(&::QuorinFrameFree);
using QuorinDefaultDeviceTypeGetFn = decltype(&::QuorinDefaultDeviceTypeGet);

// The runtime's kernel library, "quorin_kernel.dll". Alloc and OpenGL frames are never called,
// but a kernel without them does not bind.
class QuorinCommonSymbols : public LibarySymbols {
 public:
  QuorinCommonSymbols() : LibarySymbols("quorin_kernel.dll") {}

  QuorinVideoFrameAllocFn QuorinVideoFrameAlloc = nullptr;
  QuorinVideoFrameMakeFn QuorinVideoFrameMake = nullptr;
  QuorinVideoOpenGLFrameMakeFn QuorinVideoOpenGLFrameMake = nullptr;
  QuorinFrameFreeFn QuorinFrameFree = nullptr;
  QuorinDefaultDeviceTypeGetFn QuorinDefaultDeviceTypeGet = nullptr;

 protected:
  bool ResolveSymbols() override;
};

std::shared_ptr<QuorinCommonSymbols> GetQuorinCommonSymbols();

// What module creation is given when the kernel cannot say: a fixed device code, so creation
// still receives a device type.
inline constexpr int32_t kFallbackDeviceType = 16;

// A kernel frame over caller-owned pixels (never copied, never owned); the seven arguments go
// to QuorinVideoFrameMake in this order. Null when the kernel or its entry point is missing.
QuorinFrame* MakeKernelFrame(uint8_t* const planes[3], int32_t format, int32_t reserved0,
                             int32_t width, int32_t height, const int32_t strides[3],
                             int32_t reserved1);
// Returns a frame to the kernel; the pixels stay with their owner.
void FreeKernelFrame(QuorinFrame* frame);
// The kernel's default device type, or kFallbackDeviceType when the kernel cannot answer.
int32_t GetDefaultDeviceType();

// A kernel frame over one 8-bit image, freed when it goes out of scope.
class ScopedKernelFrame {
 public:
  // Empty, to receive a frame a module allocates (see receive()).
  ScopedKernelFrame() = default;
  // `image` must outlive the frame. Its first row and row step are handed over as they are;
  // both reserved arguments are 0.
  ScopedKernelFrame(const cv::Mat& image, int32_t format);
  ~ScopedKernelFrame();
  ScopedKernelFrame(const ScopedKernelFrame&) = delete;
  ScopedKernelFrame& operator=(const ScopedKernelFrame&) = delete;

  QuorinFrame* get() const { return frame_; }
  // Where a module stores a frame of its own; this object then frees it.
  QuorinFrame** receive() { return &frame_; }
  explicit operator bool() const { return frame_ != nullptr; }

 private:
  QuorinFrame* frame_ = nullptr;
};

// True when `image` can be described to the kernel as it is: two-dimensional, of `type`, not
// empty, rows of at most 2^31 - 1 bytes.
bool KernelFrameable(const cv::Mat& image, int type);

}  // namespace THIRD_LIBRARY_IMPORT
