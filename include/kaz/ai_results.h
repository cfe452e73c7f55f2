// SPDX-License-Identifier: MIT
// What the analysis effects publish. NLEEffectFilterGetAIResData hands out the held result as a
// std::shared_ptr<AIDATA::BaseAIDATA>; downcast it to the kind the effect makes. A result never
// changes once handed out, and a consumer may keep it after the filter has moved on.
//
// The same results travel to the host's receiver (kaz/ai_data.h) as byte blobs, little-endian and
// packed, valid only during the call:
//
// Face blob (slot 7, ReceiveFaceData):
//   int32 n                        faces; never 0 (a result without faces is zero bytes)
//   per face: u8 flagA, u8 flagB, 8 bytes valueA, valueB, valueC (the doubles' bits),
//             float box[4], int32 landmark count, count x (float x, float y), int32 auxValue,
//             int32 visibility count, count x float
// One face with its 106 points is 1,330 bytes.
//
// Pose blob (slot 10, ReceivePoseData); zero bytes (and a null pointer) when nobody was found:
//   int32 n                        people
//   per person: int32 c, then c x (float x, float y, int32 person index)
// The third field of an entry carries no score: read the scores from the held result.
//
// Coordinates are fractions of the frame's width (x) and height (y).
#pragma once

#include <cstdint>
#include <vector>

#include "kaz/ai_data.h"

// The effects whose product is data: they hand the picture back unchanged.
inline constexpr char kKAZFaceInfoEffectGUID[] = "AD36FDCA-6B5E-4399-8625-DE97EBF12E41";
inline constexpr char kKAZPoseEffectGUID[] = "02E5BBF3-8C49-4392-9B0F-5B72E56FC762";

namespace AIDATA {

struct PointF {
  float x = 0.0f;
  float y = 0.0f;
};

// One face. Fields in the order the blob carries them.
struct HumanFaceInfo {
  // Flags and head values exactly as the face runtime reports them; their meaning is the
  // runtime's (the project's own runtime documents them).
  uint8_t flagA = 0;
  uint8_t flagB = 0;
  double valueA = 0.0;
  double valueB = 0.0;
  double valueC = 0.0;
  // The runtime's four box integers: first and third over the width, second and fourth over the
  // height.
  float box[4] = {0.0f, 0.0f, 0.0f, 0.0f};
  std::vector<PointF> landmarks;  // 106
  int32_t auxValue = 0;           // not filled by the face effect
  std::vector<float> visibility;  // 106; 1 visible, 0 hidden
};

// The faces of one frame, in the order the runtime found them.
class HumanFaceInfoMultiDatas : public BaseAIDATA {
 public:
  std::vector<HumanFaceInfo> faces;
};

// One person's body points with one confidence each.
struct HumanPoseInfo {
  std::vector<PointF> points;
  std::vector<float> scores;
};

// The people of one frame; may be empty. Every person carries the first person's points with
// their own scores, as the pose effect has always published them.
class HumanPoseDatas : public BaseAIDATA {
 public:
  std::vector<HumanPoseInfo> persons;
};

}  // namespace AIDATA
