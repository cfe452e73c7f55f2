// SPDX-License-Identifier: MIT
#pragma once

#include <string>

// Everything that differs between operating systems in binding a runtime library. The only
// place that includes <dlfcn.h> (platform_posix.cpp) or <windows.h> (platform_win.cpp).
namespace kaz::platform {

// An operating system's handle of a loaded library (HMODULE on Windows).
using LibraryHandle = void*;

// The file name of a runtime library on this platform, from its module-table name:
// "quorin_kernel.dll" -> "libquorin_kernel.so" on Linux, unchanged on Windows.
std::string PlatformLibraryName(const std::string& tableName);

// Loads a library by its bare file name (UTF-8), so the system's ordinary search order applies.
// Null when it is not found or cannot be loaded.
LibraryHandle OpenLibrary(const std::string& fileName);

// The address of an exported entry point; null when the library does not export it.
void* FindSymbol(LibraryHandle library, const char* name);

// Releases one reference to a library; false when the system refused.
bool CloseLibrary(LibraryHandle library);

#if defined(_WIN32)
// Whole-length UTF-8 to UTF-16 conversion; empty for empty or malformed input.
std::wstring Utf8ToUtf16(const std::string& text);
#endif

}  // namespace kaz::platform
