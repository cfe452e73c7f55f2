// SPDX-License-Identifier: MIT
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <climits>

#include "ai/platform.h"

namespace kaz::platform {

std::string PlatformLibraryName(const std::string& tableName) { return tableName; }

std::wstring Utf8ToUtf16(const std::string& text) {
  if (text.empty() || text.size() > static_cast<size_t>(INT_MAX)) return {};
  const int length = static_cast<int>(text.size());
  const int count =
      MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), length, nullptr, 0);
  if (count <= 0) return {};
  std::wstring wide(static_cast<size_t>(count), L'\0');
  if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), length, wide.data(), count) !=
      count) {
    return {};
  }
  return wide;
}

LibraryHandle OpenLibrary(const std::string& fileName) {
  const std::wstring wide = Utf8ToUtf16(fileName);
  if (wide.empty()) return nullptr;
  return static_cast<LibraryHandle>(LoadLibraryW(wide.c_str()));
}

void* FindSymbol(LibraryHandle library, const char* name) {
  if (library == nullptr || name == nullptr) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

bool CloseLibrary(LibraryHandle library) {
  return library != nullptr && FreeLibrary(static_cast<HMODULE>(library)) != 0;
}

}  // namespace kaz::platform
