// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include <opencv2/core/mat.hpp>

#include "ai/module_symbols.h"

// The model file of each human segmentation variant, relative to the model directory; "" for
// any other variant, so that the model path is the directory itself and creation fails.
const char* HumanSegModelFile(int32_t variant);

// One instance of the human segmentation module (one loaded model). Creation happens once, in
// the constructor; a wrapper whose creation failed answers every Process with false, and a new
// attempt needs a new wrapper. Process calls are serialised by the wrapper's own lock; creation
// and destruction must not overlap with them. No exception leaves any member.
class QuorinHumanSeg {
 public:
  // `first` and `second` come from the owning effect's settings and are only kept.
  // `modelDirectory` has no trailing separator. Variants: 0 capture, 1 effect, 2 high accuracy,
  // 3 hair.
  QuorinHumanSeg(std::string first, std::string second, std::string modelDirectory,
                 int32_t variant);
  virtual ~QuorinHumanSeg();
  QuorinHumanSeg(const QuorinHumanSeg&) = delete;
  QuorinHumanSeg& operator=(const QuorinHumanSeg&) = delete;

  // Writes the person mask of `image` (8-bit BGRA) into `mask` (8-bit single channel, allocated
  // by the caller at the size it wants; the two sizes go to the module as they are). True when
  // the module reported success; otherwise the mask holds whatever the module left in it.
  bool Process(const cv::Mat& image, cv::Mat& mask);

  bool Created() const { return created_; }
  const std::string& ModelPath() const { return modelPath_; }
  const std::string& ModelDirectory() const { return modelDirectory_; }
  const std::string& First() const { return first_; }
  const std::string& Second() const { return second_; }
  int32_t Variant() const { return variant_; }

 private:
  bool created_ = false;
  void* instance_ = nullptr;
  std::string first_;
  std::string second_;
  std::string modelDirectory_;
  std::string modelPath_;
  int32_t variant_;
  std::mutex lock_;
  // Shared, not borrowed: a wrapper living in a static may outlive the process-wide binding's
  // own static, and the library must stay loaded until its Destroy has run.
  std::shared_ptr<THIRD_LIBRARY_IMPORT::QuorinHumanSegSymbols> binding_;
};
