// SPDX-License-Identifier: MIT
#include "effects/analysis_support.h"

#include "ai/landmark_modules.h"
#include "effects/effect_support.h"

namespace vorta {

KAZAiDataReceiver* LentReceiver(const NLEAIEffectFilter& filter) {
  void* lent = filter.AiDataTransferPointer();
  return lent == nullptr ? nullptr : static_cast<AIDATA::BaseAIDATA*>(lent)->AsReceiver();
}

AnalysisPaths::AnalysisPaths(const NLEFilterInfo* info)
    : resourceDir(info ? info->ResourceDir() : std::string()),
      cloudResourceDir(info ? info->CloudResourceDir() : std::string()),
      modelDir(ModelDirectory(info)) {}

template <class Module>
std::shared_ptr<Module> SharedModule(const AnalysisPaths& paths, const char* family,
                                     const char* group) {
  return SharedAiObjects::GetOrCreate<Module>({family, 0, group}, [&]() -> std::shared_ptr<Module> {
    auto made = std::make_shared<Module>(paths.resourceDir, paths.cloudResourceDir, paths.modelDir);
    // An invalid one is dropped, so the next frame tries again.
    return made->Valid() ? made : nullptr;
  });
}

template std::shared_ptr<QuorinHumanFaceInfo> SharedModule(const AnalysisPaths&, const char*,
                                                           const char*);
template std::shared_ptr<QuorinHumanPose> SharedModule(const AnalysisPaths&, const char*,
                                                       const char*);

}  // namespace vorta
