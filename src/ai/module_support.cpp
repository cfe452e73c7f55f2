// SPDX-License-Identifier: MIT
#include "ai/module_support.h"

#include "ai/quorin_common.h"
#include "api/log.h"

namespace THIRD_LIBRARY_IMPORT {

std::string JoinModelPath(const std::string& directory, const char* relative) {
  std::string path = directory;
  if (relative == nullptr || *relative == '\0') return path;
  const bool leadingSeparator = *relative == '/' || *relative == '\\';
  const bool trailingSeparator = !path.empty() && (path.back() == '/' || path.back() == '\\');
  if (!path.empty() && !leadingSeparator && !trailingSeparator) path += '/';
  return path + relative;
}

QuorinModuleConfig DefaultModuleConfig() { return {GetDefaultDeviceType(), 0, 4}; }

void LogModelCreation(const std::string& modelPath) {
  kaz::Log(kaz::kLogInfo, kKAZLogLoadLib, modelPath.c_str());
}

void LogUnusableImages(const char* wrapper) {
  kaz::Log(kaz::kLogError, "%s: images of an unexpected type, size or row step\n", wrapper);
}

bool CopyModuleFrame(const QuorinFrame* frame, cv::Mat& result) {
  if (frame == nullptr || frame->planes[0] == nullptr) return false;
  if (frame->width < 1 || frame->height < 1) return false;
  const int32_t stride = frame->strides[0] == 0 ? frame->width : frame->strides[0];
  if (stride < frame->width) return false;
  const cv::Mat pixels(frame->height, frame->width, CV_8UC1, frame->planes[0],
                       static_cast<size_t>(stride));
  pixels.copyTo(result);
  return true;
}

}  // namespace THIRD_LIBRARY_IMPORT
