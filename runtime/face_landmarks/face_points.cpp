// SPDX-License-Identifier: MIT
#include "face_landmarks/face_points.h"

#include <cstddef>

namespace quorin::face {

namespace {

// "Right" is the person's right (the left of the picture for a face looking at the camera).
// The jaw line from the right temple round the chin to the left temple.
constexpr int kJaw[] = {162, 127, 234, 93,  132, 58,  172, 136, 150, 149, 176, 148, 152,
                        377, 400, 378, 379, 365, 397, 288, 361, 323, 454, 356, 389};
// Brows: upper edge outer to inner, then lower edge outer to inner.
constexpr int kRightBrow[] = {70, 63, 105, 66, 107, 46, 53, 52, 65, 55};
constexpr int kLeftBrow[] = {300, 293, 334, 296, 336, 276, 283, 282, 295, 285};
// Eyes: outer corner, upper lid, inner corner, lower lid back towards the outer corner.
constexpr int kRightEye[] = {33, 160, 159, 158, 133, 153, 145, 144};
constexpr int kLeftEye[] = {263, 387, 386, 385, 362, 380, 374, 373};
// Nose: bridge top to tip, columella, base, nostril wings, alae.
constexpr int kNose[] = {168, 6, 197, 195, 5, 4, 1, 19, 2, 98, 97, 326, 327, 64, 294};
// Lips: outer from the right corner over the upper lip and back under the lower; inner alike.
constexpr int kOuterLips[] = {61, 40, 37, 0, 267, 270, 291, 321, 314, 17, 84, 91};
constexpr int kInnerLips[] = {78, 81, 13, 311, 308, 402, 14, 178};

MeshMix One(int index) { return MeshMix{{index, index, index, index}, {1, 0, 0, 0}}; }

template <std::size_t N>
void Append(std::vector<MeshMix>& table, const int (&points)[N]) {
  for (int p : points) table.push_back(One(p));
}

void AppendEye(std::vector<MeshMix>& table, const int (&eye)[8]) {
  Append(table, eye);
  // The centre: mid-point of the corners and of the lids' middles.
  table.push_back(MeshMix{{eye[0], eye[4], eye[2], eye[6]}, {0.25f, 0.25f, 0.25f, 0.25f}});
}

std::vector<MeshMix> Build() {
  std::vector<MeshMix> table;
  // 33 contour points spread evenly over the jaw line's 24 mesh segments.
  for (int k = 0; k < 33; ++k) {
    const float at = k * 24.0f / 32.0f;
    const int i = static_cast<int>(at);
    const float t = at - i;
    const int j = i + 1 < 25 ? i + 1 : i;
    table.push_back(MeshMix{{kJaw[i], kJaw[j], kJaw[i], kJaw[i]}, {1 - t, t, 0, 0}});
  }
  Append(table, kRightBrow);
  Append(table, kLeftBrow);
  AppendEye(table, kRightEye);
  AppendEye(table, kLeftEye);
  Append(table, kNose);
  Append(table, kOuterLips);
  Append(table, kInnerLips);
  return table;
}

}  // namespace

const std::vector<MeshMix>& FacePointTable() {
  static const std::vector<MeshMix> table = Build();
  return table;
}

}  // namespace quorin::face
