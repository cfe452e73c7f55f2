// SPDX-License-Identifier: MIT
#include "face_landmarks/face_pipeline.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "face_landmarks/face_points.h"

namespace quorin::face {

namespace {

constexpr int kShortSize = 128, kFullSize = 192, kMeshSize = 192, kMeshPoints = 468;
constexpr int kShortAnchors = 896, kFullAnchors = 2304;
// Mesh points the crop is aligned on: the outer eye corners.
constexpr int kRightEyeOuter = 33, kLeftEyeOuter = 263, kForehead = 10, kMeshChin = 152;
// A mesh crop is this many times the face's extent, so a moving face stays inside it.
constexpr float kCropScale = 1.5f;
constexpr float kPi = 3.14159265358979f;

cv::Point2f Xy(const cv::Point3f& p) { return cv::Point2f(p.x, p.y); }

cv::Rect2f Bounds(const std::vector<cv::Point3f>& mesh) {
  float x0 = mesh[0].x, y0 = mesh[0].y, x1 = x0, y1 = y0;
  for (const cv::Point3f& p : mesh) {
    x0 = std::min(x0, p.x), y0 = std::min(y0, p.y), x1 = std::max(x1, p.x), y1 = std::max(y1, p.y);
  }
  return cv::Rect2f(cv::Point2f(x0, y0), cv::Point2f(x1, y1));
}

// The next crop: the mesh's extent along the eye line and across it.
lm::Crop CropFromMesh(const std::vector<cv::Point3f>& mesh) {
  const cv::Point2f eyes = Xy(mesh[kLeftEyeOuter]) - Xy(mesh[kRightEyeOuter]);
  const float angle = std::atan2(eyes.y, eyes.x), c = std::cos(angle), s = std::sin(angle);
  float u0 = 1e30f, u1 = -1e30f, v0 = 1e30f, v1 = -1e30f;
  for (const cv::Point3f& p : mesh) {
    const float u = p.x * c + p.y * s, v = -p.x * s + p.y * c;
    u0 = std::min(u0, u), u1 = std::max(u1, u), v0 = std::min(v0, v), v1 = std::max(v1, v);
  }
  const float u = (u0 + u1) / 2, v = (v0 + v1) / 2;
  lm::Crop crop;
  crop.centre = cv::Point2f(u * c - v * s, u * s + v * c);
  crop.side = std::max(u1 - u0, v1 - v0) * kCropScale;
  crop.angle = angle;
  return crop;
}

lm::Crop CropFromDetection(const lm::Detection& d) {
  // Key points 0 and 1 are the right and left eye.
  const cv::Point2f eyes = d.keys[1] - d.keys[0];
  lm::Crop crop;
  crop.centre = (d.box.tl() + d.box.br()) * 0.5f;
  crop.side = std::max(d.box.width, d.box.height) * kCropScale;
  crop.angle = std::atan2(eyes.y, eyes.x);
  return crop;
}

// Yaw, pitch and roll in degrees from the mesh's own axes: the eye line and forehead-to-chin.
void HeadAngles(const std::vector<cv::Point3f>& mesh, double angles[3]) {
  cv::Vec3f x(mesh[kLeftEyeOuter] - mesh[kRightEyeOuter]);
  cv::Vec3f y(mesh[kMeshChin] - mesh[kForehead]);
  x = cv::normalize(x);
  y = cv::normalize(y - x * x.dot(y));
  const cv::Vec3f forward = -x.cross(y);  // towards the camera
  angles[0] = std::atan2(forward[0], -forward[2]) * 180 / kPi;
  angles[1] = std::atan2(-forward[1], std::hypot(forward[0], forward[2])) * 180 / kPi;
  angles[2] = std::atan2(x[1], x[0]) * 180 / kPi;
}

}  // namespace

FaceSettings ReadFaceSettings(const char* detector, const char* landmarks, const char* visibility,
                              const char* pose) {
  FaceSettings s;
  const lm::Manifest det(detector, "face_detection");
  s.shortRange = det.Network("network");
  s.minScore = static_cast<float>(det.Number("minScore", 0.05, 0.99, s.minScore));
  s.maxFaces = static_cast<int>(det.Number("maxFaces", 1, 16, s.maxFaces));
  try {
    s.fullRange = det.Network("fullRangeNetwork");
  } catch (const lm::Failure&) {
    s.fullRange.clear();  // optional: small faces are then not looked for
  }
  const lm::Manifest mesh(landmarks, "face_mesh");
  s.mesh = mesh.Network("network");
  s.minPresence = static_cast<float>(mesh.Number("minPresence", 0.05, 0.99, s.minPresence));
  s.redetectEvery = static_cast<int>(mesh.Number("redetectEvery", 1, 1000, s.redetectEvery));
  s.smoothing = static_cast<float>(mesh.Number("smoothing", 0, 1, s.smoothing));
  const lm::Manifest vis(visibility, "face_visibility");
  s.depthMargin = static_cast<float>(vis.Number("depthMargin", 0, 1, s.depthMargin));
  const lm::Manifest head(pose, "face_pose");
  s.frontalYaw = static_cast<float>(head.Number("frontalYaw", 0, 90, s.frontalYaw));
  s.frontalPitch = static_cast<float>(head.Number("frontalPitch", 0, 90, s.frontalPitch));
  return s;
}

FacePipeline::FacePipeline(const FaceSettings& settings)
    : settings_(settings),
      shortNet_(settings.shortRange, kShortSize, {kShortAnchors * 16, kShortAnchors}),
      meshNet_(settings.mesh, kMeshSize, {kMeshPoints * 3, 1}),
      shortAnchors_(lm::SsdAnchors(kShortSize, {8, 16, 16, 16}, 2)) {
  if (!settings.fullRange.empty()) {
    fullNet_ = std::make_unique<lm::Network>(settings.fullRange, kFullSize,
                                             std::vector<size_t>{kFullAnchors * 16, kFullAnchors});
    fullAnchors_ = lm::SsdAnchors(kFullSize, {4}, 1);
  }
}

std::vector<lm::Detection> FacePipeline::Detect(const cv::Mat& bgra) {
  const lm::Letterbox map = lm::LetterboxBlob(bgra, kShortSize, -1, 1, blob_);
  const std::vector<cv::Mat>& out = shortNet_.Run(blob_);
  std::vector<lm::Detection> found =
      lm::DecodeSsd(out[0], out[1], shortAnchors_, kShortSize, 6, settings_.minScore, map);
  // The short-range network misses faces far from the camera; the full-range one finds them.
  // A face of a few dozen pixels in a wide shot is too small even for that one at the whole
  // frame's scale, so the four overlapping corners of the frame are looked at closer: all four
  // on the first frame (a still picture gets one call), then one in turn on each detection, at
  // a fraction of the cost, so that a face walking in is found within four.
  const auto fullRange = [&](const cv::Rect& view) {
    lm::Letterbox viewMap = lm::LetterboxBlob(bgra(view), kFullSize, -1, 1, blob_);
    viewMap.offset += cv::Point2f(view.tl());
    const std::vector<cv::Mat>& full = fullNet_->Run(blob_);
    const std::vector<lm::Detection> more =
        lm::DecodeSsd(full[0], full[1], fullAnchors_, kFullSize, 6, settings_.minScore, viewMap);
    found.insert(found.end(), more.begin(), more.end());
  };
  if (found.empty() && fullNet_) fullRange(cv::Rect(0, 0, bgra.cols, bgra.rows));
  if (found.empty() && fullNet_ && std::max(bgra.cols, bgra.rows) >= 2 * kFullSize) {
    const cv::Size tile(bgra.cols * 3 / 5, bgra.rows * 3 / 5);
    for (int i = 0, n = lookedEverywhere_ ? 1 : 4; i < n; ++i) {
      fullRange(cv::Rect(cv::Point(nextCorner_ % 2 ? bgra.cols - tile.width : 0,
                                   nextCorner_ / 2 ? bgra.rows - tile.height : 0),
                         tile));
      nextCorner_ = (nextCorner_ + 1) % 4;
    }
    lookedEverywhere_ = true;
  }
  return lm::WeightedNms(std::move(found), 0.3f, settings_.maxFaces);
}

bool FacePipeline::RunMesh(const cv::Mat& bgra, Track& track) {
  if (!(track.crop.side >= 4)) return false;
  lm::CropBlob(bgra, track.crop, kMeshSize, blob_);
  const std::vector<cv::Mat>& out = meshNet_.Run(blob_);
  if (lm::Sigmoid(out[1].ptr<float>()[0]) < settings_.minPresence) return false;
  const float* p = out[0].ptr<float>();
  const float depth = track.crop.side / kMeshSize;
  std::vector<cv::Point3f> mesh(kMeshPoints);
  for (int i = 0; i < kMeshPoints; ++i) {
    const cv::Point2f xy = track.crop.ToFrame(p[3 * i], p[3 * i + 1], kMeshSize);
    mesh[i] = cv::Point3f(xy.x, xy.y, p[3 * i + 2] * depth);
  }
  // Small movements are mostly sensor noise: follow them slowly, large ones at once.
  if (track.tracked && track.mesh.size() == mesh.size() && settings_.smoothing > 0) {
    const float follow = settings_.smoothing * track.crop.side / kCropScale;
    for (int i = 0; i < kMeshPoints; ++i) {
      const cv::Point3f d = mesh[i] - track.mesh[i];
      const float a = std::min(1.0f, std::max(0.15f, std::hypot(d.x, d.y) / follow));
      mesh[i] = track.mesh[i] + d * a;
    }
  }
  track.mesh = std::move(mesh);
  return true;
}

std::vector<QuorinFaceRecord> FacePipeline::Process(const cv::Mat& bgra) {
  std::vector<Track> kept;
  for (Track& track : tracks_) {
    track.crop = CropFromMesh(track.mesh);
    track.tracked = true;
    if (RunMesh(bgra, track)) kept.push_back(std::move(track));
  }
  // Two tracks that slid onto one face: keep the older.
  std::vector<Track> unique;
  for (Track& t : kept) {
    bool twin = false;
    for (const Track& u : unique) twin = twin || lm::Iou(Bounds(t.mesh), Bounds(u.mesh)) > 0.5f;
    if (!twin) unique.push_back(std::move(t));
  }
  tracks_ = std::move(unique);

  if (tracks_.empty() || ++sinceDetect_ >= settings_.redetectEvery) {
    sinceDetect_ = 0;
    for (const lm::Detection& d : Detect(bgra)) {
      if (static_cast<int>(tracks_.size()) >= settings_.maxFaces) break;
      const cv::Point2f centre = (d.box.tl() + d.box.br()) * 0.5f;
      bool known = false;
      for (const Track& t : tracks_) known = known || Bounds(t.mesh).contains(centre);
      if (known) continue;
      Track track;
      track.crop = CropFromDetection(d);
      if (!RunMesh(bgra, track)) continue;
      // A second pass on the crop the mesh itself implies: the detector's box is looser.
      track.crop = CropFromMesh(track.mesh);
      if (!RunMesh(bgra, track)) continue;
      track.id = nextId_++;
      tracks_.push_back(std::move(track));
    }
  }
  std::vector<QuorinFaceRecord> records;
  for (const Track& t : tracks_) records.push_back(Record(t, bgra.size()));
  return records;
}

QuorinFaceRecord FacePipeline::Record(const Track& track, cv::Size frame) const {
  QuorinFaceRecord r;
  std::memset(&r, 0, sizeof(r));
  r.reserved0 = track.id;
  const cv::Rect2f box = Bounds(track.mesh);
  r.box[0] = static_cast<int32_t>(std::floor(box.x));
  r.box[1] = static_cast<int32_t>(std::floor(box.y));
  r.box[2] = static_cast<int32_t>(std::ceil(box.x + box.width));
  r.box[3] = static_cast<int32_t>(std::ceil(box.y + box.height));

  // Self-occlusion: a depth buffer of the nearest mesh point per cell of the face's box.
  constexpr int kCells = 32;
  const float cell = std::max(box.width, box.height) / kCells + 1e-3f;
  std::vector<float> nearest(kCells * kCells, 1e30f);
  auto cellOf = [&](float x, float y, int& cx, int& cy) {
    cx = std::min(kCells - 1, std::max(0, static_cast<int>((x - box.x) / cell)));
    cy = std::min(kCells - 1, std::max(0, static_cast<int>((y - box.y) / cell)));
  };
  for (const cv::Point3f& p : track.mesh) {
    int cx, cy;
    cellOf(p.x, p.y, cx, cy);
    float& z = nearest[cy * kCells + cx];
    z = std::min(z, p.z);
  }
  const float margin = settings_.depthMargin * std::max(box.width, box.height);
  const std::vector<MeshMix>& table = FacePointTable();
  for (int k = 0; k < QUORIN_FACE_LANDMARKS; ++k) {
    cv::Point3f p(0, 0, 0);
    for (int j = 0; j < 4; ++j) p += track.mesh[table[k].index[j]] * table[k].weight[j];
    r.landmarks[k][0] = p.x;
    r.landmarks[k][1] = p.y;
    const bool inside = p.x >= 0 && p.y >= 0 && p.x < frame.width && p.y < frame.height;
    int cx, cy;
    cellOf(p.x, p.y, cx, cy);
    float front = 1e30f;
    for (int y = std::max(0, cy - 1); y <= std::min(kCells - 1, cy + 1); ++y) {
      for (int x = std::max(0, cx - 1); x <= std::min(kCells - 1, cx + 1); ++x) {
        front = std::min(front, nearest[y * kCells + x]);
      }
    }
    r.visible[k] = inside && p.z <= front + margin ? 1 : 0;
  }
  double angles[3];
  HeadAngles(track.mesh, angles);
  std::memcpy(r.valueB, &angles[0], 8);  // bytes 1000: yaw
  std::memcpy(r.valueA, &angles[1], 8);  // bytes 1008: pitch
  std::memcpy(r.valueC, &angles[2], 8);  // bytes 1016: roll
  r.flagB = track.tracked ? 1 : 0;
  r.flagA =
      std::fabs(angles[0]) <= settings_.frontalYaw && std::fabs(angles[1]) <= settings_.frontalPitch
          ? 1
          : 0;
  return r;
}

}  // namespace quorin::face
