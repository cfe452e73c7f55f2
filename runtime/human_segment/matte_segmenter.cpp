// SPDX-License-Identifier: MIT
#include "human_segment/matte_segmenter.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

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

// Area averaging to `size`: a whole-number factor first, which OpenCV does fast, then the
// small rest. The last columns and rows beyond a multiple of the factor (fewer than the factor)
// are left out.
void Shrink(const cv::Mat& src, cv::Mat& dst, cv::Size size, cv::Mat& scratch) {
  const int k = std::min(src.cols / size.width, src.rows / size.height);
  if (k < 2) {
    cv::resize(src, dst, size, 0, 0,
               size.width < src.cols && size.height < src.rows ? cv::INTER_AREA : cv::INTER_LINEAR);
    return;
  }
  const cv::Size whole(src.cols / k, src.rows / k);
  cv::resize(src(cv::Rect(0, 0, whole.width * k, whole.height * k)), scratch, whole, 0, 0,
             cv::INTER_AREA);
  if (whole == size) {
    scratch.copyTo(dst);
  } else {
    cv::resize(scratch, dst, size, 0, 0, cv::INTER_AREA);
  }
}

// mask = a * guide + b, with a and b (b already in mask levels) enlarged bilinearly from their
// own size on the fly: one pass over the full-size pictures instead of five.
class ApplyCoefficients : public cv::ParallelLoopBody {
 public:
  ApplyCoefficients(const cv::Mat& a, const cv::Mat& b, const cv::Mat& guide, cv::Mat& mask,
                    const std::vector<int>& left, const std::vector<float>& weight)
      : a_(a), b_(b), guide_(guide), mask_(mask), left_(left), weight_(weight) {}

  void operator()(const cv::Range& rows) const override {
    // One spare element repeats the last, so the right neighbour of the last column exists.
    std::vector<float> ra(a_.cols + 1), rb(a_.cols + 1);
    const float scale = float(a_.rows) / mask_.rows;
    for (int y = rows.start; y < rows.end; ++y) {
      const float at = std::min(std::max((y + 0.5f) * scale - 0.5f, 0.0f), float(a_.rows - 1));
      const int y0 = int(at);
      const int y1 = std::min(y0 + 1, a_.rows - 1);
      const float fy = at - y0;
      const float *a0 = a_.ptr<float>(y0), *a1 = a_.ptr<float>(y1);
      const float *b0 = b_.ptr<float>(y0), *b1 = b_.ptr<float>(y1);
      for (int i = 0; i < a_.cols; ++i) {
        ra[i] = a0[i] + fy * (a1[i] - a0[i]);
        rb[i] = b0[i] + fy * (b1[i] - b0[i]);
      }
      ra[a_.cols] = ra[a_.cols - 1];
      rb[a_.cols] = rb[a_.cols - 1];
      const uint8_t* g = guide_.ptr<uint8_t>(y);
      uint8_t* out = mask_.ptr<uint8_t>(y);
      for (int x = 0; x < mask_.cols; ++x) {
        const int i = left_[x];
        const float w = weight_[x];
        const float av = ra[i] + w * (ra[i + 1] - ra[i]);
        const float bv = rb[i] + w * (rb[i + 1] - rb[i]);
        out[x] = cv::saturate_cast<uint8_t>(av * g[x] + bv);
      }
    }
  }

 private:
  const cv::Mat& a_;
  const cv::Mat& b_;
  const cv::Mat& guide_;
  cv::Mat& mask_;
  const std::vector<int>& left_;
  const std::vector<float>& weight_;
};

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
  Shrink(bgra, input_, network->InputSize(), scratch_);
  // A copy: a second look with the same network overwrites the network's answer.
  const cv::Mat probability = network->Infer(input_).clone();
  LookAgain(bgra, probability);
  cv::Mat grey = Grey(input_);
  if (grey.size() != probability.size()) {
    cv::resize(grey, grey, probability.size(), 0, 0, cv::INTER_AREA);
  }

  if (!Follows(grey, bgra.size(), network)) past_.clear();
  lastFrame_ = bgra.size();
  lastNetwork_ = network;
  const cv::Mat steady = Steady(grey, probability);
  past_.push_front({grey, probability});
  while (int(past_.size()) > settings_.window) past_.pop_back();

  Refine(bgra, steady, mask);
}

void MatteSegmenter::LookAgain(const cv::Mat& bgra, const cv::Mat& probability) {
  looks_.clear();
  if (settings_.crops == 0) return;
  // Someone small or far is at best found in parts (a head, hands): look again at a square
  // around each such find, tall enough to hold a standing body below it, so the network sees
  // the person larger. Decided from this frame's own answer only.
  cv::Mat found, labels, stats, centres;
  cv::compare(probability, 0.2, found, cv::CMP_GT);
  const int count = cv::connectedComponentsWithStats(found, labels, stats, centres, 8, CV_32S);
  std::vector<int> order;
  for (int i = 1; i < count; ++i) {
    const int height = stats.at<int>(i, cv::CC_STAT_HEIGHT);
    if (stats.at<int>(i, cv::CC_STAT_AREA) * 2000 >= int(probability.total()) &&
        height * 2 < probability.rows) {
      order.push_back(i);
    }
  }
  // Largest first; equal areas by label, so the choice never depends on the sort.
  std::sort(order.begin(), order.end(), [&](int a, int b) {
    const int areaA = stats.at<int>(a, cv::CC_STAT_AREA),
              areaB = stats.at<int>(b, cv::CC_STAT_AREA);
    return areaA != areaB ? areaA > areaB : a < b;
  });
  if (int(order.size()) > settings_.crops) order.resize(settings_.crops);
  const double sx = double(bgra.cols) / probability.cols, sy = double(bgra.rows) / probability.rows;
  for (int i : order) {
    const double x = stats.at<int>(i, cv::CC_STAT_LEFT) * sx,
                 y = stats.at<int>(i, cv::CC_STAT_TOP) * sy;
    const double w = stats.at<int>(i, cv::CC_STAT_WIDTH) * sx;
    const double h = stats.at<int>(i, cv::CC_STAT_HEIGHT) * sy;
    const double side = std::min(
        {double(bgra.cols), double(bgra.rows), std::max({4 * h, 2 * w, 0.35 * bgra.rows})});
    const double left = std::clamp(x + w / 2 - side / 2, 0.0, bgra.cols - side);
    const double top = std::clamp(y - 0.15 * side, 0.0, bgra.rows - side);
    const cv::Rect crop(int(std::lround(left)), int(std::lround(top)), int(side), int(side));
    Shrink(bgra(crop & cv::Rect(0, 0, bgra.cols, bgra.rows)), cropInput_, square_->InputSize(),
           scratch_);
    looks_.push_back({crop, square_->Infer(cropInput_).clone()});
  }
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
  Shrink(guide_, small, fit, scratch_);
  small.convertTo(small, CV_32F, 1.0 / 255);
  cv::resize(probability, p, fit, 0, 0, cv::INTER_LINEAR);
  const double fx = double(fit.width) / mask.cols, fy = double(fit.height) / mask.rows;
  const double mx = double(mask.cols) / bgra.cols, my = double(mask.rows) / bgra.rows;
  for (const Look& look : looks_) {
    const cv::Rect at =
        cv::Rect(int(std::lround(look.crop.x * mx * fx)), int(std::lround(look.crop.y * my * fy)),
                 std::max(1, int(std::lround(look.crop.width * mx * fx))),
                 std::max(1, int(std::lround(look.crop.height * my * fy)))) &
        cv::Rect(0, 0, fit.width, fit.height);
    if (at.empty()) continue;
    cv::Mat enlarged;
    cv::resize(look.probability, enlarged, at.size(), 0, 0, cv::INTER_LINEAR);
    cv::Mat region = p(at);
    cv::max(region, enlarged, region);
  }

  const int r = settings_.refineRadius;
  const cv::Mat meanI = Box(small, r);
  const cv::Mat meanP = Box(p, r);
  const cv::Mat varI = Box(small.mul(small), r) - meanI.mul(meanI);
  const cv::Mat covIP = Box(small.mul(p), r) - meanI.mul(meanP);
  const cv::Mat a = covIP / (varI + settings_.refineEpsilon);
  const cv::Mat b = meanP - a.mul(meanI);

  // In mask levels: q * 255 = a * grey + b * 255, with grey in 0..255.
  const cv::Mat meanA = Box(a, r), meanB = Box(b, r) * 255.0;
  if (left_.size() != size_t(mask.cols) || fitted_ != fit) {
    left_.resize(mask.cols);
    weight_.resize(mask.cols);
    const float scale = float(fit.width) / mask.cols;
    for (int x = 0; x < mask.cols; ++x) {
      const float at = std::min(std::max((x + 0.5f) * scale - 0.5f, 0.0f), float(fit.width - 1));
      left_[x] = int(at);
      weight_[x] = at - left_[x];
    }
    fitted_ = fit;
  }
  cv::parallel_for_(cv::Range(0, mask.rows),
                    ApplyCoefficients(meanA, meanB, guide_, mask, left_, weight_));
}

}  // namespace quorin::hs
