// SPDX-License-Identifier: MIT
#include "kazsample/sample_clip.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace kazsample {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegree = kPi / 180.0;

enum Label : uint8_t { kNone, kSkin, kHair, kShirt, kTrousers, kShoes, kLabelCount };

// Smooth noise of unit spread: white noise blurred with `sigma` pixels.
cv::Mat Field(cv::Size size, double sigma, cv::RNG& rng) {
  cv::Mat noise(size, CV_32F);
  rng.fill(noise, cv::RNG::NORMAL, 0.0, 1.0);
  if (sigma > 0.3) cv::GaussianBlur(noise, noise, cv::Size(), sigma, sigma, cv::BORDER_REFLECT);
  cv::Scalar mean, spread;
  cv::meanStdDev(noise, mean, spread);
  noise = (noise - mean[0]) / std::max(spread[0], 1e-6);
  return noise;
}

// base + amount * field, per channel, into an 8-bit BGR picture.
cv::Mat Tint(const cv::Mat& field, cv::Scalar base, cv::Scalar amount) {
  std::vector<cv::Mat> planes(3);
  for (int c = 0; c < 3; ++c) field.convertTo(planes[c], CV_8U, amount[c], base[c]);
  cv::Mat out;
  cv::merge(planes, out);
  return out;
}

void AddField(cv::Mat& picture, const cv::Mat& field, double amount) {
  cv::Mat signed16;
  field.convertTo(signed16, CV_16S, amount);
  cv::Mat planes[3];
  cv::split(picture, planes);
  for (cv::Mat& plane : planes) cv::add(plane, signed16, plane, cv::noArray(), CV_8U);
  cv::merge(planes, 3, picture);
}

cv::Point Fixed(cv::Point2d p) {  // 4 fractional bits for OpenCV's drawing functions
  return cv::Point(cvRound(p.x * 16), cvRound(p.y * 16));
}

// Boards of wood from the floor line down, wider nearer the camera.
void LayFloor(cv::Mat& room, int floorTop, cv::RNG& rng) {
  const int w = room.cols, h = room.rows;
  cv::Mat grain = Field(room.size(), 0.6, rng);
  cv::GaussianBlur(grain, grain, cv::Size(), 0.05 * w, 0.002 * h, cv::BORDER_REFLECT);
  cv::normalize(grain, grain, -1.0, 1.0, cv::NORM_MINMAX);
  double y = floorTop, plank = 0.022 * h;
  while (y < h) {
    const int y0 = cvRound(y), y1 = std::min(h, cvRound(y + plank));
    const cv::Scalar tone(48 + rng.uniform(-12, 12), 88 + rng.uniform(-14, 14),
                          138 + rng.uniform(-16, 16));
    const double offset = rng.uniform(0.0, 0.3 * w);
    for (double x = -offset; x < w; x += 0.3 * w) {  // boards end at staggered seams
      const int x0 = std::max(0, cvRound(x)), x1 = std::min(w, cvRound(x + 0.3 * w));
      if (x1 <= x0 || y1 <= y0) continue;
      cv::Mat board = room(cv::Rect(x0, y0, x1 - x0, y1 - y0));
      board = tone + cv::Scalar::all(rng.uniform(-6, 6));
      cv::Mat grainPart;
      grain(cv::Rect(x0, y0, x1 - x0, y1 - y0)).convertTo(grainPart, CV_16S, 14);
      cv::Mat planes[3];
      cv::split(board, planes);
      for (cv::Mat& plane : planes) cv::add(plane, grainPart, plane, cv::noArray(), CV_8U);
      cv::merge(planes, 3, board);
      cv::line(room, cv::Point(x0, y0), cv::Point(x0, y1 - 1), cv::Scalar(30, 55, 85), 1);
    }
    cv::line(room, cv::Point(0, y0), cv::Point(w - 1, y0), cv::Scalar(28, 50, 80), 1);
    y += plank;
    plank *= 1.12;
  }
}

// A door with two panels, behind the middle of the walk.
void HangDoor(cv::Mat& room, double doorX, int skirting, cv::RNG& rng) {
  const int w = room.cols, h = room.rows;
  const cv::Rect door(cvRound(doorX * w), cvRound(0.14 * h), cvRound(0.12 * w),
                      skirting - cvRound(0.14 * h));
  cv::Mat doorArea = room(door);
  doorArea = cv::Scalar(196, 178, 150);
  AddField(doorArea, Field(door.size(), 0.01 * h, rng), 4);
  for (int i = 0; i < 2; ++i) {
    const cv::Rect panel(door.x + door.width / 6, door.y + door.height / 12 + i * door.height / 2,
                         door.width * 2 / 3, door.height / 3);
    cv::rectangle(room, panel, cv::Scalar(150, 135, 112), std::max(1, h / 240));
  }
  cv::circle(room, cv::Point(door.x + door.width * 5 / 6, door.y + door.height / 2),
             std::max(2, h / 110), cv::Scalar(60, 170, 210), cv::FILLED, cv::LINE_AA);
}

// A bookshelf with books of random widths and colours.
void FillShelf(cv::Mat& room, double shelfX, int skirting, cv::RNG& rng) {
  const int w = room.cols, h = room.rows;
  const cv::Rect shelf(cvRound(shelfX * w), cvRound(0.2 * h), cvRound(0.16 * w),
                       skirting - cvRound(0.2 * h));
  room(shelf) = cv::Scalar(38, 58, 88);
  const int boards = 3, gap = shelf.height / boards;
  for (int b = 0; b < boards; ++b) {
    const int bottom = shelf.y + (b + 1) * gap - std::max(2, h / 120);
    int x = shelf.x + std::max(2, w / 200);
    while (true) {
      const int width = std::max(2, cvRound(rng.uniform(0.006, 0.018) * w));
      if (x + width >= shelf.x + shelf.width - 2) break;
      const int height = cvRound(rng.uniform(0.6, 0.92) * (gap - 6));
      const cv::Scalar colour(rng.uniform(20, 230), rng.uniform(20, 230), rng.uniform(20, 230));
      room(cv::Rect(x, bottom - height, width, height)) = colour;
      cv::line(room, cv::Point(x, bottom - height * 3 / 4),
               cv::Point(x + width - 1, bottom - height * 3 / 4),
               colour * 0.5 + cv::Scalar::all(120), std::max(1, h / 300));
      x += width + (rng.uniform(0, 4) == 0 ? std::max(1, w / 400) : 0);
    }
  }
}

// A plant in a pot standing on the floor line at `pot`.
void PotPlant(cv::Mat& room, cv::Point pot, cv::RNG& rng) {
  const int h = room.rows;
  cv::rectangle(room, cv::Rect(pot.x - h / 30, pot.y - h / 14, h / 15, h / 14),
                cv::Scalar(50, 80, 160), cv::FILLED);
  for (int i = 0; i < 40; ++i) {
    const cv::Point leaf(pot.x + cvRound(rng.gaussian(0.03 * h)),
                         pot.y - h / 14 - cvRound(std::fabs(rng.gaussian(0.08 * h))));
    cv::ellipse(
        room, leaf, cv::Size(std::max(2, h / 60), std::max(1, h / 140)), rng.uniform(0.0, 180.0), 0,
        360, cv::Scalar(30 + rng.uniform(0, 30), 110 + rng.uniform(0, 60), 40 + rng.uniform(0, 30)),
        cv::FILLED, cv::LINE_AA);
  }
}

// Light falls off towards the corners, as through a real lens; then a touch of lens blur.
void LightAndLens(cv::Mat& room) {
  const int w = room.cols, h = room.rows;
  cv::Mat light(room.size(), CV_32F);
  for (int r = 0; r < h; ++r) {
    float* row = light.ptr<float>(r);
    for (int c = 0; c < w; ++c) {
      const double dx = (c - 0.5 * w) / w, dy = (r - 0.5 * h) / h;
      row[c] = static_cast<float>(1.0 - 0.35 * (dx * dx + dy * dy));
    }
  }
  cv::Mat lit;
  cv::cvtColor(light, light, cv::COLOR_GRAY2BGR);
  room.convertTo(lit, CV_32FC3);
  cv::multiply(lit, light, lit);
  lit.convertTo(room, CV_8UC3);
  cv::GaussianBlur(room, room, cv::Size(), 0.6);
}

// Each seed furnishes its own room: wall colour and where things stand. The parts draw from one
// random stream in a fixed order, so a seed always gives the same room.
cv::Mat MakeRoom(cv::Size size, uint32_t seed) {
  cv::RNG rng(0x9E3779B9u ^ seed);
  const int w = size.width, h = size.height;
  const double H = h;
  const int floorTop = cvRound(0.74 * h), skirting = cvRound(0.72 * h);

  static const cv::Scalar kWalls[] = {
      {168, 192, 212}, {204, 192, 172}, {172, 204, 182}, {150, 172, 206}};
  const cv::Scalar wallColour = kWalls[seed % 4];
  const double doorX = 0.36 + rng.uniform(0.0, 0.14), frameX = rng.uniform(0.04, 0.12);
  const double shelfX = 0.76 + rng.uniform(0.0, 0.06);
  cv::Mat room = Tint(Field(size, 0.08 * H, rng), wallColour, cv::Scalar(9, 9, 9));
  AddField(room, Field(size, 0.006 * H, rng), 5);
  const double period = 0.05 * H;
  for (int x = 0; x < w; ++x) {  // wallpaper stripes
    const double s = std::fmod(x, period) / period;
    const int lift = s < 0.5 ? 7 : (s < 0.56 ? -10 : 0);
    if (lift != 0) room.col(x) += cv::Scalar::all(lift);
  }
  LayFloor(room, floorTop, rng);
  room(cv::Rect(0, skirting, w, floorTop - skirting)) = cv::Scalar(212, 218, 224);
  HangDoor(room, doorX, skirting, rng);
  // A framed picture on the left.
  const cv::Rect frame(cvRound(frameX * w), cvRound(0.16 * h), cvRound(0.15 * w),
                       cvRound(0.26 * h));
  Tint(Field(frame.size(), 0.03 * H, rng), cv::Scalar(120, 130, 110), cv::Scalar(55, 45, 60))
      .copyTo(room(frame));
  cv::rectangle(room, frame, cv::Scalar(35, 60, 95), std::max(2, h / 80));
  FillShelf(room, shelfX, skirting, rng);
  PotPlant(room, cv::Point(cvRound((shelfX - 0.05) * w), skirting), rng);
  LightAndLens(room);
  return room;
}

}  // namespace

double SampleClip::ScriptSeconds() { return 12.0; }

SampleClip::SampleClip(const ClipSettings& settings) : settings_(settings) {
  settings_.width = std::max(settings_.width, 32);
  settings_.height = std::max(settings_.height, 32);
  settings_.fps = settings_.fps > 0 ? settings_.fps : 30.0;
  unit_ = 0.68 * settings_.height;
  room_ = MakeRoom(cv::Size(settings_.width, settings_.height), settings_.seed);

  // Textures live in body coordinates, so they move with the figure.
  cv::RNG rng(0x85EBCA6Bu ^ settings_.seed);
  const int side = std::max(8, cvRound(1.4 * unit_));
  const cv::Size size(side, side);
  textureOrigin_ = cv::Point(side / 2, side / 2);
  const double u = unit_;
  textures_[kSkin] =
      Tint(Field(size, 0.02 * u, rng), cv::Scalar(138, 170, 222), cv::Scalar(7, 8, 9));
  textures_[kHair] =
      Tint(Field(size, 0.003 * u, rng), cv::Scalar(32, 46, 72), cv::Scalar(10, 12, 15));
  cv::Mat plaid(size, CV_8UC3);
  const double check = 0.05 * u;
  for (int r = 0; r < side; ++r) {
    cv::Vec3b* row = plaid.ptr<cv::Vec3b>(r);
    const double fy = std::fmod(r, check) / check;
    for (int c = 0; c < side; ++c) {
      const double fx = std::fmod(c, check) / check;
      cv::Vec3d colour(46, 44, 172);
      if (fx < 0.35) colour *= 0.72;
      if (fy < 0.35) colour *= 0.72;
      if (std::fabs(fx - 0.68) < 0.06 || std::fabs(fy - 0.68) < 0.06)
        colour = cv::Vec3d(60, 200, 230);
      row[c] =
          cv::Vec3b(cv::saturate_cast<uint8_t>(colour[0]), cv::saturate_cast<uint8_t>(colour[1]),
                    cv::saturate_cast<uint8_t>(colour[2]));
    }
  }
  AddField(plaid, Field(size, 0.004 * u, rng), 6);
  textures_[kShirt] = plaid;
  textures_[kTrousers] =
      Tint(Field(size, 0.006 * u, rng), cv::Scalar(112, 72, 42), cv::Scalar(18, 14, 10));
  AddField(textures_[kTrousers], Field(size, 0.03 * u, rng), 8);
  textures_[kShoes] = Tint(Field(size, 0.01 * u, rng), cv::Scalar(28, 28, 34), cv::Scalar(6, 6, 6));
}

SampleClip::Pose SampleClip::PoseAt(int index) const {
  struct Segment {
    double start, end, fromX, toX;
    bool wave;
  };
  // The script: walk, stand, wave, stand, walk, stand, walk back to where it began.
  static const Segment kScript[] = {
      {0.0, 2.0, 0.28, 0.50, false},  {2.0, 3.5, 0.50, 0.50, false}, {3.5, 5.5, 0.50, 0.50, true},
      {5.5, 6.5, 0.50, 0.50, false},  {6.5, 8.5, 0.50, 0.72, false}, {8.5, 9.0, 0.72, 0.72, false},
      {9.0, 12.0, 0.72, 0.28, false},
  };
  const double period = ScriptSeconds();
  const double t = std::fmod(index / settings_.fps, period);
  // Strides per unit of walked distance, as a fraction of the width.
  const double stridesPerWidth = settings_.width / (0.42 * unit_);
  Pose pose;
  double walked = 0;  // distance walked before this segment, keeps the stepping continuous
  for (const Segment& s : kScript) {
    const double length = std::fabs(s.toX - s.fromX);
    if (t >= s.end) {
      walked += length;
      continue;
    }
    const double tau = (t - s.start) / (s.end - s.start);
    if (length == 0) {
      pose.x = s.toX;
      if (s.wave) {
        // Raises the arm, waves, lowers it: exactly 0 at both ends of the segment.
        pose.wave = std::pow(std::sin(kPi * tau), 0.5);
        pose.time = t;
      }
      return pose;
    }
    const double ease = tau * tau * (3 - 2 * tau);
    pose.x = s.fromX + (s.toX - s.fromX) * ease;
    pose.stride = std::min(1.0, 3.0 * std::sin(kPi * tau));
    pose.phase = 2 * kPi * stridesPerWidth * (walked + length * ease);
    return pose;
  }
  return pose;
}

bool SampleClip::Still(int index) const { return index > 0 && PoseAt(index) == PoseAt(index - 1); }

void SampleClip::DrawFigure(const Pose& pose, cv::Mat& labels, cv::Point2d* origin) const {
  const double u = unit_;
  const double s = std::sin(pose.phase);
  // The pelvis bobs a little with each step.
  const cv::Point2d o(pose.x * settings_.width,
                      0.93 * settings_.height - 0.52 * u - 0.01 * u * pose.stride * std::fabs(s));
  *origin = o;
  auto at = [&](double x, double y) { return o + cv::Point2d(x * u, y * u); };
  auto limb = [&](cv::Point2d from, double angle, double length, double thickness, int label) {
    const cv::Point2d to = from + cv::Point2d(std::sin(angle), std::cos(angle)) * (length * u);
    cv::line(labels, Fixed(from), Fixed(to), label, std::max(1, cvRound(thickness * u)), cv::LINE_8,
             4);
    return to;
  };

  // Legs swing apart in turn; the leg that swings bends its knee.
  for (int side = -1; side <= 1; side += 2) {
    const double swing = side * s * pose.stride;
    const double thigh = side * (4 + 9 * swing) * kDegree;
    const double bend = 22 * kDegree * std::max(0.0, swing);
    const cv::Point2d knee = limb(at(side * 0.052, 0.03), thigh, 0.245, 0.082, kTrousers);
    const cv::Point2d ankle = limb(knee, thigh - side * bend, 0.225, 0.064, kTrousers);
    const cv::Point2d toe = ankle + cv::Point2d(side * 0.018 * u, 0.016 * u);
    cv::ellipse(labels, Fixed(toe), cv::Size(cvRound(0.046 * u * 16), cvRound(0.023 * u * 16)), 0,
                0, 360, kShoes, cv::FILLED, cv::LINE_8, 4);
  }
  const std::vector<cv::Point2d> hips = {at(-0.097, -0.03), at(0.097, -0.03), at(0.092, 0.075),
                                         at(-0.092, 0.075)};
  const std::vector<cv::Point2d> torso = {at(-0.094, 0.0),    at(-0.1, -0.12),  at(-0.106, -0.26),
                                          at(-0.124, -0.305), at(-0.1, -0.334), at(-0.03, -0.345),
                                          at(0.03, -0.345),   at(0.1, -0.334),  at(0.124, -0.305),
                                          at(0.106, -0.26),   at(0.1, -0.12),   at(0.094, 0.0)};
  for (const auto* shape : {&hips, &torso}) {
    std::vector<cv::Point> points;
    for (const cv::Point2d& p : *shape) points.push_back(Fixed(p));
    cv::fillPoly(labels, std::vector<std::vector<cv::Point>>{points},
                 shape == &hips ? kTrousers : kShirt, cv::LINE_8, 4);
  }

  // Arms swing against the legs; the right one (on the picture's right) waves.
  for (int side = -1; side <= 1; side += 2) {
    double upper = (10 - 12 * side * s * pose.stride) * kDegree;
    double bend = (12 + 10 * pose.stride * (1 + s * side)) * kDegree;
    if (side > 0 && pose.wave > 0) {
      upper = (10 + 125 * pose.wave) * kDegree;
      bend = (10 + pose.wave * (35 + 30 * std::sin(4 * kPi * pose.time))) * kDegree;
    }
    const cv::Point2d elbow = limb(at(side * 0.104, -0.302), side * upper, 0.16, 0.054, kShirt);
    const cv::Point2d wrist = limb(elbow, side * (upper + bend), 0.145, 0.043, kSkin);
    cv::circle(labels, Fixed(wrist), cvRound(0.027 * u * 16), kSkin, cv::FILLED, cv::LINE_8, 4);
  }

  limb(at(0, -0.33), kPi, 0.05, 0.046, kSkin);  // neck
  cv::ellipse(labels, Fixed(at(0, -0.44)),
              cv::Size(cvRound(0.056 * u * 16), cvRound(0.071 * u * 16)), 0, 0, 360, kHair,
              cv::FILLED, cv::LINE_8, 4);
  cv::ellipse(labels, Fixed(at(0, -0.427)),
              cv::Size(cvRound(0.05 * u * 16), cvRound(0.06 * u * 16)), 0, 0, 360, kSkin,
              cv::FILLED, cv::LINE_8, 4);
  cv::ellipse(labels, Fixed(at(0, -0.468)),
              cv::Size(cvRound(0.052 * u * 16), cvRound(0.03 * u * 16)), 0, 180, 360, kHair,
              cv::FILLED, cv::LINE_8, 4);
}

void SampleClip::Render(int index, cv::Mat& bgra, cv::Mat* mask) const {
  const Pose pose = PoseAt(std::max(index, 0));
  const cv::Size size(settings_.width, settings_.height);
  cv::Mat labels = cv::Mat::zeros(size, CV_8U);
  cv::Point2d origin;
  DrawFigure(pose, labels, &origin);
  const cv::Rect full(cv::Point(0, 0), size);
  const cv::Rect box = (cv::boundingRect(labels) + cv::Size(8, 8) - cv::Point(4, 4)) & full;

  cv::Mat frame = room_.clone();
  // A soft shadow on the floor under the feet; not part of the person.
  {
    const double u = unit_;
    const cv::Point2d feet(origin.x, origin.y + 0.535 * u);
    const cv::Rect area = cv::Rect(cvRound(feet.x - 0.3 * u), cvRound(feet.y - 0.1 * u),
                                   cvRound(0.6 * u), cvRound(0.2 * u)) &
                          full;
    if (area.area() > 0) {
      cv::Mat shade = cv::Mat::zeros(area.size(), CV_32F);
      cv::ellipse(shade, cv::Point(cvRound(feet.x) - area.x, cvRound(feet.y) - area.y),
                  cv::Size(cvRound(0.17 * u), cvRound(0.028 * u)), 0, 0, 360, 1.0, cv::FILLED);
      cv::GaussianBlur(shade, shade, cv::Size(), 0.025 * u);
      cv::Mat region = frame(area), lit;
      region.convertTo(lit, CV_32FC3);
      cv::Mat factor = 1.0 - 0.4 * shade;
      cv::cvtColor(factor, factor, cv::COLOR_GRAY2BGR);
      cv::multiply(lit, factor, lit);
      lit.convertTo(region, CV_8UC3);
    }
  }

  if (box.area() > 0) {
    // Colour every pixel within one pixel of the figure from its part's texture, then blend with
    // a slightly blurred silhouette so the outline is anti-aliased like a camera's.
    cv::Mat grown;
    cv::dilate(labels(box), grown, cv::Mat());
    cv::Mat alpha;
    labels(box).convertTo(alpha, CV_32F);
    cv::threshold(alpha, alpha, 0.5, 1.0, cv::THRESH_BINARY);
    cv::GaussianBlur(alpha, alpha, cv::Size(5, 5), 0.6);
    for (int r = 0; r < box.height; ++r) {
      const uint8_t* label = grown.ptr<uint8_t>(r);
      const float* a = alpha.ptr<float>(r);
      cv::Vec3b* out = frame.ptr<cv::Vec3b>(box.y + r) + box.x;
      const int ty = std::clamp(box.y + r - cvRound(origin.y) + textureOrigin_.y, 0,
                                textures_[kSkin].rows - 1);
      for (int c = 0; c < box.width; ++c) {
        if (label[c] == kNone || a[c] <= 0.0f) continue;
        const int tx = std::clamp(box.x + c - cvRound(origin.x) + textureOrigin_.x, 0,
                                  textures_[kSkin].cols - 1);
        const cv::Vec3b colour = textures_[label[c]].at<cv::Vec3b>(ty, tx);
        for (int k = 0; k < 3; ++k) {
          out[c][k] = cv::saturate_cast<uint8_t>(out[c][k] + (colour[k] - out[c][k]) * a[c]);
        }
      }
    }
    cv::Mat region = frame(box);
    cv::GaussianBlur(region, region, cv::Size(3, 3), 0.6);
  }

  cv::Mat noise(size, CV_16SC3);
  cv::RNG rng(settings_.seed * 2654435761u + static_cast<uint32_t>(index) * 40503u + 1u);
  rng.fill(noise, cv::RNG::NORMAL, 0.0, settings_.noise);
  cv::add(frame, noise, frame, cv::noArray(), CV_8U);
  cv::cvtColor(frame, bgra, cv::COLOR_BGR2BGRA);
  if (mask != nullptr) cv::threshold(labels, *mask, 0, 255, cv::THRESH_BINARY);
}

}  // namespace kazsample
