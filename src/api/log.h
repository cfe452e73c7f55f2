// SPDX-License-Identifier: MIT
#pragma once

#include <cstdarg>

#include "kaz/filter_api.h"

namespace kaz {

enum LogLevel { kLogInfo = 2, kLogError = 4 };

// Hands the line to the installed callback; without one, to the host utility suite's Log;
// without either, drops it.
void Log(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
void LogV(int level, const char* format, va_list args);

void SetLogCallback(NLEAIEffectFilterLogCallback callback);

}  // namespace kaz
