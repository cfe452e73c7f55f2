// SPDX-License-Identifier: MIT
#include "human_segment/matte_segmenter.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "human_segment/status.h"

namespace quorin::hs {

namespace {

// Grey levels of change at which an earlier frame stops counting for a pixel: above the
// sensor noise of the shrunk picture, below what a person moving over the background makes.
constexpr float kStillLevels = 12.0f;

cv::Mat Grey(const cv::Mat& bgra) {
  cv::Mat grey;
  cv::cvtColor(bgra, grey, cv::COLOR_BGRA2GRAY);
  return grey;
}

cv::Mat Box(const cv::Mat& m, int radius) {
  cv::Mat out;
  cv::boxFilter(m, out, CV_32F, cv::Size(2 * radius + 1, 2 * radius + 1), cv::Point(-1, -1), true,
                cv::BORDER_REFLECT);
  return out;
}

}  // namespace

MatteSegmenter::MatteSegmenter(MatteSettings settings) : settings_(std::move(settings)) {
  square_ = std::make_unique<OnnxSegmenter>(std::move(settings_.square));
  if (!settings_.landscape.networkPath.empty()) {
    landscape_ = std::make_unique<OnnxSegmenter>(std::move(settings_.landscape));
  }
}

void MatteSegmenter::Process(const cv::Mat& bgra, cv::Mat& mask) {
  // 16:9 frames take the landscape network, 4:3 and narrower the square one; the split is
  // where both stretch the picture equally.
  const double aspect = double(bgra.cols) / bgra.rows;
  OnnxSegmenter* network = landscape_ && aspect > std::sqrt(double(landscape_->InputSize().width) /
                                                            landscape_->InputSize().height)
                               ? landscape_.get()
                               : square_.get();
  const cv::Size size = network->InputSize();
  cv::resize(bgra, input_, size, 0, 0,
             size.width < bgra.cols && size.height < bgra.rows ? cv::INTER_AREA : cv::INTER_LINEAR);
  const cv::Mat& probability = network->Infer(input_);
  cv::Mat grey = Grey(input_);
  if (grey.size() != probability.size()) {
    cv::resize(grey, grey, probability.size(), 0, 0, cv::INTER_AREA);
  }

  if (!Follows(grey, bgra.size(), network)) past_.clear();
  lastFrame_ = bgra.size();
  lastNetwork_ = network;
  const cv::Mat steady = Steady(grey, probability);
  past_.push_front({grey, probability.clone()});
  while (int(past_.size()) > settings_.window) past_.pop_back();

  Refine(bgra, steady, mask);
}

bool MatteSegmenter::Follows(const cv::Mat& grey, cv::Size frame,
                             const OnnxSegmenter* network) const {
  if (past_.empty() || frame != lastFrame_ || network != lastNetwork_) return false;
  cv::Mat change;
  cv::absdiff(grey, past_.front().grey, change);
  const int changed = cv::countNonZero(change > kCutLevels);
  return changed < kCutShare * double(change.total());
}

cv::Mat MatteSegmenter::Steady(const cv::Mat& grey, const cv::Mat& probability) const {
  // Each earlier answer counts where that frame looks the same as this one, and not at all
  // where anything moved: still parts stop flickering, moving ones never trail.
  cv::Mat sum = probability.clone();
  cv::Mat weights(probability.size(), CV_32F, cv::Scalar(1.0f));
  cv::Mat change, weight;
  for (const Past& past : past_) {
    cv::absdiff(grey, past.grey, change);
    change.convertTo(weight, CV_32F, -1.0 / kStillLevels, 1.0);
    cv::max(weight, 0.0f, weight);
    sum += weight.mul(past.probability);
    weights += weight;
  }
  return sum / weights;
}

void MatteSegmenter::Refine(const cv::Mat& bgra, const cv::Mat& probability, cv::Mat& mask) {
  // A guided filter with the frame's grey picture as the guide: the matte's edge moves onto
  // the picture's edges. Its coefficients are smooth, so they are fitted at a reduced size
  // and only applied at the mask's size.
  guide_ = Grey(bgra);
  if (guide_.size() != mask.size()) {
    cv::resize(guide_, guide_, mask.size(), 0, 0, cv::INTER_AREA);
  }
  const double shrink =
      std::min(1.0, double(settings_.refineSize) / std::max(mask.cols, mask.rows));
  const cv::Size fit(std::max(1, int(std::lround(mask.cols * shrink))),
                     std::max(1, int(std::lround(mask.rows * shrink))));
  cv::Mat small, p;
  cv::resize(guide_, small, fit, 0, 0, cv::INTER_AREA);
  small.convertTo(small, CV_32F, 1.0 / 255);
  cv::resize(probability, p, fit, 0, 0, cv::INTER_LINEAR);

  const int r = settings_.refineRadius;
  const cv::Mat meanI = Box(small, r);
  const cv::Mat meanP = Box(p, r);
  const cv::Mat varI = Box(small.mul(small), r) - meanI.mul(meanI);
  const cv::Mat covIP = Box(small.mul(p), r) - meanI.mul(meanP);
  const cv::Mat a = covIP / (varI + settings_.refineEpsilon);
  const cv::Mat b = meanP - a.mul(meanI);

  // In mask levels: q * 255 = a * grey + b * 255, with grey in 0..255.
  cv::Mat fullA, fullB, q;
  cv::resize(Box(a, r), fullA, mask.size(), 0, 0, cv::INTER_LINEAR);
  cv::resize(Box(b, r) * 255.0, fullB, mask.size(), 0, 0, cv::INTER_LINEAR);
  guide_.convertTo(q, CV_32F);
  q = q.mul(fullA) + fullB;
  q.convertTo(mask, CV_8U);
}

}  // namespace quorin::hs
