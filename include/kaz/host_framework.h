// SPDX-License-Identifier: MIT
// The host framework interface, as far as kazAiFilterPlugin uses it.
#pragma once

#include <cstdint>

// The host's utility services. Virtual slots in this order.
class KAZHostUtilSuite {
 public:
  // Slot 0. Writes the directory for `code` (1 resources, 3 cloud resources) into `buffer`,
  // NUL-terminated, at most bufferSize bytes. The buffer arrives pre-filled with a default
  // ("resources", "cloud_resources"); a host that does not know the code may leave it.
  // Returns 0 on success.
  virtual int32_t GetPath(int code, char* buffer, int bufferSize) = 0;
  // Slot 1. One log line; level 2 for progress, 4 for errors. The format carries its own "\n".
  virtual void Log(int level, const char* format, ...) = 0;

 protected:
  ~KAZHostUtilSuite() = default;
};

class KAZImageBufferAllocatorSuite;
class KAZMemoryAllocatorSuite;
