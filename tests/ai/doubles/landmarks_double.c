/* SPDX-License-Identifier: MIT */
/* Test-double face landmarks pipeline (KAZ_DOUBLE_FACE) or human landmarks module
 * (KAZ_DOUBLE_POSE): every entry point is exported with its public prototype; process finds
 * nobody. Enough to bind against until the landmark wrappers come. */
#include <stddef.h>

#include "double_module.h"

#if defined(KAZ_DOUBLE_FACE)
#include "quorin/quorin_pipeline_face_landmarks_v2.h"

QUORIN_API int32_t QuorinPipelineFaceLandmarksV2Create(
    const char* detectorModelPath, const char* landmarksModelPath, const char* visibilityModelPath,
    const char* poseModelPath, void* integration, const QuorinDeviceEntry devices[3],
    void** runtimeSlot0, void** runtimeSlot1, void** instance) {
  (void)landmarksModelPath;
  (void)visibilityModelPath;
  (void)poseModelPath;
  (void)integration;
  (void)runtimeSlot0;
  (void)runtimeSlot1;
  if (devices == NULL) return 1;
  const QuorinModuleConfig config = {devices[0].deviceType, devices[0].reserved,
                                     devices[0].threads};
  return KazDoubleCreate(detectorModelPath, &config, instance, 1);
}

QUORIN_API int32_t QuorinPipelineFaceLandmarksV2Process(void* instance, const QuorinFrame* frame,
                                                        const QuorinFaceRecord** faces,
                                                        int32_t* count) {
  KazInstance* live = KazDoubleEnter(instance);
  KazDoubleRecordFrames(frame, NULL, NULL);
  KazDoubleLeave(live);
  if (live == NULL || faces == NULL || count == NULL) return 1;
  *faces = NULL;
  *count = 0;
  return 0;
}

QUORIN_API int32_t QuorinPipelineFaceLandmarksV2OutputRelease(const QuorinFaceRecord* faces) {
  (void)faces;
  return 0;
}

QUORIN_API int32_t QuorinPipelineFaceLandmarksV2Destroy(void* instance) {
  return KazDoubleDestroy(instance);
}

QUORIN_API int32_t QuorinPipelineFaceLandmarksV2StatusReset(void* instance) {
  return instance != NULL ? 0 : 1;
}

#elif defined(KAZ_DOUBLE_POSE)
#include "quorin/quorin_human_landmarks.h"

QUORIN_API int32_t QuorinHumanLandmarksCreate(const char* modelPath, void* integration,
                                              const QuorinDeviceEntry* device, void** instance) {
  (void)integration;
  if (device == NULL) return 1;
  const QuorinModuleConfig config = {device->deviceType, device->reserved, device->threads};
  return KazDoubleCreate(modelPath, &config, instance, 1);
}

QUORIN_API int32_t QuorinHumanLandmarksProcess(void* instance, const QuorinFrame* frame,
                                               int32_t reserved,
                                               const QuorinPersonLandmarks** people, int32_t* count,
                                               uint8_t mode) {
  (void)reserved;
  (void)mode;
  KazInstance* live = KazDoubleEnter(instance);
  KazDoubleRecordFrames(frame, NULL, NULL);
  KazDoubleLeave(live);
  if (live == NULL || people == NULL || count == NULL) return 1;
  *people = NULL;
  *count = 0;
  return 0;
}

QUORIN_API int32_t QuorinHumanLandmarksOutputRelease(const QuorinPersonLandmarks* people) {
  (void)people;
  return 0;
}

QUORIN_API int32_t QuorinHumanLandmarksDestroy(void* instance) {
  return KazDoubleDestroy(instance);
}

QUORIN_API int32_t QuorinHumanLandmarksStatusReset(void* instance, uint8_t mode) {
  (void)mode;
  return instance != NULL ? 0 : 1;
}

#else
#error "choose a module"
#endif
