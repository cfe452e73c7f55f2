// SPDX-License-Identifier: MIT
#include "effects/person_image.h"

#include <cstring>

#include "kaz/ai_data.h"
#include "kaz/filter_api.h"

namespace vorta {

PersonImage::PersonImage(const NLEFilterInfo* info) {
  const std::string resources = info ? info->ResourceDir() : std::string();
  inner_ = CreateNLEAIEffectFilterFromGUID(kHumanSegmentationGuid,
                                           resources.empty() ? nullptr : resources.c_str());
}

PersonImage::~PersonImage() { DeleteNLEAIEffectFilter(&inner_); }

namespace {

bool Fits(const unsigned char* pixels, int32_t width, int32_t height, int32_t pitch,
          const cv::Mat& frame) {
  return pixels != nullptr && width == frame.cols && height == frame.rows &&
         static_cast<int64_t>(pitch) >= 4 * static_cast<int64_t>(width);
}

}  // namespace

bool PersonImage::Get(void* lent, const cv::Mat& source, unsigned char* aux, int32_t auxWidth,
                      int32_t auxHeight, int32_t auxStride, cv::Mat& image, bool* found) {
  *found = true;
  if (inner_ == nullptr) return false;
  if (lent != nullptr) {
    if (KAZAiDataReceiver* receiver = static_cast<AIDATA::BaseAIDATA*>(lent)->AsReceiver()) {
      unsigned char* pixels = nullptr;
      int32_t width = 0, height = 0, pitch = 0;
      if (receiver->ReadySegmentation(&pixels, &width, &height, &pitch) &&
          Fits(pixels, width, height, pitch, source)) {
        image = cv::Mat(height, width, CV_8UC4, pixels, pitch);
        return true;
      }
    }
  }
  if (Fits(aux, auxWidth, auxHeight, auxStride, source)) {
    image = cv::Mat(auxHeight, auxWidth, CV_8UC4, aux, auxStride);
  } else {
    image = cv::Mat(source.rows, source.cols, CV_8UC4);
  }
  if (inner_->Transform(image.data, image.cols, image.rows, static_cast<int32_t>(image.step),
                        nullptr, 0, 0, 0, source.data, source.cols, source.rows,
                        static_cast<int32_t>(source.step)) != 0)
    return false;
  // A person image differs from the source on its first background pixel, so this stops early.
  const size_t rowBytes = 4 * static_cast<size_t>(source.cols);
  *found = false;
  for (int y = 0; y < source.rows && !*found; ++y)
    *found = std::memcmp(image.ptr(y), source.ptr(y), rowBytes) != 0;
  return true;
}

}  // namespace vorta
