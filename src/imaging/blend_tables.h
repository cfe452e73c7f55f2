// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace imageC {

// Plane numbers of BlendModeTables::planes. Every plane is indexed [a][b]; in the layer modes a
// is the base (destination) value and b the blend (layer) value.
enum BlendPlane : int {
  kPlaneAdd = 0,  // a second copy of kPlaneLinearDodge
  kPlaneMul = 1,
  kPlaneScreen = 2,
  kPlaneOverlay = 3,
  kPlaneSoftLight = 4,
  kPlaneHardLight = 5,
  kPlaneColorDodge = 6,
  kPlaneColorBurn = 7,
  kPlaneDarken = 8,
  kPlaneLighten = 9,
  kPlaneDifference = 10,
  kPlaneExclusion = 11,
  kPlaneHardMix = 12,
  kPlaneVividLight = 13,
  kPlaneLinearBurn = 14,
  kPlaneLinearDodge = 15,
  kPlanePinLight = 16,
  kPlaneLinearLight = 17,
  kPlaneDivide = 18,  // built, but no mode selects it
  kPlaneOver = 19,
  kPlaneCount = 20,
};

struct BlendModeTables {
  uint8_t planes[kPlaneCount][256][256];
  // lerp[a][b][k] = (a * k + b * (255 - k)) / 255: a laid over b with coverage k.
  uint8_t lerp[256][256][256];
};

// The process-wide tables, built on the first call (thread-safe) and read-only afterwards. The
// first call costs some tens of milliseconds and touches about 17.3 MiB.
const BlendModeTables& getBlendTables();

}  // namespace imageC
