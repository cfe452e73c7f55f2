/* SPDX-License-Identifier: MIT */
/* Test-double fade film module: output byte = input byte + "level" (saturated), all four
 * channels; input and output must have the same size. */
#include <string.h>

#include "double_module.h"
#include "quorin/quorin_fade_film.h"

QUORIN_API int32_t QuorinFadeFilmCreate(const QuorinModuleConfig* config, void** instance) {
  return KazDoubleCreate(NULL, config, instance, 1);
}

QUORIN_API int32_t QuorinFadeFilmParamSet(void* instance, const char* name, float value) {
  KazDoubleRecordParam(name, value);
  KazInstance* live = KazDoubleEnter(instance);
  int32_t status = 1;
  if (live != NULL && name != NULL && strcmp(name, "level") == 0) {
    live->param = value;
    status = 0;
  }
  KazDoubleLeave(live);
  return status;
}

QUORIN_API int32_t QuorinFadeFilmProcess(void* instance, const QuorinFrame* input,
                                         QuorinFrame* output) {
  KazInstance* live = KazDoubleEnter(instance);
  KazDoubleRecordFrames(input, output, NULL);
  int32_t status = 1;
  if (live != NULL && KazFrameOk(input, QUORIN_FORMAT_BGRA8) &&
      KazFrameOk(output, QUORIN_FORMAT_BGRA8)) {
    status = 2;
    if (input->width == output->width && input->height == output->height) {
      const int level = (int)live->param;
      for (int32_t y = 0; y < input->height; ++y) {
        const uint8_t* in = input->planes[0] + (size_t)y * (size_t)KazStride(input);
        uint8_t* out = output->planes[0] + (size_t)y * (size_t)KazStride(output);
        for (int32_t i = 0; i < input->width * 4; ++i) {
          const int value = in[i] + level;
          out[i] = (uint8_t)(value < 0 ? 0 : value > 255 ? 255 : value);
        }
      }
      status = 0;
    }
  }
  KazDoubleLeave(live);
  return status;
}

QUORIN_API int32_t QuorinFadeFilmDestroy(void* instance) { return KazDoubleDestroy(instance); }
