// SPDX-License-Identifier: MIT
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "common/log.h"
#include "quorin/quorin_kernel.h"

namespace {

// The reference runtime runs everything on the CPU; this is the code it hands out.
constexpr int32_t kDeviceCpu = 1;
// Rows of allocated frames start on cache-line boundaries.
constexpr size_t kAlignment = 64;

int32_t BytesPerPixel(int32_t format) {
  switch (format) {
    case QUORIN_FORMAT_BGRA8:
      return 4;
    case QUORIN_FORMAT_GRAY8:
    case QUORIN_FORMAT_GRAY8_AUX:
      return 1;
    default:
      return 0;
  }
}

// Returns the row step in bytes, or 0 when the geometry is unusable. Frames are kept below
// 2 GiB so that every offset fits the 32-bit strides of the layout.
int32_t RowStep(int32_t format, int32_t width, int32_t height, int32_t stride) {
  const int32_t bpp = BytesPerPixel(format);
  if (bpp == 0 || width <= 0 || height <= 0 || stride < 0) return 0;
  const long long minimum = static_cast<long long>(width) * bpp;
  if (minimum > INT_MAX) return 0;
  const long long step = stride == 0 ? minimum : stride;
  if (step < minimum || step * height > INT_MAX) return 0;
  return static_cast<int32_t>(step);
}

QuorinFrame* NewFrame(int32_t format, int32_t width, int32_t height) {
  QuorinFrame* frame = new (std::nothrow) QuorinFrame;
  if (frame == nullptr) return nullptr;
  std::memset(frame, 0, sizeof(*frame));
  frame->format = format;
  frame->planeCount = 1;
  frame->width = width;
  frame->height = height;
  return frame;
}

}  // namespace

extern "C" {

QuorinFrame* QuorinVideoFrameAlloc(int32_t format, int32_t width, int32_t height) {
  const int32_t step = RowStep(format, width, height, 0);
  if (step == 0) {
    quorin::Log(quorin::kLogError, "kernel: cannot allocate a frame of format %d, %dx%d", format,
                width, height);
    return nullptr;
  }
  const size_t bytes = static_cast<size_t>(step) * static_cast<size_t>(height);
  const size_t rounded = (bytes + kAlignment - 1) / kAlignment * kAlignment;
  void* pixels = std::aligned_alloc(kAlignment, rounded);
  if (pixels == nullptr) return nullptr;
  std::memset(pixels, 0, rounded);
  QuorinFrame* frame = NewFrame(format, width, height);
  if (frame == nullptr) {
    std::free(pixels);
    return nullptr;
  }
  frame->flags = QUORIN_FRAME_OWNS_PIXELS;
  frame->planes[0] = static_cast<uint8_t*>(pixels);
  frame->strides[0] = step;
  return frame;
}

QuorinFrame* QuorinVideoFrameMake(uint8_t* const planes[3], int32_t format, int32_t /*reserved0*/,
                                  int32_t width, int32_t height, const int32_t strides[3],
                                  int32_t /*reserved1*/) {
  if (planes == nullptr || planes[0] == nullptr) {
    quorin::Log(quorin::kLogError, "kernel: frame without pixels");
    return nullptr;
  }
  const int32_t given = strides == nullptr ? 0 : strides[0];
  const int32_t step = RowStep(format, width, height, given);
  if (step == 0) {
    quorin::Log(quorin::kLogError, "kernel: bad frame: format %d, %dx%d, stride %d", format, width,
                height, given);
    return nullptr;
  }
  QuorinFrame* frame = NewFrame(format, width, height);
  if (frame == nullptr) return nullptr;
  for (int i = 0; i < 3; ++i) frame->planes[i] = planes[i];
  // The first stride is stored resolved, so readers never meet the "0 means width" form here.
  frame->strides[0] = step;
  if (strides != nullptr) {
    frame->strides[1] = strides[1];
    frame->strides[2] = strides[2];
  }
  return frame;
}

QuorinFrame* QuorinVideoOpenGLFrameMake(uint32_t /*texture*/, int32_t /*format*/, int32_t /*width*/,
                                        int32_t /*height*/) {
  quorin::Log(quorin::kLogError, "kernel: OpenGL frames are not supported");
  return nullptr;
}

void QuorinFrameFree(QuorinFrame* frame) {
  if (frame == nullptr) return;
  if (frame->flags & QUORIN_FRAME_OWNS_PIXELS) std::free(frame->planes[0]);
  delete frame;
}

int32_t QuorinDefaultDeviceTypeGet(void) { return kDeviceCpu; }

}  // extern "C"
