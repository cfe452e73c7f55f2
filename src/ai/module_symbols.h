// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "ai/library_symbols.h"
#include "quorin/quorin_clothes_segmentation.h"
#include "quorin/quorin_depth_estimate.h"
#include "quorin/quorin_fade_film.h"
#include "quorin/quorin_human_attribute_segments.h"
#include "quorin/quorin_human_landmarks.h"
#include "quorin/quorin_human_segment.h"
#include "quorin/quorin_pipeline_face_landmarks_v2.h"
#include "quorin/quorin_semantic_segmentation.h"
#include "quorin/quorin_wiper.h"

// One binding class per module library. Entry-point fields are in resolution order; the first
// missing one stops resolution, and it and all later ones stay null. Field types come from the
// public headers, so a prototype cannot drift from what runtimes are built against.
namespace THIRD_LIBRARY_IMPORT {

class QuorinHumanSegSymbols : public LibarySymbols {
 public:
  QuorinHumanSegSymbols() : LibarySymbols("quorin_module_human_segment.dll") {}
  decltype(&::QuorinHumanSegmentCreate) QuorinHumanSegmentCreate = nullptr;
  // Bound (a library without them does not bind) but never called: the module always gets
  // the caller's own image and mask sizes.
  decltype(&::QuorinHumanSegmentInputSizeGet) QuorinHumanSegmentInputSizeGet = nullptr;
  decltype(&::QuorinHumanSegmentOutputSizeSet) QuorinHumanSegmentOutputSizeSet = nullptr;
  decltype(&::QuorinHumanSegmentProcess) QuorinHumanSegmentProcess = nullptr;
  decltype(&::QuorinHumanSegmentDestroy) QuorinHumanSegmentDestroy = nullptr;

 protected:
  bool ResolveSymbols() override;
};

class QuorinClothesSegSymbols : public LibarySymbols {
 public:
  QuorinClothesSegSymbols() : LibarySymbols("quorin_module_clothes_segmentation.dll") {}
  decltype(&::QuorinClothesSegmentationCreate) QuorinClothesSegmentationCreate = nullptr;
  decltype(&::QuorinClothesSegmentationProcess) QuorinClothesSegmentationProcess = nullptr;
  decltype(&::QuorinClothesSegmentationDestroy) QuorinClothesSegmentationDestroy = nullptr;

 protected:
  bool ResolveSymbols() override;
};

class QuorinDepthEstimationSymbols : public LibarySymbols {
 public:
  QuorinDepthEstimationSymbols() : LibarySymbols("quorin_module_depth_estimate.dll") {}
  decltype(&::QuorinDepthEstimateCreate) QuorinDepthEstimateCreate = nullptr;
  decltype(&::QuorinDepthEstimateProcess) QuorinDepthEstimateProcess = nullptr;
  decltype(&::QuorinDepthEstimateDestroy) QuorinDepthEstimateDestroy = nullptr;

 protected:
  bool ResolveSymbols() override;
};

class QuorinFadeFilmSymbols : public LibarySymbols {
 public:
  QuorinFadeFilmSymbols() : LibarySymbols("quorin_module_fade_film.dll") {}
  decltype(&::QuorinFadeFilmCreate) QuorinFadeFilmCreate = nullptr;
  decltype(&::QuorinFadeFilmParamSet) QuorinFadeFilmParamSet = nullptr;
  decltype(&::QuorinFadeFilmProcess) QuorinFadeFilmProcess = nullptr;
  decltype(&::QuorinFadeFilmDestroy) QuorinFadeFilmDestroy = nullptr;

 protected:
  bool ResolveSymbols() override;
};

class QuorinHumanFaceInfoSymbols : public LibarySymbols {
 public:
  QuorinHumanFaceInfoSymbols() : LibarySymbols("quorin_module_pipeline_face_landmarks_v2.dll") {}
  decltype(&::QuorinPipelineFaceLandmarksV2Create) QuorinPipelineFaceLandmarksV2Create = nullptr;
  decltype(&::QuorinPipelineFaceLandmarksV2Process) QuorinPipelineFaceLandmarksV2Process = nullptr;
  decltype(&::QuorinPipelineFaceLandmarksV2OutputRelease)
      QuorinPipelineFaceLandmarksV2OutputRelease = nullptr;
  decltype(&::QuorinPipelineFaceLandmarksV2Destroy) QuorinPipelineFaceLandmarksV2Destroy = nullptr;
  decltype(&::QuorinPipelineFaceLandmarksV2StatusReset) QuorinPipelineFaceLandmarksV2StatusReset =
      nullptr;

 protected:
  bool ResolveSymbols() override;
};

class QuorinHumanPoseSymbols : public LibarySymbols {
 public:
  QuorinHumanPoseSymbols() : LibarySymbols("quorin_module_human_landmarks.dll") {}
  decltype(&::QuorinHumanLandmarksCreate) QuorinHumanLandmarksCreate = nullptr;
  decltype(&::QuorinHumanLandmarksProcess) QuorinHumanLandmarksProcess = nullptr;
  decltype(&::QuorinHumanLandmarksOutputRelease) QuorinHumanLandmarksOutputRelease = nullptr;
  decltype(&::QuorinHumanLandmarksDestroy) QuorinHumanLandmarksDestroy = nullptr;
  decltype(&::QuorinHumanLandmarksStatusReset) QuorinHumanLandmarksStatusReset = nullptr;

 protected:
  bool ResolveSymbols() override;
};

class QuorinHumanSkinSegmentSymbols : public LibarySymbols {
 public:
  QuorinHumanSkinSegmentSymbols() : LibarySymbols("quorin_module_human_attribute_segments.dll") {}
  decltype(&::QuorinHumanAttributeSegmentsCreate) QuorinHumanAttributeSegmentsCreate = nullptr;
  decltype(&::QuorinHumanAttributeSegmentsProcess) QuorinHumanAttributeSegmentsProcess = nullptr;
  decltype(&::QuorinHumanAttributeSegmentsDestroy) QuorinHumanAttributeSegmentsDestroy = nullptr;

 protected:
  bool ResolveSymbols() override;
};

class QuorinSemanticSegmentSymbols : public LibarySymbols {
 public:
  QuorinSemanticSegmentSymbols() : LibarySymbols("quorin_module_semantic_segmentation.dll") {}
  decltype(&::QuorinSemanticSegmentationCreate) QuorinSemanticSegmentationCreate = nullptr;
  decltype(&::QuorinSemanticSegmentationProcess) QuorinSemanticSegmentationProcess = nullptr;
  decltype(&::QuorinSemanticSegmentationParamSet) QuorinSemanticSegmentationParamSet = nullptr;
  decltype(&::QuorinSemanticSegmentationDestroy) QuorinSemanticSegmentationDestroy = nullptr;

 protected:
  bool ResolveSymbols() override;
};

class QuorinWiperSegSymbols : public LibarySymbols {
 public:
  QuorinWiperSegSymbols() : LibarySymbols("quorin_module_wiper.dll") {}
  decltype(&::QuorinWiperCreate) QuorinWiperCreate = nullptr;
  decltype(&::QuorinWiper) QuorinWiper = nullptr;
  decltype(&::QuorinWiperDestroy) QuorinWiperDestroy = nullptr;

 protected:
  bool ResolveSymbols() override;
};

// Process-wide bindings, made and loaded on first use (see ProcessBinding).
std::shared_ptr<QuorinHumanSegSymbols> GetQuorinHumanSegSymbols();
std::shared_ptr<QuorinClothesSegSymbols> GetQuorinClothesSegSymbols();
std::shared_ptr<QuorinDepthEstimationSymbols> GetQuorinDepthEstimationSymbols();
std::shared_ptr<QuorinFadeFilmSymbols> GetQuorinFadeFilmSymbols();
std::shared_ptr<QuorinHumanFaceInfoSymbols> GetQuorinHumanFaceInfoSymbols();
std::shared_ptr<QuorinHumanPoseSymbols> GetQuorinHumanPoseSymbols();
std::shared_ptr<QuorinHumanSkinSegmentSymbols> GetQuorinHumanSkinSegmentSymbols();
std::shared_ptr<QuorinSemanticSegmentSymbols> GetQuorinSemanticSegmentSymbols();
std::shared_ptr<QuorinWiperSegSymbols> GetQuorinWiperSegSymbols();

}  // namespace THIRD_LIBRARY_IMPORT
