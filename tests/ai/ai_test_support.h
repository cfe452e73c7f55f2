// SPDX-License-Identifier: MIT
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "ai/library_symbols.h"
#include "ai/platform.h"
#include "doubles/double_probe.h"
#include "kaz/filter_api.h"

namespace kaz_test {

struct LogLine {
  int level;
  std::string format;
  std::string text;
};

// Every log line of the process is kept from before main on, so first-use lines are seen
// whatever order the tests run in. A capture sees the lines written since it was made.
class LogCapture {
 public:
  LogCapture() : start_(Size()) {}
  static LogCapture FromProcessStart() {
    LogCapture capture;
    capture.start_ = 0;
    return capture;
  }

  std::vector<LogLine> Lines() const {
    std::lock_guard<std::mutex> hold(Mutex());
    return std::vector<LogLine>(Store().begin() + static_cast<std::ptrdiff_t>(start_),
                                Store().end());
  }
  // Lines written with exactly this format string (and level, when given).
  int CountFormat(const std::string& format, int level = -1) const {
    int count = 0;
    for (const LogLine& line : Lines()) {
      count += line.format == format && (level < 0 || line.level == level);
    }
    return count;
  }
  int CountText(const std::string& text) const {
    int count = 0;
    for (const LogLine& line : Lines()) count += line.text == text;
    return count;
  }
  std::string Dump() const {
    std::string all;
    for (const LogLine& line : Lines()) all += std::to_string(line.level) + " " + line.text;
    return all;
  }

  static void Receive(int level, const char* format, va_list args) {
    char text[2048];
    std::vsnprintf(text, sizeof text, format, args);
    std::lock_guard<std::mutex> hold(Mutex());
    Store().push_back({level, format, text});
  }

 private:
  static size_t Size() {
    std::lock_guard<std::mutex> hold(Mutex());
    return Store().size();
  }
  static std::mutex& Mutex() {
    static std::mutex mutex;
    return mutex;
  }
  static std::vector<LogLine>& Store() {
    static std::vector<LogLine> lines;
    return lines;
  }

  size_t start_;
};

inline const bool kLogInstalled = (SetNLEAIEffectFilterLogCallback(&LogCapture::Receive), true);

inline const char kApiNull[] = "API is null\n";
inline const char kLoadLib[] = "load lib: %s error\n";
inline const char kLoadFunc[] = "load func (%s) from (%s) failed!\n";

// An extra export of a test double, looked up on the library the binding loaded.
template <typename Fn>
Fn* DoubleExport(const THIRD_LIBRARY_IMPORT::LibarySymbols& binding, const char* name) {
  return reinterpret_cast<Fn*>(kaz::platform::FindSymbol(binding.ModuleHandle(), name));
}

inline std::string ScenarioOf(const THIRD_LIBRARY_IMPORT::LibarySymbols& binding) {
  auto scenario = DoubleExport<const char*()>(binding, "KazDoubleScenario");
  return scenario != nullptr ? scenario() : "(not a test double)";
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
