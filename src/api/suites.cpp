// SPDX-License-Identifier: MIT
#include "api/suites.h"

#include <cstring>

namespace kaz {

SuiteRecord& Suites() {
  static SuiteRecord record;
  return record;
}

std::string HostPath(KAZHostUtilSuite* util, int code, const char* fallback) {
  char buffer[512] = {};
  std::strncpy(buffer, fallback, sizeof buffer - 1);
  util->GetPath(code, buffer, sizeof buffer);
  buffer[sizeof buffer - 1] = '\0';
  return buffer;
}

}  // namespace kaz
