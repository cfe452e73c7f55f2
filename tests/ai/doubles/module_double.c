/* SPDX-License-Identifier: MIT */
/* Test-double module library: one source, built under each module's file name, exporting every
 * module's entry points but the landmark ones. Variants by compile definition:
 *   KAZ_DOUBLE_CREATE_FAILS  every create answers 3 and leaves the instance null
 *   <EntryPoint>=<OtherName> leaves that entry point out, as a library lacking it would
 * Creation with a model fails (status 2) for a path not ending in ".model".
 * Each module paints its output from the input: output pixel x, y takes the input pixel at
 * x * inWidth / outWidth, y * inHeight / outHeight, all four bytes for a BGRA output, else the
 * byte the module reads (0 B, 1 G, 2 R, 3 A).
 * Human segmentation: the mask KAZ_DOUBLE_HUMANSEG_MASK chooses on every call, "ramp" (the
 * default) (x + 2y) mod 256, "fill:V" V everywhere, "channel:C" byte C, "fail:V" V everywhere
 * and status 9; anything else answers 8.
 * Clothes, depth, skin and semantic hand back a frame of their own from the kernel, each laid
 * out differently: clothes byte 0, rows padded by 13 bytes of 0xEE; depth byte 1 at
 * ceil(w / 2) x ceil(h / 2); skin byte 2, rows exactly width bytes; semantic byte 3 plus its
 * "offset" parameter (saturated), row step given as 0. With KAZ_DOUBLE_FRAME_MODULE_FAIL set
 * they still hand back their frame but answer 3.
 * Fade film: every byte plus "level" (saturated); sizes must be equal.
 * Wiper: byte 2, raised to the guide's value where a guide is given. */
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
  int live;
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
/* Static, so an instance a test never destroys is no leak once the library is unloaded. */
static KazInstance g_instances[kMaxInstances];

QUORIN_API void KazModuleDoubleStatsGet(KazModuleDoubleStats* stats) {
  pthread_mutex_lock(&g_lock);
  *stats = g_stats;
  pthread_mutex_unlock(&g_lock);
}

/* The live instance at this address, or null. */
static KazInstance* LiveInstance(const void* instance) {
  for (int i = 0; i < kMaxInstances; ++i) {
    if (instance == &g_instances[i] && g_instances[i].live) return &g_instances[i];
  }
  return NULL;
}

static int ModelPathOk(const char* path) {
  static const char kSuffix[] = ".model";
  const size_t length = path != NULL ? strlen(path) : 0;
  return length >= sizeof kSuffix && strcmp(path + length - (sizeof kSuffix - 1), kSuffix) == 0;
}

/* A null model path stands for a module that takes none. */
static int32_t Create(const char* modelPath, const QuorinModuleConfig* config, void** instance,
                      int takesModel) {
  pthread_mutex_lock(&g_lock);
  g_stats.createCalls++;
  snprintf(g_stats.lastModelPath, sizeof g_stats.lastModelPath, "%s", modelPath ? modelPath : "");
  if (config != NULL) g_stats.lastConfig = *config;
  KazInstance* slot = NULL;
  for (int i = 0; i < kMaxInstances && slot == NULL; ++i) {
    if (!g_instances[i].live) slot = &g_instances[i];
  }
  int32_t status = 0;
  if (instance == NULL || config == NULL) {
    status = 1;
  } else if (kCreateFails) {
    status = 3;
  } else if (takesModel && !ModelPathOk(modelPath)) {
    status = 2;
  } else if (slot == NULL) {
    status = 4;
  } else {
    *slot = (KazInstance){1, 0, 0.0f};
    *instance = slot;
    g_stats.liveInstances++;
  }
  pthread_mutex_unlock(&g_lock);
  return status;
}

static int32_t Destroy(void* instance) {
  pthread_mutex_lock(&g_lock);
  g_stats.destroyCalls++;
  if (instance == NULL) g_stats.destroyNullCalls++;
  KazInstance* live = LiveInstance(instance);
  if (live != NULL) {
    live->live = 0;
    g_stats.liveInstances--;
  }
  pthread_mutex_unlock(&g_lock);
  return instance == NULL || live != NULL ? 0 : 1;
}

/* Enters a call on a live instance (null for anything else), noting overlaps. The delay in
 * KAZ_DOUBLE_DELAY_US (microseconds) widens the window in which an overlap would show. */
static KazInstance* Enter(void* instance) {
  pthread_mutex_lock(&g_lock);
  g_stats.processCalls++;
  KazInstance* live = LiveInstance(instance);
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

static KazFrameShape Shape(const QuorinFrame* f) {
  if (f == NULL) return (KazFrameShape){0, 0, 0, 0, NULL};
  return (KazFrameShape){f->format, f->width, f->height, f->strides[0], f->planes[0]};
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
  KazInstance* live = Enter(instance);
  const int32_t status = live != NULL && name != NULL && strcmp(name, known) == 0 ? 0 : 1;
  if (status == 0) live->param = value;
  Leave(live);
  return status;
}

static int32_t BytesPerPixel(const QuorinFrame* frame) {
  return frame->format == QUORIN_FORMAT_BGRA8 ? 4 : 1;
}

/* Row step in bytes (a stride of 0 means width bytes). */
static int32_t Stride(const QuorinFrame* frame) {
  return frame->strides[0] == 0 ? frame->width * BytesPerPixel(frame) : frame->strides[0];
}

/* True for a frame of `format` with pixels, a positive size and rows long enough. */
static int FrameOk(const QuorinFrame* frame, int32_t format) {
  return frame != NULL && frame->format == format && frame->planes[0] != NULL &&
         frame->width >= 1 && frame->height >= 1 &&
         Stride(frame) >= frame->width * BytesPerPixel(frame);
}

static uint8_t* Pixel(const QuorinFrame* frame, int32_t x, int32_t y) {
  return frame->planes[0] + (size_t)y * (size_t)Stride(frame) +
         (size_t)x * (size_t)BytesPerPixel(frame);
}

/* Paints `out` from `in` as described at the top, each byte raised by `add` (saturated) and then
 * to the guide's value. */
static void Paint(const QuorinFrame* in, QuorinFrame* out, int channel, int add,
                  const QuorinFrame* guide) {
  const int32_t bpp = BytesPerPixel(out);
  for (int32_t y = 0; y < out->height; ++y) {
    const int32_t sy = (int32_t)((int64_t)y * in->height / out->height);
    for (int32_t x = 0; x < out->width; ++x) {
      const uint8_t* from = Pixel(in, (int32_t)((int64_t)x * in->width / out->width), sy);
      const int least = guide != NULL ? *Pixel(guide, x, y) : 0;
      for (int32_t b = 0; b < bpp; ++b) {
        const int value = from[bpp == 4 ? b : channel] + add;
        Pixel(out, x, y)[b] = (uint8_t)(value < least ? least : value > 255 ? 255 : value);
      }
    }
  }
}

static int32_t WriteMask(const QuorinFrame* in, QuorinFrame* out) {
  const char* pattern = getenv("KAZ_DOUBLE_HUMANSEG_MASK");
  int fill = -1, channel = -1;
  int32_t status = 0;
  if (pattern == NULL || *pattern == '\0' || strcmp(pattern, "ramp") == 0) {
  } else if (sscanf(pattern, "fill:%d", &fill) == 1) {
  } else if (sscanf(pattern, "channel:%d", &channel) == 1 && channel >= 0 && channel < 4) {
    Paint(in, out, channel, 0, NULL);
    return 0;
  } else if (sscanf(pattern, "fail:%d", &fill) == 1) {
    status = 9;
  } else {
    return 8;
  }
  for (int32_t y = 0; y < out->height; ++y) {
    for (int32_t x = 0; x < out->width; ++x) {
      *Pixel(out, x, y) = (uint8_t)(fill >= 0 ? fill : (x + 2 * y) & 255);
    }
  }
  return status;
}

QUORIN_API int32_t QuorinHumanSegmentCreate(const char* modelPath, const QuorinModuleConfig* config,
                                            void** instance) {
  return Create(modelPath, config, instance, 1);
}

/* The plug-in binds the size calls but never makes them: were it to, they would fail. */
QUORIN_API int32_t QuorinHumanSegmentInputSizeGet(void* instance, int32_t* width, int32_t* height) {
  (void)instance;
  (void)width;
  (void)height;
  return 1;
}

QUORIN_API int32_t QuorinHumanSegmentOutputSizeSet(void* instance, int32_t width, int32_t height) {
  (void)instance;
  (void)width;
  (void)height;
  return 1;
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

static int32_t OwnFrameProcess(void* instance, const QuorinFrame* input, QuorinFrame** output,
                               int channel, int padding, int half, int strideZero) {
  KazInstance* live = Enter(instance);
  RecordFrames(input, NULL, NULL);
  int32_t status = 1;
  if (live != NULL && output != NULL && FrameOk(input, QUORIN_FORMAT_BGRA8)) {
    const int32_t width = half ? (input->width + 1) / 2 : input->width;
    const int32_t height = half ? (input->height + 1) / 2 : input->height;
    QuorinFrame* out = KernelAlloc(QUORIN_FORMAT_GRAY8, width + padding, height);
    if (out != NULL) {
      memset(out->planes[0], 0xEE, (size_t)out->strides[0] * (size_t)height);
      out->width = width;
      Paint(input, out, channel, (int)live->param, NULL);
      if (strideZero) out->strides[0] = 0;
    }
    *output = out;
    status = out == NULL ? 5 : getenv("KAZ_DOUBLE_FRAME_MODULE_FAIL") != NULL ? 3 : 0;
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
    const int sameSize = input->width == output->width && input->height == output->height;
    if (sameSize) Paint(input, output, 0, (int)live->param, NULL);
    status = sameSize ? 0 : 2;
  }
  Leave(live);
  return status;
}

QUORIN_API int32_t QuorinFadeFilmDestroy(void* instance) { return Destroy(instance); }

QUORIN_API int32_t QuorinWiperCreate(const QuorinModuleConfig* config, void** instance) {
  return Create(NULL, config, instance, 0);
}

/* A guide must be a format 1 frame of the mask's size. */
QUORIN_API int32_t QuorinWiper(void* instance, const QuorinFrame* input, QuorinFrame* mask,
                               const QuorinFrame* aux) {
  KazInstance* live = Enter(instance);
  RecordFrames(input, mask, aux);
  int32_t status = 1;
  if (live != NULL && FrameOk(input, QUORIN_FORMAT_BGRA8) && FrameOk(mask, QUORIN_FORMAT_GRAY8) &&
      (aux == NULL || (FrameOk(aux, QUORIN_FORMAT_GRAY8_AUX) && aux->width == mask->width &&
                       aux->height == mask->height))) {
    Paint(input, mask, 2, 0, aux);
    status = 0;
  }
  Leave(live);
  return status;
}

QUORIN_API int32_t QuorinWiperDestroy(void* instance) { return Destroy(instance); }
