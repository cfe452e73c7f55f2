// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "kaz/filter_api.h"

namespace vorta {

// Parameter kinds; the same numbers tag values.
enum ParamKind : uint32_t {
  kKindBool = 1,
  kKindDouble = 2,
  kKindFloat = 3,
  kKindInt = 5,
  kKindString = 6,
  kKindPointer = 7,
};

// Payload bytes hold one plain value of the kind; memcpy keeps the reads free of aliasing.
template <typename T>
T PayloadAs(const NLEParamValue& value) {
  static_assert(sizeof(T) <= sizeof(value.payload), "payload too small");
  T out;
  std::memcpy(&out, value.payload, sizeof(T));
  return out;
}

template <typename T>
NLEParamValue MakeValue(uint32_t kind, T plain) {
  NLEParamValue value;
  std::memcpy(value.payload, &plain, sizeof(T));
  value.type = kind;
  return value;
}

inline NLEParamValue MakeBoolValue(bool b) {
  return MakeValue<unsigned char>(kKindBool, b ? 1 : 0);
}
inline NLEParamValue MakeDoubleValue(double d) { return MakeValue(kKindDouble, d); }
inline NLEParamValue MakeFloatValue(float f) { return MakeValue(kKindFloat, f); }
inline NLEParamValue MakeIntValue(int32_t i) { return MakeValue(kKindInt, i); }
inline NLEParamValue MakePointerValue(const void* p) { return MakeValue(kKindPointer, p); }

// Writes text into the payload, cut to 511 bytes and NUL-terminated; the rest is zeroed.
void SetPayloadText(NLEParamValue& value, const std::string& text);
// A text value: the whole text in `text`, at most 511 bytes of it in the payload.
NLEParamValue MakeTextValue(const std::string& text);
// The text of a value: its text field, or the payload's NUL-terminated text when that is empty.
std::string ValueText(const NLEParamValue& value);

}  // namespace vorta
