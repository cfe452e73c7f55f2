// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace kaz {

// Copies `height` rows from `src` to `dst`, strides in bytes, top row first. With equal strides
// the whole height x stride block is copied (the last row's padding included); otherwise each
// row copies the smaller of the two strides, whatever the width. False, copying nothing, when a
// pointer is null or width, height or a stride is not positive.
bool CopyPlane(const unsigned char* src, unsigned char* dst, int32_t width, int32_t height,
               int32_t srcStride, int32_t dstStride);

}  // namespace kaz
