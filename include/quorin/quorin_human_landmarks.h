/* SPDX-License-Identifier: MIT */
/* Human (body) landmarks module ("quorin_module_human_landmarks.dll",
 * "libquorin_module_human_landmarks.so" on Linux). One instance holds one loaded model and its
 * tracking state; calls on one instance must not overlap (the plug-in serialises them). All
 * functions return 0 on success and a non-zero code on failure. */
#ifndef QUORIN_HUMAN_LANDMARKS_H
#define QUORIN_HUMAN_LANDMARKS_H

#include "quorin/quorin_device_entry.h"
#include "quorin/quorin_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One person, 24 bytes on 64-bit platforms; byte offsets are part of the contract. Points are
 * x, y pairs in pixels of the processed frame; one score per point. */
typedef struct QuorinPersonLandmarks {
  const float* points; /*  0 */
  int32_t pointCount;  /*  8 */
  int32_t reserved;    /* 12 */
  const float* scores; /* 16 */
} QuorinPersonLandmarks;

/* Loads the model at modelPath. `integration` is supplied by the runtime's integration (null
 * when there is none); `device` is one entry. */
QUORIN_API int32_t QuorinHumanLandmarksCreate(const char* modelPath, void* integration,
                                              const QuorinDeviceEntry* device, void** instance);
/* Finds the people of `frame`; *people points to *count entries owned by the module until
 * QuorinHumanLandmarksOutputRelease. `reserved` is 0; `mode` is the caller's mode flag. */
QUORIN_API int32_t QuorinHumanLandmarksProcess(void* instance, const QuorinFrame* frame,
                                               int32_t reserved,
                                               const QuorinPersonLandmarks** people, int32_t* count,
                                               uint8_t mode);
/* Returns the entries of one process call to the module. */
QUORIN_API int32_t QuorinHumanLandmarksOutputRelease(const QuorinPersonLandmarks* people);
/* Releases the instance; a null instance is accepted and answers 0. */
QUORIN_API int32_t QuorinHumanLandmarksDestroy(void* instance);
/* Forgets the tracking state for `mode`, so the next frame is taken as unrelated to the last. */
QUORIN_API int32_t QuorinHumanLandmarksStatusReset(void* instance, uint8_t mode);

#ifdef __cplusplus
}
#endif

#if UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
#ifdef __cplusplus
static_assert(sizeof(QuorinPersonLandmarks) == 24, "person entry layout");
static_assert(offsetof(QuorinPersonLandmarks, scores) == 16, "person entry layout");
#else
_Static_assert(sizeof(QuorinPersonLandmarks) == 24, "person entry layout");
_Static_assert(offsetof(QuorinPersonLandmarks, scores) == 16, "person entry layout");
#endif
#endif

#endif /* QUORIN_HUMAN_LANDMARKS_H */
