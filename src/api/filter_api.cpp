// SPDX-License-Identifier: MIT
#include "kaz/filter_api.h"

#include <cstring>

#include "api/guard.h"
#include "api/log.h"
#include "api/suites.h"
#include "framework/effect_registry.h"
#include "framework/frame_check.h"
#include "framework/registry.h"

using kaz::Guarded;
using vorta::NLEEffectFilter;

namespace {

constexpr int32_t kFailed = 1;

bool FramesUsable(const char* function, unsigned char* dst, int32_t dstWidth, int32_t dstHeight,
                  int32_t dstStride, unsigned char* aux, int32_t auxWidth, int32_t auxHeight,
                  int32_t auxStride, const unsigned char* src, int32_t srcWidth, int32_t srcHeight,
                  int32_t srcStride, int32_t dstChannels, int32_t auxChannels,
                  int32_t srcChannels) {
  const char* why = vorta::CheckFrameArgs(
      {dst, dstWidth, dstHeight, dstStride}, {aux, auxWidth, auxHeight, auxStride},
      {src, srcWidth, srcHeight, srcStride}, dstChannels, auxChannels, srcChannels);
  if (why == nullptr) return true;
  kaz::Log(kaz::kLogError, "%s: frame rejected: %s\n", function, why);
  return false;
}

}  // namespace

extern "C" {

KAZ_EXPORT NLEEffectFilter* CreateNLEAIEffectFilterFromGUID(const char* guid,
                                                            const char* resourceDir) {
  return Guarded<NLEEffectFilter*>(__func__, nullptr, [&]() -> NLEEffectFilter* {
    if (guid == nullptr) {
      kaz::Log(kaz::kLogError, "CreateNLEAIEffectFilterFromGUID: null GUID\n");
      return nullptr;
    }
    vorta::FilterInfoPtr info = vorta::EffectRegistry::Instance().Find(guid);
    if (!info) {
      // Not cached: a description of its own that holds only the GUID.
      info = std::make_shared<vorta::NLEFilterInfo>();
      info->guid = guid;
    }
    KAZHostUtilSuite* util = kaz::Suites().util;
    if (resourceDir != nullptr) {
      info->SetResourceDir(resourceDir);
    } else if (util != nullptr) {
      info->SetResourceDir(kaz::HostPath(util, KAZHostUtilSuite::kResources, "resources"));
    }
    if (util != nullptr)
      info->SetCloudResourceDir(
          kaz::HostPath(util, KAZHostUtilSuite::kCloudResources, "cloud_resources"));
    return vorta::CreateFilter(std::move(info), true);
  });
}

KAZ_EXPORT void DeleteNLEAIEffectFilter(NLEEffectFilter** filter) {
  if (filter == nullptr || *filter == nullptr) return;
  Guarded<int>(__func__, 0, [&] {
    delete *filter;
    return 0;
  });
  *filter = nullptr;
}

KAZ_EXPORT int32_t NLEEffectFilterSetParameter(NLEEffectFilter* f, const char* name, uint32_t kind,
                                               NLEParamValue value) {
  if (f == nullptr) return kFailed;
  return Guarded<int32_t>(__func__, kFailed,
                          [&] { return f->SetParameter(name, kind, std::move(value)); });
}

KAZ_EXPORT int32_t NLEEffectFilterGetParameter(NLEEffectFilter* f, const char* name, uint32_t* kind,
                                               NLEParamValue* value) {
  if (f == nullptr) return kFailed;
  return Guarded<int32_t>(__func__, kFailed, [&] { return f->GetParameter(name, kind, value); });
}

KAZ_EXPORT int32_t NLEEffectFilterTransform(NLEEffectFilter* f, unsigned char* dst,
                                            int32_t dstWidth, int32_t dstHeight, int32_t dstStride,
                                            unsigned char* aux, int32_t auxWidth, int32_t auxHeight,
                                            int32_t auxStride, const unsigned char* src,
                                            int32_t srcWidth, int32_t srcHeight,
                                            int32_t srcStride) {
  if (f == nullptr) return kFailed;
  const char* const function = __func__;
  return Guarded<int32_t>(function, kFailed, [&] {
    if (!FramesUsable(function, dst, dstWidth, dstHeight, dstStride, aux, auxWidth, auxHeight,
                      auxStride, src, srcWidth, srcHeight, srcStride, 4, 4, 4)) {
      return kFailed;
    }
    return f->Transform(dst, dstWidth, dstHeight, dstStride, aux, auxWidth, auxHeight, auxStride,
                        src, srcWidth, srcHeight, srcStride);
  });
}

KAZ_EXPORT int32_t NLEEffectFilterTransformChannels(
    NLEEffectFilter* f, unsigned char* dst, int32_t dstWidth, int32_t dstHeight, int32_t dstStride,
    unsigned char* aux, int32_t auxWidth, int32_t auxHeight, int32_t auxStride,
    const unsigned char* src, int32_t srcWidth, int32_t srcHeight, int32_t srcStride,
    int32_t dstChannels, int32_t auxChannels, int32_t srcChannels) {
  if (f == nullptr) return kFailed;
  const char* const function = __func__;
  return Guarded<int32_t>(function, kFailed, [&] {
    if (!FramesUsable(function, dst, dstWidth, dstHeight, dstStride, aux, auxWidth, auxHeight,
                      auxStride, src, srcWidth, srcHeight, srcStride, dstChannels, auxChannels,
                      srcChannels)) {
      return kFailed;
    }
    return f->TransformChannels(dst, dstWidth, dstHeight, dstStride, aux, auxWidth, auxHeight,
                                auxStride, src, srcWidth, srcHeight, srcStride, dstChannels,
                                auxChannels, srcChannels);
  });
}

KAZ_EXPORT int32_t NLEEffectFilterSetTotalTime(NLEEffectFilter* f, int32_t totalTime) {
  if (f == nullptr) return kFailed;
  return Guarded<int32_t>(__func__, kFailed, [&] {
    f->SetTotalTime(totalTime);
    return 0;
  });
}

KAZ_EXPORT int32_t NLEEffectFilterSetCurrentTime(NLEEffectFilter* f, int32_t currentTime) {
  if (f == nullptr) return kFailed;
  return Guarded<int32_t>(__func__, kFailed, [&] {
    f->SetCurrentTime(currentTime);
    return 0;
  });
}

KAZ_EXPORT int32_t NLEEffectFilterSetFrameRate(NLEEffectFilter* f, int64_t numerator,
                                               int64_t denominator) {
  if (f == nullptr) return kFailed;
  return Guarded<int32_t>(__func__, kFailed, [&] {
    f->SetFrameRate(numerator, denominator);
    return 0;
  });
}

KAZ_EXPORT int32_t NLEEffectFilterGetAIResData(NLEEffectFilter* f,
                                               std::shared_ptr<AIDATA::BaseAIDATA>* result) {
  if (f == nullptr) return kFailed;
  return Guarded<int32_t>(__func__, kFailed, [&] {
    auto* ai = dynamic_cast<vorta::NLEAIEffectFilter*>(f);
    return ai ? ai->GetAIResData(result) : kFailed;
  });
}

KAZ_EXPORT const char* NLEEffectFilterGetGUID(NLEEffectFilter* f) {
  return f == nullptr ? "" : f->GetGUID();
}

KAZ_EXPORT void SetNLEAIEffectFilterLogCallback(NLEAIEffectFilterLogCallback callback) {
  kaz::SetLogCallback(callback);
}

}  // extern "C"
