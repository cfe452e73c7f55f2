// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "kaz/filter_api.h"
#include "support/test_support.h"

namespace kazfuzz {

// The readers under test take paths, so each input is written to one file that is reused. The
// folder lives as long as the process.
inline std::string WriteInput(const std::string& name, const uint8_t* data, size_t size) {
  // In memory when the system has it: on a disk-backed /tmp each run waited on the file system.
  static const bool inMemory =
      std::filesystem::is_directory("/dev/shm") && setenv("TMPDIR", "/dev/shm", 0) == 0;
  (void)inMemory;
  static const kaztest::TempDir dir;
  const std::string path = (dir.path() / name).string();
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  return path;
}

// Rejections are logged at every call; formatting them would only slow the search down.
inline void SilenceLog() {
  SetNLEAIEffectFilterLogCallback([](int, const char*, va_list) {});
}

}  // namespace kazfuzz

// A property the fuzzer checks; a broken one must stop the run like a sanitizer finding does.
#define KAZ_FUZZ_CHECK(cond) ((cond) ? (void)0 : __builtin_trap())
