// SPDX-License-Identifier: MIT
#include "ai/wiper_seg.h"

#include <optional>

#include "ai/module_support.h"
#include "ai/quorin_common.h"

using namespace THIRD_LIBRARY_IMPORT;

QuorinWiperSeg::QuorinWiperSeg() {
  try {
    binding_ = GetQuorinWiperSegSymbols();
    const QuorinModuleConfig config = DefaultModuleConfig();
    if (auto create = CheckedEntry(binding_, &QuorinWiperSegSymbols::QuorinWiperCreate)) {
      created_ = create(&config, &instance_) == 0;
    }
  } catch (...) {
    created_ = false;
  }
}

QuorinWiperSeg::~QuorinWiperSeg() {
  if (auto destroy = CheckedEntry(binding_, &QuorinWiperSegSymbols::QuorinWiperDestroy)) {
    destroy(instance_);
  }
}

bool QuorinWiperSeg::Process(const cv::Mat& image, cv::Mat& mask, const cv::Mat& aux) {
  std::lock_guard<std::mutex> hold(lock_);
  if (!created_) return false;
  try {
    const bool withAux = !aux.empty();
    if (!KernelFrameable(image, CV_8UC4) || !KernelFrameable(mask, CV_8UC1) ||
        (withAux && !KernelFrameable(aux, CV_8UC1))) {
      LogUnusableImages("QuorinWiperSeg");
      return false;
    }
    ScopedKernelFrame in(image, QUORIN_FORMAT_BGRA8);
    ScopedKernelFrame out(mask, QUORIN_FORMAT_GRAY8);
    std::optional<ScopedKernelFrame> guide;
    if (withAux) guide.emplace(aux, QUORIN_FORMAT_GRAY8_AUX);
    if (!in || !out || (guide && !*guide)) return false;
    auto wiper = CheckedEntry(binding_, &QuorinWiperSegSymbols::QuorinWiper);
    return wiper != nullptr &&
           wiper(instance_, in.get(), out.get(), guide ? guide->get() : nullptr) == 0;
  } catch (...) {
    return false;
  }
}
