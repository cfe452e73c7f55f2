// SPDX-License-Identifier: MIT
#include "ai/frame_modules.h"

#include "ai/module_support.h"
#include "ai/quorin_common.h"

using namespace THIRD_LIBRARY_IMPORT;

QuorinOwnFrameModule::QuorinOwnFrameModule(const char* name, Entries entries,
                                           std::string modelDirectory, const char* modelFile)
    : name_(name), modelDirectory_(std::move(modelDirectory)), entries_(std::move(entries)) {
  try {
    modelPath_ = JoinModelPath(modelDirectory_, modelFile);
    const QuorinModuleConfig config = DefaultModuleConfig();
    int32_t status = -1;
    if (auto create = CheckedEntry(entries_.create)) {
      status = create(modelPath_.c_str(), &config, &instance_);
    }
    LogModelCreation(modelPath_);
    created_ = status == 0;
  } catch (...) {
    created_ = false;
  }
}

QuorinOwnFrameModule::~QuorinOwnFrameModule() {
  if (auto destroy = CheckedEntry(entries_.destroy)) destroy(instance_);
}

bool QuorinOwnFrameModule::Process(const cv::Mat& image, cv::Mat& result) {
  std::lock_guard<std::mutex> hold(lock_);
  if (!created_) return false;
  try {
    if (!KernelFrameable(image, CV_8UC4)) {
      LogUnusableImages(name_);
      return false;
    }
    ScopedKernelFrame input(image, QUORIN_FORMAT_BGRA8);
    if (!input) return false;
    auto process = CheckedEntry(entries_.process);
    if (process == nullptr) return false;
    ScopedKernelFrame output;
    const int32_t status = process(instance_, input.get(), output.receive());
    return status == 0 && CopyModuleFrame(output.get(), result);
  } catch (...) {
    return false;
  }
}

QuorinClothesSeg::QuorinClothesSeg(std::string modelDirectory)
    : QuorinOwnFrameModule("QuorinClothesSeg",
                           EntriesOf(GetQuorinClothesSegSymbols(),
                                     &QuorinClothesSegSymbols::QuorinClothesSegmentationCreate,
                                     &QuorinClothesSegSymbols::QuorinClothesSegmentationProcess,
                                     &QuorinClothesSegSymbols::QuorinClothesSegmentationDestroy),
                           std::move(modelDirectory), kClothesSegModelFile) {}

QuorinDepthEstimate::QuorinDepthEstimate(std::string modelDirectory)
    : QuorinOwnFrameModule("QuorinDepthEstimate",
                           EntriesOf(GetQuorinDepthEstimationSymbols(),
                                     &QuorinDepthEstimationSymbols::QuorinDepthEstimateCreate,
                                     &QuorinDepthEstimationSymbols::QuorinDepthEstimateProcess,
                                     &QuorinDepthEstimationSymbols::QuorinDepthEstimateDestroy),
                           std::move(modelDirectory), kDepthEstimateModelFile) {}

QuorinHumanSkinSegment::QuorinHumanSkinSegment(std::string modelDirectory)
    : QuorinOwnFrameModule(
          "QuorinHumanSkinSegment",
          EntriesOf(GetQuorinHumanSkinSegmentSymbols(),
                    &QuorinHumanSkinSegmentSymbols::QuorinHumanAttributeSegmentsCreate,
                    &QuorinHumanSkinSegmentSymbols::QuorinHumanAttributeSegmentsProcess,
                    &QuorinHumanSkinSegmentSymbols::QuorinHumanAttributeSegmentsDestroy),
          std::move(modelDirectory), kSkinSegmentModelFile) {}

QuorinSemanticSegment::QuorinSemanticSegment(std::string modelDirectory)
    : QuorinOwnFrameModule(
          "QuorinSemanticSegment",
          EntriesOf(GetQuorinSemanticSegmentSymbols(),
                    &QuorinSemanticSegmentSymbols::QuorinSemanticSegmentationCreate,
                    &QuorinSemanticSegmentSymbols::QuorinSemanticSegmentationProcess,
                    &QuorinSemanticSegmentSymbols::QuorinSemanticSegmentationDestroy),
          std::move(modelDirectory), kSemanticSegmentModelFile) {
  if (auto binding = GetQuorinSemanticSegmentSymbols()) {
    paramSet_ = binding->QuorinSemanticSegmentationParamSet;
  }
}

bool QuorinSemanticSegment::SetParam(const char* name, float value) {
  std::lock_guard<std::mutex> hold(Lock());
  if (!Created() || name == nullptr) return false;
  auto paramSet = CheckedEntry(paramSet_);
  return paramSet != nullptr && paramSet(Instance(), name, value) == 0;
}
