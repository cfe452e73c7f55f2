// SPDX-License-Identifier: MIT
#include "ai/fade_film.h"

#include "ai/module_support.h"
#include "ai/quorin_common.h"

using namespace THIRD_LIBRARY_IMPORT;

QuorinFadeFilm::QuorinFadeFilm() {
  try {
    binding_ = GetQuorinFadeFilmSymbols();
    const QuorinModuleConfig config = DefaultModuleConfig();
    if (auto create = CheckedEntry(binding_, &QuorinFadeFilmSymbols::QuorinFadeFilmCreate)) {
      created_ = create(&config, &instance_) == 0;
    }
  } catch (...) {
    created_ = false;
  }
}

QuorinFadeFilm::~QuorinFadeFilm() {
  if (auto destroy = CheckedEntry(binding_, &QuorinFadeFilmSymbols::QuorinFadeFilmDestroy)) {
    destroy(instance_);
  }
}

bool QuorinFadeFilm::SetParam(const char* name, float value) {
  std::lock_guard<std::mutex> hold(lock_);
  if (!created_ || name == nullptr) return false;
  auto paramSet = CheckedEntry(binding_, &QuorinFadeFilmSymbols::QuorinFadeFilmParamSet);
  return paramSet != nullptr && paramSet(instance_, name, value) == 0;
}

bool QuorinFadeFilm::Process(const cv::Mat& input, cv::Mat& output) {
  std::lock_guard<std::mutex> hold(lock_);
  if (!created_) return false;
  try {
    if (!KernelFrameable(input, CV_8UC4) || !KernelFrameable(output, CV_8UC4)) {
      LogUnusableImages("QuorinFadeFilm");
      return false;
    }
    ScopedKernelFrame in(input, QUORIN_FORMAT_BGRA8);
    ScopedKernelFrame out(output, QUORIN_FORMAT_BGRA8);
    if (!in || !out) return false;
    auto process = CheckedEntry(binding_, &QuorinFadeFilmSymbols::QuorinFadeFilmProcess);
    return process != nullptr && process(instance_, in.get(), out.get()) == 0;
  } catch (...) {
    return false;
  }
}
