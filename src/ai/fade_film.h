// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>

#include <opencv2/core/mat.hpp>

#include "ai/module_symbols.h"

// One instance of the fade film module, which loads no model. Same rules as QuorinHumanSeg: one
// creation attempt in the constructor, calls serialised by the wrapper's lock, no exception
// leaves any member.
class QuorinFadeFilm {
 public:
  QuorinFadeFilm();
  virtual ~QuorinFadeFilm();
  QuorinFadeFilm(const QuorinFadeFilm&) = delete;
  QuorinFadeFilm& operator=(const QuorinFadeFilm&) = delete;

  // Hands a named parameter to the module for the following Process calls; false when the
  // wrapper was not created or the module refused.
  bool SetParam(const char* name, float value);
  // Renders `input` into `output`, both 8-bit BGRA images over the caller's pixels (`output`
  // allocated by the caller; the sizes go to the module as they are).
  bool Process(const cv::Mat& input, cv::Mat& output);

  bool Created() const { return created_; }

 private:
  bool created_ = false;
  void* instance_ = nullptr;
  std::mutex lock_;
  std::shared_ptr<THIRD_LIBRARY_IMPORT::QuorinFadeFilmSymbols> binding_;
};
