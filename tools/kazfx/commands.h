// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "options.h"
#include "plugin_host.h"

namespace kazfx {

// Each command takes the arguments after its name and returns the exit status; failures are
// thrown as Failure.
int RunList(const std::vector<std::string>& args);
int RunApply(const std::vector<std::string>& args);
int RunBlend(const std::vector<std::string>& args);

// --plugin, --resources and --verbose, shared by the commands that load the plug-in.
extern const std::vector<OptionRule> kHostOptions;
HostSettings HostSettingsFrom(const Options& options);

}  // namespace kazfx
