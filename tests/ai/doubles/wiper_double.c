/* SPDX-License-Identifier: MIT */
/* Test-double wiper module: mask = the input's R byte at the nearest input pixel (x * inWidth /
 * maskWidth, y * inHeight / maskHeight), raised to the guide's value where a guide is given.
 * A guide must be a format 1 frame of the mask's size. */
#include "double_module.h"
#include "quorin/quorin_wiper.h"

QUORIN_API int32_t QuorinWiperCreate(const QuorinModuleConfig* config, void** instance) {
  return KazDoubleCreate(NULL, config, instance, 1);
}

QUORIN_API int32_t QuorinWiper(void* instance, const QuorinFrame* input, QuorinFrame* mask,
                               const QuorinFrame* aux) {
  KazInstance* live = KazDoubleEnter(instance);
  KazDoubleRecordFrames(input, mask, aux);
  int32_t status = 1;
  const int auxOk = aux == NULL || (KazFrameOk(aux, QUORIN_FORMAT_GRAY8_AUX) &&
                                    aux->width == mask->width && aux->height == mask->height);
  if (live != NULL && KazFrameOk(input, QUORIN_FORMAT_BGRA8) &&
      KazFrameOk(mask, QUORIN_FORMAT_GRAY8) && auxOk) {
    for (int32_t y = 0; y < mask->height; ++y) {
      const int32_t sy = (int32_t)((int64_t)y * input->height / mask->height);
      const uint8_t* in = input->planes[0] + (size_t)sy * (size_t)KazStride(input);
      uint8_t* out = mask->planes[0] + (size_t)y * (size_t)KazStride(mask);
      const uint8_t* guide =
          aux != NULL ? aux->planes[0] + (size_t)y * (size_t)KazStride(aux) : NULL;
      for (int32_t x = 0; x < mask->width; ++x) {
        const int32_t sx = (int32_t)((int64_t)x * input->width / mask->width);
        uint8_t value = in[(size_t)sx * 4 + 2];
        if (guide != NULL && guide[x] > value) value = guide[x];
        out[x] = value;
      }
    }
    status = 0;
  }
  KazDoubleLeave(live);
  return status;
}

QUORIN_API int32_t QuorinWiperDestroy(void* instance) { return KazDoubleDestroy(instance); }
