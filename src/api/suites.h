// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "kaz/host_framework.h"

namespace kaz {

// The host's suites, filled at start-up and read by every part that asks the host something.
struct SuiteRecord {
  KAZHostUtilSuite* util = nullptr;
  KAZImageBufferAllocatorSuite* imageBuffers = nullptr;
  KAZMemoryAllocatorSuite* memory = nullptr;
};

SuiteRecord& Suites();

// Asks the host utility suite for directory `code`; the 512-byte buffer it writes into starts
// with `fallback`, which the host may keep.
std::string HostPath(KAZHostUtilSuite* util, int code, const char* fallback);

}  // namespace kaz
