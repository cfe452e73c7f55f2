/* SPDX-License-Identifier: MIT */
/* The device description that the landmark modules take at creation. */
#ifndef QUORIN_DEVICE_ENTRY_H
#define QUORIN_DEVICE_ENTRY_H

#include "quorin/quorin_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct QuorinDeviceEntry {
  int32_t deviceType; /* from QuorinDefaultDeviceTypeGet */
  int32_t reserved;   /* always 0 */
  int32_t threads;    /* always 4 */
  int32_t count;      /* always 1 */
} QuorinDeviceEntry;

#ifdef __cplusplus
}
#endif

#endif /* QUORIN_DEVICE_ENTRY_H */
