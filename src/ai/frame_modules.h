// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include <opencv2/core/mat.hpp>

#include "ai/module_symbols.h"

// The wrappers of the modules that hand back a single-channel frame of their own (clothes,
// depth, skin, semantic). Same rules as QuorinHumanSeg: one creation attempt in the
// constructor, Process serialised by the wrapper's lock, no exception leaves any member.
class QuorinOwnFrameModule {
 public:
  virtual ~QuorinOwnFrameModule();
  QuorinOwnFrameModule(const QuorinOwnFrameModule&) = delete;
  QuorinOwnFrameModule& operator=(const QuorinOwnFrameModule&) = delete;

  // Runs the module on `image` (8-bit BGRA) and copies its frame into `result`, which takes the
  // module's size (8-bit single channel; reallocated only when its size or type differs). True
  // when the module reported success and its frame was usable. The module's frame goes back to
  // the kernel in every case.
  bool Process(const cv::Mat& image, cv::Mat& result);

  bool Created() const { return created_; }
  const std::string& ModelPath() const { return modelPath_; }
  const std::string& ModelDirectory() const { return modelDirectory_; }

 protected:
  using CreateFn = int32_t (*)(const char*, const QuorinModuleConfig*, void**);
  using ProcessFn = int32_t (*)(void*, const QuorinFrame*, QuorinFrame**);
  using DestroyFn = int32_t (*)(void*);
  struct Entries {
    std::shared_ptr<const THIRD_LIBRARY_IMPORT::LibarySymbols> binding;  // keeps it loaded
    CreateFn create = nullptr;
    ProcessFn process = nullptr;
    DestroyFn destroy = nullptr;
  };

  QuorinOwnFrameModule(const char* name, Entries entries, std::string modelDirectory,
                       const char* modelFile);

  template <typename Binding, typename Create, typename Process, typename Destroy>
  static Entries EntriesOf(const std::shared_ptr<Binding>& binding, Create Binding::*create,
                           Process Binding::*process, Destroy Binding::*destroy) {
    if (!binding) return {};
    return {binding, (*binding).*create, (*binding).*process, (*binding).*destroy};
  }

  // For calls of a derived wrapper into the same instance.
  std::mutex& Lock() { return lock_; }
  void* Instance() const { return instance_; }

 private:
  const char* name_;
  bool created_ = false;
  void* instance_ = nullptr;
  std::string modelDirectory_;
  std::string modelPath_;
  std::mutex lock_;
  Entries entries_;
};

// Clothes segmentation.
class QuorinClothesSeg : public QuorinOwnFrameModule {
 public:
  explicit QuorinClothesSeg(std::string modelDirectory);
};

// Depth estimate: 0 far to 255 near, at a size the module chooses.
class QuorinDepthEstimate : public QuorinOwnFrameModule {
 public:
  explicit QuorinDepthEstimate(std::string modelDirectory);
};

// Skin segmentation.
class QuorinHumanSkinSegment : public QuorinOwnFrameModule {
 public:
  explicit QuorinHumanSkinSegment(std::string modelDirectory);
};

// Semantic segmentation, with a parameter call made before processing.
class QuorinSemanticSegment : public QuorinOwnFrameModule {
 public:
  explicit QuorinSemanticSegment(std::string modelDirectory);

  // Hands a named parameter to the module for the following Process calls; false when the
  // wrapper was not created or the module refused.
  bool SetParam(const char* name, float value);

 private:
  decltype(&::QuorinSemanticSegmentationParamSet) paramSet_ = nullptr;
};

// Model files, relative to the model directory.
inline constexpr const char kClothesSegModelFile[] =
    "clothes_segmentation/RQ_ClothesSegmentation_X86_Openivno_fp16.model";
inline constexpr const char kDepthEstimateModelFile[] =
    "depth_estimate/RQ_DepthEstimate_CPU_Openvino_Fp16_1.0.0.model";
inline constexpr const char kSkinSegmentModelFile[] =
    "/human_skin_segment/RQ_HumanAttributeSegments_SkinSegment_CPU_OpenVino_FP32_v1.0.0.0.model";
inline constexpr const char kSemanticSegmentModelFile[] =
    "/semantic_segmentation/RQ_SemanticSegmentation_X86_Openvino_FP32_1.0.2.model";
