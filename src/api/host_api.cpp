// SPDX-License-Identifier: MIT
// The host plug-in family: start-up, effect registration with parameter declarations, framework
// effects, shut-down.
#include <cstring>
#include <string>

#include "api/guard.h"
#include "api/log.h"
#include "api/suites.h"
#include "framework/effect_registry.h"
#include "framework/registry.h"
#include "framework/shared_ai_objects.h"
#include "host/kaz_effect.h"
#include "kaz/host_framework.h"

using kaz::Guarded;
using vorta::FilterInfoPtr;

namespace {

constexpr int32_t kFailed = 2;

// Registration lines go to the host's own log when it has one.
void HostLog(int level, const char* format, const char* a, const char* b = "") {
  if (KAZHostUtilSuite* util = kaz::Suites().util) {
    util->Log(level, format, a, b);
  } else {
    kaz::Log(level, format, a, b);
  }
}

// Texts handed to the registrar are cut to the host's 128-byte fields.
struct Text128 {
  explicit Text128(const std::string& text) {
    std::strncpy(bytes, text.c_str(), sizeof bytes - 1);
    bytes[sizeof bytes - 1] = '\0';
  }
  char bytes[128] = {};
};

template <typename T>
T As(const NLEParamValue& value) {
  return vorta::PayloadAs<T>(value);
}

void DeclareParameter(KAZEffectRegistrar* r, int32_t index, const vorta::NLEFilterParams& set) {
  const int32_t ui = set.UiType();
  const int32_t visibility = ui == vorta::kUiNoShow ? kKAZParamHidden : kKAZParamVisible;
  const char* name = set.Name().c_str();
  const NLEParamValue &min = set.Min(), &max = set.Max(), &def = set.Default();
  switch (set.Kind()) {
    case vorta::kKindDouble:
      r->DeclareDouble(-1, index, name, As<double>(min), As<double>(max), As<double>(def),
                       visibility);
      return;
    case vorta::kKindFloat:
      if (ui == vorta::kUiMult100) {
        r->DeclareMult100Float(-1, index, name, As<float>(min), As<float>(max), As<float>(def),
                               visibility);
      } else {
        r->DeclareFloat(-1, index, name, As<float>(min), As<float>(max), As<float>(def),
                        visibility);
      }
      return;
    case vorta::kKindString: {
      const std::string lo = vorta::ValueText(min), hi = vorta::ValueText(max),
                        d = vorta::ValueText(def);
      if (ui == vorta::kUiListMask) {
        r->DeclareListMask(-1, index, name, lo.c_str(), hi.c_str(), d.c_str(), visibility);
      } else {
        r->DeclareString(-1, index, name, lo.c_str(), hi.c_str(), d.c_str(), visibility);
      }
      return;
    }
    case vorta::kKindInt: {
      const int32_t lo = As<int32_t>(min), hi = As<int32_t>(max), d = As<int32_t>(def);
      switch (ui) {
        case vorta::kUiNone:
        case vorta::kUiNoShow:
          r->DeclareInt(-1, index, name, lo, hi, d, visibility);
          return;
        case vorta::kUiColor:
          r->DeclareColor(-1, index, name, lo, hi, d, visibility);
          return;
        case vorta::kUiCheckBox:
          r->DeclareCheckBox(-1, index, name, lo, hi, d, visibility);
          return;
        case vorta::kUi9Palaces:
          r->Declare9Palaces(-1, index, name, lo, hi, d, visibility);
          return;
        case vorta::kUiListMosaic:
          r->DeclareListMosaic(-1, index, name, lo, hi, d, visibility);
          return;
        case vorta::kUiColorStart:
          r->DeclareColorStart(-1, index, name, lo, hi, d, visibility);
          return;
        case vorta::kUiColorEnd:
          r->DeclareColorEnd(-1, index, name, lo, hi, d, visibility);
          return;
        default:
          break;
      }
      break;
    }
    default:
      break;
  }
  // The host has no control for this combination; the effect keeps the parameter's default.
  kaz::Log(kaz::kLogError, "parameter %s of kind %u with interface type %d is not declared\n", name,
           set.Kind(), ui);
}

bool DescribeEffect(const FilterInfoPtr& info, KAZEffectRegistrar* registrar) {
  if (!info || vorta::CreateFilter(info, false) == nullptr) return false;
  vorta::EffectRegistry::Instance().Add(info);

  registrar->SetIdentity(Text128(info->guid).bytes, Text128(info->name).bytes);
  int32_t flags = info->transition ? kKAZEffectFlagsTransition : kKAZEffectFlagsOrdinary;
  if (info->dynamic != 0) flags += kKAZEffectFlagDynamic;
  registrar->SetFlags(flags);
  registrar->SetReserved(0);

  if (KAZHostUtilSuite* util = kaz::Suites().util) {
    info->SetCloudResourceDir(
        kaz::HostPath(util, KAZHostUtilSuite::kCloudResources, "cloud_resources"));
    info->SetResourceDir(kaz::HostPath(util, KAZHostUtilSuite::kResources, "resources"));
  }
  const int32_t count = info->ParamCount();
  for (int32_t i = 0; i < count; ++i) {
    if (auto set = info->ParamAt(i)) DeclareParameter(registrar, i, *set);
  }
  HostLog(kaz::kLogInfo, "Register AI Effect Success: %s %s", info->guid.c_str(),
          info->name.c_str());
  return true;
}

const char kPluginName[] = "Ai Filter";
const char kPluginIdentifier[] = "com.maplethorne";
const char kPluginDescription[] = "Ai Filter Desc";

}  // namespace

extern "C" {

KAZ_EXPORT int32_t StartupKAZ(KAZHost* host, KAZPluginInfo* info) {
  return Guarded<int32_t>(__func__, kFailed, [&]() -> int32_t {
    kaz::SuiteRecord& suites = kaz::Suites();
    if (host != nullptr) {
      void* suite = nullptr;
      suites.memory = host->AcquireSuite("Memory Allocator Suite", 1, &suite) == 0
                          ? static_cast<KAZMemoryAllocatorSuite*>(suite)
                          : nullptr;
      suite = nullptr;
      suites.imageBuffers = host->AcquireSuite("Image Buffer ALlocator Suite", 1, &suite) == 0
                                ? static_cast<KAZImageBufferAllocatorSuite*>(suite)
                                : nullptr;
      suite = nullptr;
      suites.util = host->AcquireSuite("Host Util Suite", 1, &suite) == 0
                        ? static_cast<KAZHostUtilSuite*>(suite)
                        : nullptr;
    }
    if (suites.util != nullptr) {
      const std::string folder =
          kaz::HostPath(suites.util, KAZHostUtilSuite::kResources, "resources") + kKAZEffectFolder;
      std::vector<FilterInfoPtr> found;
      vorta::ScanEffectDirectory(folder, found, false);
      for (const FilterInfoPtr& effect : found) vorta::EffectRegistry::Instance().Add(effect);
    }
    if (info != nullptr) {
      info->interfaceVersion = 1;
      info->pluginVersion = 1;
      info->name = kPluginName;
      info->identifier = kPluginIdentifier;
      info->description = kPluginDescription;
      info->reserved = "";
      info->effectCount = static_cast<int32_t>(vorta::EffectRegistry::Instance().Count());
    }
    return host == nullptr ? kFailed : 0;
  });
}

KAZ_EXPORT int32_t RegisterKAZEffect(int32_t index, KAZEffectRegistrar* registrar) {
  if (index < 0 || registrar == nullptr) return kFailed;
  return Guarded<int32_t>(__func__, kFailed, [&]() -> int32_t {
    vorta::SharedAiObjects::ReleaseAll();
    FilterInfoPtr info = vorta::EffectRegistry::Instance().At(static_cast<size_t>(index));
    if (!info) {
      const std::string which = "#" + std::to_string(index);
      HostLog(kaz::kLogError, "Register AI Effect Failed: %s", which.c_str());
      return kFailed;
    }
    if (!DescribeEffect(info, registrar)) {
      HostLog(kaz::kLogError, "Register AI Effect Failed: %s", info->guid.c_str());
      return kFailed;
    }
    return 0;
  });
}

KAZ_EXPORT int32_t RegisterKAZEffectFromConfPath(const char* path, KAZEffectRegistrar* registrar) {
  if (path == nullptr || registrar == nullptr) return kFailed;
  return Guarded<int32_t>(__func__, kFailed, [&]() -> int32_t {
    std::vector<FilterInfoPtr> found;
    vorta::ScanEffectDirectory(path, found, false);
    if (found.empty()) return kFailed;
    if (!DescribeEffect(found.front(), registrar)) {
      HostLog(kaz::kLogError, "Register AI Effect Failed: %s", path);
      return kFailed;
    }
    return 0;
  });
}

KAZ_EXPORT int32_t CreateKAZEffect(const char* guid, int32_t mode, KAZEffect** effect) {
  if (mode != 0 || guid == nullptr || effect == nullptr) return kFailed;
  return Guarded<int32_t>(__func__, kFailed, [&]() -> int32_t {
    FilterInfoPtr info = vorta::EffectRegistry::Instance().Find(guid);
    if (!info) {
      HostLog(kaz::kLogError, "Create AI Effect Failed: %s", guid);
      return kFailed;
    }
    auto made = std::make_unique<vorta::KAZAiFilterEffect>(info);
    made->AttachFilter(std::shared_ptr<vorta::NLEEffectFilter>(vorta::CreateFilter(info, true)));
    *effect = made.release();
    HostLog(kaz::kLogInfo, "Create AI Effect Success: %s", guid);
    return 0;
  });
}

KAZ_EXPORT int32_t ReleaseKAZEffect(KAZEffect* effect) {
  return Guarded<int32_t>(__func__, 0, [&] {
    delete dynamic_cast<vorta::KAZAiFilterEffect*>(effect);
    return 0;
  });
}

KAZ_EXPORT int32_t ShutdownKAZ() {
  return Guarded<int32_t>(__func__, kFailed, [] {
    vorta::SharedAiObjects::ReleaseAll();
    // The host may tear its suites down after this; a later StartupKAZ acquires them again.
    kaz::Suites() = kaz::SuiteRecord();
    return 0;
  });
}

}  // extern "C"
