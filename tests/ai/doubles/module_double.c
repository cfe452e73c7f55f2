/* SPDX-License-Identifier: MIT */
/* Test-double module library: one source, built under each module's file name, exporting every
 * module's entry points. Variants by compile definition:
 *   KAZ_DOUBLE_CREATE_FAILS  every create answers 3 and leaves the instance null
 *   <EntryPoint>=<OtherName> leaves that entry point out, as a library lacking it would
 * Creation of a module that takes a model fails (status 2) for a path not ending in ".model".
 * Human segmentation writes the mask KAZ_DOUBLE_HUMANSEG_MASK chooses, read on every call
 * (output pixel x, y; input pixel at x * inWidth / outWidth, y * inHeight / outHeight):
 *   ramp (default)           (x + 2y) mod 256
 *   fill:V                   V everywhere
 *   channel:C                the input's byte C (0 B, 1 G, 2 R, 3 A) at the input pixel
 *   fail                     writes nothing and answers 9
 *   fail:V                   writes V everywhere and answers 9
 * Anything else answers 8. The modules that hand back a frame of their own (allocated through
 * the kernel) copy one input byte a pixel and lay the frame out differently, so the plug-in's
 * reading of width, height, pixels and row step is exercised:
 *   clothes   byte 0 (B), input size, rows padded by 13 bytes of 0xEE
 *   depth     byte 1 (G) of every second pixel and row: ceil(w / 2) x ceil(h / 2)
 *   skin      byte 2 (R), input size, rows exactly width bytes
 *   semantic  byte 3 (A) plus the "offset" parameter (saturated), row step given as 0
 * With KAZ_DOUBLE_FRAME_MODULE_FAIL set they still hand back their frame but answer 3.
 * Fade film: output byte = input byte + "level" (saturated); sizes must be equal.
 * Wiper: mask = the input's R byte at the nearest input pixel, raised to the guide's value.
 */
#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "double_probe.h"
#include "quorin/quorin_clothes_segmentation.h"
#include "quorin/quorin_depth_estimate.h"
#include "quorin/quorin_fade_film.h"
#include "quorin/quorin_human_attribute_segments.h"
#include "quorin/quorin_human_segment.h"
#include "quorin/quorin_semantic_segmentation.h"
#include "quorin/quorin_wiper.h"

typedef struct KazInstance {
  int busy;
  float param;
} KazInstance;

enum { kMaxInstances = 64 };
#ifdef KAZ_DOUBLE_CREATE_FAILS
enum { kCreateFails = 1 };
#else
enum { kCreateFails = 0 };
#endif

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

static int ModelPathOk(const char* path) {
  static const char kSuffix[] = ".model";
  const size_t length = path != NULL ? strlen(path) : 0;
  return length > sizeof kSuffix - 1 &&
         strcmp(path + length - (sizeof kSuffix - 1), kSuffix) == 0 && path[length - 7] != '/';
}

/* A null model path stands for a module that takes none. */
static int32_t Create(const char* modelPath, const QuorinModuleConfig* config, void** instance,
                      int takesModel) {
  pthread_mutex_lock(&g_lock);
  g_stats.createCalls++;
  g_stats.lastModelPath[0] = '\0';
  if (modelPath != NULL) {
    strncpy(g_stats.lastModelPath, modelPath, sizeof g_stats.lastModelPath - 1);
  }
  if (config != NULL) g_stats.lastConfig = *config;
  int slot = -1;
  for (int i = 0; i < kMaxInstances && slot < 0; ++i) {
    if (g_live[i] == NULL) slot = i;
  }
  int32_t status = 0;
  if (instance == NULL || config == NULL) {
    status = 1;
  } else if (kCreateFails) {
    status = 3;
  } else if (takesModel && !ModelPathOk(modelPath)) {
    status = 2;
  } else if (slot < 0 || (g_live[slot] = calloc(1, sizeof(KazInstance))) == NULL) {
    status = 4;
  } else {
    *instance = g_live[slot];
    g_stats.liveInstances++;
  }
  pthread_mutex_unlock(&g_lock);
  return status;
}

static int32_t Destroy(void* instance) {
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

/* Enters a call on a live instance (null for anything else), noting overlaps. The delay in
 * KAZ_DOUBLE_DELAY_US (microseconds) widens the window in which an overlap would show. */
static KazInstance* Enter(void* instance) {
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

static void Leave(KazInstance* instance) {
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

static void RecordFrames(const QuorinFrame* input, const QuorinFrame* output,
                         const QuorinFrame* aux) {
  pthread_mutex_lock(&g_lock);
  g_stats.lastInput = Shape(input);
  g_stats.lastOutput = Shape(output);
  g_stats.lastAux = Shape(aux);
  pthread_mutex_unlock(&g_lock);
}

static int32_t SetParam(void* instance, const char* name, float value, const char* known) {
  pthread_mutex_lock(&g_lock);
  g_stats.lastParamName[0] = '\0';
  if (name != NULL) strncpy(g_stats.lastParamName, name, sizeof g_stats.lastParamName - 1);
  g_stats.lastParamValue = value;
  pthread_mutex_unlock(&g_lock);
  KazInstance* live = Enter(instance);
  int32_t status = 1;
  if (live != NULL && name != NULL && strcmp(name, known) == 0) {
    live->param = value;
    status = 0;
  }
  Leave(live);
  return status;
}

static void CountSizeCall(void) {
  pthread_mutex_lock(&g_lock);
  g_stats.sizeCalls++;
  pthread_mutex_unlock(&g_lock);
}

/* Row step in bytes (a stride of 0 means width bytes). */
static int32_t Stride(const QuorinFrame* frame) {
  const int32_t bpp = frame->format == QUORIN_FORMAT_BGRA8 ? 4 : 1;
  return frame->strides[0] == 0 ? frame->width * bpp : frame->strides[0];
}

/* True for a frame of `format` with pixels, a positive size and rows long enough. */
static int FrameOk(const QuorinFrame* frame, int32_t format) {
  if (frame == NULL || frame->format != format || frame->planes[0] == NULL) return 0;
  if (frame->width < 1 || frame->height < 1) return 0;
  const int32_t bpp = format == QUORIN_FORMAT_BGRA8 ? 4 : 1;
  return Stride(frame) >= frame->width * bpp;
}

static const uint8_t* Pixel(const QuorinFrame* frame, int32_t x, int32_t y, int32_t bpp) {
  return frame->planes[0] + (size_t)y * (size_t)Stride(frame) + (size_t)x * (size_t)bpp;
}

static uint8_t Saturate(int value) { return (uint8_t)(value < 0 ? 0 : value > 255 ? 255 : value); }

static int32_t WriteMask(const QuorinFrame* in, QuorinFrame* out) {
  const char* pattern = getenv("KAZ_DOUBLE_HUMANSEG_MASK");
  if (pattern == NULL || *pattern == '\0') pattern = "ramp";
  int fill = -1, channel = -1;
  int32_t status = 0;
  if (strcmp(pattern, "ramp") == 0) {
  } else if (sscanf(pattern, "fill:%d", &fill) == 1) {
  } else if (sscanf(pattern, "channel:%d", &channel) == 1 && channel >= 0 && channel < 4) {
  } else if (strcmp(pattern, "fail") == 0) {
    return 9;
  } else if (sscanf(pattern, "fail:%d", &fill) == 1) {
    status = 9;
  } else {
    return 8;
  }
  for (int32_t y = 0; y < out->height; ++y) {
    uint8_t* row = out->planes[0] + (size_t)y * (size_t)Stride(out);
    const int32_t sy = (int32_t)((int64_t)y * in->height / out->height);
    for (int32_t x = 0; x < out->width; ++x) {
      const int32_t sx = (int32_t)((int64_t)x * in->width / out->width);
      int value = (x + 2 * y) & 255;
      if (fill >= 0) value = fill;
      if (channel >= 0) value = Pixel(in, sx, sy, 4)[channel];
      row[x] = (uint8_t)value;
    }
  }
  return status;
}

QUORIN_API int32_t QuorinHumanSegmentCreate(const char* modelPath, const QuorinModuleConfig* config,
                                            void** instance) {
  return Create(modelPath, config, instance, 1);
}

QUORIN_API int32_t QuorinHumanSegmentInputSizeGet(void* instance, int32_t* width, int32_t* height) {
  (void)instance;
  CountSizeCall();
  if (width == NULL || height == NULL) return 1;
  *width = 256;
  *height = 256;
  return 0;
}

QUORIN_API int32_t QuorinHumanSegmentOutputSizeSet(void* instance, int32_t width, int32_t height) {
  (void)instance;
  (void)width;
  (void)height;
  CountSizeCall();
  return 0;
}

QUORIN_API int32_t QuorinHumanSegmentProcess(void* instance, const QuorinFrame* input,
                                             QuorinFrame* output) {
  KazInstance* live = Enter(instance);
  RecordFrames(input, output, NULL);
  int32_t status = 1;
  if (live != NULL && FrameOk(input, QUORIN_FORMAT_BGRA8) && FrameOk(output, QUORIN_FORMAT_GRAY8)) {
    status = WriteMask(input, output);
  }
  Leave(live);
  return status;
}

QUORIN_API int32_t QuorinHumanSegmentDestroy(void* instance) { return Destroy(instance); }

/* The kernel is looked up when needed, not linked: a process without one still loads this
 * library. */
static QuorinFrame* KernelAlloc(int32_t format, int32_t width, int32_t height) {
  void* kernel = dlopen("libquorin_kernel.so", RTLD_NOW);
  if (kernel == NULL) return NULL;
  QuorinFrame* (*alloc)(int32_t, int32_t, int32_t) = NULL;
  *(void**)&alloc = dlsym(kernel, "QuorinVideoFrameAlloc");
  QuorinFrame* frame = alloc != NULL ? alloc(format, width, height) : NULL;
  dlclose(kernel);
  return frame;
}

static QuorinFrame* Render(const QuorinFrame* in, int channel, int padding, int half,
                           int strideZero, float offset) {
  const int32_t width = half ? (in->width + 1) / 2 : in->width;
  const int32_t height = half ? (in->height + 1) / 2 : in->height;
  const int32_t step = half ? 2 : 1;
  QuorinFrame* out = KernelAlloc(QUORIN_FORMAT_GRAY8, width + padding, height);
  if (out == NULL) return NULL;
  memset(out->planes[0], 0xEE, (size_t)out->strides[0] * (size_t)height);
  out->width = width;
  for (int32_t y = 0; y < height; ++y) {
    uint8_t* row = out->planes[0] + (size_t)y * (size_t)out->strides[0];
    for (int32_t x = 0; x < width; ++x) {
      row[x] = Saturate(Pixel(in, x * step, y * step, 4)[channel] + (int)offset);
    }
  }
  if (strideZero) out->strides[0] = 0;
  return out;
}

static int32_t OwnFrameProcess(void* instance, const QuorinFrame* input, QuorinFrame** output,
                               int channel, int padding, int half, int strideZero) {
  KazInstance* live = Enter(instance);
  RecordFrames(input, NULL, NULL);
  int32_t status = 1;
  if (live != NULL && output != NULL && FrameOk(input, QUORIN_FORMAT_BGRA8)) {
    *output = Render(input, channel, padding, half, strideZero, live->param);
    status = *output == NULL ? 5 : getenv("KAZ_DOUBLE_FRAME_MODULE_FAIL") != NULL ? 3 : 0;
  }
  Leave(live);
  return status;
}

#define KAZ_OWN_FRAME_MODULE(prefix, channel, padding, half, strideZero)                     \
  QUORIN_API int32_t prefix##Create(const char* modelPath, const QuorinModuleConfig* config, \
                                    void** instance) {                                       \
    return Create(modelPath, config, instance, 1);                                           \
  }                                                                                          \
  QUORIN_API int32_t prefix##Process(void* instance, const QuorinFrame* input,               \
                                     QuorinFrame** output) {                                 \
    return OwnFrameProcess(instance, input, output, channel, padding, half, strideZero);     \
  }                                                                                          \
  QUORIN_API int32_t prefix##Destroy(void* instance) { return Destroy(instance); }

KAZ_OWN_FRAME_MODULE(QuorinClothesSegmentation, 0, 13, 0, 0)
KAZ_OWN_FRAME_MODULE(QuorinDepthEstimate, 1, 0, 1, 0)
KAZ_OWN_FRAME_MODULE(QuorinHumanAttributeSegments, 2, 0, 0, 0)
KAZ_OWN_FRAME_MODULE(QuorinSemanticSegmentation, 3, 0, 0, 1)

QUORIN_API int32_t QuorinSemanticSegmentationParamSet(void* instance, const char* name,
                                                      float value) {
  return SetParam(instance, name, value, "offset");
}

QUORIN_API int32_t QuorinFadeFilmCreate(const QuorinModuleConfig* config, void** instance) {
  return Create(NULL, config, instance, 0);
}

QUORIN_API int32_t QuorinFadeFilmParamSet(void* instance, const char* name, float value) {
  return SetParam(instance, name, value, "level");
}

QUORIN_API int32_t QuorinFadeFilmProcess(void* instance, const QuorinFrame* input,
                                         QuorinFrame* output) {
  KazInstance* live = Enter(instance);
  RecordFrames(input, output, NULL);
  int32_t status = 1;
  if (live != NULL && FrameOk(input, QUORIN_FORMAT_BGRA8) && FrameOk(output, QUORIN_FORMAT_BGRA8)) {
    status = 2;
    if (input->width == output->width && input->height == output->height) {
      for (int32_t y = 0; y < input->height; ++y) {
        const uint8_t* in = Pixel(input, 0, y, 4);
        uint8_t* out = output->planes[0] + (size_t)y * (size_t)Stride(output);
        for (int32_t i = 0; i < input->width * 4; ++i) out[i] = Saturate(in[i] + (int)live->param);
      }
      status = 0;
    }
  }
  Leave(live);
  return status;
}

QUORIN_API int32_t QuorinFadeFilmDestroy(void* instance) { return Destroy(instance); }

QUORIN_API int32_t QuorinWiperCreate(const QuorinModuleConfig* config, void** instance) {
  return Create(NULL, config, instance, 0);
}

QUORIN_API int32_t QuorinWiper(void* instance, const QuorinFrame* input, QuorinFrame* mask,
                               const QuorinFrame* aux) {
  KazInstance* live = Enter(instance);
  RecordFrames(input, mask, aux);
  int32_t status = 1;
  /* A guide must be a format 1 frame of the mask's size. */
  const int auxOk = aux == NULL || (FrameOk(aux, QUORIN_FORMAT_GRAY8_AUX) &&
                                    aux->width == mask->width && aux->height == mask->height);
  if (live != NULL && FrameOk(input, QUORIN_FORMAT_BGRA8) && FrameOk(mask, QUORIN_FORMAT_GRAY8) &&
      auxOk) {
    for (int32_t y = 0; y < mask->height; ++y) {
      const int32_t sy = (int32_t)((int64_t)y * input->height / mask->height);
      uint8_t* out = mask->planes[0] + (size_t)y * (size_t)Stride(mask);
      for (int32_t x = 0; x < mask->width; ++x) {
        const int32_t sx = (int32_t)((int64_t)x * input->width / mask->width);
        const uint8_t value = Pixel(input, sx, sy, 4)[2];
        const uint8_t guide = aux != NULL ? *Pixel(aux, x, y, 1) : 0;
        out[x] = guide > value ? guide : value;
      }
    }
    status = 0;
  }
  Leave(live);
  return status;
}

QUORIN_API int32_t QuorinWiperDestroy(void* instance) { return Destroy(instance); }

/* The landmark modules' own double is tests/effects/doubles/analysis_double.c; here stubs under
 * their names are enough to bind against. */
#ifndef KAZ_DOUBLE_LANDMARKS_ELSEWHERE
#define KAZ_STUB(name) \
  QUORIN_API int32_t name(void) { return 1; }
KAZ_STUB(QuorinPipelineFaceLandmarksV2Create)
KAZ_STUB(QuorinPipelineFaceLandmarksV2Process)
KAZ_STUB(QuorinPipelineFaceLandmarksV2OutputRelease)
KAZ_STUB(QuorinPipelineFaceLandmarksV2Destroy)
KAZ_STUB(QuorinPipelineFaceLandmarksV2StatusReset)
KAZ_STUB(QuorinHumanLandmarksCreate)
KAZ_STUB(QuorinHumanLandmarksProcess)
KAZ_STUB(QuorinHumanLandmarksOutputRelease)
KAZ_STUB(QuorinHumanLandmarksDestroy)
KAZ_STUB(QuorinHumanLandmarksStatusReset)
#endif
