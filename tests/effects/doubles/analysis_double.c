/* SPDX-License-Identifier: MIT */
/* Test-double face landmarks pipeline (KAZ_DOUBLE_FACE) or body landmarks module
 * (KAZ_DOUBLE_POSE) whose output is a known function of the frame size, steered by the
 * environment at every call:
 *   KAZ_DOUBLE_COUNT=N     faces or people found (default 1; may be negative)
 *   KAZ_DOUBLE_POINTS=C    body points per person (default 33)
 *   KAZ_DOUBLE_OUTPUT=null the output pointer is null whatever the count
 *   KAZ_DOUBLE_STATUS=S    what process answers (default 0)
 *   KAZ_DOUBLE_CREATE=fail create fails
 * Face i of a W x H frame: box (W/8 + i, H/8 + i, W/2, H/2); point k at
 * (W (k + 1 + i) / 128, H (106 - k) / 128); visible unless (k + i) % 3 == 0; byte 992 = 0xB0 + i,
 * 993 = 0xA0 + i; bytes 1000 + j, 1008 + j, 1016 + j = 0x11 + j, 0x21 + j, 0x31 + j, each plus
 * 0x40 i; every byte not named is 0xEE. Person p, point k: (2 (k + 1) + 1000 p,
 * 3 (k + 1) + 1000 p), score 0.5 + p + k / 1024. */
#include <stdlib.h>
#include <string.h>

/* The bookkeeping (instances, overlaps, frame records) of the module double. */
#include "module_double.c"

#include "analysis_probe.h"

static KazAnalysisDoubleStats g_analysis;

QUORIN_API void KazAnalysisDoubleStatsGet(KazAnalysisDoubleStats* stats) { *stats = g_analysis; }

static int EnvInt(const char* name, int fallback) {
  const char* text = getenv(name);
  return text != NULL && *text != '\0' ? atoi(text) : fallback;
}

static int EnvIs(const char* name, const char* value) {
  const char* text = getenv(name);
  return text != NULL && strcmp(text, value) == 0;
}

static void NotePath(int i, const char* path) {
  strncpy(g_analysis.paths[i], path != NULL ? path : "", sizeof g_analysis.paths[i] - 1);
}

static int32_t AnalysisCreate(const char* path, const QuorinDeviceEntry* device, void** instance) {
  const QuorinModuleConfig config = {device->deviceType, device->reserved, device->threads};
  if (EnvIs("KAZ_DOUBLE_CREATE", "fail")) {
    Create(path, &config, NULL, 1); /* recorded, and refused */
    return 3;
  }
  return Create(path, &config, instance, 1);
}

/* What both process calls share: the frame recorded, then `make`'s n results (n from the
 * environment) unless the output is to be null, and the status the environment asks for. */
static int32_t Answer(void* instance, const QuorinFrame* frame, const void** output, int32_t* count,
                      void* (*make)(int n, const QuorinFrame* frame)) {
  KazInstance* live = Enter(instance);
  RecordFrames(frame, NULL, NULL);
  int32_t status = 1;
  if (live != NULL && output != NULL && count != NULL && FrameOk(frame, QUORIN_FORMAT_BGRA8)) {
    *count = EnvInt("KAZ_DOUBLE_COUNT", 1);
    *output = *count > 0 && !EnvIs("KAZ_DOUBLE_OUTPUT", "null") ? make(*count, frame) : NULL;
    if (*output != NULL) g_analysis.outstanding++;
    status = EnvInt("KAZ_DOUBLE_STATUS", 0);
  }
  Leave(live);
  return status;
}

static int32_t Release(const void* output) {
  if (output != NULL) {
    g_analysis.outstanding--;
    free((void*)output);
  }
  return 0;
}

#if defined(KAZ_DOUBLE_FACE)
#include "quorin/quorin_pipeline_face_landmarks_v2.h"

QUORIN_API int32_t QuorinPipelineFaceLandmarksV2Create(
    const char* detectorModelPath, const char* landmarksModelPath, const char* visibilityModelPath,
    const char* poseModelPath, void* integration, const QuorinDeviceEntry devices[3],
    void** runtimeSlot0, void** runtimeSlot1, void** instance) {
  const char* paths[4] = {detectorModelPath, landmarksModelPath, visibilityModelPath,
                          poseModelPath};
  for (int i = 0; i < 4; ++i) NotePath(i, paths[i]);
  g_analysis.integrationGiven = integration != NULL;
  g_analysis.slotsGiven = runtimeSlot0 != NULL && runtimeSlot1 != NULL;
  if (devices == NULL) return 1;
  memcpy(g_analysis.devices, devices, sizeof *devices * 3);
  return AnalysisCreate(detectorModelPath, devices, instance);
}

static void FillFace(QuorinFaceRecord* r, int i, int32_t w, int32_t h) {
  memset(r, 0xEE, sizeof *r);
  r->box[0] = w / 8 + i;
  r->box[1] = h / 8 + i;
  r->box[2] = w / 2;
  r->box[3] = h / 2;
  for (int k = 0; k < QUORIN_FACE_LANDMARKS; ++k) {
    r->landmarks[k][0] = (float)w * (float)(k + 1 + i) / 128.0f;
    r->landmarks[k][1] = (float)h * (float)(106 - k) / 128.0f;
    r->visible[k] = (k + i) % 3 == 0 ? 0 : (uint8_t)(k + 1);
  }
  r->flagB = (uint8_t)(0xB0 + i);
  r->flagA = (uint8_t)(0xA0 + i);
  for (int j = 0; j < 8; ++j) {
    r->valueB[j] = (uint8_t)(0x11 + j + 0x40 * i);
    r->valueA[j] = (uint8_t)(0x21 + j + 0x40 * i);
    r->valueC[j] = (uint8_t)(0x31 + j + 0x40 * i);
  }
}

static void* Faces(int n, const QuorinFrame* frame) {
  QuorinFaceRecord* out = malloc(sizeof *out * (size_t)n);
  for (int i = 0; out != NULL && i < n; ++i) FillFace(&out[i], i, frame->width, frame->height);
  return out;
}

QUORIN_API int32_t QuorinPipelineFaceLandmarksV2Process(void* instance, const QuorinFrame* frame,
                                                        const QuorinFaceRecord** faces,
                                                        int32_t* count) {
  return Answer(instance, frame, (const void**)faces, count, Faces);
}

QUORIN_API int32_t QuorinPipelineFaceLandmarksV2OutputRelease(const QuorinFaceRecord* faces) {
  return Release(faces);
}

QUORIN_API int32_t QuorinPipelineFaceLandmarksV2Destroy(void* instance) {
  return Destroy(instance);
}

QUORIN_API int32_t QuorinPipelineFaceLandmarksV2StatusReset(void* instance) {
  g_analysis.resets++;
  return instance != NULL ? 0 : 1;
}

#elif defined(KAZ_DOUBLE_POSE)
#include "quorin/quorin_human_landmarks.h"

QUORIN_API int32_t QuorinHumanLandmarksCreate(const char* modelPath, void* integration,
                                              const QuorinDeviceEntry* device, void** instance) {
  NotePath(0, modelPath);
  g_analysis.integrationGiven = integration != NULL;
  if (device == NULL) return 1;
  g_analysis.devices[0] = *device;
  return AnalysisCreate(modelPath, device, instance);
}

/* One block: the entries, then each person's points and scores. */
static void* People(int n, const QuorinFrame* frame) {
  (void)frame;
  const int c = EnvInt("KAZ_DOUBLE_POINTS", 33);
  const size_t floats = (size_t)n * (size_t)c * 3;
  QuorinPersonLandmarks* people = malloc(sizeof *people * (size_t)n + sizeof(float) * floats);
  if (people == NULL) return NULL;
  float* data = (float*)(people + n);
  for (int p = 0; p < n; ++p) {
    float* points = data + (size_t)p * (size_t)c * 3;
    float* scores = points + (size_t)c * 2;
    for (int k = 0; k < c; ++k) {
      points[2 * k] = 2.0f * (float)(k + 1) + 1000.0f * (float)p;
      points[2 * k + 1] = 3.0f * (float)(k + 1) + 1000.0f * (float)p;
      scores[k] = 0.5f + (float)p + (float)k / 1024.0f;
    }
    people[p].points = points;
    people[p].pointCount = c;
    people[p].reserved = 0;
    people[p].scores = scores;
  }
  return people;
}

QUORIN_API int32_t QuorinHumanLandmarksProcess(void* instance, const QuorinFrame* frame,
                                               int32_t reserved,
                                               const QuorinPersonLandmarks** people, int32_t* count,
                                               uint8_t mode) {
  g_analysis.lastMode = mode;
  g_analysis.lastReserved = reserved;
  return Answer(instance, frame, (const void**)people, count, People);
}

QUORIN_API int32_t QuorinHumanLandmarksOutputRelease(const QuorinPersonLandmarks* people) {
  return Release(people);
}

QUORIN_API int32_t QuorinHumanLandmarksDestroy(void* instance) { return Destroy(instance); }

QUORIN_API int32_t QuorinHumanLandmarksStatusReset(void* instance, uint8_t mode) {
  g_analysis.resets++;
  g_analysis.lastResetMode = mode;
  return instance != NULL ? 0 : 1;
}

#else
#error "choose a module"
#endif
