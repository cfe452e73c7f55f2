// SPDX-License-Identifier: MIT
#include "framework/filter_params.h"

#include <limits>
#include <sstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "framework/filter_info.h"

namespace vorta {

int32_t UiTypeFromText(const std::string& text) {
  static const struct {
    const char* text;
    int32_t code;
  } kTable[] = {
      {"Color", kUiColor},           {"CheckBox", kUiCheckBox},
      {"9Palaces", kUi9Palaces},     {"NoShow", kUiNoShow},
      {"ListMask", kUiListMask},     {"GradientColor", kUiGradientColor},
      {"ListMosaic", kUiListMosaic}, {"ColorStart", kUiColorStart},
      {"ColorEnd", kUiColorEnd},     {"Mult100", kUiMult100},
  };
  for (const auto& row : kTable) {
    if (text == row.text) return row.code;
  }
  return kUiNone;
}

void NLEFilterParams::SetValue(const NLEParamValue& value) {
  value_ = value;
  if (kind_ != kKindString) return;
  std::string text = ValueText(value);
  const size_t at = text.find("file:/");
  if (at != std::string::npos) text.erase(at, 6);
  value_.text = text;
  SetPayloadText(value_, text);
}

namespace {

using nlohmann::json;

template <typename T>
T CheckedNumber(const json& value, const char* key) {
  if (value.is_number()) {
    // Compared as doubles, which hold both limits of int32 and float exactly.
    const double v = value.get<double>();
    constexpr T lowest = std::numeric_limits<T>::lowest(), highest = std::numeric_limits<T>::max();
    if (!(v >= static_cast<double>(lowest) && v <= static_cast<double>(highest))) {
      std::ostringstream why;
      why << '"' << key << "\" must be a number from " << lowest << " to " << highest;
      throw std::invalid_argument(why.str());
    }
  }
  return value.get<T>();
}

// A missing key reads as null, so "TYPE" absent fails as "type must be string, but is null".
const json& Field(const json& entry, const char* key) {
  static const json kNull;
  auto it = entry.find(key);
  return it == entry.end() ? kNull : *it;
}

uint32_t KindFromTypeText(const std::string& type) {
  if (type == "float") return kKindFloat;
  if (type == "double") return kKindDouble;
  if (type == "int" || type == "point") return kKindInt;
  if (type == "string") return kKindString;
  return 0;
}

// Absent bounds and defaults read as zero of the kind.
NLEParamValue NumberOfKind(const json& entry, const char* key, uint32_t kind) {
  const json& field = Field(entry, key);
  const bool present = !field.is_null();
  switch (kind) {
    case kKindFloat:
      return MakeFloatValue(present ? CheckedNumber<float>(field, key) : 0.0f);
    case kKindDouble:
      return MakeDoubleValue(present ? field.get<double>() : 0.0);
    default:
      return MakeIntValue(present ? CheckedNumber<int32_t>(field, key) : 0);
  }
}

}  // namespace

int32_t Int32Field(const json& value, const char* key) {
  return CheckedNumber<int32_t>(value, key);
}

void ReadParams(const json& params, NLEFilterInfo& info) {
  if (!params.is_array()) {
    throw std::invalid_argument("\"PARAMS\" must be an array, but is " +
                                std::string(params.type_name()));
  }
  for (const json& entry : params) {
    if (!entry.is_object()) {
      throw std::invalid_argument("a \"PARAMS\" entry must be an object, but is " +
                                  std::string(entry.type_name()));
    }
    std::string name;
    if (entry.contains("NAME")) name = entry["NAME"].get<std::string>();
    std::string alias = name;
    if (entry.contains("ALIAS")) alias = entry["ALIAS"].get<std::string>();

    const uint32_t kind = KindFromTypeText(Field(entry, "TYPE").get<std::string>());
    if (kind == 0) continue;

    NLEParamValue min, max, def;
    if (kind == kKindString) {
      min = max = def = MakeTextValue("");
    } else {
      min = NumberOfKind(entry, "MIN", kind);
      max = NumberOfKind(entry, "MAX", kind);
      def = NumberOfKind(entry, "DEFAULT", kind);
    }
    int32_t uiType = kUiNone;
    if (entry.contains("UIType")) uiType = UiTypeFromText(entry["UIType"].get<std::string>());

    auto set = std::make_shared<NLEFilterParams>();
    set->SetUiType(uiType);
    set->SetAlias(alias);
    set->SetName(name);
    set->SetKind(kind);
    set->SetRange(min, max);
    set->SetDefault(def);
    set->SetValue(def);
    info.AddParam(std::move(set));
  }
}

}  // namespace vorta
