// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <opencv2/core.hpp>
#include <string>

#include "quorin/quorin_human_segment.h"

namespace kaztest {

// Frames over cv::Mat pixels, as the plug-in makes them (first plane and its row step).
inline QuorinFrame FrameOver(cv::Mat& m, int32_t format) {
  QuorinFrame f{};
  f.format = format;
  f.planeCount = 1;
  f.width = m.cols;
  f.height = m.rows;
  f.planes[0] = m.data;
  f.strides[0] = static_cast<int32_t>(m.step[0]);
  return f;
}

// An instance that is destroyed however the test ends.
class Segmenter {
 public:
  Segmenter() = default;
  ~Segmenter() { QuorinHumanSegmentDestroy(instance_); }
  Segmenter(const Segmenter&) = delete;
  Segmenter& operator=(const Segmenter&) = delete;

  int32_t Create(const std::string& path) {
    QuorinHumanSegmentDestroy(instance_);
    instance_ = nullptr;
    const QuorinModuleConfig config{1, 0, 4};
    return QuorinHumanSegmentCreate(path.c_str(), &config, &instance_);
  }
  // Runs one frame; `mask` must already have the wanted size.
  int32_t Run(cv::Mat& bgra, cv::Mat& mask) {
    QuorinFrame in = FrameOver(bgra, QUORIN_FORMAT_BGRA8);
    QuorinFrame out = FrameOver(mask, QUORIN_FORMAT_GRAY8);
    return QuorinHumanSegmentProcess(instance_, &in, &out);
  }
  void* get() const { return instance_; }

 private:
  void* instance_ = nullptr;
};

inline void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// A fresh directory under the test's temporary directory.
inline std::string TempDir(const std::string& name) {
  namespace fs = std::filesystem;
  const fs::path dir =
      fs::temp_directory_path() / ("kaz_runtime_" + name + "_" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir.string();
}

}  // namespace kaztest
