// SPDX-License-Identifier: MIT
// A small effect used only by the tests to drive the base classes and the exported functions.
#pragma once

#include <stdexcept>

#include "framework/effect_filter.h"

namespace kaztest {

// Writes the inverted colour of the source and keeps its alpha. A non-zero int "Throw"
// parameter makes the transform throw, as a faulty effect would.
class InvertTestFilter : public vorta::NLEAIEffectFilter {
 public:
  static inline int constructed = 0;

  explicit InvertTestFilter(vorta::FilterInfoPtr info) : NLEAIEffectFilter(std::move(info)) {
    ++constructed;
  }

  int32_t Transform(unsigned char* dst, int32_t, int32_t, int32_t dstStride, unsigned char*,
                    int32_t, int32_t, int32_t, const unsigned char* src, int32_t srcWidth,
                    int32_t srcHeight, int32_t srcStride) override {
    if (dst == nullptr || src == nullptr) return 1;
    NLEParamValue value;
    if (GetParameterValue("Throw", value) && vorta::PayloadAs<int32_t>(value) != 0) {
      throw std::runtime_error("boom");
    }
    for (int32_t y = 0; y < srcHeight; ++y) {
      const unsigned char* s = src + static_cast<size_t>(y) * srcStride;
      unsigned char* d = dst + static_cast<size_t>(y) * dstStride;
      for (int32_t x = 0; x < srcWidth * 4; x += 4) {
        for (int32_t c = 0; c < 3; ++c) d[x + c] = static_cast<unsigned char>(255 - s[x + c]);
        d[x + 3] = s[x + 3];
      }
    }
    return 0;
  }
};

}  // namespace kaztest
