// SPDX-License-Identifier: MIT
#include "ai/human_seg.h"

#include "ai/module_support.h"
#include "ai/quorin_common.h"

using namespace THIRD_LIBRARY_IMPORT;

const char* HumanSegModelFile(int32_t variant) {
  switch (variant) {
    case 0:
      return "/humansegmentation_capture/RQ_HumanSegmentCapture_Openvino_Fp16_V3.0.1.model";
    case 1:
      return "/humansegmentation_effect/RQ_EffectHumanSegment_X86_CPU_Openvino_Fp16_2.4.1.1.model";
    case 2:
      return "/humansegmentation_highacc/RQ_HumanSegmentHighAcc_CPU_Openvino_INT8_3.1.0.5.model";
    case 3:
      return "/humansegmentation_hair/RQ_HumanSegmentHair_CPU_Openvino_Fp16_V4.0.8.model";
    default:
      return "";
  }
}

QuorinHumanSeg::QuorinHumanSeg(std::string first, std::string second, std::string modelDirectory,
                               int32_t variant)
    : first_(std::move(first)),
      second_(std::move(second)),
      modelDirectory_(std::move(modelDirectory)),
      variant_(variant) {
  try {
    binding_ = GetQuorinHumanSegSymbols();
    modelPath_ = modelDirectory_ + HumanSegModelFile(variant_);
    const QuorinModuleConfig config = DefaultModuleConfig();
    int32_t status = -1;
    if (auto create = CheckedEntry(binding_, &QuorinHumanSegSymbols::QuorinHumanSegmentCreate)) {
      status = create(modelPath_.c_str(), &config, &instance_);
    }
    LogModelCreation(modelPath_);
    created_ = status == 0;
  } catch (...) {
    created_ = false;
  }
}

QuorinHumanSeg::~QuorinHumanSeg() {
  // Called even for a null instance: the module accepts it, and a failed creation may still
  // have left something for the module to release.
  if (auto destroy = CheckedEntry(binding_, &QuorinHumanSegSymbols::QuorinHumanSegmentDestroy)) {
    destroy(instance_);
  }
}

bool QuorinHumanSeg::Process(const cv::Mat& image, cv::Mat& mask) {
  std::lock_guard<std::mutex> hold(lock_);
  if (!created_) return false;
  try {
    if (!KernelFrameable(image, CV_8UC4) || !KernelFrameable(mask, CV_8UC1)) {
      LogUnusableImages("QuorinHumanSeg");
      return false;
    }
    ScopedKernelFrame input(image, QUORIN_FORMAT_BGRA8);
    ScopedKernelFrame output(mask, QUORIN_FORMAT_GRAY8);
    // The module is never handed a null frame.
    if (!input || !output) return false;
    auto process = CheckedEntry(binding_, &QuorinHumanSegSymbols::QuorinHumanSegmentProcess);
    return process != nullptr && process(instance_, input.get(), output.get()) == 0;
  } catch (...) {
    return false;
  }
}
