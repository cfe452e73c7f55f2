/* SPDX-License-Identifier: MIT */
/* Test-double modules that hand back a single-channel frame of their own, allocated through the
 * kernel. Built once per module; each copies one input byte per pixel and lays its frame out
 * differently, so the plug-in's reading of width, height, pixels and row step is exercised:
 *   clothes   byte 0 (B), input size, rows padded by 13 bytes of 0xEE
 *   depth     byte 1 (G) of every second pixel and row: ceil(w / 2) x ceil(h / 2)
 *   skin      byte 2 (R), input size, rows exactly width bytes
 *   semantic  byte 3 (A) plus the "offset" parameter (saturated), row step given as 0
 * With KAZ_DOUBLE_FRAME_MODULE_FAIL set, process still hands back its frame but answers 3.
 * Creation fails (status 2) for a model path not ending in ".model". */
#include <stdlib.h>
#include <string.h>

#include "double_module.h"

#define KAZ_CAT2(a, b) a##b
#define KAZ_CAT(a, b) KAZ_CAT2(a, b)

#if defined(KAZ_DOUBLE_CLOTHES)
#include "quorin/quorin_clothes_segmentation.h"
#define KAZ_ENTRY(name) KAZ_CAT(QuorinClothesSegmentation, name)
enum { kChannel = 0, kPadding = 13, kHalf = 0, kStrideZero = 0 };
#elif defined(KAZ_DOUBLE_DEPTH)
#include "quorin/quorin_depth_estimate.h"
#define KAZ_ENTRY(name) KAZ_CAT(QuorinDepthEstimate, name)
enum { kChannel = 1, kPadding = 0, kHalf = 1, kStrideZero = 0 };
#elif defined(KAZ_DOUBLE_SKIN)
#include "quorin/quorin_human_attribute_segments.h"
#define KAZ_ENTRY(name) KAZ_CAT(QuorinHumanAttributeSegments, name)
enum { kChannel = 2, kPadding = 0, kHalf = 0, kStrideZero = 0 };
#elif defined(KAZ_DOUBLE_SEMANTIC)
#include "quorin/quorin_semantic_segmentation.h"
#define KAZ_ENTRY(name) KAZ_CAT(QuorinSemanticSegmentation, name)
enum { kChannel = 3, kPadding = 0, kHalf = 0, kStrideZero = 1 };
#else
#error "choose a module"
#endif

QUORIN_API int32_t KAZ_ENTRY(Create)(const char* modelPath, const QuorinModuleConfig* config,
                                     void** instance) {
  const int32_t status = KazDoubleCreate(modelPath, config, instance, KazModelPathOk(modelPath));
  return status == 3 ? 2 : status;
}

static QuorinFrame* Render(const QuorinFrame* in, float offset) {
  const int32_t width = kHalf ? (in->width + 1) / 2 : in->width;
  const int32_t height = kHalf ? (in->height + 1) / 2 : in->height;
  const int32_t step = kHalf ? 2 : 1;
  QuorinFrame* out = QuorinVideoFrameAlloc(QUORIN_FORMAT_GRAY8, width + kPadding, height);
  if (out == NULL) return NULL;
  memset(out->planes[0], 0xEE, (size_t)out->strides[0] * (size_t)height);
  out->width = width;
  const int32_t inStride = KazStride(in), outStride = out->strides[0];
  for (int32_t y = 0; y < height; ++y) {
    const uint8_t* source = in->planes[0] + (size_t)(y * step) * (size_t)inStride;
    uint8_t* row = out->planes[0] + (size_t)y * (size_t)outStride;
    for (int32_t x = 0; x < width; ++x) {
      int value = source[(size_t)(x * step) * 4 + kChannel] + (int)offset;
      row[x] = (uint8_t)(value < 0 ? 0 : value > 255 ? 255 : value);
    }
  }
  if (kStrideZero) out->strides[0] = 0;
  return out;
}

QUORIN_API int32_t KAZ_ENTRY(Process)(void* instance, const QuorinFrame* input,
                                      QuorinFrame** output) {
  KazInstance* live = KazDoubleEnter(instance);
  KazDoubleRecordFrames(input, NULL, NULL);
  int32_t status = 1;
  if (live != NULL && output != NULL && KazFrameOk(input, QUORIN_FORMAT_BGRA8)) {
    *output = Render(input, live->param);
    status = *output == NULL ? 5 : getenv("KAZ_DOUBLE_FRAME_MODULE_FAIL") != NULL ? 3 : 0;
  }
  KazDoubleLeave(live);
  return status;
}

#if defined(KAZ_DOUBLE_SEMANTIC)
QUORIN_API int32_t KAZ_ENTRY(ParamSet)(void* instance, const char* name, float value) {
  KazDoubleRecordParam(name, value);
  KazInstance* live = KazDoubleEnter(instance);
  int32_t status = 1;
  if (live != NULL && name != NULL && strcmp(name, "offset") == 0) {
    live->param = value;
    status = 0;
  }
  KazDoubleLeave(live);
  return status;
}
#endif

QUORIN_API int32_t KAZ_ENTRY(Destroy)(void* instance) { return KazDoubleDestroy(instance); }
