// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "framework/filter_info.h"

namespace vorta {

// The process-wide registry of effect descriptions by GUID, in the order they were added. It is
// also the cache that filter creation takes descriptions from. The mutex is held only for one
// lookup or insertion.
class EffectRegistry {
 public:
  static EffectRegistry& Instance();

  FilterInfoPtr Find(const std::string& guid) const;
  // Adds the information unless its GUID is already registered; true when it was added.
  bool Add(const FilterInfoPtr& info);
  size_t Count() const;
  // Null when the index is out of range.
  FilterInfoPtr At(size_t index) const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, FilterInfoPtr> byGuid_;
  std::vector<FilterInfoPtr> inOrder_;
};

}  // namespace vorta
