// SPDX-License-Identifier: MIT
#include "imaging/blend_tables.h"

#include <algorithm>
#include <cmath>

namespace imageC {
namespace {

int clamp255(int v) { return std::min(255, std::max(0, v)); }

// Integer divisions below truncate toward zero, as C++ does for negative operands too.
uint8_t planeEntry(int plane, int a, int b) {
  switch (plane) {
    case kPlaneAdd:
    case kPlaneLinearDodge:
      return static_cast<uint8_t>(std::min(a + b, 255));
    case kPlaneMul:
      return static_cast<uint8_t>(clamp255(static_cast<int>(std::floor(a * b / 255.0 + 0.5))));
    case kPlaneScreen:  // deliberately >> 8, unlike `over`
      return static_cast<uint8_t>(255 - (((255 - a) * (255 - b)) >> 8));
    case kPlaneOverlay:  // the lower half deliberately divides by 256, unlike hard light
      return static_cast<uint8_t>(a <= 127 ? (2 * a * b) >> 8
                                           : 255 - (2 * (255 - a) * (255 - b)) / 255);
    case kPlaneSoftLight: {  // single precision, grouped as written: rounding depends on it
      const float A = a / 255.0f;
      const float B = b / 255.0f;
      if (b < 128)
        return static_cast<uint8_t>(static_cast<int>(((1 - 2 * B) * (A * A) + 2 * A * B) * 255));
      return static_cast<uint8_t>(
          static_cast<int>(((1 - B) * (2 * A) + (2 * B - 1) * std::sqrt(A)) * 255));
    }
    case kPlaneHardLight:
      return static_cast<uint8_t>(b < 128 ? clamp255((2 * a * b) / 255)
                                          : clamp255(255 - (2 * (255 - a) * (255 - b)) / 255));
    case kPlaneColorDodge:
      return static_cast<uint8_t>(b == 255 ? 255 : std::min(255, a * 255 / (255 - b)));
    case kPlaneColorBurn:
      return static_cast<uint8_t>(b == 0 ? 0 : clamp255(255 - (255 - a) * 255 / b));
    case kPlaneDarken:
      return static_cast<uint8_t>(std::min(a, b));
    case kPlaneLighten:
      return static_cast<uint8_t>(std::max(a, b));
    case kPlaneDifference:
      return static_cast<uint8_t>(std::abs(a - b));
    case kPlaneExclusion:
      return static_cast<uint8_t>(a + b - (2 * a * b) / 255);
    case kPlaneHardMix:  // the threshold is deliberately 254
      return static_cast<uint8_t>(a + b < 254 ? 0 : 255);
    case kPlaneVividLight:
      if (b == 255) return 255;
      if (b >= 128) return static_cast<uint8_t>(std::min(255, a * 256 / (511 - 2 * b)));
      if (b >= 1) return static_cast<uint8_t>(clamp255(255 - (255 - a) * 256 / (2 * b)));
      return 0;
    case kPlaneLinearBurn:
      return static_cast<uint8_t>(std::max(a + b - 255, 0));
    case kPlanePinLight:
      return static_cast<uint8_t>(std::max(2 * b - 255, std::min(a, 2 * b)));
    case kPlaneLinearLight:
      return static_cast<uint8_t>(clamp255(a + 2 * b - 255));
    case kPlaneDivide: {
      if (b == 0) return 255;
      const float q = static_cast<float>(a * 255) / (static_cast<float>(b) + 0.5f);
      return static_cast<uint8_t>(static_cast<int>(std::min(255.0f, q)));
    }
    case kPlaneOver:
      return static_cast<uint8_t>(clamp255(a + ((255 - a) * b) / 255));
  }
  return 0;
}

// Zero-initialised static storage: no allocation, released with the library's image.
BlendModeTables gTables;

const BlendModeTables& buildTables() {
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      for (int p = 0; p < kPlaneCount; ++p) gTables.planes[p][a][b] = planeEntry(p, a, b);
      for (int k = 0; k < 256; ++k)
        gTables.lerp[a][b][k] = static_cast<uint8_t>((a * k + b * (255 - k)) / 255);
    }
  }
  return gTables;
}

}  // namespace

const BlendModeTables& getBlendTables() {
  static const BlendModeTables& tables = buildTables();
  return tables;
}

}  // namespace imageC
