/* SPDX-License-Identifier: MIT */
/* Semantic segmentation module ("quorin_module_semantic_segmentation.dll",
 * "libquorin_module_semantic_segmentation.so" on Linux). One instance holds one loaded model;
 * calls on one instance must not overlap (the plug-in serialises them), different instances may
 * run at once. All functions return 0 on success and a non-zero code on failure. */
#ifndef QUORIN_SEMANTIC_SEGMENTATION_H
#define QUORIN_SEMANTIC_SEGMENTATION_H

#include "quorin/quorin_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Loads the model file at modelPath and stores the new instance in *instance. */
QUORIN_API int32_t QuorinSemanticSegmentationCreate(const char* modelPath,
                                                    const QuorinModuleConfig* config,
                                                    void** instance);
/* Segments `input` (format 4) into a single-channel frame (format 2) that the module allocates
 * through the kernel and stores in *output; the caller frees it with QuorinFrameFree, also when
 * the call failed after storing one. */
QUORIN_API int32_t QuorinSemanticSegmentationProcess(void* instance, const QuorinFrame* input,
                                                     QuorinFrame** output);
/* Sets a named parameter (NUL-terminated identifier) for the following process calls; an
 * identifier the module does not know answers non-zero and changes nothing. */
QUORIN_API int32_t QuorinSemanticSegmentationParamSet(void* instance, const char* name,
                                                      float value);
/* Releases the instance; a null instance is accepted and answers 0. */
QUORIN_API int32_t QuorinSemanticSegmentationDestroy(void* instance);

#ifdef __cplusplus
}
#endif

#endif /* QUORIN_SEMANTIC_SEGMENTATION_H */
