/* SPDX-License-Identifier: MIT */
/* Depth estimation module ("quorin_module_depth_estimate.dll",
 * "libquorin_module_depth_estimate.so" on Linux). One instance holds one loaded model; calls on
 * one instance must not overlap (the plug-in serialises them), different instances may run at
 * once. All functions return 0 on success and a non-zero code on failure. */
#ifndef QUORIN_DEPTH_ESTIMATE_H
#define QUORIN_DEPTH_ESTIMATE_H

#include "quorin/quorin_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Loads the model file at modelPath and stores the new instance in *instance. */
QUORIN_API int32_t QuorinDepthEstimateCreate(const char* modelPath,
                                             const QuorinModuleConfig* config, void** instance);
/* Estimates the depth of `input` (format 4) into a single-channel frame (format 2, 0 far ..
 * 255 near, of a size the module chooses) that the module allocates through the kernel and
 * stores in *output; the caller frees it with QuorinFrameFree, also when the call failed after
 * storing one. */
QUORIN_API int32_t QuorinDepthEstimateProcess(void* instance, const QuorinFrame* input,
                                              QuorinFrame** output);
/* Releases the instance; a null instance is accepted and answers 0. */
QUORIN_API int32_t QuorinDepthEstimateDestroy(void* instance);

#ifdef __cplusplus
}
#endif

#endif /* QUORIN_DEPTH_ESTIMATE_H */
