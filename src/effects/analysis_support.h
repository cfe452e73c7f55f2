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

// The module wrapper every filter of `group` shares, made on first use; null while it cannot be
// created (each call tries again).
template <class Module>
std::shared_ptr<Module> SharedModule(const AnalysisPaths& paths, const char* family,
                                     const char* group);

}  // namespace vorta
