// SPDX-License-Identifier: MIT
#include "ai/quorin_common.h"

#include <limits>

namespace THIRD_LIBRARY_IMPORT {

bool QuorinCommonSymbols::ResolveSymbols() {
  return Resolve("QuorinVideoFrameAlloc", QuorinVideoFrameAlloc) &&
         Resolve("QuorinVideoFrameMake", QuorinVideoFrameMake) &&
         Resolve("QuorinVideoOpenGLFrameMake", QuorinVideoOpenGLFrameMake) &&
         Resolve("QuorinFrameFree", QuorinFrameFree) &&
         Resolve("QuorinDefaultDeviceTypeGet", QuorinDefaultDeviceTypeGet);
}

std::shared_ptr<QuorinCommonSymbols> GetQuorinCommonSymbols() {
  return ProcessBinding<QuorinCommonSymbols>();
}

QuorinFrame* MakeKernelFrame(uint8_t* const planes[3], int32_t format, int32_t reserved0,
                             int32_t width, int32_t height, const int32_t strides[3],
                             int32_t reserved1) {
  auto make = CheckedEntry(GetQuorinCommonSymbols(), &QuorinCommonSymbols::QuorinVideoFrameMake);
  if (make == nullptr) return nullptr;
  return make(planes, format, reserved0, width, height, strides, reserved1);
}

void FreeKernelFrame(QuorinFrame* frame) {
  auto release = CheckedEntry(GetQuorinCommonSymbols(), &QuorinCommonSymbols::QuorinFrameFree);
  if (release != nullptr) release(frame);
}

int32_t GetDefaultDeviceType() {
  auto get =
      CheckedEntry(GetQuorinCommonSymbols(), &QuorinCommonSymbols::QuorinDefaultDeviceTypeGet);
  return get != nullptr ? get() : kFallbackDeviceType;
}

bool KernelFrameable(const cv::Mat& image, int type) {
  return image.dims == 2 && !image.empty() && image.type() == type &&
         image.step[0] <= static_cast<size_t>(std::numeric_limits<int32_t>::max());
}

ScopedKernelFrame::ScopedKernelFrame(const cv::Mat& image, int32_t format) {
  // The kernel's frame record has no const planes; modules only read input frames.
  uint8_t* const planes[3] = {const_cast<uint8_t*>(image.data), nullptr, nullptr};
  const int32_t strides[3] = {static_cast<int32_t>(image.step[0]), 0, 0};
  frame_ = MakeKernelFrame(planes, format, 0, image.cols, image.rows, strides, 0);
}

ScopedKernelFrame::~ScopedKernelFrame() {
  if (frame_ != nullptr) FreeKernelFrame(frame_);
}

}  // namespace THIRD_LIBRARY_IMPORT
