/* SPDX-License-Identifier: MIT */
/* Clothes segmentation module ("quorin_module_clothes_segmentation.dll",
 * "libquorin_module_clothes_segmentation.so" on Linux). One instance holds one loaded model;
 * calls on one instance must not overlap (the plug-in serialises them), different instances may
 * run at once. All functions return 0 on success and a non-zero code on failure. */
#ifndef QUORIN_CLOTHES_SEGMENTATION_H
#define QUORIN_CLOTHES_SEGMENTATION_H

#include "quorin/quorin_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Loads the model file at modelPath and stores the new instance in *instance. */
QUORIN_API int32_t QuorinClothesSegmentationCreate(const char* modelPath,
                                                   const QuorinModuleConfig* config,
                                                   void** instance);
/* Segments the clothes of `input` (format 4) into a single-channel frame (format 2, 0 .. 255)
 * that the module allocates through the kernel and stores in *output; the caller frees it with
 * QuorinFrameFree, also when the call failed after storing one. */
QUORIN_API int32_t QuorinClothesSegmentationProcess(void* instance, const QuorinFrame* input,
                                                    QuorinFrame** output);
/* Releases the instance; a null instance is accepted and answers 0. */
QUORIN_API int32_t QuorinClothesSegmentationDestroy(void* instance);

#ifdef __cplusplus
}
#endif

#endif /* QUORIN_CLOTHES_SEGMENTATION_H */
