// SPDX-License-Identifier: MIT
// Pieces shared by the effects that cut the person out with the human segmentation module.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include <opencv2/core.hpp>

#include "framework/effect_filter.h"
#include "framework/shared_ai_objects.h"

class QuorinHumanSeg;

namespace vorta {

// Where the segmentation models lie, under the resources directory the host reported.
inline constexpr char kModelFolder[] = "/kaz_effect/plugin/AiModel";
std::string ModelDirectory(const NLEFilterInfo* info);

// A numeric parameter value, read by the kind it was stored with, so a host that sends a float
// where the description says double still gets its number. A value without a numeric tag is
// read as the raw `rawKind` (kKindFloat, kKindDouble or kKindInt) in the payload.
double NumericValue(const NLEParamValue& value, uint32_t rawKind);

// Reads `name` as a number into `field`; an absent parameter leaves the field as it was. Values
// beyond the field's range are clamped to it, and a non-finite value reads as 0.
template <typename T>
void ReadNumber(const NLEEffectFilter& filter, const std::string& name, bool underscoreToo,
                uint32_t rawKind, T& field) {
  NLEParamValue value;
  const bool found = underscoreToo ? filter.GetParameterValueSpacedOrUnderscore(name, value)
                                   : filter.GetParameterValue(name.c_str(), value);
  if (!found) return;
  double number = NumericValue(value, rawKind);
  if (!std::isfinite(number)) number = 0.0;
  const double lowest = static_cast<double>(std::numeric_limits<T>::lowest());
  const double highest = static_cast<double>(std::numeric_limits<T>::max());
  field = static_cast<T>(std::clamp(number, lowest, highest));
}

// Edge sizes in pixels for a frame, from values given at a reference long side of 640 pixels.
struct EdgeSizes {
  int morph;     // < 0 erodes, > 0 dilates by a (2|morph| + 1)-square
  int blur;      // box blur size, 2r + 1; no blur when <= 1
  int backBlur;  // odd Gaussian kernel size, >= 1
};
// Non-finite values count as 0. Sizes are clamped to the frame's long side: a larger element or
// kernel cannot change a morphology result and would only cost memory.
EdgeSizes ComputeEdgeSizes(double thickness, double feather, double backBlur, int width,
                           int height);

// Erodes or dilates, then box-blurs the mask in place.
void RefineMask(cv::Mat& mask, const EdgeSizes& sizes);

// The segmentation wrapper of a whole effect class (one model in memory per class). Null while
// the module cannot be created; every call tries again until a creation succeeds.
std::shared_ptr<QuorinHumanSeg> SharedSegmenter(SharedAiSlot slot, int32_t variant,
                                                const std::string& first, const std::string& second,
                                                const std::string& modelDir);

// Copies the source rows into the destination when the effect cannot produce its result.
void PassThrough(const cv::Mat& src, const cv::Mat& dst);

// True when the two images' byte ranges overlap, so working from the source while writing the
// destination needs a copy of the source first.
bool Overlap(const cv::Mat& a, const cv::Mat& b);

}  // namespace vorta
