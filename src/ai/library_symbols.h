// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "ai/platform.h"

namespace THIRD_LIBRARY_IMPORT {

// Logs "API is null\n" (level 4): a call into a missing entry point was skipped.
void ReportNullEntry();

// One runtime library bound at run time. A derived class per library adds one function-pointer
// field per entry point, in the order its ResolveSymbols looks them up.
class LibarySymbols {
 public:
  // `libraryName` is the module-table name ("quorin_kernel.dll"); the platform file name is
  // derived from it when loading.
  explicit LibarySymbols(std::string libraryName);
  virtual ~LibarySymbols();
  LibarySymbols(const LibarySymbols&) = delete;
  LibarySymbols& operator=(const LibarySymbols&) = delete;

  // Loads the library by bare file name and resolves its entry points. Once the library is
  // loaded, later calls answer true at once and resolve nothing again, even when resolution
  // failed the first time. On failure logs "load lib: %s error\n" (level 2).
  bool Load();

  const std::string& LibraryName() const { return libraryName_; }
  // The name the system is asked for ("libquorin_kernel.so" on Linux); log lines show it.
  std::string FileName() const { return kaz::platform::PlatformLibraryName(libraryName_); }
  kaz::platform::LibraryHandle ModuleHandle() const { return module_; }

 protected:
  // Looks up every entry point in field order, stopping at the first missing one.
  virtual bool ResolveSymbols();

  // Stores the address of `name` in `entry`; a missing one is logged and answers false.
  template <typename Fn>
  bool Resolve(const char* name, Fn*& entry) {
    entry = reinterpret_cast<Fn*>(kaz::platform::FindSymbol(module_, name));
    if (entry != nullptr) return true;
    ReportMissing(name);
    return false;
  }

 private:
  void ReportMissing(const char* name) const;

  std::string libraryName_;
  kaz::platform::LibraryHandle module_ = nullptr;
};

// The process-wide binding of class T: made and loaded by the first caller, shared by all.
// The once-only guard completes even when loading failed, so a library missing at first use
// stays unbound for the life of the process. Null only if the binding object itself could not
// be allocated.
template <typename T>
std::shared_ptr<T> ProcessBinding() noexcept {
  static std::once_flag once;
  static std::shared_ptr<T> global;
  std::call_once(once, [] {
    try {
      auto binding = std::make_shared<T>();
      binding->Load();
      global = std::move(binding);
    } catch (...) {
      // Out of memory: leave the binding absent; every call through it then fails softly.
    }
  });
  return global;
}

// An entry point read from a binding that may lack it; logs "API is null\n" (level 4) when the
// entry point (or the whole binding) is missing, and the caller answers its failure value.
template <typename Binding, typename Fn>
Fn* CheckedEntry(const std::shared_ptr<Binding>& binding, Fn* Binding::*field) {
  Fn* entry = binding ? (*binding).*field : nullptr;
  if (entry == nullptr) ReportNullEntry();
  return entry;
}

// The same for an entry point copied out of its binding.
template <typename Fn>
Fn* CheckedEntry(Fn* entry) {
  if (entry == nullptr) ReportNullEntry();
  return entry;
}

}  // namespace THIRD_LIBRARY_IMPORT
