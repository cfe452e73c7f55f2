// SPDX-License-Identifier: MIT
#pragma once

namespace quorin {

// The runtime is silent unless QUORIN_LOG is set: 1 prints errors to stderr, 2 adds progress
// lines (model loaded, scene reset). Read at every call so a host can switch it at run time.
enum LogLevel { kLogError = 1, kLogInfo = 2 };

void Log(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// True when QUORIN_LOG asks for lines of `level`.
bool LogWanted(int level);

}  // namespace quorin
