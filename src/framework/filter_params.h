// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "framework/param_value.h"

namespace vorta {

class NLEFilterInfo;

// User-interface type codes of a parameter; the gaps are part of the host's numbering.
enum UiType : int32_t {
  kUiNone = 0,
  kUiColor = 1,
  kUiCheckBox = 2,
  kUi9Palaces = 3,
  kUiNoShow = 9,
  kUiListMask = 13,
  kUiGradientColor = 14,
  kUiListMosaic = 21,
  kUiColorStart = 22,
  kUiColorEnd = 23,
  kUiMult100 = 25,
};

// Maps a "UIType" text (compared exactly) to its code; unknown texts give 0.
int32_t UiTypeFromText(const std::string& text);

// One parameter's description and current value.
class NLEFilterParams {
 public:
  const std::string& Alias() const { return alias_; }
  const std::string& Name() const { return name_; }
  uint32_t Kind() const { return kind_; }
  int32_t UiType() const { return uiType_; }
  const NLEParamValue& Min() const { return min_; }
  const NLEParamValue& Max() const { return max_; }
  const NLEParamValue& Default() const { return default_; }
  const NLEParamValue& Value() const { return value_; }

  void SetAlias(std::string alias) { alias_ = std::move(alias); }
  void SetName(std::string name) { name_ = std::move(name); }
  void SetKind(uint32_t kind) { kind_ = kind; }
  void SetUiType(int32_t uiType) { uiType_ = uiType; }
  void SetRange(const NLEParamValue& min, const NLEParamValue& max) {
    min_ = min;
    max_ = max;
  }
  void SetDefault(const NLEParamValue& value) { default_ = value; }
  // Copies payload, text and tag. For a text parameter the first "file:/" is removed, so a
  // host's file URL arrives as a plain path.
  void SetValue(const NLEParamValue& value);

  // A deep copy; filters keep private copies so that a value set on one never shows in another.
  std::shared_ptr<NLEFilterParams> Copy() const { return std::make_shared<NLEFilterParams>(*this); }

 private:
  std::string alias_;
  std::string name_;
  uint32_t kind_ = 0;
  int32_t uiType_ = kUiNone;
  NLEParamValue min_, max_, default_, value_;
};

// A description's whole number. One an int32 cannot hold throws std::invalid_argument naming
// `key` (converting it would be undefined); a non-number throws nlohmann::json's type error.
int32_t Int32Field(const nlohmann::json& value, const char* key);

// Appends one parameter set to `info` for each accepted entry of a "PARAMS" array, in order.
// Entries whose "TYPE" is not float, double, int, point or string are dropped. Type errors in an
// entry throw nlohmann::json's exceptions; the description reader decides what becomes of them.
void ReadParams(const nlohmann::json& params, NLEFilterInfo& info);

}  // namespace vorta
