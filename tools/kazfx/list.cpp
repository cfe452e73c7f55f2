// SPDX-License-Identifier: MIT
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <iostream>

#include <nlohmann/json.hpp>

#include "analysis_data.h"
#include "commands.h"
#include "failure.h"
#include "values.h"

namespace kazfx {

const std::vector<OptionRule> kHostOptions = {
    {"resources", true}, {"plugin", true}, {"verbose", false}};

HostSettings HostSettingsFrom(const Options& options) {
  HostSettings settings;
  std::error_code ec;
  const std::string resources = options.Value("resources", DefaultResourcesDir());
  const auto absolute = std::filesystem::absolute(resources, ec);
  settings.resourcesDir = ec ? resources : absolute.lexically_normal().string();
  while (settings.resourcesDir.size() > 1 && settings.resourcesDir.back() == '/') {
    settings.resourcesDir.pop_back();
  }
  settings.pluginPath = options.Value("plugin", DefaultPluginPath());
  settings.verbose = options.Has("verbose");
  return settings;
}

namespace {

const char kUsage[] =
    "usage: kazfx list [--resources DIR] [--plugin PATH] [--json] [--verbose]\n"
    "\n"
    "Loads the plug-in as an editor does and lists every effect it registers: name, GUID and\n"
    "the declared parameters (kind, control, range, default, visibility).\n"
    "\n"
    "  --resources DIR  resources folder (default: $KAZFX_RESOURCES, installed, project's)\n"
    "  --plugin PATH    plug-in file (default: $KAZFX_PLUGIN, installed, beside kazfx)\n"
    "  --json           the same as JSON, for tools\n"
    "  --verbose        also the plug-in's own log lines, and why descriptions were refused\n";

// Floats were widened to double on the way in; print them as the float they were.
double AsDeclared(const ParamDecl& decl, double value) {
  if (decl.kind != ParamKind::kFloat) return value;
  char text[32];
  auto [end, ec] = std::to_chars(text, text + sizeof text, static_cast<float>(value));
  return ec == std::errc() ? std::strtod(std::string(text, end).c_str(), nullptr) : value;
}

bool IsColor(const ParamDecl& decl) {
  return decl.control == ParamControl::kColor || decl.control == ParamControl::kColorStart ||
         decl.control == ParamControl::kColorEnd;
}

std::string Number(const ParamDecl& decl, double value) {
  if (IsColor(decl)) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%06X", static_cast<uint32_t>(static_cast<int32_t>(value)));
    return text;
  }
  char text[32];
  auto [end, ec] = std::to_chars(text, text + sizeof text, AsDeclared(decl, value));
  return ec == std::errc() ? std::string(text, end) : std::to_string(value);
}

bool IsTransition(int32_t flags) {
  return (flags & ~kKAZEffectFlagDynamic) == kKAZEffectFlagsTransition;
}

nlohmann::ordered_json EffectJson(const EffectDecl& effect) {
  nlohmann::ordered_json params = nlohmann::ordered_json::array();
  for (const ParamDecl& decl : effect.params) {
    nlohmann::ordered_json p = {{"index", decl.index},
                                {"name", decl.name},
                                {"kind", KindName(decl.kind)},
                                {"control", ControlName(decl.control)},
                                {"visible", decl.visible}};
    if (decl.kind == ParamKind::kString) {
      p["min"] = decl.minText;
      p["max"] = decl.maxText;
      p["default"] = decl.defText;
    } else if (decl.kind == ParamKind::kInt) {
      p["min"] = static_cast<int32_t>(decl.min);
      p["max"] = static_cast<int32_t>(decl.max);
      p["default"] = static_cast<int32_t>(decl.def);
    } else {
      p["min"] = AsDeclared(decl, decl.min);
      p["max"] = AsDeclared(decl, decl.max);
      p["default"] = AsDeclared(decl, decl.def);
    }
    params.push_back(std::move(p));
  }
  return {{"name", effect.name},
          {"guid", effect.guid},
          {"flags", effect.flags},
          {"transition", IsTransition(effect.flags)},
          {"dynamic", (effect.flags & kKAZEffectFlagDynamic) != 0},
          {"analysis", IsAnalysisEffect(effect.guid)},
          {"parameters", std::move(params)}};
}

void PrintText(const PluginHost& host, const HostSettings& settings) {
  const KAZPluginInfo& info = host.Info();
  std::printf("%s (%s), %zu effect%s\n", info.name ? info.name : "?",
              info.identifier ? info.identifier : "?", host.Effects().size(),
              host.Effects().size() == 1 ? "" : "s");
  std::printf("plug-in:   %s\nresources: %s\n", settings.pluginPath.c_str(),
              settings.resourcesDir.c_str());
  for (const EffectDecl& effect : host.Effects()) {
    std::printf(
        "\n%s\n  GUID %s%s%s%s\n", effect.name.c_str(), effect.guid.c_str(),
        IsTransition(effect.flags) ? ", transition" : "",
        (effect.flags & kKAZEffectFlagDynamic) ? ", dynamic" : "",
        IsAnalysisEffect(effect.guid) ? ", analysis (apply --data writes what it finds)" : "");
    for (const ParamDecl& decl : effect.params) {
      std::string kind = KindName(decl.kind);
      if (decl.control != ParamControl::kPlain)
        kind += std::string(" ") + ControlName(decl.control);
      std::string range, def;
      if (decl.kind == ParamKind::kString) {
        def = "\"" + decl.defText + "\"";
      } else {
        range = Number(decl, decl.min) + " .. " + Number(decl, decl.max);
        def = Number(decl, decl.def);
      }
      std::printf("  %-22s %-18s %-18s default %s%s\n", ("\"" + decl.name + "\"").c_str(),
                  kind.c_str(), range.c_str(), def.c_str(), decl.visible ? "" : "  (hidden)");
    }
  }
  if (!host.Refused().empty()) {
    std::printf("\n%zu description%s refused by the plug-in (--verbose tells why)\n",
                host.Refused().size(), host.Refused().size() == 1 ? " was" : "s were");
  }
}

}  // namespace

int RunList(const std::vector<std::string>& args) {
  std::vector<OptionRule> rules = kHostOptions;
  rules.push_back({"json", false});
  const Options options("list", rules, args);
  if (options.Help()) {
    std::fputs(kUsage, stdout);
    return kExitOk;
  }
  if (!options.Positionals().empty()) {
    UsageError("list takes no arguments, got " + options.Positionals().front());
  }
  const HostSettings settings = HostSettingsFrom(options);
  PluginHost host(settings);
  host.Start();
  if (options.Has("json")) {
    nlohmann::ordered_json effects = nlohmann::ordered_json::array();
    for (const EffectDecl& effect : host.Effects()) effects.push_back(EffectJson(effect));
    const KAZPluginInfo& info = host.Info();
    const nlohmann::ordered_json out = {{"plugin",
                                         {{"name", info.name ? info.name : ""},
                                          {"identifier", info.identifier ? info.identifier : ""},
                                          {"description", info.description ? info.description : ""},
                                          {"path", settings.pluginPath},
                                          {"resources", settings.resourcesDir}}},
                                        {"effects", std::move(effects)},
                                        {"refused", host.Refused()}};
    std::cout << out.dump(2) << "\n";
  } else {
    PrintText(host, settings);
  }
  return kExitOk;
}

}  // namespace kazfx
