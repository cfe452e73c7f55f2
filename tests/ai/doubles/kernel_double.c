/* SPDX-License-Identifier: MIT */
/* Test-double kernel: frame records live in a fixed table, so a frame a test leaves behind is no
 * leak, and a free of anything the kernel never handed out (or handed back already) aborts where
 * it happens. An entry point is left out by defining its name to another, as a kernel lacking it
 * would. */
#include <pthread.h>
#include <stdlib.h>

#include "double_probe.h"
#include "quorin/quorin_kernel.h"

typedef struct Slot {
  QuorinFrame frame;
  int live;
} Slot;

enum { kMaxFrames = 256 };
static pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;
static Slot g_frames[kMaxFrames];
static int32_t g_liveFrames;

static int32_t BytesPerPixel(int32_t format) {
  if (format == QUORIN_FORMAT_BGRA8) return 4;
  return format == QUORIN_FORMAT_GRAY8 || format == QUORIN_FORMAT_GRAY8_AUX ? 1 : 0;
}

/* A live copy of `frame` in a free slot; null when the table is full. */
static QuorinFrame* Track(const QuorinFrame* frame) {
  QuorinFrame* tracked = NULL;
  pthread_mutex_lock(&g_lock);
  for (int i = 0; i < kMaxFrames && tracked == NULL; ++i) {
    if (g_frames[i].live) continue;
    g_frames[i] = (Slot){*frame, 1};
    tracked = &g_frames[i].frame;
    g_liveFrames++;
  }
  pthread_mutex_unlock(&g_lock);
  return tracked;
}

QUORIN_API int32_t KazKernelDoubleLiveFrames(void) {
  pthread_mutex_lock(&g_lock);
  const int32_t live = g_liveFrames;
  pthread_mutex_unlock(&g_lock);
  return live;
}

QUORIN_API QuorinFrame* QuorinVideoFrameAlloc(int32_t format, int32_t width, int32_t height) {
  const int32_t bpp = BytesPerPixel(format);
  if (bpp == 0 || width < 1 || height < 1) return NULL;
  QuorinFrame frame = {.format = format,
                       .flags = QUORIN_FRAME_OWNS_PIXELS,
                       .planeCount = 1,
                       .width = width,
                       .height = height};
  frame.planes[0] = calloc((size_t)width * (size_t)bpp, (size_t)height);
  frame.strides[0] = width * bpp;
  QuorinFrame* tracked = frame.planes[0] != NULL ? Track(&frame) : NULL;
  if (tracked == NULL) free(frame.planes[0]);
  return tracked;
}

/* Only the first plane and row step are kept: the formats here have one plane. */
QUORIN_API QuorinFrame* QuorinVideoFrameMake(uint8_t* const planes[3], int32_t format,
                                             int32_t reserved0, int32_t width, int32_t height,
                                             const int32_t strides[3], int32_t reserved1) {
  const int32_t bpp = BytesPerPixel(format);
  if (planes == NULL || strides == NULL || planes[0] == NULL || bpp == 0) return NULL;
  if (width < 1 || height < 1 || strides[0] < width * bpp) return NULL;
  /* Both reserved arguments must be 0, so any other argument landing there shows. */
  if (reserved0 != 0 || reserved1 != 0) return NULL;
  QuorinFrame frame = {.format = format, .planeCount = 1, .width = width, .height = height};
  frame.planes[0] = planes[0];
  frame.strides[0] = strides[0];
  return Track(&frame);
}

QUORIN_API QuorinFrame* QuorinVideoOpenGLFrameMake(uint32_t texture, int32_t format, int32_t width,
                                                   int32_t height) {
  (void)texture;
  (void)format;
  (void)width;
  (void)height;
  return NULL;
}

QUORIN_API void QuorinFrameFree(QuorinFrame* frame) {
  if (frame == NULL) return;
  Slot* found = NULL;
  pthread_mutex_lock(&g_lock);
  for (int i = 0; i < kMaxFrames && found == NULL; ++i) {
    if (&g_frames[i].frame == frame && g_frames[i].live) found = &g_frames[i];
  }
  if (found == NULL) abort();
  found->live = 0;
  g_liveFrames--;
  if (found->frame.flags & QUORIN_FRAME_OWNS_PIXELS) free(found->frame.planes[0]);
  pthread_mutex_unlock(&g_lock);
}

QUORIN_API int32_t QuorinDefaultDeviceTypeGet(void) { return KAZ_DOUBLE_DEVICE_TYPE; }
