// SPDX-License-Identifier: MIT
#include "framework/registry.h"

#include <new>

namespace vorta {

NLEEffectFilter* CreateFilterFromTable(const std::vector<FilterClassRow>& table, FilterInfoPtr info,
                                       bool create) {
  if (!info) return nullptr;
  const std::string guid = info->guid.substr(0, 511);
  for (const FilterClassRow& row : table) {
    if (guid != row.guid) continue;
    if (!create) return SupportedMarker();
    try {
      return row.make(std::move(info));
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }
  return nullptr;
}

NLEEffectFilter* CreateFilter(FilterInfoPtr info, bool create) {
  return CreateFilterFromTable(FilterClassTable(), std::move(info), create);
}

}  // namespace vorta
