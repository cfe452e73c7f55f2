// SPDX-License-Identifier: MIT
#pragma once

// What kazfx needs from the operating system, in one place per platform.

#include <memory>
#include <string>

namespace kazfx {

// A shared library loaded by path, unloaded with the object.
class Library {
 public:
  // Null with the loader's reason in *error when the file cannot be loaded.
  static std::unique_ptr<Library> Open(const std::string& path, std::string* error);
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  // Null when the library has no such symbol.
  void* Symbol(const char* name) const;

 private:
  explicit Library(void* handle) : handle_(handle) {}
  void* handle_;
};

// The folder holding the running kazfx binary ("" when unknown).
std::string ExecutableDir();
// The name the plug-in file has on this platform.
const char* PluginFileName();
bool StderrIsTerminal();
int ProcessId();

// After InstallInterruptHandler, Ctrl-C (or a termination request) only raises a flag, so that
// the work in progress can stop and remove its partial output; a second one ends at once.
void InstallInterruptHandler();
bool Interrupted();

}  // namespace kazfx
