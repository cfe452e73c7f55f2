// SPDX-License-Identifier: MIT
#include "ai/library_symbols.h"

#include "api/log.h"

namespace THIRD_LIBRARY_IMPORT {

LibarySymbols::LibarySymbols(std::string libraryName) : libraryName_(std::move(libraryName)) {}

LibarySymbols::~LibarySymbols() {
  if (module_ != nullptr && kaz::platform::CloseLibrary(module_)) module_ = nullptr;
}

bool LibarySymbols::Load() {
  if (module_ != nullptr) return true;
  const std::string fileName = FileName();
  module_ = kaz::platform::OpenLibrary(fileName);
  // A library whose resolution failed stays loaded: the entry points found before the missing
  // one remain usable, and the destructor releases it.
  if (module_ != nullptr && ResolveSymbols()) return true;
  kaz::Log(kaz::kLogInfo, kKAZLogLoadLib, fileName.c_str());
  return false;
}

bool LibarySymbols::ResolveSymbols() { return true; }

void LibarySymbols::ReportMissing(const char* name) const {
  kaz::Log(kaz::kLogError, kKAZLogLoadFunc, name, FileName().c_str());
}

void ReportNullEntry() { kaz::Log(kaz::kLogError, kKAZLogApiNull); }

}  // namespace THIRD_LIBRARY_IMPORT
