// SPDX-License-Identifier: MIT
#include "api/log.h"

#include <atomic>
#include <cstdio>

#include "api/suites.h"

namespace kaz {
namespace {
// Atomic so that a callback installed late is still read safely by worker threads.
std::atomic<NLEAIEffectFilterLogCallback> g_callback{nullptr};
}  // namespace

void SetLogCallback(NLEAIEffectFilterLogCallback callback) { g_callback.store(callback); }

void LogV(int level, const char* format, va_list args) {
  if (format == nullptr) return;
  if (NLEAIEffectFilterLogCallback callback = g_callback.load()) {
    callback(level, format, args);
    return;
  }
  if (KAZHostUtilSuite* util = Suites().util) {
    // The suite's Log is variadic and cannot take a va_list: format here, hand over the text.
    char line[1024];
    std::vsnprintf(line, sizeof line, format, args);
    util->Log(level, "%s", line);
  }
}

void Log(int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  LogV(level, format, args);
  va_end(args);
}

}  // namespace kaz
