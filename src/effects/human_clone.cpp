// SPDX-License-Identifier: MIT
#include "effects/human_clone.h"

#include <algorithm>
#include <cmath>

#include "effects/effect_support.h"

using vorta::kKindFloat;
using vorta::kKindInt;

NLEHumanCloneBase::NLEHumanCloneBase(vorta::FilterInfoPtr info)
    : NLEAIEffectFilter(info), person_(info.get()) {}

float NLEHumanCloneBase::ClipSeconds(int32_t frame, int64_t numerator, int64_t denominator) {
  const int64_t fps = numerator / std::max<int64_t>(denominator, 1);
  if (fps <= 0) return 0.0f;
  return static_cast<float>(frame) / static_cast<float>(fps);
}

int32_t NLEHumanCloneBase::Transform(unsigned char* dst, int32_t, int32_t, int32_t dstStride,
                                     unsigned char* aux, int32_t auxWidth, int32_t auxHeight,
                                     int32_t auxStride, const unsigned char* src, int32_t w,
                                     int32_t h, int32_t srcStride) {
  if (src == nullptr || dst == nullptr || person_.Inner() == nullptr) return 1;
  ReadParameters();
  vorta::FrameImages frame = vorta::WrapFrame(src, w, h, srcStride, dst, dstStride, 4);
  cv::Mat person;
  bool found = true;
  if (!person_.Get(AiDataTransferPointer(), frame.source, aux, auxWidth, auxHeight, auxStride,
                   person, &found)) {
    // The editor still gets a picture, but learns that the effect did not run.
    vorta::PassThrough(frame.source, frame.destination);
    return 1;
  }
  if (!found) {
    vorta::PassThrough(frame.source, frame.destination);
    return 0;
  }
  // The clones read pixels beside the one being written, so images sharing bytes with the
  // destination are read from copies; a source that is exactly the destination is read row by
  // row before the row is written.
  if (vorta::Overlap(person, frame.destination)) person = person.clone();
  cv::Mat source = frame.source;
  if (vorta::Overlap(source, frame.destination) &&
      !(source.data == frame.destination.data && source.step == frame.destination.step))
    source = source.clone();
  Compose(source, person, frame.destination,
          ClipSeconds(CurrentTime(), FrameRateNumerator(), FrameRateDenominator()));
  return 0;
}

void NLEHumanCloneSwing::ReadParameters() {
  vorta::ReadNumber(*this, "speed", false, kKindFloat, speed_);
  vorta::ReadNumber(*this, "distFar", false, kKindFloat, distFar_);
  vorta::ReadNumber(*this, "distNear", false, kKindFloat, distNear_);
  vorta::ReadNumber(*this, "alphaRadioF", false, kKindInt, alphaFar_);
  vorta::ReadNumber(*this, "alphaRadioN", false, kKindInt, alphaNear_);
}

namespace {

int OffsetPixels(float v, int width) {
  if (!(v > 0.0f)) return 0;
  return v >= static_cast<float>(width) ? width : static_cast<int>(v);
}

}  // namespace

void NLEHumanCloneSwing::Offsets(float t, int width, int* farOffset, int* nearOffset) const {
  const float s = std::fabs(std::sin(t * speed_));
  const float w = static_cast<float>(width);
  *farOffset = OffsetPixels(s * distFar_ * w, width);
  *nearOffset = OffsetPixels(s * distNear_ * w, width);
}

uint8_t NLEHumanCloneSwing::FarAlpha() const {
  return static_cast<uint8_t>(std::clamp<int32_t>(alphaFar_, 0, 255));
}

uint8_t NLEHumanCloneSwing::NearAlpha() const {
  return static_cast<uint8_t>(std::clamp<int32_t>(alphaNear_, 0, 255));
}

void NLEHumanCloneWing::ReadParameters() {
  vorta::ReadNumber(*this, "speed", false, kKindInt, speed_);
  vorta::ReadNumber(*this, "dist", false, kKindInt, dist_);
}
