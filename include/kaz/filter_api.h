// SPDX-License-Identifier: MIT
// The filter family of kazAiFilterPlugin: create an effect filter for an effect GUID, drive it
// frame by frame, destroy it.
//
// Threads: one filter is driven by one thread at a time; different filters may run on different
// threads at once. Install the log callback before creating filters.
// Failures: every function returns 0 on success and 1 on failure (also for a null handle); no
// exception ever leaves the plug-in.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>

#include "kaz/export.h"

// A parameter value. Fields in this order, nothing else.
class NLEParamValue {
 public:
  // By kind: a bool in byte 0; an int32 or float in bytes 0-3; a double or pointer in bytes 0-7;
  // or text of at most 511 bytes, NUL-terminated.
  unsigned char payload[512] = {};
  // An owned copy of a text value; empty for other kinds.
  std::string text;
  // The kind: 1 bool, 2 double, 3 float, 5 int32, 6 text, 7 object pointer (borrowed).
  uint32_t type = 0;
};

namespace vorta {
class NLEEffectFilter;
}
namespace AIDATA {
class BaseAIDATA;
}

// Receives every log line: level 2 for progress, 4 for errors. The format carries its own "\n".
typedef void (*NLEAIEffectFilterLogCallback)(int level, const char* format, va_list args);

// Folders under the host's resources directory: effect descriptions and model files.
inline constexpr char kKAZEffectFolder[] = "/kaz_effect/plugin/AiEffect";
inline constexpr char kKAZModelFolder[] = "/kaz_effect/plugin/AiModel";

// Log formats a host may act on. Compare the format a log line arrives with (not the formatted
// text) and read its arguments.
// Level 2, one argument: a runtime library the plug-in could not load (its file name on this
// platform), or, after every creation of a module instance, the model path it was given.
inline constexpr char kKAZLogLoadLib[] = "load lib: %s error\n";
// Level 4, two arguments: an entry point missing from a loaded library, and the library's name.
inline constexpr char kKAZLogLoadFunc[] = "load func (%s) from (%s) failed!\n";
// Level 4, no argument: a call into a runtime entry point that is missing was skipped.
inline constexpr char kKAZLogApiNull[] = "API is null\n";

extern "C" {

// Creates the filter registered for `guid` (upper case, hyphenated, no braces; compared exactly).
// `resourceDir` is the host's resources directory; when null the host utility suite is asked.
// Returns null when the GUID has no filter class. The caller owns the filter.
KAZ_EXPORT vorta::NLEEffectFilter* CreateNLEAIEffectFilterFromGUID(const char* guid,
                                                                   const char* resourceDir);
// Destroys *filter and stores null in it. A null address or a null *filter does nothing.
KAZ_EXPORT void DeleteNLEAIEffectFilter(vorta::NLEEffectFilter** filter);

// Stores a parameter value. A name the filter does not know yet is created with `kind`;
// an existing one keeps its kind. Text values lose their first "file:/".
KAZ_EXPORT int32_t NLEEffectFilterSetParameter(vorta::NLEEffectFilter* f, const char* name,
                                               uint32_t kind, NLEParamValue value);
// Reads a parameter's kind and current value; 1 when the name is unknown.
KAZ_EXPORT int32_t NLEEffectFilterGetParameter(vorta::NLEEffectFilter* f, const char* name,
                                               uint32_t* kind, NLEParamValue* value);

// Renders one frame. Images are given destination first, source last, each as pixels, width,
// height and row stride in bytes; pixels are 8-bit B, G, R, A. Source and destination must have
// the same size. The auxiliary image may be null (with zero sizes); effects that compute a
// person mask write it there when it is given. A null pointer, a size below 1, a stride below
// width x channels, unequal source and destination sizes, or more than 2^31 - 1 bytes in one
// image answers 1 and leaves the destination untouched.
KAZ_EXPORT int32_t NLEEffectFilterTransform(vorta::NLEEffectFilter* f, unsigned char* dst,
                                            int32_t dstWidth, int32_t dstHeight, int32_t dstStride,
                                            unsigned char* aux, int32_t auxWidth, int32_t auxHeight,
                                            int32_t auxStride, const unsigned char* src,
                                            int32_t srcWidth, int32_t srcHeight, int32_t srcStride);
// As NLEEffectFilterTransform, with channel counts (4 = BGRA, 1 = one 8-bit sample a pixel).
// An effect answers 1 for counts it does not support; most support only 4, 4, 4.
KAZ_EXPORT int32_t NLEEffectFilterTransformChannels(
    vorta::NLEEffectFilter* f, unsigned char* dst, int32_t dstWidth, int32_t dstHeight,
    int32_t dstStride, unsigned char* aux, int32_t auxWidth, int32_t auxHeight, int32_t auxStride,
    const unsigned char* src, int32_t srcWidth, int32_t srcHeight, int32_t srcStride,
    int32_t dstChannels, int32_t auxChannels, int32_t srcChannels);

// Times are frame numbers; seconds = frame / (numerator / denominator).
KAZ_EXPORT int32_t NLEEffectFilterSetTotalTime(vorta::NLEEffectFilter* f, int32_t totalTime);
KAZ_EXPORT int32_t NLEEffectFilterSetCurrentTime(vorta::NLEEffectFilter* f, int32_t currentTime);
KAZ_EXPORT int32_t NLEEffectFilterSetFrameRate(vorta::NLEEffectFilter* f, int64_t numerator,
                                               int64_t denominator);

// Hands out the analysis result the filter holds (face and pose filters); others leave *result.
KAZ_EXPORT int32_t NLEEffectFilterGetAIResData(vorta::NLEEffectFilter* f,
                                               std::shared_ptr<AIDATA::BaseAIDATA>* result);
// The filter's GUID, valid while the filter lives; "" (never null) for a null handle.
KAZ_EXPORT const char* NLEEffectFilterGetGUID(vorta::NLEEffectFilter* f);
// Installs (or, with null, removes) the log callback for the whole process.
KAZ_EXPORT void SetNLEAIEffectFilterLogCallback(NLEAIEffectFilterLogCallback callback);
}
