/* SPDX-License-Identifier: MIT */
/* Test-double human segmentation module. The mask it writes is chosen by the environment
 * variable KAZ_DOUBLE_HUMANSEG_MASK, read on every process call (output pixel x, y; input
 * pixel taken at x * inWidth / outWidth, y * inHeight / outHeight):
 *   ramp (default)           (x + 2y) mod 256
 *   fill:V                   V everywhere
 *   rect:X0,Y0,X1,Y1:IN:OUT  IN where X0 <= x < X1 and Y0 <= y < Y1, OUT elsewhere
 *   channel:C                the input's byte C (0 B, 1 G, 2 R, 3 A) at the input pixel
 *   fail                     writes nothing and answers 9
 *   fail:V                   writes V everywhere and answers 9
 * Anything else answers 8. Creation fails (status 2) for a model path not ending in ".model".
 * Variants: KAZ_DOUBLE_CREATE_FAILS (create always answers 3, leaving the instance null) and
 * KAZ_DOUBLE_LACKS_OUTPUT_SIZE_SET (the third entry point is missing). */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "double_module.h"
#include "quorin/quorin_human_segment.h"

static int32_t WriteMask(const QuorinFrame* in, QuorinFrame* out) {
  const char* pattern = getenv("KAZ_DOUBLE_HUMANSEG_MASK");
  if (pattern == NULL || *pattern == '\0') pattern = "ramp";
  int fill = -1, channel = -1, x0 = 0, y0 = 0, x1 = 0, y1 = 0, inside = 0, outside = 0;
  int rect = 0;
  int32_t status = 0;
  if (strcmp(pattern, "ramp") == 0) {
  } else if (sscanf(pattern, "fill:%d", &fill) == 1) {
  } else if (sscanf(pattern, "rect:%d,%d,%d,%d:%d:%d", &x0, &y0, &x1, &y1, &inside, &outside) ==
             6) {
    rect = 1;
  } else if (sscanf(pattern, "channel:%d", &channel) == 1 && channel >= 0 && channel < 4) {
  } else if (strcmp(pattern, "fail") == 0) {
    return 9;
  } else if (sscanf(pattern, "fail:%d", &fill) == 1) {
    status = 9;
  } else {
    return 8;
  }
  const int32_t inStride = KazStride(in), outStride = KazStride(out);
  for (int32_t y = 0; y < out->height; ++y) {
    uint8_t* row = out->planes[0] + (size_t)y * (size_t)outStride;
    const int32_t sy = (int32_t)((int64_t)y * in->height / out->height);
    const uint8_t* source = in->planes[0] + (size_t)sy * (size_t)inStride;
    for (int32_t x = 0; x < out->width; ++x) {
      int value;
      if (fill >= 0) {
        value = fill;
      } else if (rect) {
        value = x >= x0 && x < x1 && y >= y0 && y < y1 ? inside : outside;
      } else if (channel >= 0) {
        const int32_t sx = (int32_t)((int64_t)x * in->width / out->width);
        value = source[(size_t)sx * 4 + (size_t)channel];
      } else {
        value = (x + 2 * y) & 255;
      }
      row[x] = (uint8_t)value;
    }
  }
  return status;
}

QUORIN_API int32_t QuorinHumanSegmentCreate(const char* modelPath, const QuorinModuleConfig* config,
                                            void** instance) {
#ifdef KAZ_DOUBLE_CREATE_FAILS
  return KazDoubleCreate(modelPath, config, instance, 0);
#else
  const int32_t status = KazDoubleCreate(modelPath, config, instance, KazModelPathOk(modelPath));
  return status == 3 ? 2 : status;
#endif
}

QUORIN_API int32_t QuorinHumanSegmentInputSizeGet(void* instance, int32_t* width, int32_t* height) {
  (void)instance;
  KazDoubleCountSizeCall();
  if (width == NULL || height == NULL) return 1;
  *width = 256;
  *height = 256;
  return 0;
}

#ifndef KAZ_DOUBLE_LACKS_OUTPUT_SIZE_SET
QUORIN_API int32_t QuorinHumanSegmentOutputSizeSet(void* instance, int32_t width, int32_t height) {
  (void)instance;
  (void)width;
  (void)height;
  KazDoubleCountSizeCall();
  return 0;
}
#endif

QUORIN_API int32_t QuorinHumanSegmentProcess(void* instance, const QuorinFrame* input,
                                             QuorinFrame* output) {
  KazInstance* live = KazDoubleEnter(instance);
  KazDoubleRecordFrames(input, output, NULL);
  int32_t status = 1;
  if (live != NULL && KazFrameOk(input, QUORIN_FORMAT_BGRA8) &&
      KazFrameOk(output, QUORIN_FORMAT_GRAY8)) {
    status = WriteMask(input, output);
  }
  KazDoubleLeave(live);
  return status;
}

QUORIN_API int32_t QuorinHumanSegmentDestroy(void* instance) { return KazDoubleDestroy(instance); }
