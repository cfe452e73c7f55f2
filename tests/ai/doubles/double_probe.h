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

typedef struct KazFrameShape {
  int32_t format;
  int32_t width;
  int32_t height;
  int32_t stride;
  const uint8_t* pixels; /* null when no frame was given */
} KazFrameShape;

typedef struct KazModuleDoubleStats {
  int32_t createCalls;
  int32_t destroyCalls;
  int32_t destroyNullCalls; /* destroy calls with a null instance */
  int32_t liveInstances;
  int32_t processCalls;
  int32_t overlaps; /* process calls that overlapped another on the same instance */
  QuorinModuleConfig lastConfig;
  char lastModelPath[1024];
  KazFrameShape lastInput;
  KazFrameShape lastOutput;
  KazFrameShape lastAux;
} KazModuleDoubleStats;

/* Frames the kernel double handed out and has not had back. */
QUORIN_API int32_t KazKernelDoubleLiveFrames(void);
QUORIN_API void KazModuleDoubleStatsGet(KazModuleDoubleStats* stats);

#ifdef __cplusplus
}
#endif

#endif /* KAZ_DOUBLE_PROBE_H */
