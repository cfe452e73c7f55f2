/* SPDX-License-Identifier: MIT */
/* Fade film module ("quorin_module_fade_film.dll", "libquorin_module_fade_film.so" on Linux).
 * It loads no model. Calls on one instance must not overlap (the plug-in serialises them),
 * different instances may run at once. All functions return 0 on success and a non-zero code on
 * failure. */
#ifndef QUORIN_FADE_FILM_H
#define QUORIN_FADE_FILM_H

#include "quorin/quorin_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Stores a new instance in *instance. */
QUORIN_API int32_t QuorinFadeFilmCreate(const QuorinModuleConfig* config, void** instance);
/* Sets a named parameter (NUL-terminated identifier) for the following process calls; an
 * identifier the module does not know answers non-zero and changes nothing. */
QUORIN_API int32_t QuorinFadeFilmParamSet(void* instance, const char* name, float value);
/* Renders `input` into `output`, both format 4 frames over the caller's pixels. */
QUORIN_API int32_t QuorinFadeFilmProcess(void* instance, const QuorinFrame* input,
                                         QuorinFrame* output);
/* Releases the instance; a null instance is accepted and answers 0. */
QUORIN_API int32_t QuorinFadeFilmDestroy(void* instance);

#ifdef __cplusplus
}
#endif

#endif /* QUORIN_FADE_FILM_H */
