// SPDX-License-Identifier: MIT
#include "options.h"

#include "failure.h"

namespace kazfx {

Options::Options(const std::string& command, const std::vector<OptionRule>& rules,
                 const std::vector<std::string>& args) {
  auto find = [&](const std::string& name) -> const OptionRule* {
    for (const OptionRule& settings : rules) {
      if (settings.name == name) return &settings;
    }
    return nullptr;
  };
  bool optionsEnded = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (optionsEnded || arg.size() < 2 || arg[0] != '-' || arg == "-") {
      positionals_.push_back(arg);
      continue;
    }
    if (arg == "--") {
      optionsEnded = true;
      continue;
    }
    if (arg == "-h" || arg == "--help") {
      values_["help"].push_back("");
      continue;
    }
    if (arg.compare(0, 2, "--") != 0) {
      UsageError("unknown option " + arg + " for " + command + " (see kazfx " + command +
                 " --help)");
    }
    const size_t equals = arg.find('=');
    const std::string name =
        arg.substr(2, equals == std::string::npos ? std::string::npos : equals - 2);
    const OptionRule* settings = find(name);
    if (settings == nullptr) {
      UsageError("unknown option --" + name + " for " + command + " (see kazfx " + command +
                 " --help)");
    }
    if (!settings->takesValue) {
      if (equals != std::string::npos) UsageError("option --" + name + " takes no value");
      values_[name].push_back("");
      continue;
    }
    if (equals != std::string::npos) {
      values_[name].push_back(arg.substr(equals + 1));
    } else if (i + 1 < args.size()) {
      values_[name].push_back(args[++i]);
    } else {
      UsageError("option --" + name + " needs a value");
    }
  }
}

std::string Options::Value(const std::string& name, const std::string& fallback) const {
  auto it = values_.find(name);
  return it == values_.end() ? fallback : it->second.back();
}

std::vector<std::string> Options::Values(const std::string& name) const {
  auto it = values_.find(name);
  return it == values_.end() ? std::vector<std::string>{} : it->second;
}

}  // namespace kazfx
