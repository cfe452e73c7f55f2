// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "framework/effect_filter.h"

namespace vorta {

using FilterMaker = NLEEffectFilter* (*)(FilterInfoPtr info);

struct FilterClassRow {
  const char* guid;
  FilterMaker make;
};

template <class Effect>
NLEEffectFilter* MakeFilter(FilterInfoPtr info) {
  return new Effect(std::move(info));
}

// What CreateFilter answers when asked (create false) about a supported GUID: not a filter,
// only ever compared with null.
inline NLEEffectFilter* SupportedMarker() { return reinterpret_cast<NLEEffectFilter*>(1); }

// The effect classes compiled into the plug-in, in the order GUIDs are compared. The effects
// package owns it (effects/effect_table.cpp).
const std::vector<FilterClassRow>& FilterClassTable();

// With create true: a new filter of the class registered for the information's GUID (compared
// exactly), owned by the caller. With create false: SupportedMarker() for a known GUID, and no
// filter is made. Null for a null information, an unknown GUID or a failed allocation.
NLEEffectFilter* CreateFilter(FilterInfoPtr info, bool create);
NLEEffectFilter* CreateFilterFromTable(const std::vector<FilterClassRow>& table, FilterInfoPtr info,
                                       bool create);

}  // namespace vorta

// In an effect's source file: the function its row in the effects table makes it with.
#define KAZ_EFFECT_MAKER(Class)                                    \
  vorta::NLEEffectFilter* Make##Class(vorta::FilterInfoPtr info) { \
    return new Class(std::move(info));                             \
  }
