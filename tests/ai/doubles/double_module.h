/* SPDX-License-Identifier: MIT */
/* Bookkeeping shared by the module doubles: live instances, call records, overlap detection. */
#ifndef KAZ_DOUBLE_MODULE_H
#define KAZ_DOUBLE_MODULE_H

#include "double_probe.h"

typedef struct KazInstance {
  int busy;
  float param;
} KazInstance;

/* Records a create call; with `succeed` makes a new instance. Answers the module's status. */
int32_t KazDoubleCreate(const char* modelPath, const QuorinModuleConfig* config, void** instance,
                        int succeed);
int32_t KazDoubleDestroy(void* instance);
/* Enters a process call on a live instance (null for anything else), noting overlaps. The delay
 * in KAZ_DOUBLE_DELAY_US (microseconds) widens the window in which an overlap would show. */
KazInstance* KazDoubleEnter(void* instance);
void KazDoubleLeave(KazInstance* instance);
void KazDoubleRecordFrames(const QuorinFrame* input, const QuorinFrame* output,
                           const QuorinFrame* aux);
void KazDoubleRecordParam(const char* name, float value);
void KazDoubleCountSizeCall(void);
/* True for a frame of `format` with pixels, a positive size and rows long enough. */
int KazFrameOk(const QuorinFrame* frame, int32_t format);
/* Row step in bytes (a stride of 0 means width bytes). */
int32_t KazStride(const QuorinFrame* frame);
/* True when `path` ends in ".model", as every model file of the runtime does; a directory or an
 * empty path does not. */
int KazModelPathOk(const char* path);

#endif /* KAZ_DOUBLE_MODULE_H */
