// SPDX-License-Identifier: MIT
// The person image the outline and clone effects start from: B, G, R, A, alpha the person matte,
// colour the person pre-multiplied by it. It comes from the host's receiver when the host already
// has one, otherwise from an inner person cut-out filter.
#pragma once

#include <cstdint>

#include <opencv2/core.hpp>

#include "framework/effect_filter.h"

namespace vorta {

inline constexpr char kHumanSegmentationGuid[] = "974A1C95-921E-4D28-89D5-23B7B249589A";

class PersonImage {
 public:
  // Makes the inner filter through the exported create entry, with the effect's resources, as a
  // host would. A failed creation leaves it empty: every Get then fails.
  explicit PersonImage(const NLEFilterInfo* info);
  ~PersonImage();
  PersonImage(const PersonImage&) = delete;
  PersonImage& operator=(const PersonImage&) = delete;

  NLEEffectFilter* Inner() const { return inner_; }

  // The person image for `source` into `image`. A ready segmentation of the lent receiver is
  // taken as it is when it has the frame's size and a usable pitch; otherwise the inner filter
  // writes into the auxiliary image (when given with the frame's size) or a fresh one. False when
  // there is no inner filter or it fails on the frame. `found` is false when the inner filter
  // handed the frame back unchanged, as it does without its module: the effect then passes the
  // frame through too. (For an opaque source that is also what drawing would give.)
  bool Get(void* lent, const cv::Mat& source, unsigned char* aux, int32_t auxWidth,
           int32_t auxHeight, int32_t auxStride, cv::Mat& image, bool* found);

 private:
  NLEEffectFilter* inner_ = nullptr;
};

}  // namespace vorta
