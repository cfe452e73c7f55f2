// SPDX-License-Identifier: MIT
#include "ai/ai_results.h"

#include <cstring>

namespace AIDATA {

namespace {

// Appends little-endian bytes whatever the machine's order.
class BlobWriter {
 public:
  explicit BlobWriter(size_t size) { bytes_.reserve(size); }
  void U8(uint8_t v) { bytes_.push_back(v); }
  void U32(uint32_t v) {
    for (int i = 0; i < 4; ++i) bytes_.push_back(static_cast<unsigned char>(v >> (8 * i)));
  }
  void I32(int32_t v) { U32(static_cast<uint32_t>(v)); }
  void F32(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    U32(bits);
  }
  void F64(double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    for (int i = 0; i < 8; ++i) bytes_.push_back(static_cast<unsigned char>(bits >> (8 * i)));
  }
  std::vector<unsigned char> Take() { return std::move(bytes_); }

 private:
  std::vector<unsigned char> bytes_;
};

double BitsAt(const QuorinFaceRecord& r, size_t offset) {
  double v;
  std::memcpy(&v, reinterpret_cast<const unsigned char*>(&r) + offset, sizeof v);
  return v;
}

}  // namespace

void ConvertFaces(const QuorinFaceRecord* faces, int32_t count, int width, int height,
                  HumanFaceInfoMultiDatas& out) {
  const float w = static_cast<float>(width), h = static_cast<float>(height);
  out.faces.resize(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) {
    const QuorinFaceRecord& r = faces[i];
    HumanFaceInfo& face = out.faces[static_cast<size_t>(i)];
    face.box[0] = static_cast<float>(r.box[0]) / w;
    face.box[1] = static_cast<float>(r.box[1]) / h;
    face.box[2] = static_cast<float>(r.box[2]) / w;
    face.box[3] = static_cast<float>(r.box[3]) / h;
    // The record order crosses the runtime's byte order (993 before 992; 1008, 1000, 1016):
    // consumers read the blob in this order.
    face.flagA = r.flagA;
    face.flagB = r.flagB;
    face.valueA = BitsAt(r, offsetof(QuorinFaceRecord, valueA));
    face.valueB = BitsAt(r, offsetof(QuorinFaceRecord, valueB));
    face.valueC = BitsAt(r, offsetof(QuorinFaceRecord, valueC));
    face.landmarks.resize(QUORIN_FACE_LANDMARKS);
    face.visibility.resize(QUORIN_FACE_LANDMARKS);
    for (int k = 0; k < QUORIN_FACE_LANDMARKS; ++k) {
      face.landmarks[k] = {r.landmarks[k][0] / w, r.landmarks[k][1] / h};
      face.visibility[k] = r.visible[k] != 0 ? 1.0f : 0.0f;
    }
  }
}

const char* CheckFaces(const QuorinFaceRecord* faces, int32_t count) {
  if (count < 0) return "a negative face count";
  if (count > kMaxAnalysisCount) return "more faces than any frame holds";
  if (count > 0 && faces == nullptr) return "no output for a positive face count";
  return nullptr;
}

const char* CheckPeople(const QuorinPersonLandmarks* people, int32_t count) {
  if (count < 0) return "a negative person count";
  if (count > kMaxAnalysisCount) return "more people than any frame holds";
  if (count == 0) return nullptr;
  if (people == nullptr) return "no output for a positive person count";
  const int32_t points = people[0].pointCount;
  if (points < 0 || points > kMaxAnalysisCount) return "a point count out of range";
  if (points == 0) return nullptr;
  if (people[0].points == nullptr) return "no points for a positive point count";
  for (int32_t p = 0; p < count; ++p) {
    if (people[p].scores == nullptr) return "no scores for a positive point count";
  }
  return nullptr;
}

void ConvertPeople(const QuorinPersonLandmarks* people, int32_t count, int width, int height,
                   HumanPoseDatas& out) {
  const float w = static_cast<float>(width), h = static_cast<float>(height);
  out.persons.resize(static_cast<size_t>(count));
  for (int32_t p = 0; p < count; ++p) {
    // Deliberately the first person's points for everyone, with each person's own scores.
    const int32_t c = people[0].pointCount;
    const float* xy = people[0].points;
    const float* score = people[p].scores;
    HumanPoseInfo& person = out.persons[static_cast<size_t>(p)];
    person.points.resize(static_cast<size_t>(c));
    person.scores.resize(static_cast<size_t>(c));
    for (int32_t k = 0; k < c; ++k) {
      person.points[k] = {xy[2 * k] / w, xy[2 * k + 1] / h};
      person.scores[k] = score[k];
    }
  }
}

std::vector<unsigned char> FlattenFaces(const HumanFaceInfoMultiDatas& result) {
  // Deliberately nothing at all, not a count of 0.
  if (result.faces.empty()) return {};
  size_t size = 4;
  for (const HumanFaceInfo& f : result.faces) {
    size += 2 + 24 + 16 + 4 + 8 * f.landmarks.size() + 4 + 4 + 4 * f.visibility.size();
  }
  BlobWriter out(size);
  out.I32(static_cast<int32_t>(result.faces.size()));
  for (const HumanFaceInfo& f : result.faces) {
    out.U8(f.flagA);
    out.U8(f.flagB);
    out.F64(f.valueA);
    out.F64(f.valueB);
    out.F64(f.valueC);
    for (const float v : f.box) out.F32(v);
    out.I32(static_cast<int32_t>(f.landmarks.size()));
    for (const PointF& p : f.landmarks) {
      out.F32(p.x);
      out.F32(p.y);
    }
    out.I32(f.auxValue);
    out.I32(static_cast<int32_t>(f.visibility.size()));
    for (const float v : f.visibility) out.F32(v);
  }
  return out.Take();
}

std::vector<unsigned char> FlattenPoses(const HumanPoseDatas& result) {
  if (result.persons.empty()) return {};
  size_t size = 4;
  for (const HumanPoseInfo& p : result.persons) size += 4 + 12 * p.points.size();
  BlobWriter out(size);
  out.I32(static_cast<int32_t>(result.persons.size()));
  for (size_t p = 0; p < result.persons.size(); ++p) {
    const std::vector<PointF>& points = result.persons[p].points;
    out.I32(static_cast<int32_t>(points.size()));
    for (const PointF& point : points) {
      out.F32(point.x);
      out.F32(point.y);
      // Not a score: consumers ignore it, and the scores stay in the held result.
      out.I32(static_cast<int32_t>(p));
    }
  }
  return out.Take();
}

}  // namespace AIDATA
