/* SPDX-License-Identifier: MIT */
/* Wiper segmentation module ("quorin_module_wiper.dll", "libquorin_module_wiper.so" on Linux).
 * It loads no model. Calls on one instance must not overlap (the plug-in serialises them),
 * different instances may run at once. All functions return 0 on success and a non-zero code on
 * failure. */
#ifndef QUORIN_WIPER_H
#define QUORIN_WIPER_H

#include "quorin/quorin_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Stores a new instance in *instance. */
QUORIN_API int32_t QuorinWiperCreate(const QuorinModuleConfig* config, void** instance);
/* Writes the wiper mask (0 .. 255) of `input` (format 4) into `mask` (format 2), scaled to the
 * mask's size. `aux` (format 1) is an optional guide of the mask's size; null when absent. All
 * three are frames over the caller's pixels. */
QUORIN_API int32_t QuorinWiper(void* instance, const QuorinFrame* input, QuorinFrame* mask,
                               const QuorinFrame* aux);
/* Releases the instance; a null instance is accepted and answers 0. */
QUORIN_API int32_t QuorinWiperDestroy(void* instance);

#ifdef __cplusplus
}
#endif

#endif /* QUORIN_WIPER_H */
