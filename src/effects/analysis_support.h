// SPDX-License-Identifier: MIT
// What the analysis effects (face info, pose) share: the process-wide module, the receiver the
// host lends, the picture handed back unchanged.
#pragma once

#include <memory>
#include <string>

#include "framework/effect_filter.h"
#include "framework/shared_ai_objects.h"

namespace vorta {

// The receiver lent under "ObjectAiDataTransferPtr", or null when none is lent.
KAZAiDataReceiver* LentReceiver(const NLEAIEffectFilter& filter);

// The directories an analysis filter is made with, handed to its module when it is created.
struct AnalysisPaths {
  explicit AnalysisPaths(const NLEFilterInfo* info);
  std::string resourceDir, cloudResourceDir, modelDir;
};

// An analysis effect: the result of its last frame is held for the host to ask for.
class AnalysisEffect : public NLEAIEffectFilter {
 public:
  explicit AnalysisEffect(FilterInfoPtr info) : NLEAIEffectFilter(info), paths_(info.get()) {}
  int32_t GetAIResData(std::shared_ptr<AIDATA::BaseAIDATA>* result) override {
    if (result == nullptr) return 1;
    *result = held_;
    return 0;
  }

 protected:
  AnalysisPaths paths_;
  std::shared_ptr<AIDATA::BaseAIDATA> held_;
};

// The module wrapper every filter of `group` shares, made on first use; null while it cannot be
// created (each call tries again).
template <class Module>
std::shared_ptr<Module> SharedModule(const AnalysisPaths& paths, const char* family,
                                     const char* group);

}  // namespace vorta
