// SPDX-License-Identifier: MIT
// What every effect does at its entry: wrap the caller's frames, read its parameters by name,
// find its models, hand the frame back unchanged when it cannot do its work.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include <opencv2/core.hpp>

#include "framework/effect_filter.h"
#include "framework/param_value.h"

namespace vorta {

// Where the models lie: the resources directory the host reported + kKAZModelFolder.
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

// Reads the text parameter `name` into `field`; an absent parameter leaves it as it was.
void ReadText(const NLEEffectFilter& filter, const char* name, std::string& field);

// A path from a parameter: a relative one is taken from the resources directory, so bundled
// descriptions can name bundled files.
std::string ResourcePath(const std::string& resourceDir, const std::string& path);

// The caller's frames wrapped without copying: the source as 8UC4, the destination as 8UC4 or
// (one channel) 8UC1, both of the source's size.
struct FrameImages {
  cv::Mat source;
  cv::Mat destination;
};
FrameImages WrapFrame(const unsigned char* src, int32_t width, int32_t height, int32_t srcStride,
                      unsigned char* dst, int32_t dstStride, int32_t dstChannels);

// Copies the source rows into the destination when the effect cannot produce its result.
void PassThrough(const cv::Mat& src, const cv::Mat& dst);

// True when the two images' byte ranges overlap, so working from the source while writing the
// destination needs a copy of the source first.
bool Overlap(const cv::Mat& a, const cv::Mat& b);

}  // namespace vorta
