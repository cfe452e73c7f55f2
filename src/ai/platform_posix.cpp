// SPDX-License-Identifier: MIT
#include <dlfcn.h>
#include <strings.h>

#include "ai/platform.h"

namespace kaz::platform {

std::string PlatformLibraryName(const std::string& tableName) {
  std::string base = tableName;
  if (base.size() >= 4 && strcasecmp(base.c_str() + base.size() - 4, ".dll") == 0) {
    base.resize(base.size() - 4);
  }
#if defined(__APPLE__)
  return "lib" + base + ".dylib";
#else
  return "lib" + base + ".so";
#endif
}

LibraryHandle OpenLibrary(const std::string& fileName) {
  if (fileName.empty()) return nullptr;
  // RTLD_NOW: a library with unresolvable dependencies fails here, not at its first call.
  // RTLD_LOCAL: runtime modules must not see each other's symbols, as on Windows.
  return dlopen(fileName.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* FindSymbol(LibraryHandle library, const char* name) {
  if (library == nullptr || name == nullptr) return nullptr;
  return dlsym(library, name);
}

bool CloseLibrary(LibraryHandle library) { return library != nullptr && dlclose(library) == 0; }

}  // namespace kaz::platform
