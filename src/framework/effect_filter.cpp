// SPDX-License-Identifier: MIT
#include "framework/effect_filter.h"

#include <algorithm>
#include <cstring>

namespace vorta {

NLEEffectFilter::NLEEffectFilter(FilterInfoPtr info) {
  if (!info) return;
  const int32_t count = info->ParamCount();
  for (int32_t i = 0; i < count; ++i) {
    if (auto set = info->ParamAt(i)) params_[set->Name()] = set->Copy();
  }
  guid_ = info->guid;
}

NLEEffectFilter::~NLEEffectFilter() = default;

int32_t NLEEffectFilter::SetParameter(const char* name, uint32_t kind, NLEParamValue value) {
  if (name == nullptr) return 1;
  auto& set = params_[name];
  if (!set) {
    set = std::make_shared<NLEFilterParams>();
    set->SetKind(kind);
    set->SetAlias(name);
    set->SetName(name);
  }
  set->SetValue(value);
  return 0;
}

int32_t NLEEffectFilter::GetParameter(const char* name, uint32_t* kind, NLEParamValue* value) {
  if (name == nullptr) return 1;
  auto it = params_.find(name);
  if (it == params_.end()) return 1;
  if (kind) *kind = it->second->Kind();
  if (value) *value = it->second->Value();
  return 0;
}

int32_t NLEEffectFilter::TransformChannels(unsigned char* dst, int32_t dstWidth, int32_t dstHeight,
                                           int32_t dstStride, unsigned char* aux, int32_t auxWidth,
                                           int32_t auxHeight, int32_t auxStride,
                                           const unsigned char* src, int32_t srcWidth,
                                           int32_t srcHeight, int32_t srcStride,
                                           int32_t dstChannels, int32_t auxChannels,
                                           int32_t srcChannels) {
  if (dstChannels != 4 || auxChannels != 4 || srcChannels != 4) return 1;
  return Transform(dst, dstWidth, dstHeight, dstStride, aux, auxWidth, auxHeight, auxStride, src,
                   srcWidth, srcHeight, srcStride);
}

int32_t NLEEffectFilter::SetRegion(float x, float y, float w, float h) {
  region_[0] = x;
  region_[1] = y;
  region_[2] = w;
  region_[3] = h;
  return 0;
}

bool NLEEffectFilter::QueryState() { return false; }

void NLEEffectFilter::SetFlags(bool first, bool second) {
  flags_[0] = first;
  flags_[1] = second;
}

int32_t NLEEffectFilter::SetTotalTime(int32_t totalTime) {
  totalTime_ = totalTime;
  return 0;
}

int32_t NLEEffectFilter::SetCurrentTime(int32_t currentTime) {
  currentTime_ = currentTime;
  return 0;
}

int32_t NLEEffectFilter::SetFrameRate(int64_t numerator, int64_t denominator) {
  frameRateNum_ = numerator;
  frameRateDen_ = denominator;
  return 0;
}

bool NLEEffectFilter::GetParameterValue(const char* name, NLEParamValue& value) const {
  if (name == nullptr) return false;
  auto it = params_.find(name);
  if (it == params_.end()) return false;
  value = it->second->Value();
  return true;
}

bool NLEEffectFilter::GetParameterValueSpacedOrUnderscore(const std::string& name,
                                                          NLEParamValue& value) const {
  if (GetParameterValue(name.c_str(), value)) return true;
  std::string underscored = name;
  std::replace(underscored.begin(), underscored.end(), ' ', '_');
  return underscored != name && GetParameterValue(underscored.c_str(), value);
}

NLEAIEffectFilter::NLEAIEffectFilter(FilterInfoPtr info) : NLEEffectFilter(std::move(info)) {}

int32_t NLEAIEffectFilter::SetParameter(const char* name, uint32_t kind, NLEParamValue value) {
  if (name != nullptr && std::strcmp(name, kAiDataTransferName) == 0) {
    if (kind != kKindPointer) return 0;
    aiDataTransfer_ = PayloadAs<void*>(value);
    if (aiDataTransfer_ != nullptr) return 0;
  }
  return NLEEffectFilter::SetParameter(name, kind, std::move(value));
}

int32_t NLEAIEffectFilter::GetParameter(const char* name, uint32_t* kind, NLEParamValue* value) {
  if (name != nullptr && std::strcmp(name, kAiDataTransferName) == 0) {
    if (kind) *kind = kKindPointer;
    if (value) std::memcpy(value->payload, &aiDataTransfer_, sizeof aiDataTransfer_);
    if (aiDataTransfer_ != nullptr) return 0;
  }
  return NLEEffectFilter::GetParameter(name, kind, value);
}

int32_t NLEAIEffectFilter::GetAIResData(std::shared_ptr<AIDATA::BaseAIDATA>*) { return 0; }

}  // namespace vorta
