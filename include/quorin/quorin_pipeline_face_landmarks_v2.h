/* SPDX-License-Identifier: MIT */
/* Face landmarks pipeline, version 2 ("quorin_module_pipeline_face_landmarks_v2.dll",
 * "libquorin_module_pipeline_face_landmarks_v2.so" on Linux): face detection, 106 landmarks with
 * visibility, and head values. One instance holds its four models and its tracking state; calls
 * on one instance must not overlap (the plug-in serialises them). All functions return 0 on
 * success and a non-zero code on failure. */
#ifndef QUORIN_PIPELINE_FACE_LANDMARKS_V2_H
#define QUORIN_PIPELINE_FACE_LANDMARKS_V2_H

#include "quorin/quorin_device_entry.h"
#include "quorin/quorin_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { QUORIN_FACE_LANDMARKS = 106 };

/* One face, 1024 bytes; byte offsets are part of the contract. Coordinates are in pixels of the
 * processed frame. */
typedef struct QuorinFaceRecord {
  int32_t reserved0;                         /*    0 */
  int32_t box[4];                            /*    4 */
  float landmarks[QUORIN_FACE_LANDMARKS][2]; /*   20: x, y */
  uint8_t visible[QUORIN_FACE_LANDMARKS];    /*  868: nonzero when visible */
  uint8_t reserved1[18];                     /*  974 */
  uint8_t flagB;                             /*  992 */
  uint8_t flagA;                             /*  993 */
  uint8_t reserved2[6];                      /*  994 */
  uint8_t valueB[8];                         /* 1000: a 64-bit value, copied bit for bit */
  uint8_t valueA[8];                         /* 1008: likewise */
  uint8_t valueC[8];                         /* 1016: likewise */
} QuorinFaceRecord;

/* Loads the detector, landmarks, visibility and head-pose models. `integration` is supplied by
 * the runtime's integration (null when there is none); `devices` holds three entries; the two
 * slots receive runtime-owned objects the caller never touches. */
QUORIN_API int32_t QuorinPipelineFaceLandmarksV2Create(
    const char* detectorModelPath, const char* landmarksModelPath, const char* visibilityModelPath,
    const char* poseModelPath, void* integration, const QuorinDeviceEntry devices[3],
    void** runtimeSlot0, void** runtimeSlot1, void** instance);
/* Finds the faces of `frame`; *faces points to *count records owned by the module until
 * QuorinPipelineFaceLandmarksV2OutputRelease. */
QUORIN_API int32_t QuorinPipelineFaceLandmarksV2Process(void* instance, const QuorinFrame* frame,
                                                        const QuorinFaceRecord** faces,
                                                        int32_t* count);
/* Returns the records of one process call to the module. */
QUORIN_API int32_t QuorinPipelineFaceLandmarksV2OutputRelease(const QuorinFaceRecord* faces);
/* Releases the instance; a null instance is accepted and answers 0. */
QUORIN_API int32_t QuorinPipelineFaceLandmarksV2Destroy(void* instance);
/* Forgets the tracking state, so the next frame is taken as unrelated to the last. */
QUORIN_API int32_t QuorinPipelineFaceLandmarksV2StatusReset(void* instance);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus
static_assert(sizeof(QuorinFaceRecord) == 1024, "face record layout");
static_assert(offsetof(QuorinFaceRecord, visible) == 868, "face record layout");
static_assert(offsetof(QuorinFaceRecord, flagB) == 992, "face record layout");
static_assert(offsetof(QuorinFaceRecord, valueB) == 1000, "face record layout");
#else
_Static_assert(sizeof(QuorinFaceRecord) == 1024, "face record layout");
_Static_assert(offsetof(QuorinFaceRecord, visible) == 868, "face record layout");
_Static_assert(offsetof(QuorinFaceRecord, flagB) == 992, "face record layout");
_Static_assert(offsetof(QuorinFaceRecord, valueB) == 1000, "face record layout");
#endif

#endif /* QUORIN_PIPELINE_FACE_LANDMARKS_V2_H */
