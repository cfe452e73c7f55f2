// SPDX-License-Identifier: MIT
#include "effects/person_mask.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

#include "ai/human_seg.h"
#include "api/log.h"
#include "effects/effect_support.h"
#include "framework/shared_ai_objects.h"

namespace vorta {

namespace {

double Finite(double v) { return std::isfinite(v) ? v : 0.0; }

}  // namespace

bool ComputeEdgeSizes(const char* effect, double thickness, double feather, double backBlur,
                      int width, int height, EdgeSizes* sizes) {
  const double s = std::max(width, height) / 640.0;
  const double t = std::trunc(Finite(s * thickness * 0.5));
  const double r = std::max(0.0, std::floor(Finite(s * feather * 0.5)));
  const double b = std::max(0.0, std::trunc(Finite(backBlur * s * 0.5)));
  const double limit = (kMaxKernelSide - 1) / 2;
  if (std::fabs(t) > limit || r > limit || b > limit) {
    kaz::Log(kaz::kLogError, "%s: edge or blur size beyond %d pixels on a %dx%d frame: refused\n",
             effect, kMaxKernelSide, width, height);
    return false;
  }
  *sizes = {static_cast<int>(t), 2 * static_cast<int>(r) + 1, 2 * static_cast<int>(b) + 1};
  return true;
}

void RefineMask(cv::Mat& mask, const EdgeSizes& sizes) {
  if (sizes.morph != 0) {
    const int side = 2 * std::abs(sizes.morph) + 1;
    const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(side, side));
    if (sizes.morph < 0) {
      cv::erode(mask, mask, element);
    } else {
      cv::dilate(mask, mask, element);
    }
  }
  if (sizes.blur > 1) {
    cv::blur(mask, mask, cv::Size(sizes.blur, sizes.blur), cv::Point(-1, -1),
             cv::BORDER_REFLECT_101);
  }
}

PersonMask::PersonMask(const NLEFilterInfo* info, int32_t variant, std::string sharedBy)
    : variant_(variant), sharedBy_(std::move(sharedBy)), modelDir_(ModelDirectory(info)) {
  if (info) {
    resourceDir_ = info->ResourceDir();
    cloudResourceDir_ = info->CloudResourceDir();
  }
}

PersonMask::~PersonMask() = default;

bool PersonMask::Acquire() {
  if (!segmenter_) {
    auto make = [&]() -> std::shared_ptr<QuorinHumanSeg> {
      auto made =
          std::make_shared<QuorinHumanSeg>(resourceDir_, cloudResourceDir_, modelDir_, variant_);
      // Without a model there is nothing to keep: the next frame tries again.
      return made->Created() ? made : nullptr;
    };
    segmenter_ = sharedBy_.empty() ? make()
                                   : SharedAiObjects::GetOrCreate<QuorinHumanSeg>(
                                         {"human_segment", variant_, sharedBy_}, make);
  }
  return segmenter_ != nullptr;
}

bool PersonMask::Run(const cv::Mat& source, const EdgeSizes& sizes, cv::Mat& mask,
                     const cv::Mat* passTo) {
  const bool loaded = Acquire();
  mask = cv::Mat::zeros(source.size(), CV_8UC1);
  if (!loaded || !segmenter_->Process(source, mask)) {
    if (passTo != nullptr) PassThrough(source, *passTo);
    return false;
  }
  RefineMask(mask, sizes);
  return true;
}

}  // namespace vorta
