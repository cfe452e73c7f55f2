// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <vector>

namespace quorin::face {

// One of the project's 106 points: a weighted mix of face-mesh points.
struct MeshMix {
  std::array<int, 4> index{};
  std::array<float, 4> weight{};
};

// The 106-point table over the 468-point mesh (order and picture: docs/face_points.md).
const std::vector<MeshMix>& FacePointTable();

// Indices of the 106 points that the evaluation and the head pose use.
enum FacePoint {
  kChin = 16,
  kRightEyeCentre = 61,
  kLeftEyeCentre = 70,
  kNoseTip = 77,
  kMouthRight = 86,
  kMouthLeft = 92,
};

}  // namespace quorin::face
