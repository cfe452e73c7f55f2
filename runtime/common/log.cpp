// SPDX-License-Identifier: MIT
#include "common/log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace quorin {

namespace {

int EnabledLevel() {
  const char* value = std::getenv("QUORIN_LOG");
  if (value == nullptr || *value == '\0') return 0;
  // Any other word ("yes", "on") asks for errors.
  if (*value < '0' || *value > '9') return kLogError;
  return std::atoi(value);
}

}  // namespace

bool LogWanted(int level) { return level <= EnabledLevel(); }

void Log(int level, const char* format, ...) {
  if (!LogWanted(level)) return;
  // One line at a time, so lines from instances on different threads do not interleave.
  static std::mutex lock;
  std::lock_guard<std::mutex> hold(lock);
  std::fputs("quorin: ", stderr);
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
  std::fputc('\n', stderr);
  std::fflush(stderr);
}

}  // namespace quorin
