// SPDX-License-Identifier: MIT
#include "human_landmarks/body_pipeline.h"

#include <algorithm>
#include <cmath>

namespace quorin::body {

namespace {

constexpr int kDetectorSize = 224, kLandmarkSize = 256, kNetworkPoints = 39;
constexpr int kAnchors = 2254;
// Points 33 and 34 of the network are its alignment pair: body centre and a point on the
// circle round the body, as the detector's key points 0 and 1.
constexpr int kCentre = 33, kScalePoint = 34;
// The crop is this much wider than the body's circle, so limbs in motion stay inside.
constexpr float kCropScale = 1.25f;

// The crop that stands the body upright: the centre-to-scale-point line points up in it.
lm::Crop AlignedCrop(cv::Point2f centre, cv::Point2f scalePoint) {
  const cv::Point2f d = scalePoint - centre;
  lm::Crop crop;
  crop.centre = centre;
  crop.side = 2 * std::hypot(d.x, d.y) * kCropScale;
  crop.angle = std::atan2(d.x, -d.y);
  return crop;
}

cv::Rect2f Bounds(const std::vector<cv::Point3f>& points) {
  return lm::PointBounds(points, kBodyPoints);
}

}  // namespace

BodySettings ReadBodySettings(const char* path) {
  BodySettings s;
  const lm::Manifest m(path, "pose");
  s.detector = m.Network("detector");
  s.landmarks = m.Network("network");
  s.minScore = static_cast<float>(m.Number("minScore", 0.05, 0.99, s.minScore));
  s.maxPeople = static_cast<int>(m.Number("maxPeople", 1, 16, s.maxPeople));
  s.minPresence = static_cast<float>(m.Number("minPresence", 0.05, 0.99, s.minPresence));
  s.redetectEvery = static_cast<int>(m.Number("redetectEvery", 1, 1000, s.redetectEvery));
  s.cropSlack = static_cast<float>(m.Number("cropSlack", 0, 0.5, s.cropSlack));
  s.filter.minCutoff =
      static_cast<float>(m.Number("filterMinCutoff", 0.01, 1000, s.filter.minCutoff));
  s.filter.beta = static_cast<float>(m.Number("filterBeta", 0, 1000, s.filter.beta));
  s.filter.derivativeCutoff =
      static_cast<float>(m.Number("filterDerivativeCutoff", 0.01, 1000, s.filter.derivativeCutoff));
  s.cropFilter.minCutoff =
      static_cast<float>(m.Number("cropMinCutoff", 0.01, 1000, s.cropFilter.minCutoff));
  s.cropFilter.beta = static_cast<float>(m.Number("cropBeta", 0, 1000, s.cropFilter.beta));
  return s;
}

BodyPipeline::BodyPipeline(const BodySettings& settings)
    : settings_(settings),
      detector_(settings.detector, kDetectorSize, {kAnchors * 12, kAnchors}),
      landmarks_(settings.landmarks, kLandmarkSize, {kNetworkPoints * 5, 1}),
      anchors_(lm::SsdAnchors(kDetectorSize, {8, 16, 32, 32, 32}, 2)) {}

bool BodyPipeline::RunLandmarks(const cv::Mat& bgra, Track& track) {
  if (!(track.crop.side >= 8)) return false;
  lm::CropBlob(bgra, track.crop, kLandmarkSize, blob_);
  const std::vector<cv::Mat>& out = landmarks_.Run(blob_);
  if (!(out[1].ptr<float>()[0] >= settings_.minPresence)) return false;
  const float* p = out[0].ptr<float>();
  track.points.resize(kNetworkPoints);
  track.scores.resize(kNetworkPoints);
  for (int i = 0; i < kNetworkPoints; ++i) {
    const cv::Point2f xy = track.crop.ToFrame(p[5 * i], p[5 * i + 1], kLandmarkSize);
    track.points[i] = cv::Point3f(xy.x, xy.y, 0);
    track.scores[i] = lm::Sigmoid(p[5 * i + 3]);
  }
  return true;
}

void BodyPipeline::Smooth(Track& track) const {
  track.filters.resize(2 * kBodyPoints);
  track.shown.resize(kBodyPoints);
  for (int i = 0; i < kBodyPoints; ++i) {
    track.shown[i].x =
        track.filters[2 * i].Filter(track.points[i].x, track.crop.side, settings_.filter);
    track.shown[i].y =
        track.filters[2 * i + 1].Filter(track.points[i].y, track.crop.side, settings_.filter);
  }
}

std::vector<Person> BodyPipeline::Process(const cv::Mat& bgra, bool track) {
  if (!track) tracks_.clear();
  std::vector<Track> kept;
  for (Track& t : tracks_) {
    const float side = t.crop.side;
    const lm::OneEuroSettings& f = settings_.cropFilter;
    const lm::Crop next =
        AlignedCrop(cv::Point2f(t.cropFilters[0].Filter(t.points[kCentre].x, side, f),
                                t.cropFilters[1].Filter(t.points[kCentre].y, side, f)),
                    cv::Point2f(t.cropFilters[2].Filter(t.points[kScalePoint].x, side, f),
                                t.cropFilters[3].Filter(t.points[kScalePoint].y, side, f)));
    if (lm::CropMoved(t.crop, next, settings_.cropSlack)) t.crop = next;
    if (RunLandmarks(bgra, t)) {
      Smooth(t);
      kept.push_back(std::move(t));
    }
  }
  tracks_.clear();
  for (Track& t : kept) {
    bool twin = false;
    for (const Track& u : tracks_)
      twin = twin || lm::Iou(Bounds(t.points), Bounds(u.points)) > 0.5f;
    if (!twin) tracks_.push_back(std::move(t));
  }

  if (tracks_.empty() || !track || ++sinceDetect_ >= settings_.redetectEvery) {
    sinceDetect_ = 0;
    const lm::Letterbox map = lm::LetterboxBlob(bgra, kDetectorSize, -1, 1, blob_);
    const std::vector<cv::Mat>& out = detector_.Run(blob_);
    const std::vector<lm::Detection> found = lm::WeightedNms(
        lm::DecodeSsd(out[0], out[1], anchors_, kDetectorSize, 4, settings_.minScore, map), 0.3f,
        settings_.maxPeople);
    for (const lm::Detection& d : found) {
      if (static_cast<int>(tracks_.size()) >= settings_.maxPeople) break;
      bool known = false;
      for (const Track& t : tracks_) known = known || Bounds(t.points).contains(d.keys[0]);
      if (known) continue;
      // A new track starts its filters afresh.
      Track t;
      t.crop = AlignedCrop(d.keys[0], d.keys[1]);
      if (RunLandmarks(bgra, t)) {
        Smooth(t);
        tracks_.push_back(std::move(t));
      }
    }
  }
  std::vector<Person> people;
  for (const Track& t : tracks_) {
    Person p;
    p.points = t.shown;
    p.scores.assign(t.scores.begin(), t.scores.begin() + kBodyPoints);
    people.push_back(std::move(p));
  }
  return people;
}

}  // namespace quorin::body
