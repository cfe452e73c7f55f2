/* SPDX-License-Identifier: MIT */
/* Human segmentation module ("quorin_module_human_segment.dll", "libquorin_module_human_segment.so"
 * on Linux). One instance holds one loaded model; calls on one instance must not overlap (the
 * plug-in serialises them), different instances may run at once. All functions return 0 on
 * success and a non-zero code on failure. */
#ifndef QUORIN_HUMAN_SEGMENT_H
#define QUORIN_HUMAN_SEGMENT_H

#include "quorin/quorin_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Loads the model file at modelPath and stores the new instance in *instance. */
QUORIN_API int32_t QuorinHumanSegmentCreate(const char* modelPath, const QuorinModuleConfig* config,
                                            void** instance);
/* The network's own input size (informational). */
QUORIN_API int32_t QuorinHumanSegmentInputSizeGet(void* instance, int32_t* width, int32_t* height);
/* A preferred output size (informational: Process always fills the output frame it is given). */
QUORIN_API int32_t QuorinHumanSegmentOutputSizeSet(void* instance, int32_t width, int32_t height);
/* Writes the person mask (0 background .. 255 person) of `input` (format 4) into `output`
 * (format 2), scaled to the output frame's size whatever the input's size. */
QUORIN_API int32_t QuorinHumanSegmentProcess(void* instance, const QuorinFrame* input,
                                             QuorinFrame* output);
/* Releases the instance; a null instance is accepted and answers 0. */
QUORIN_API int32_t QuorinHumanSegmentDestroy(void* instance);

#ifdef __cplusplus
}
#endif

#endif /* QUORIN_HUMAN_SEGMENT_H */
