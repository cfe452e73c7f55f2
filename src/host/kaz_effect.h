// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "framework/effect_filter.h"
#include "kaz/host_framework.h"

namespace vorta {

// The host kind a parameter of `kind` is asked for (bool 7, double 6, float 5, 4 as 4, int 3,
// text 8, pointer 9); 0 for kinds without one.
int32_t HostKindForParamKind(uint32_t kind);

// Turns a host value into a parameter value by the value's own kind. False, and `out`
// untouched, for kinds that have no parameter kind (4 and unknown ones).
bool ConvertHostValue(const KAZHostValue& in, NLEParamValue* out, uint32_t* kind);

// The framework effect the host creates: owns one filter and feeds it the host's time,
// parameters and images.
class KAZAiFilterEffect : public KAZEffect {
 public:
  explicit KAZAiFilterEffect(FilterInfoPtr info) : info_(std::move(info)) {}
  // Without a filter the effect is inert: Update and Render do nothing.
  void AttachFilter(std::shared_ptr<NLEEffectFilter> filter) { filter_ = std::move(filter); }
  NLEEffectFilter* Filter() const { return filter_.get(); }

  int32_t Update(KAZRenderContext* context) override;
  int32_t Render(KAZRenderContext* context) override;

 private:
  std::shared_ptr<NLEEffectFilter> filter_;
  FilterInfoPtr info_;
};

}  // namespace vorta
