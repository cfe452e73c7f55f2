// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kazfx {

// How a parameter is held; the host kind it is asked for follows from it.
enum class ParamKind { kFloat, kDouble, kInt, kString };

// The control an editor would show, as chosen by the registrar entry that declared it.
enum class ParamControl {
  kPlain,
  kPercent,  // a float shown multiplied by 100
  kColor,
  kCheckBox,
  kNinePalaces,
  kListMask,
  kListMosaic,
  kColorStart,
  kColorEnd,
};

// One parameter as the plug-in declared it. Numbers (float, double and int32 all fit a double
// exactly) go in min/max/def; texts in the *Text fields.
struct ParamDecl {
  int32_t index = 0;
  std::string name;
  ParamKind kind = ParamKind::kInt;
  ParamControl control = ParamControl::kPlain;
  double min = 0, max = 0, def = 0;
  std::string minText, maxText, defText;
  bool visible = true;
};

struct EffectDecl {
  std::string guid;
  std::string name;
  int32_t flags = 0;
  std::vector<ParamDecl> params;
};

const char* KindName(ParamKind kind);
const char* ControlName(ParamControl control);

}  // namespace kazfx
