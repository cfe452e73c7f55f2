// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "declarations.h"

namespace kazfx {

// Whole-text number parsing, independent of the locale. `what` names the value in the error
// (a usage Failure) when the text is not a number of that sort.
int64_t ParseInteger(const std::string& text, const std::string& what);  // decimal or 0x hex
double ParseReal(const std::string& text, const std::string& what);      // finite only
// 0xRRGGBB, #RRGGBB or a decimal number; up to 8 hex digits (the top byte may carry alpha).
uint32_t ParseColor(const std::string& text, const std::string& what);
// true/false, on/off, yes/no, 1/0 (any case).
bool ParseSwitch(const std::string& text, const std::string& what);

// A parameter value as the host answers it for Update.
struct ParamSetting {
  ParamKind kind = ParamKind::kInt;
  int32_t i32 = 0;
  float f32 = 0;
  double f64 = 0;
  std::string text;
};

// Converts the user's text by the kind and control the parameter was declared with: numbers,
// colours, switches, text. Percent floats also take "50%" for 0.5. Values outside a declared
// range (when its minimum is below its maximum) are refused. Throws a usage Failure.
ParamSetting ParseParamValue(const ParamDecl& decl, const std::string& text);

// "NAME=VALUE" split at the first '='; a usage Failure when there is no '=' or no name.
std::pair<std::string, std::string> SplitAssignment(const std::string& text);

// The declared parameter `given` names: the exact name first, then the same name with '_' for
// ' ', then either ignoring ASCII case. Null when none matches; a usage Failure when the best
// match is not unique.
const ParamDecl* FindParam(const EffectDecl& effect, const std::string& given);
// The effect with this GUID (case and braces ignored) or name (exact, then ignoring case and
// '_' for ' '). Null when none matches.
const EffectDecl* FindEffect(const std::vector<EffectDecl>& effects, const std::string& given);

struct Rational {
  int64_t numerator;
  int64_t denominator;
};
// Frame rate as the plug-in takes it: whole rates as N/1, NTSC-style rates as N*1000/1001 when
// they match one, anything else to the nearest 1/1000.
Rational FrameRateRational(double fps);

// The blend strength for an opacity: the low 8 bits of trunc(opacity * 255), in float as the
// layer entry computes it.
uint32_t StrengthFromOpacity(float opacity);

}  // namespace kazfx
