// SPDX-License-Identifier: MIT
#include "effects/effect_support.h"

#include <filesystem>

#include "ai/copy_plane.h"
#include "kaz/filter_api.h"

namespace vorta {

std::string ModelDirectory(const NLEFilterInfo* info) {
  std::string resources = info ? info->ResourceDir() : std::string();
  // The same default a host's buffer is pre-filled with.
  if (resources.empty()) resources = "resources";
  return resources + kKAZModelFolder;
}

double NumericValue(const NLEParamValue& value, uint32_t rawKind) {
  switch (value.type) {
    case kKindBool:
      return value.payload[0] != 0 ? 1.0 : 0.0;
    case kKindDouble:
      return PayloadAs<double>(value);
    case kKindFloat:
      return PayloadAs<float>(value);
    case kKindInt:
      return PayloadAs<int32_t>(value);
    default:
      break;
  }
  switch (rawKind) {
    case kKindDouble:
      return PayloadAs<double>(value);
    case kKindInt:
      return PayloadAs<int32_t>(value);
    default:
      return PayloadAs<float>(value);
  }
}

void ReadText(const NLEEffectFilter& filter, const char* name, std::string& field) {
  NLEParamValue value;
  if (filter.GetParameterValue(name, value)) field = ValueText(value);
}

std::string ResourcePath(const std::string& resourceDir, const std::string& path) {
  if (path.empty() || resourceDir.empty() || std::filesystem::path(path).is_absolute()) return path;
  return resourceDir + "/" + path;
}

FrameImages WrapFrame(const unsigned char* src, int32_t width, int32_t height, int32_t srcStride,
                      unsigned char* dst, int32_t dstStride, int32_t dstChannels) {
  return {cv::Mat(height, width, CV_8UC4, const_cast<unsigned char*>(src), srcStride),
          cv::Mat(height, width, dstChannels == 1 ? CV_8UC1 : CV_8UC4, dst, dstStride)};
}

void PassThrough(const cv::Mat& src, const cv::Mat& dst) {
  kaz::CopyPlane(src.data, dst.data, src.cols, src.rows, static_cast<int32_t>(src.step),
                 static_cast<int32_t>(dst.step));
}

bool Overlap(const cv::Mat& a, const cv::Mat& b) {
  const uchar* aEnd = a.data + a.step * (a.rows - 1) + a.cols * a.elemSize();
  const uchar* bEnd = b.data + b.step * (b.rows - 1) + b.cols * b.elemSize();
  return a.data < bEnd && b.data < aEnd;
}

}  // namespace vorta
