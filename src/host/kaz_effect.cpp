// SPDX-License-Identifier: MIT
#include "host/kaz_effect.h"

#include "api/log.h"
#include "framework/frame_check.h"

namespace vorta {

int32_t HostKindForParamKind(uint32_t kind) {
  switch (kind) {
    case kKindBool:
      return KAZHostValue::kBool;
    case kKindDouble:
      return KAZHostValue::kDouble;
    case kKindFloat:
      return KAZHostValue::kFloat;
    case 4:
      return KAZHostValue::kInt64;
    case kKindInt:
      return KAZHostValue::kInt32;
    case kKindString:
      return KAZHostValue::kString;
    case kKindPointer:
      return KAZHostValue::kPointer;
    default:
      return 0;
  }
}

bool ConvertHostValue(const KAZHostValue& in, NLEParamValue* out, uint32_t* kind) {
  switch (in.kind) {
    case KAZHostValue::kInt32:
      *out = MakeIntValue(in.i32);
      break;
    case KAZHostValue::kFloat:
      *out = MakeFloatValue(in.f32);
      break;
    case KAZHostValue::kDouble:
      *out = MakeDoubleValue(in.f64);
      break;
    case KAZHostValue::kBool:
      *out = MakeBoolValue(in.b);
      break;
    case KAZHostValue::kString:
      // Cut to 511 bytes in the payload, kept whole in the text.
      *out = MakeTextValue(in.text ? in.text : "");
      break;
    case KAZHostValue::kPointer:
      *out = MakePointerValue(in.ptr);
      break;
    default:
      return false;
  }
  *kind = out->type;
  return true;
}

int32_t KAZAiFilterEffect::Update(KAZRenderContext* context) {
  if (!filter_ || context == nullptr) return 0;
  filter_->SetCurrentTime(context->CurrentTime());
  filter_->SetTotalTime(context->TotalTime());
  int64_t numerator = 25, denominator = 1;
  context->FrameRate(&numerator, &denominator);
  filter_->SetFrameRate(numerator, denominator);
  if (!info_) return 0;
  const int32_t count = info_->ParamCount();
  for (int32_t i = 0; i < count; ++i) {
    auto set = info_->ParamAt(i);
    if (!set) continue;
    KAZHostValue hostValue;
    if (context->ParamValue(set->Name().c_str(), HostKindForParamKind(set->Kind()), &hostValue) !=
        0) {
      continue;
    }
    NLEParamValue value;
    uint32_t valueKind = 0;
    if (ConvertHostValue(hostValue, &value, &valueKind)) {
      filter_->SetParameter(set->Name().c_str(), set->Kind(), std::move(value));
    }
  }
  return 0;
}

int32_t KAZAiFilterEffect::Render(KAZRenderContext* context) {
  if (!filter_ || context == nullptr) return 0;
  KAZImage* source = context->SourceImage();
  KAZImage* destination = context->Image(0);
  KAZImage* auxiliary = context->Image(1);

  // The analysis result the host lends for this frame; none clears the previous one.
  KAZHostValue transfer;
  transfer.kind = KAZHostValue::kPointer;
  if (context->RenderParamValue(kAiDataTransferName, KAZHostValue::kPointer, &transfer) != 0 ||
      transfer.kind != KAZHostValue::kPointer) {
    transfer.ptr = nullptr;
  }
  filter_->SetParameter(kAiDataTransferName, kKindPointer, MakePointerValue(transfer.ptr));

  if (source == nullptr || destination == nullptr) {
    kaz::Log(kaz::kLogError, "Render: the host gave no source or destination image\n");
    return 0;
  }
  ImageArg dst{destination->Pixels(), destination->Width(), destination->Height(),
               destination->Stride()};
  ImageArg src{source->Pixels(), source->Width(), source->Height(), source->Stride()};
  ImageArg aux{nullptr, 0, 0, 0};
  if (auxiliary != nullptr) {
    aux = {auxiliary->Pixels(), auxiliary->Width(), auxiliary->Height(), auxiliary->Stride()};
  }
  if (const char* why = CheckFrameArgs(dst, aux, src, 4, 4, 4)) {
    kaz::Log(kaz::kLogError, "Render: frame rejected: %s\n", why);
    return 0;
  }
  filter_->Transform(const_cast<unsigned char*>(dst.data), dst.width, dst.height, dst.stride,
                     const_cast<unsigned char*>(aux.data), aux.width, aux.height, aux.stride,
                     src.data, src.width, src.height, src.stride);
  return 0;
}

}  // namespace vorta
