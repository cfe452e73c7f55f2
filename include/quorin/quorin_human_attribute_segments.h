/* SPDX-License-Identifier: MIT */
/* Human attribute (skin) segmentation module ("quorin_module_human_attribute_segments.dll",
 * "libquorin_module_human_attribute_segments.so" on Linux). One instance holds one loaded model;
 * calls on one instance must not overlap (the plug-in serialises them), different instances may
 * run at once. All functions return 0 on success and a non-zero code on failure. */
#ifndef QUORIN_HUMAN_ATTRIBUTE_SEGMENTS_H
#define QUORIN_HUMAN_ATTRIBUTE_SEGMENTS_H

#include "quorin/quorin_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Loads the model file at modelPath and stores the new instance in *instance. */
QUORIN_API int32_t QuorinHumanAttributeSegmentsCreate(const char* modelPath,
                                                      const QuorinModuleConfig* config,
                                                      void** instance);
/* Segments the skin of `input` (format 4) into a single-channel frame (format 2, 0 .. 255) that
 * the module allocates through the kernel and stores in *output; the caller frees it with
 * QuorinFrameFree, also when the call failed after storing one. */
QUORIN_API int32_t QuorinHumanAttributeSegmentsProcess(void* instance, const QuorinFrame* input,
                                                       QuorinFrame** output);
/* Releases the instance; a null instance is accepted and answers 0. */
QUORIN_API int32_t QuorinHumanAttributeSegmentsDestroy(void* instance);

#ifdef __cplusplus
}
#endif

#endif /* QUORIN_HUMAN_ATTRIBUTE_SEGMENTS_H */
