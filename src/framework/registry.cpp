// SPDX-License-Identifier: MIT
#include "framework/registry.h"

#include <new>

#include "effects/human_segmentation.h"
#include "effects/human_segmentation_capture_blur.h"

namespace vorta {

const std::vector<FilterClassRow>& FilterClassTable() {
  // One row per effect class; a GUID without a row is reported as unsupported.
  static const std::vector<FilterClassRow> table = {
      {"974A1C95-921E-4D28-89D5-23B7B249589A", &MakeFilter<CHumanSegmentation>},
      {"2193B116-1AD4-49F4-84A1-FFA3CB983A94", &MakeFilter<CHumanSegmentationEffect>},
      {"D4BFB781-5506-494C-B9AB-738D79814B60", &MakeFilter<CHumanSegmentationHighAccMask>},
      {"EE6BC05B-DD9B-4154-9E03-00740D1CA060", &MakeFilter<CHumanSegmentationHair>},
      {"7208B311-D2F9-456D-B556-CFA222B130B7", &MakeFilter<CHumanSegmentationCapture>},
      {"1AEA14C6-59BC-491F-A1D1-EB02009706B7", &MakeFilter<CHumanSegmentationCaptureBlur>},
  };
  return table;
}

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
