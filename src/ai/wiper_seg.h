// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>

#include <opencv2/core/mat.hpp>

#include "ai/module_symbols.h"

// One instance of the wiper module, which loads no model; effects hold it by std::shared_ptr.
// Same rules as QuorinHumanSeg: one creation attempt in the constructor, calls serialised by
// the wrapper's lock, no exception leaves any member.
class QuorinWiperSeg {
 public:
  QuorinWiperSeg();
  virtual ~QuorinWiperSeg();
  QuorinWiperSeg(const QuorinWiperSeg&) = delete;
  QuorinWiperSeg& operator=(const QuorinWiperSeg&) = delete;

  // Writes the wiper mask of `image` (8-bit BGRA) into `mask` (8-bit single channel, allocated
  // by the caller). `aux`, when not empty, is an 8-bit single-channel guide of the mask's size,
  // handed over as a format 1 frame; when empty the module gets none.
  bool Process(const cv::Mat& image, cv::Mat& mask, const cv::Mat& aux = cv::Mat());

  bool Created() const { return created_; }

 private:
  bool created_ = false;
  void* instance_ = nullptr;
  std::mutex lock_;
  std::shared_ptr<THIRD_LIBRARY_IMPORT::QuorinWiperSegSymbols> binding_;
};
