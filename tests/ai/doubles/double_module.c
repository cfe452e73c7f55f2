/* SPDX-License-Identifier: MIT */
#include "double_module.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { kMaxInstances = 64 };

static pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;
static KazModuleDoubleStats g_stats;
/* Live instances stay reachable here, so a test that never destroys one leaks nothing. */
static KazInstance* g_live[kMaxInstances];

QUORIN_API const char* KazDoubleScenario(void) { return KAZ_DOUBLE_SCENARIO; }

QUORIN_API void KazModuleDoubleStatsGet(KazModuleDoubleStats* stats) {
  pthread_mutex_lock(&g_lock);
  *stats = g_stats;
  pthread_mutex_unlock(&g_lock);
}

QUORIN_API void KazModuleDoubleReleaseAll(void) {
  pthread_mutex_lock(&g_lock);
  for (int i = 0; i < kMaxInstances; ++i) {
    if (g_live[i] == NULL) continue;
    free(g_live[i]);
    g_live[i] = NULL;
    g_stats.liveInstances--;
  }
  pthread_mutex_unlock(&g_lock);
}

static int SlotOf(const void* instance) {
  for (int i = 0; i < kMaxInstances; ++i) {
    if (instance != NULL && g_live[i] == instance) return i;
  }
  return -1;
}

int32_t KazDoubleCreate(const char* modelPath, const QuorinModuleConfig* config, void** instance,
                        int succeed) {
  pthread_mutex_lock(&g_lock);
  g_stats.createCalls++;
  g_stats.lastModelPath[0] = '\0';
  if (modelPath != NULL) {
    strncpy(g_stats.lastModelPath, modelPath, sizeof g_stats.lastModelPath - 1);
  }
  if (config != NULL) g_stats.lastConfig = *config;
  int32_t status = 0;
  int slot = -1;
  for (int i = 0; i < kMaxInstances && slot < 0; ++i) {
    if (g_live[i] == NULL) slot = i;
  }
  if (instance == NULL || config == NULL) {
    status = 1;
  } else if (!succeed) {
    status = 3;
  } else if (slot < 0 || (g_live[slot] = calloc(1, sizeof(KazInstance))) == NULL) {
    status = 4;
  } else {
    *instance = g_live[slot];
    g_stats.liveInstances++;
  }
  pthread_mutex_unlock(&g_lock);
  return status;
}

int32_t KazDoubleDestroy(void* instance) {
  pthread_mutex_lock(&g_lock);
  g_stats.destroyCalls++;
  if (instance == NULL) g_stats.destroyNullCalls++;
  const int slot = SlotOf(instance);
  if (slot >= 0) {
    free(g_live[slot]);
    g_live[slot] = NULL;
    g_stats.liveInstances--;
  }
  pthread_mutex_unlock(&g_lock);
  return instance == NULL || slot >= 0 ? 0 : 1;
}

KazInstance* KazDoubleEnter(void* instance) {
  pthread_mutex_lock(&g_lock);
  g_stats.processCalls++;
  const int slot = SlotOf(instance);
  KazInstance* live = slot >= 0 ? g_live[slot] : NULL;
  if (live != NULL && live->busy++ > 0) g_stats.overlaps++;
  pthread_mutex_unlock(&g_lock);
  const char* delay = getenv("KAZ_DOUBLE_DELAY_US");
  if (live != NULL && delay != NULL) {
    const long us = strtol(delay, NULL, 10);
    const struct timespec pause = {us / 1000000, (us % 1000000) * 1000};
    nanosleep(&pause, NULL);
  }
  return live;
}

void KazDoubleLeave(KazInstance* instance) {
  if (instance == NULL) return;
  pthread_mutex_lock(&g_lock);
  instance->busy--;
  pthread_mutex_unlock(&g_lock);
}

static KazFrameShape Shape(const QuorinFrame* frame) {
  KazFrameShape shape = {0, 0, 0, 0, 0, NULL};
  if (frame == NULL) return shape;
  shape.present = 1;
  shape.format = frame->format;
  shape.width = frame->width;
  shape.height = frame->height;
  shape.stride = frame->strides[0];
  shape.pixels = frame->planes[0];
  return shape;
}

void KazDoubleRecordFrames(const QuorinFrame* input, const QuorinFrame* output,
                           const QuorinFrame* aux) {
  pthread_mutex_lock(&g_lock);
  g_stats.lastInput = Shape(input);
  g_stats.lastOutput = Shape(output);
  g_stats.lastAux = Shape(aux);
  pthread_mutex_unlock(&g_lock);
}

void KazDoubleRecordParam(const char* name, float value) {
  pthread_mutex_lock(&g_lock);
  g_stats.paramCalls++;
  g_stats.lastParamName[0] = '\0';
  if (name != NULL) strncpy(g_stats.lastParamName, name, sizeof g_stats.lastParamName - 1);
  g_stats.lastParamValue = value;
  pthread_mutex_unlock(&g_lock);
}

void KazDoubleCountSizeCall(void) {
  pthread_mutex_lock(&g_lock);
  g_stats.sizeCalls++;
  pthread_mutex_unlock(&g_lock);
}

int32_t KazStride(const QuorinFrame* frame) {
  const int32_t bpp = frame->format == QUORIN_FORMAT_BGRA8 ? 4 : 1;
  return frame->strides[0] == 0 ? frame->width * bpp : frame->strides[0];
}

int KazFrameOk(const QuorinFrame* frame, int32_t format) {
  if (frame == NULL || frame->format != format || frame->planes[0] == NULL) return 0;
  if (frame->width < 1 || frame->height < 1) return 0;
  const int32_t bpp = format == QUORIN_FORMAT_BGRA8 ? 4 : 1;
  return KazStride(frame) >= frame->width * bpp;
}

int KazModelPathOk(const char* path) {
  static const char kSuffix[] = ".model";
  const size_t length = path != NULL ? strlen(path) : 0;
  return length > sizeof kSuffix - 1 &&
         strcmp(path + length - (sizeof kSuffix - 1), kSuffix) == 0 && path[length - 7] != '/';
}
