// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <vector>

namespace kazfx {

struct OptionRule {
  std::string name;  // without the leading "--"
  bool takesValue;
};

// The command line of one command: "--name value", "--name=value" and flags, anywhere among the
// positional arguments; "--" ends the options. "--help" and "-h" are always known.
class Options {
 public:
  // Throws a usage Failure for an unknown option or a missing value.
  Options(const std::string& command, const std::vector<OptionRule>& rules,
          const std::vector<std::string>& args);

  bool Has(const std::string& name) const { return values_.count(name) != 0; }
  // The last value given, or `fallback` when the option is absent.
  std::string Value(const std::string& name, const std::string& fallback = "") const;
  // Every value given, in order.
  std::vector<std::string> Values(const std::string& name) const;
  const std::vector<std::string>& Positionals() const { return positionals_; }
  bool Help() const { return Has("help"); }

 private:
  std::map<std::string, std::vector<std::string>> values_;
  std::vector<std::string> positionals_;
};

}  // namespace kazfx
