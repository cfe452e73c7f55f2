// SPDX-License-Identifier: MIT
#include "kazsample/sequences.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace kazsample {

namespace {

namespace fs = std::filesystem;

constexpr int kFrames = 24;
const cv::Size kSize(480, 270);

// Scales colour by alpha, so the frame is pre-multiplied.
cv::Mat Premultiplied(const cv::Mat& bgra) {
  cv::Mat out = bgra.clone();
  for (int y = 0; y < out.rows; ++y) {
    cv::Vec4b* row = out.ptr<cv::Vec4b>(y);
    for (int x = 0; x < out.cols; ++x) {
      for (int c = 0; c < 3; ++c)
        row[x][c] = cv::saturate_cast<uchar>(row[x][c] * row[x][3] / 255.0);
    }
  }
  return out;
}

// Soft round spots: colour `colour` with alpha peaking at `peak` in the middle.
void Spot(cv::Mat& bgra, cv::Point2d at, double radius, cv::Scalar colour, double peak) {
  const cv::Rect box = cv::Rect(cvFloor(at.x - radius), cvFloor(at.y - radius),
                                cvCeil(2 * radius) + 1, cvCeil(2 * radius) + 1) &
                       cv::Rect(0, 0, bgra.cols, bgra.rows);
  for (int y = box.y; y < box.br().y; ++y) {
    for (int x = box.x; x < box.br().x; ++x) {
      const double d = std::hypot(x - at.x, y - at.y) / radius;
      if (d >= 1) continue;
      const double a = peak * (1 - d * d);
      cv::Vec4b& p = bgra.at<cv::Vec4b>(y, x);
      const double old = p[3] / 255.0, next = a + old * (1 - a);
      for (int c = 0; c < 3; ++c)
        p[c] =
            cv::saturate_cast<uchar>((colour[c] * a + p[c] * old * (1 - a)) / std::max(next, 1e-6));
      p[3] = cv::saturate_cast<uchar>(next * 255);
    }
  }
}

cv::Mat Snow(int frame, cv::RNG& rng) {
  cv::Mat out(kSize, CV_8UC4, cv::Scalar::all(0));
  for (int i = 0; i < 90; ++i) {
    const double x0 = rng.uniform(0.0, 1.0), y0 = rng.uniform(0.0, 1.0);
    const double size = rng.uniform(1.2, 3.5), speed = rng.uniform(1, 3);
    // Each flake falls a whole number of screens per loop, so frame 24 is frame 0 again.
    const double y = std::fmod(y0 + speed * frame / kFrames, 1.0) * kSize.height;
    const double x =
        (x0 + 0.01 * std::sin(2 * CV_PI * (frame / double(kFrames) + x0))) * kSize.width;
    Spot(out, {x, y}, size, cv::Scalar(255, 255, 255), 0.9);
  }
  return out;
}

cv::Mat Bokeh(int frame, cv::RNG& rng) {
  cv::Mat out(kSize, CV_8UC4, cv::Scalar::all(0));
  for (int i = 0; i < 14; ++i) {
    const double x0 = rng.uniform(0.0, 1.0), y0 = rng.uniform(0.0, 0.7);
    const double r = rng.uniform(10.0, 26.0), phase = rng.uniform(0.0, 1.0);
    const cv::Scalar colour(rng.uniform(120, 256), rng.uniform(150, 256), rng.uniform(200, 256));
    const double t = 2 * CV_PI * (frame / double(kFrames) + phase);
    Spot(out, {(x0 + 0.02 * std::sin(t)) * kSize.width, (y0 + 0.02 * std::cos(t)) * kSize.height},
         r, colour, 0.35 + 0.15 * std::sin(t));
  }
  return out;
}

cv::Mat Sky(int frame, cv::RNG& rng) {
  cv::Mat out(kSize, CV_8UC4);
  for (int y = 0; y < kSize.height; ++y) {
    const double v = y / double(kSize.height);
    out.row(y).setTo(cv::Scalar(235 - 60 * v, 190 - 40 * v, 120 + 90 * v, 255));
  }
  for (int i = 0; i < 7; ++i) {
    const double x0 = rng.uniform(0.0, 1.0), y0 = rng.uniform(0.05, 0.45);
    const double w = rng.uniform(30.0, 60.0);
    const double x = std::fmod(x0 + frame / double(kFrames), 1.0) * (kSize.width + 2 * w) - w;
    for (int k = 0; k < 5; ++k)
      Spot(out, {x + (k - 2) * w * 0.35, y0 * kSize.height + (k % 2) * 6}, w * 0.5,
           cv::Scalar(250, 250, 250), 0.8);
  }
  return out;
}

}  // namespace

void WriteSequences(const std::string& folder) {
  const struct {
    const char* name;
    cv::Mat (*draw)(int, cv::RNG&);
  } sets[] = {{"snow", Snow}, {"bokeh", Bokeh}, {"sky", Sky}};
  for (const auto& set : sets) {
    const fs::path dir = fs::path(folder) / set.name;
    fs::create_directories(dir);
    for (int f = 0; f < kFrames; ++f) {
      cv::RNG rng(0x5EED + set.name[0]);  // the same scene every frame, only time moves
      char name[32];
      std::snprintf(name, sizeof name, "%s_%03d.png", set.name, f);
      if (!cv::imwrite((dir / name).string(), Premultiplied(set.draw(f, rng))))
        throw std::runtime_error("cannot write " + (dir / name).string());
    }
  }
}

}  // namespace kazsample
