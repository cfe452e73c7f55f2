/* SPDX-License-Identifier: MIT */
/* What the test-double runtime libraries record about the calls they get. Tests read it through
 * these extra exports, looked up on the binding's own library handle. */
#ifndef KAZ_DOUBLE_PROBE_H
#define KAZ_DOUBLE_PROBE_H

#include "quorin/quorin_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The device type the kernel double reports; the plug-in's fallback is 16. */
#define KAZ_DOUBLE_DEVICE_TYPE 7

typedef struct KazKernelDoubleStats {
  int32_t makeCalls;
  int32_t freeCalls;
  int32_t unknownFrees; /* frees of a pointer the kernel never handed out */
  int32_t liveFrames;
  int32_t lastReserved0;
  int32_t lastReserved1;
} KazKernelDoubleStats;

typedef struct KazFrameShape {
  int32_t present;
  int32_t format;
  int32_t width;
  int32_t height;
  int32_t stride;
  const uint8_t* pixels;
} KazFrameShape;

typedef struct KazModuleDoubleStats {
  int32_t createCalls;
  int32_t destroyCalls;
  int32_t destroyNullCalls; /* destroy calls with a null instance */
  int32_t liveInstances;
  int32_t processCalls;
  int32_t overlaps;  /* process calls that overlapped another on the same instance */
  int32_t sizeCalls; /* calls of the size getter and setter, which the plug-in never makes */
  QuorinModuleConfig lastConfig;
  char lastModelPath[1024];
  char lastParamName[64];
  float lastParamValue;
  KazFrameShape lastInput;
  KazFrameShape lastOutput;
  KazFrameShape lastAux;
} KazModuleDoubleStats;

/* "kernel", "humanseg", "humanseg_lacking", ...: which double answered. */
QUORIN_API const char* KazDoubleScenario(void);
QUORIN_API void KazKernelDoubleStatsGet(KazKernelDoubleStats* stats);
QUORIN_API void KazModuleDoubleStatsGet(KazModuleDoubleStats* stats);
/* Release every live frame or instance. For tests that leave some behind on purpose (an entry
 * point to free them is missing): the plug-in unloads the library at exit, after which leak
 * checkers no longer see them as reachable. */
QUORIN_API void KazKernelDoubleReleaseAll(void);
QUORIN_API void KazModuleDoubleReleaseAll(void);

#ifdef __cplusplus
}
#endif

#endif /* KAZ_DOUBLE_PROBE_H */
