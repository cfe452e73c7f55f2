// SPDX-License-Identifier: MIT
// Conversions from the landmark modules' records to the published result objects, and the blobs
// pushed to the host's receiver (formats in kaz/ai_results.h).
#pragma once

#include <cstdint>
#include <vector>

#include "kaz/ai_results.h"
#include "quorin/quorin_human_landmarks.h"
#include "quorin/quorin_pipeline_face_landmarks_v2.h"

namespace AIDATA {

// More faces, people or points than any frame holds: such a count means the runtime's output is
// not to be trusted, and the frame fails instead of reading that far.
inline constexpr int32_t kMaxAnalysisCount = 4096;

// Null when `count` records can be read at `faces`; otherwise why not. A count of 0 is fine.
const char* CheckFaces(const QuorinFaceRecord* faces, int32_t count);
// Fills one record per face, coordinates over the processed frame's `width` and `height`. The
// caller has checked `faces` and `count`.
void ConvertFaces(const QuorinFaceRecord* faces, int32_t count, int width, int height,
                  HumanFaceInfoMultiDatas& out);

// Null when the people block can be converted; otherwise why not. Every person takes the first
// person's point count and points and its own scores, so the first entry's points and every
// entry's scores must be readable.
const char* CheckPeople(const QuorinPersonLandmarks* people, int32_t count);
void ConvertPeople(const QuorinPersonLandmarks* people, int32_t count, int width, int height,
                   HumanPoseDatas& out);

std::vector<unsigned char> FlattenFaces(const HumanFaceInfoMultiDatas& result);
std::vector<unsigned char> FlattenPoses(const HumanPoseDatas& result);

}  // namespace AIDATA
