// SPDX-License-Identifier: MIT
// What the test-double runtime libraries report, read through their extra exports.
#pragma once

#include <string>

#include "ai/library_symbols.h"
#include "ai/platform.h"
#include "doubles/double_probe.h"
#include "support/test_support.h"

namespace kaz_test {

using kaztest::LogCapture;

// Installed before main, so the lines of a first use are kept whichever test makes it.
inline const bool kLogRecorded = LogCapture::RecordAlways();

inline const char kApiNull[] = "API is null\n";
inline const char kLoadLib[] = "load lib: %s error\n";

// An extra export of a test double, looked up on the library the binding loaded.
template <typename Fn>
Fn* DoubleExport(const THIRD_LIBRARY_IMPORT::LibarySymbols& binding, const char* name) {
  return reinterpret_cast<Fn*>(kaz::platform::FindSymbol(binding.ModuleHandle(), name));
}

inline KazModuleDoubleStats ModuleStats(const THIRD_LIBRARY_IMPORT::LibarySymbols& binding) {
  KazModuleDoubleStats stats{};
  if (auto get = DoubleExport<void(KazModuleDoubleStats*)>(binding, "KazModuleDoubleStatsGet")) {
    get(&stats);
  }
  return stats;
}

inline KazKernelDoubleStats KernelStats(const THIRD_LIBRARY_IMPORT::LibarySymbols& binding) {
  KazKernelDoubleStats stats{};
  if (auto get = DoubleExport<void(KazKernelDoubleStats*)>(binding, "KazKernelDoubleStatsGet")) {
    get(&stats);
  }
  return stats;
}

}  // namespace kaz_test
