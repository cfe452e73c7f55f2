// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

#include <opencv2/core.hpp>

#include "kaz/ai_data.h"
#include "kaz/host_framework.h"
#include "values.h"

namespace kazfx {

// An 8-bit BGRA cv::Mat lent to the plug-in for one call.
class HostImage final : public KAZImage {
 public:
  void Set(cv::Mat* mat) { mat_ = mat; }
  int32_t Width() override { return mat_->cols; }
  int32_t Height() override { return mat_->rows; }
  int32_t Stride() override { return static_cast<int32_t>(mat_->step[0]); }
  unsigned char* Pixels() override { return mat_->data; }

 private:
  cv::Mat* mat_ = nullptr;
};

// Keeps the person mask a segmentation effect sends, as one 8-bit channel.
class MaskReceiver final : public KAZAiDataReceiver {
 public:
  void ReceiveGrayImage(const unsigned char* pixels, int32_t width, int32_t height,
                        int32_t stride) override;
  // Forgets the last mask; Received() is false until the next one.
  void Clear() { mask_.release(); }
  bool Received() const { return !mask_.empty(); }
  const cv::Mat& Mask() const { return mask_; }

 private:
  cv::Mat mask_;
};

// What kazfx offers an effect for one frame: the frame number, the clip's length and rate,
// the parameters the user set (the effect keeps its defaults for the rest), the source and a
// destination. No auxiliary image is offered; a receiver is lent when one is set.
class RenderContext final : public KAZRenderContext {
 public:
  void SetTiming(int32_t totalFrames, Rational rate) {
    total_ = totalFrames;
    rate_ = rate;
  }
  // Keyed by declared name; must outlive the context's use.
  void SetParams(const std::map<std::string, ParamSetting>* params) { params_ = params; }
  // Lent as "ObjectAiDataTransferPtr" on every frame; null lends nothing.
  void SetReceiver(KAZAiDataReceiver* receiver) { receiver_ = receiver; }
  void SetFrame(int32_t number, cv::Mat* source, cv::Mat* destination) {
    current_ = number;
    source_.Set(source);
    destination_.Set(destination);
  }

  int32_t CurrentTime() override { return current_; }
  int32_t TotalTime() override { return total_; }
  int32_t FrameRate(int64_t* numerator, int64_t* denominator) override;
  KAZImage* Image(int32_t index) override { return index == 0 ? &destination_ : nullptr; }
  int32_t RenderParamValue(const char* name, int32_t kind, KAZHostValue* value) override;
  KAZImage* SourceImage() override { return &source_; }
  int32_t ParamValue(const char* name, int32_t kind, KAZHostValue* value) override;

 private:
  int32_t current_ = 0;
  int32_t total_ = 0;
  Rational rate_{25, 1};
  const std::map<std::string, ParamSetting>* params_ = nullptr;
  KAZAiDataReceiver* receiver_ = nullptr;
  HostImage source_, destination_;
};

// The host kind a setting of this kind is handed over as.
int32_t HostKind(ParamKind kind);

}  // namespace kazfx
