/* SPDX-License-Identifier: MIT */
/* Test-double kernel: frames are plain records kept in a list, so that a free of anything the
 * kernel never handed out is counted, and frames a test leaves behind stay reachable. An entry
 * point is left out by defining its name to another, as a kernel lacking it would. */
#include <pthread.h>
#include <stdlib.h>

#include "double_probe.h"
#include "quorin/quorin_kernel.h"

typedef struct Node {
  QuorinFrame frame; /* first, so a frame's address is its node's */
  struct Node* next;
} Node;

static pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;
static Node* g_frames;
static KazKernelDoubleStats g_stats;

static int32_t BytesPerPixel(int32_t format) {
  switch (format) {
    case QUORIN_FORMAT_BGRA8:
      return 4;
    case QUORIN_FORMAT_GRAY8:
    case QUORIN_FORMAT_GRAY8_AUX:
      return 1;
    default:
      return 0;
  }
}

static QuorinFrame* Track(Node* node) {
  pthread_mutex_lock(&g_lock);
  node->next = g_frames;
  g_frames = node;
  g_stats.liveFrames++;
  pthread_mutex_unlock(&g_lock);
  return &node->frame;
}

QUORIN_API const char* KazDoubleScenario(void) { return KAZ_DOUBLE_SCENARIO; }

QUORIN_API void KazKernelDoubleStatsGet(KazKernelDoubleStats* stats) {
  pthread_mutex_lock(&g_lock);
  *stats = g_stats;
  pthread_mutex_unlock(&g_lock);
}

QUORIN_API QuorinFrame* QuorinVideoFrameAlloc(int32_t format, int32_t width, int32_t height) {
  const int32_t bpp = BytesPerPixel(format);
  if (bpp == 0 || width < 1 || height < 1) return NULL;
  Node* node = calloc(1, sizeof *node);
  if (node == NULL) return NULL;
  node->frame.planes[0] = calloc((size_t)width * (size_t)bpp, (size_t)height);
  if (node->frame.planes[0] == NULL) {
    free(node);
    return NULL;
  }
  node->frame.format = format;
  node->frame.flags = QUORIN_FRAME_OWNS_PIXELS;
  node->frame.planeCount = 1;
  node->frame.width = width;
  node->frame.height = height;
  node->frame.strides[0] = width * bpp;
  return Track(node);
}

QUORIN_API QuorinFrame* QuorinVideoFrameMake(uint8_t* const planes[3], int32_t format,
                                             int32_t reserved0, int32_t width, int32_t height,
                                             const int32_t strides[3], int32_t reserved1) {
  pthread_mutex_lock(&g_lock);
  g_stats.makeCalls++;
  g_stats.lastReserved0 = reserved0;
  g_stats.lastReserved1 = reserved1;
  pthread_mutex_unlock(&g_lock);
  const int32_t bpp = BytesPerPixel(format);
  if (planes == NULL || strides == NULL || planes[0] == NULL || bpp == 0) return NULL;
  if (width < 1 || height < 1 || strides[0] < width * bpp) return NULL;
  Node* node = calloc(1, sizeof *node);
  if (node == NULL) return NULL;
  for (int i = 0; i < 3; ++i) {
    node->frame.planes[i] = planes[i];
    node->frame.strides[i] = strides[i];
  }
  node->frame.format = format;
  node->frame.planeCount = 1;
  node->frame.width = width;
  node->frame.height = height;
  return Track(node);
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
  Node* found = NULL;
  pthread_mutex_lock(&g_lock);
  g_stats.freeCalls++;
  for (Node** link = &g_frames; *link != NULL; link = &(*link)->next) {
    if (&(*link)->frame == frame) {
      found = *link;
      *link = found->next;
      g_stats.liveFrames--;
      break;
    }
  }
  if (found == NULL) g_stats.unknownFrees++;
  pthread_mutex_unlock(&g_lock);
  if (found == NULL) return;
  if (found->frame.flags & QUORIN_FRAME_OWNS_PIXELS) free(found->frame.planes[0]);
  free(found);
}

QUORIN_API void KazKernelDoubleReleaseAll(void) {
  for (;;) {
    pthread_mutex_lock(&g_lock);
    QuorinFrame* frame = g_frames != NULL ? &g_frames->frame : NULL;
    pthread_mutex_unlock(&g_lock);
    if (frame == NULL) return;
    QuorinFrameFree(frame);
  }
}

QUORIN_API int32_t QuorinDefaultDeviceTypeGet(void) { return KAZ_DOUBLE_DEVICE_TYPE; }
