// SPDX-License-Identifier: MIT
#include "framework/param_value.h"

#include <algorithm>

namespace vorta {

void SetPayloadText(NLEParamValue& value, const std::string& text) {
  const size_t n = std::min(text.size(), sizeof(value.payload) - 1);
  std::memcpy(value.payload, text.data(), n);
  std::memset(value.payload + n, 0, sizeof(value.payload) - n);
}

NLEParamValue MakeTextValue(const std::string& text) {
  NLEParamValue value;
  SetPayloadText(value, text);
  value.text = text;
  value.type = kKindString;
  return value;
}

std::string ValueText(const NLEParamValue& value) {
  if (!value.text.empty()) return value.text;
  const auto* p = reinterpret_cast<const char*>(value.payload);
  return std::string(p, strnlen(p, sizeof(value.payload)));
}

}  // namespace vorta
