// SPDX-License-Identifier: MIT
#include "ai/copy_plane.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace kaz {

bool CopyPlane(const unsigned char* src, unsigned char* dst, int32_t width, int32_t height,
               int32_t srcStride, int32_t dstStride) {
  if (src == nullptr || dst == nullptr) return false;
  if (width <= 0 || height <= 0 || srcStride <= 0 || dstStride <= 0) return false;
  // memmove: effects may pass the same frame as source and destination.
  if (srcStride == dstStride) {
    std::memmove(dst, src, static_cast<size_t>(height) * static_cast<size_t>(srcStride));
    return true;
  }
  const size_t rowBytes = static_cast<size_t>(std::min(srcStride, dstStride));
  for (int32_t y = 0; y < height; ++y) {
    std::memmove(dst + static_cast<ptrdiff_t>(y) * dstStride,
                 src + static_cast<ptrdiff_t>(y) * srcStride, rowBytes);
  }
  return true;
}

}  // namespace kaz
