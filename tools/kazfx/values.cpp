// SPDX-License-Identifier: MIT
#include "values.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <numeric>

#include "failure.h"

namespace kazfx {
namespace {

std::string Trim(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  const size_t last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string Folded(const std::string& text, bool ignoreCase) {
  std::string out = text;
  for (char& c : out) {
    if (c == '_') c = ' ';
    if (ignoreCase) c = Lower(c);
  }
  return out;
}

bool ParseHex(const std::string& digits, uint64_t* out) {
  if (digits.empty() || digits.size() > 16) return false;
  const char* end = digits.data() + digits.size();
  auto [ptr, ec] = std::from_chars(digits.data(), end, *out, 16);
  return ec == std::errc() && ptr == end;
}

// How well `given` names `declared`: 3 exact, 2 with '_' for ' ', 1 also ignoring case, 0 not.
int NameMatch(const std::string& declared, const std::string& given) {
  if (declared == given) return 3;
  if (Folded(declared, false) == Folded(given, false)) return 2;
  if (Folded(declared, true) == Folded(given, true)) return 1;
  return 0;
}

std::string FormatNumber(double value) {
  char buffer[32];
  auto [ptr, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return ec == std::errc() ? std::string(buffer, ptr) : std::to_string(value);
}

void CheckRange(const ParamDecl& decl, double value, const std::string& text) {
  if (decl.min < decl.max && (value < decl.min || value > decl.max)) {
    UsageError("value " + text + " for parameter " + Quoted(decl.name) + " is outside " +
               FormatNumber(decl.min) + " .. " + FormatNumber(decl.max));
  }
}

}  // namespace

const char* KindName(ParamKind kind) {
  switch (kind) {
    case ParamKind::kFloat:
      return "float";
    case ParamKind::kDouble:
      return "double";
    case ParamKind::kInt:
      return "int";
    case ParamKind::kString:
      return "string";
  }
  return "?";
}

const char* ControlName(ParamControl control) {
  switch (control) {
    case ParamControl::kPlain:
      return "plain";
    case ParamControl::kPercent:
      return "percent";
    case ParamControl::kColor:
      return "color";
    case ParamControl::kCheckBox:
      return "checkbox";
    case ParamControl::kNinePalaces:
      return "9palaces";
    case ParamControl::kListMask:
      return "listmask";
    case ParamControl::kListMosaic:
      return "listmosaic";
    case ParamControl::kColorStart:
      return "colorstart";
    case ParamControl::kColorEnd:
      return "colorend";
  }
  return "?";
}

int64_t ParseInteger(const std::string& raw, const std::string& what) {
  const std::string text = Trim(raw);
  std::string body = text;
  bool negative = false;
  if (!body.empty() && (body[0] == '-' || body[0] == '+')) {
    negative = body[0] == '-';
    body.erase(0, 1);
  }
  uint64_t magnitude = 0;
  bool ok;
  if (body.size() > 2 && body[0] == '0' && Lower(body[1]) == 'x') {
    ok = ParseHex(body.substr(2), &magnitude);
  } else {
    const char* end = body.data() + body.size();
    auto [ptr, ec] = std::from_chars(body.data(), end, magnitude, 10);
    ok = !body.empty() && ec == std::errc() && ptr == end;
  }
  const uint64_t limit = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
  if (!ok || magnitude > limit) {
    UsageError("bad value " + Quoted(raw) + " for " + what + ": expected a whole number");
  }
  const int64_t value = static_cast<int64_t>(magnitude);
  return negative ? -value : value;
}

double ParseReal(const std::string& raw, const std::string& what) {
  std::string text = Trim(raw);
  if (!text.empty() && text[0] == '+') text.erase(0, 1);
  double value = 0;
  const char* end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, value);
  if (text.empty() || ec != std::errc() || ptr != end || !std::isfinite(value)) {
    UsageError("bad value " + Quoted(raw) + " for " + what + ": expected a number");
  }
  return value;
}

uint32_t ParseColor(const std::string& raw, const std::string& what) {
  const std::string text = Trim(raw);
  uint64_t value = 0;
  bool ok;
  if (!text.empty() && text[0] == '#') {
    ok = ParseHex(text.substr(1), &value);
  } else if (text.size() > 2 && text[0] == '0' && Lower(text[1]) == 'x') {
    ok = ParseHex(text.substr(2), &value);
  } else {
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, value, 10);
    ok = !text.empty() && ec == std::errc() && ptr == end;
  }
  if (!ok || value > 0xFFFFFFFFu) {
    UsageError("bad value " + Quoted(raw) + " for " + what +
               ": expected a colour such as 0xRRGGBB or #RRGGBB");
  }
  return static_cast<uint32_t>(value);
}

bool ParseSwitch(const std::string& raw, const std::string& what) {
  const std::string text = Folded(Trim(raw), true);
  if (text == "1" || text == "true" || text == "on" || text == "yes") return true;
  if (text == "0" || text == "false" || text == "off" || text == "no") return false;
  UsageError("bad value " + Quoted(raw) + " for " + what + ": expected on or off");
}

ParamSetting ParseParamValue(const ParamDecl& decl, const std::string& text) {
  const std::string what = "parameter " + Quoted(decl.name);
  ParamSetting setting;
  setting.kind = decl.kind;
  switch (decl.kind) {
    case ParamKind::kString:
      setting.text = text;
      return setting;
    case ParamKind::kFloat:
    case ParamKind::kDouble: {
      const std::string trimmed = Trim(text);
      double value;
      if (decl.control == ParamControl::kPercent && !trimmed.empty() && trimmed.back() == '%') {
        value = ParseReal(trimmed.substr(0, trimmed.size() - 1), what) / 100.0;
      } else {
        value = ParseReal(text, what);
      }
      if (decl.kind == ParamKind::kFloat) {
        if (std::fabs(value) > std::numeric_limits<float>::max()) {
          UsageError("value " + Trim(text) + " for " + what + " is too large");
        }
        setting.f32 = static_cast<float>(value);
        value = setting.f32;
      } else {
        setting.f64 = value;
      }
      CheckRange(decl, value, Trim(text));
      return setting;
    }
    case ParamKind::kInt: {
      int64_t value;
      switch (decl.control) {
        case ParamControl::kColor:
        case ParamControl::kColorStart:
        case ParamControl::kColorEnd:
          // Kept as the same 32 bits, as an editor's colour well hands it over.
          value = static_cast<int32_t>(ParseColor(text, what));
          break;
        case ParamControl::kCheckBox:
          value = ParseSwitch(text, what) ? 1 : 0;
          break;
        default:
          value = ParseInteger(text, what);
          if (value < std::numeric_limits<int32_t>::min() ||
              value > std::numeric_limits<int32_t>::max()) {
            UsageError("value " + Trim(text) + " for " + what + " does not fit 32 bits");
          }
          break;
      }
      CheckRange(decl, static_cast<double>(value), Trim(text));
      setting.i32 = static_cast<int32_t>(value);
      return setting;
    }
  }
  return setting;
}

std::pair<std::string, std::string> SplitAssignment(const std::string& text) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    UsageError("bad --param " + Quoted(text) + ": expected NAME=VALUE");
  }
  return {text.substr(0, equals), text.substr(equals + 1)};
}

const ParamDecl* FindParam(const EffectDecl& effect, const std::string& given) {
  int best = 0;
  std::vector<const ParamDecl*> hits;
  for (const ParamDecl& decl : effect.params) {
    const int level = NameMatch(decl.name, given);
    if (level == 0 || level < best) continue;
    if (level > best) hits.clear();
    best = level;
    hits.push_back(&decl);
  }
  if (hits.size() > 1) {
    UsageError("parameter name " + Quoted(given) + " is ambiguous for " + effect.name + ": " +
               Quoted(hits[0]->name) + " or " + Quoted(hits[1]->name));
  }
  return hits.empty() ? nullptr : hits.front();
}

const EffectDecl* FindEffect(const std::vector<EffectDecl>& effects, const std::string& given) {
  std::string guid = Trim(given);
  if (guid.size() > 2 && guid.front() == '{' && guid.back() == '}') {
    guid = guid.substr(1, guid.size() - 2);
  }
  for (const EffectDecl& effect : effects) {
    if (Folded(effect.guid, true) == Folded(guid, true)) return &effect;
  }
  int best = 0;
  std::vector<const EffectDecl*> hits;
  for (const EffectDecl& effect : effects) {
    const int level = NameMatch(effect.name, given);
    if (level == 0 || level < best) continue;
    if (level > best) hits.clear();
    best = level;
    hits.push_back(&effect);
  }
  if (hits.size() > 1) {
    UsageError("effect name " + Quoted(given) + " is ambiguous: give its GUID (" + hits[0]->guid +
               " or " + hits[1]->guid + ")");
  }
  return hits.empty() ? nullptr : hits.front();
}

Rational FrameRateRational(double fps) {
  if (!std::isfinite(fps) || fps <= 0) return {25, 1};
  const double whole = std::round(fps);
  if (std::fabs(fps - whole) < 1e-6) return {static_cast<int64_t>(whole), 1};
  // 29.97 and 23.98 as players print them still mean 30000/1001 and 24000/1001.
  const double ntsc = std::round(fps * 1.001);
  if (ntsc >= 1 && std::fabs(fps - ntsc * 1000.0 / 1001.0) < 0.005) {
    return {static_cast<int64_t>(ntsc) * 1000, 1001};
  }
  const int64_t thousandths = std::max<int64_t>(1, std::llround(fps * 1000.0));
  const int64_t divisor = std::gcd(thousandths, int64_t{1000});
  return {thousandths / divisor, 1000 / divisor};
}

uint32_t StrengthFromOpacity(float opacity) {
  const float scaled = opacity * 255.0f;
  if (!(std::fabs(scaled) < 2147483648.0f)) return 0;
  return static_cast<uint32_t>(static_cast<int32_t>(scaled)) & 0xFFu;
}

}  // namespace kazfx
