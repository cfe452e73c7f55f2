// SPDX-License-Identifier: MIT
#include "ai/module_symbols.h"

// Looks an entry point up by the field's own name, which is the exported name.
#define KAZ_RESOLVE(entry) Resolve(#entry, entry)

namespace THIRD_LIBRARY_IMPORT {

bool QuorinHumanSegSymbols::ResolveSymbols() {
  return KAZ_RESOLVE(QuorinHumanSegmentCreate) && KAZ_RESOLVE(QuorinHumanSegmentInputSizeGet) &&
         KAZ_RESOLVE(QuorinHumanSegmentOutputSizeSet) && KAZ_RESOLVE(QuorinHumanSegmentProcess) &&
         KAZ_RESOLVE(QuorinHumanSegmentDestroy);
}

bool QuorinClothesSegSymbols::ResolveSymbols() {
  return KAZ_RESOLVE(QuorinClothesSegmentationCreate) &&
         KAZ_RESOLVE(QuorinClothesSegmentationProcess) &&
         KAZ_RESOLVE(QuorinClothesSegmentationDestroy);
}

bool QuorinDepthEstimationSymbols::ResolveSymbols() {
  return KAZ_RESOLVE(QuorinDepthEstimateCreate) && KAZ_RESOLVE(QuorinDepthEstimateProcess) &&
         KAZ_RESOLVE(QuorinDepthEstimateDestroy);
}

bool QuorinFadeFilmSymbols::ResolveSymbols() {
  return KAZ_RESOLVE(QuorinFadeFilmCreate) && KAZ_RESOLVE(QuorinFadeFilmParamSet) &&
         KAZ_RESOLVE(QuorinFadeFilmProcess) && KAZ_RESOLVE(QuorinFadeFilmDestroy);
}

bool QuorinHumanFaceInfoSymbols::ResolveSymbols() {
  return KAZ_RESOLVE(QuorinPipelineFaceLandmarksV2Create) &&
         KAZ_RESOLVE(QuorinPipelineFaceLandmarksV2Process) &&
         KAZ_RESOLVE(QuorinPipelineFaceLandmarksV2OutputRelease) &&
         KAZ_RESOLVE(QuorinPipelineFaceLandmarksV2Destroy) &&
         KAZ_RESOLVE(QuorinPipelineFaceLandmarksV2StatusReset);
}

bool QuorinHumanPoseSymbols::ResolveSymbols() {
  return KAZ_RESOLVE(QuorinHumanLandmarksCreate) && KAZ_RESOLVE(QuorinHumanLandmarksProcess) &&
         KAZ_RESOLVE(QuorinHumanLandmarksOutputRelease) &&
         KAZ_RESOLVE(QuorinHumanLandmarksDestroy) && KAZ_RESOLVE(QuorinHumanLandmarksStatusReset);
}

bool QuorinHumanSkinSegmentSymbols::ResolveSymbols() {
  return KAZ_RESOLVE(QuorinHumanAttributeSegmentsCreate) &&
         KAZ_RESOLVE(QuorinHumanAttributeSegmentsProcess) &&
         KAZ_RESOLVE(QuorinHumanAttributeSegmentsDestroy);
}

bool QuorinSemanticSegmentSymbols::ResolveSymbols() {
  return KAZ_RESOLVE(QuorinSemanticSegmentationCreate) &&
         KAZ_RESOLVE(QuorinSemanticSegmentationProcess) &&
         KAZ_RESOLVE(QuorinSemanticSegmentationParamSet) &&
         KAZ_RESOLVE(QuorinSemanticSegmentationDestroy);
}

bool QuorinWiperSegSymbols::ResolveSymbols() {
  return KAZ_RESOLVE(QuorinWiperCreate) && KAZ_RESOLVE(QuorinWiper) &&
         KAZ_RESOLVE(QuorinWiperDestroy);
}

std::shared_ptr<QuorinHumanSegSymbols> GetQuorinHumanSegSymbols() {
  return ProcessBinding<QuorinHumanSegSymbols>();
}
std::shared_ptr<QuorinClothesSegSymbols> GetQuorinClothesSegSymbols() {
  return ProcessBinding<QuorinClothesSegSymbols>();
}
std::shared_ptr<QuorinDepthEstimationSymbols> GetQuorinDepthEstimationSymbols() {
  return ProcessBinding<QuorinDepthEstimationSymbols>();
}
std::shared_ptr<QuorinFadeFilmSymbols> GetQuorinFadeFilmSymbols() {
  return ProcessBinding<QuorinFadeFilmSymbols>();
}
std::shared_ptr<QuorinHumanFaceInfoSymbols> GetQuorinHumanFaceInfoSymbols() {
  return ProcessBinding<QuorinHumanFaceInfoSymbols>();
}
std::shared_ptr<QuorinHumanPoseSymbols> GetQuorinHumanPoseSymbols() {
  return ProcessBinding<QuorinHumanPoseSymbols>();
}
std::shared_ptr<QuorinHumanSkinSegmentSymbols> GetQuorinHumanSkinSegmentSymbols() {
  return ProcessBinding<QuorinHumanSkinSegmentSymbols>();
}
std::shared_ptr<QuorinSemanticSegmentSymbols> GetQuorinSemanticSegmentSymbols() {
  return ProcessBinding<QuorinSemanticSegmentSymbols>();
}
std::shared_ptr<QuorinWiperSegSymbols> GetQuorinWiperSegSymbols() {
  return ProcessBinding<QuorinWiperSegSymbols>();
}

}  // namespace THIRD_LIBRARY_IMPORT
