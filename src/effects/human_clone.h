// SPDX-License-Identifier: MIT
// The clone family: copies of the people placed beside or behind them, swinging with the clip's
// time. The members share the person image, the clock and the failure rules, and differ in
// their parameters and the invoker that lays the copies.
#pragma once

#include <cstdint>

#include <opencv2/core.hpp>

#include "effects/person_image.h"
#include "framework/effect_filter.h"

class NLEHumanCloneBase : public vorta::NLEAIEffectFilter {
 public:
  int32_t Transform(unsigned char* dst, int32_t dstWidth, int32_t dstHeight, int32_t dstStride,
                    unsigned char* aux, int32_t auxWidth, int32_t auxHeight, int32_t auxStride,
                    const unsigned char* src, int32_t srcWidth, int32_t srcHeight,
                    int32_t srcStride) override;

  // Clip time in seconds: current frame / (numerator / max(denominator, 1)), the rate divided as
  // 64-bit integers. A rate whose integer quotient is 0 or below gives 0: the clones stand still.
  static float ClipSeconds(int32_t frame, int64_t numerator, int64_t denominator);

 protected:
  explicit NLEHumanCloneBase(vorta::FilterInfoPtr info);
  virtual void ReadParameters() = 0;
  // Writes the frame from the source and the person image (which shares no bytes with dst).
  virtual void Compose(const cv::Mat& src, const cv::Mat& person, const cv::Mat& dst, float t) = 0;

 private:
  vorta::PersonImage person_;
};

// The swing of the colour and unfold clones.
class NLEHumanCloneSwing : public NLEHumanCloneBase {
 protected:
  explicit NLEHumanCloneSwing(vorta::FilterInfoPtr info) : NLEHumanCloneBase(std::move(info)) {}
  void ReadParameters() override;
  // s = |sin(t * speed)|; offset = trunc(s * distance * width) in single precision, limited to
  // 0..width (a negative or NaN product gives 0).
  void Offsets(float t, int width, int* farOffset, int* nearOffset) const;
  uint8_t FarAlpha() const;
  uint8_t NearAlpha() const;

  float speed_ = 2.5f;
  float distFar_ = 0.5f;
  float distNear_ = 0.3f;
  int32_t alphaFar_ = 127;
  int32_t alphaNear_ = 200;
};

// The wings: "speed" and "dist" as integers.
class NLEHumanCloneWing : public NLEHumanCloneBase {
 protected:
  explicit NLEHumanCloneWing(vorta::FilterInfoPtr info) : NLEHumanCloneBase(std::move(info)) {}
  void ReadParameters() override;
  // 80 - speed * 10 in double, stored as a float.
  float Beat() const { return static_cast<float>(80.0 - speed_ * 10.0); }

  int32_t speed_ = 0;
  int32_t dist_ = 5;
};
