// SPDX-License-Identifier: MIT
#include "effects/segmentation_common.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

#include "ai/copy_plane.h"
#include "ai/human_seg.h"
#include "framework/shared_ai_objects.h"

namespace vorta {

std::string ModelDirectory(const NLEFilterInfo* info) {
  std::string resources = info ? info->ResourceDir() : std::string();
  // The same default a host's buffer is pre-filled with.
  if (resources.empty()) resources = "resources";
  return resources + kModelFolder;
}

double NumericValue(const NLEParamValue& value, uint32_t rawKind) {
  switch (value.type) {
    case kKindBool:
      return value.payload[0] != 0 ? 1.0 : 0.0;
    case kKindDouble:
      return PayloadAs<double>(value);
    case kKindFloat:
      return PayloadAs<float>(value);
    case kKindInt:
      return PayloadAs<int32_t>(value);
    default:
      break;
  }
  switch (rawKind) {
    case kKindDouble:
      return PayloadAs<double>(value);
    case kKindInt:
      return PayloadAs<int32_t>(value);
    default:
      return PayloadAs<float>(value);
  }
}

namespace {

double Finite(double v) { return std::isfinite(v) ? v : 0.0; }

}  // namespace

EdgeSizes ComputeEdgeSizes(double thickness, double feather, double backBlur, int width,
                           int height) {
  const int longSide = std::max(width, height);
  const double s = longSide / 640.0;
  const double limit = longSide;
  const double t = std::clamp(std::trunc(Finite(s * thickness * 0.5)), -limit, limit);
  const double r = std::clamp(std::floor(Finite(s * feather * 0.5)), 0.0, limit);
  const double b = std::clamp(std::trunc(Finite(backBlur * s * 0.5)), 0.0, limit);
  return {static_cast<int>(t), 2 * static_cast<int>(r) + 1, 2 * static_cast<int>(b) + 1};
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

std::shared_ptr<QuorinHumanSeg> SharedSegmenter(SharedAiSlot slot, int32_t variant,
                                                const std::string& first, const std::string& second,
                                                const std::string& modelDir) {
  return SharedAiObjects::GetOrCreate<QuorinHumanSeg>(
      slot, [&]() -> std::shared_ptr<QuorinHumanSeg> {
        auto made = std::make_shared<QuorinHumanSeg>(first, second, modelDir, variant);
        return made->Created() ? made : nullptr;
      });
}

void PassThrough(const cv::Mat& src, const cv::Mat& dst) {
  kaz::CopyPlane(src.data, dst.data, src.cols, src.rows, static_cast<int32_t>(src.step),
                 static_cast<int32_t>(dst.step));
}

bool Overlap(const cv::Mat& a, const cv::Mat& b) {
  const uchar* aEnd = a.data + a.step * (a.rows - 1) + a.cols * a.elemSize();
  const uchar* bEnd = b.data + b.step * (b.rows - 1) + b.cols * b.elemSize();
  return a.data < bEnd && b.data < aEnd;
}

}  // namespace vorta
