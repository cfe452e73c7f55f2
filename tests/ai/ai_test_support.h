// SPDX-License-Identifier: MIT
// What the test-double runtime libraries report, read through their extra exports.
#pragma once

#include "ai/library_symbols.h"
#include "ai/platform.h"
#include "ai/quorin_common.h"
#include "doubles/double_probe.h"
#include "support/test_support.h"

namespace kaz_test {

using kaztest::LogCapture;

// Installed before main, so the lines of a first use are kept whichever test makes it.
inline const bool kLogRecorded = LogCapture::RecordAlways();

// An extra export of a test double, looked up on the library the binding loaded.
template <typename Fn>
Fn* DoubleExport(const THIRD_LIBRARY_IMPORT::LibarySymbols& binding, const char* name) {
  return reinterpret_cast<Fn*>(kaz::platform::FindSymbol(binding.ModuleHandle(), name));
}

// All zero when the library is not loaded.
inline KazModuleDoubleStats ModuleStats(const THIRD_LIBRARY_IMPORT::LibarySymbols& binding) {
  KazModuleDoubleStats stats{};
  if (auto get = DoubleExport<void(KazModuleDoubleStats*)>(binding, "KazModuleDoubleStatsGet")) {
    get(&stats);
  }
  return stats;
}

inline int LiveFrames() {
  const auto kernel = THIRD_LIBRARY_IMPORT::GetQuorinCommonSymbols();
  auto live = DoubleExport<int32_t()>(*kernel, "KazKernelDoubleLiveFrames");
  return live != nullptr ? live() : 0;
}

}  // namespace kaz_test
