/* SPDX-License-Identifier: MIT */
/* What the analysis doubles (face pipeline, body landmarks) record beyond the common module
 * statistics, read by tests through the KazAnalysisDoubleStatsGet export. */
#ifndef KAZ_ANALYSIS_PROBE_H
#define KAZ_ANALYSIS_PROBE_H

#include "quorin/quorin_device_entry.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KazAnalysisDoubleStats {
  int32_t resets;
  int32_t outstanding; /* outputs handed out and not yet released */
  int32_t lastMode;
  int32_t lastResetMode;
  int32_t lastReserved;
  int32_t integrationGiven;     /* create got a non-null integration argument */
  int32_t slotsGiven;           /* create got both runtime slots (face) */
  QuorinDeviceEntry devices[3]; /* 3 for the face, 1 for the body */
  char paths[4][512];
} KazAnalysisDoubleStats;

#ifdef __cplusplus
}
#endif

#endif /* KAZ_ANALYSIS_PROBE_H */
