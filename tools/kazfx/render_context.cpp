// SPDX-License-Identifier: MIT
#include "render_context.h"

#include <cstring>

namespace kazfx {

int32_t HostKind(ParamKind kind) {
  switch (kind) {
    case ParamKind::kFloat:
      return KAZHostValue::kFloat;
    case ParamKind::kDouble:
      return KAZHostValue::kDouble;
    case ParamKind::kInt:
      return KAZHostValue::kInt32;
    case ParamKind::kString:
      return KAZHostValue::kString;
  }
  return 0;
}

int32_t RenderContext::FrameRate(int64_t* numerator, int64_t* denominator) {
  if (numerator == nullptr || denominator == nullptr) return 1;
  *numerator = rate_.numerator;
  *denominator = rate_.denominator;
  return 0;
}

void MaskReceiver::ReceiveGrayImage(const unsigned char* pixels, int32_t width, int32_t height,
                                    int32_t stride) {
  if (pixels == nullptr || width < 1 || height < 1 || stride < width * 4) return;
  // All four bytes of a pixel hold the mask; the data lives only during this call.
  const cv::Mat grey(height, width, CV_8UC4, const_cast<unsigned char*>(pixels),
                     static_cast<size_t>(stride));
  cv::extractChannel(grey, mask_, 0);
}

int32_t RenderContext::RenderParamValue(const char* name, int32_t kind, KAZHostValue* value) {
  if (receiver_ == nullptr || name == nullptr || value == nullptr ||
      kind != KAZHostValue::kPointer || std::strcmp(name, kKAZAiDataTransferName) != 0) {
    return 1;
  }
  value->kind = KAZHostValue::kPointer;
  value->ptr = static_cast<AIDATA::BaseAIDATA*>(receiver_);
  return 0;
}

int32_t RenderContext::ParamValue(const char* name, int32_t kind, KAZHostValue* value) {
  if (params_ == nullptr || name == nullptr || value == nullptr) return 1;
  const auto it = params_->find(name);
  if (it == params_->end() || HostKind(it->second.kind) != kind) return 1;
  const ParamSetting& setting = it->second;
  value->kind = kind;
  switch (setting.kind) {
    case ParamKind::kFloat:
      value->f32 = setting.f32;
      break;
    case ParamKind::kDouble:
      value->f64 = setting.f64;
      break;
    case ParamKind::kInt:
      value->i32 = setting.i32;
      break;
    case ParamKind::kString:
      value->text = setting.text.c_str();
      break;
  }
  return 0;
}

}  // namespace kazfx
