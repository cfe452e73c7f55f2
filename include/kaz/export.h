// SPDX-License-Identifier: MIT
#pragma once

// Marks the functions the plug-in exports. Everything else in the plug-in is hidden.
#if defined(_WIN32)
#if defined(KAZ_BUILDING_PLUGIN)
#define KAZ_EXPORT __declspec(dllexport)
#else
#define KAZ_EXPORT __declspec(dllimport)
#endif
#else
#define KAZ_EXPORT __attribute__((visibility("default")))
#endif
