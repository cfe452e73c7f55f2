// SPDX-License-Identifier: MIT
#include "framework/effect_registry.h"

namespace vorta {

EffectRegistry& EffectRegistry::Instance() {
  static EffectRegistry registry;
  return registry;
}

FilterInfoPtr EffectRegistry::Find(const std::string& guid) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = byGuid_.find(guid);
  return it == byGuid_.end() ? nullptr : it->second;
}

bool EffectRegistry::Add(const FilterInfoPtr& info) {
  if (!info) return false;
  std::lock_guard<std::mutex> lock(mutex_);
  if (!byGuid_.emplace(info->guid, info).second) return false;
  inOrder_.push_back(info);
  return true;
}

size_t EffectRegistry::Count() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return inOrder_.size();
}

FilterInfoPtr EffectRegistry::At(size_t index) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return index < inOrder_.size() ? inOrder_[index] : nullptr;
}

}  // namespace vorta
