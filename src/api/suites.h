// SPDX-License-Identifier: MIT
#pragma once

#include "kaz/host_framework.h"

namespace kaz {

// The host's suites, filled at start-up and read by every part that asks the host something.
struct SuiteRecord {
  KAZHostUtilSuite* util = nullptr;
  KAZImageBufferAllocatorSuite* imageBuffers = nullptr;
  KAZMemoryAllocatorSuite* memory = nullptr;
};

SuiteRecord& Suites();

}  // namespace kaz
