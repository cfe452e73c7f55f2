// SPDX-License-Identifier: MIT
#include "framework/frame_check.h"

#include <limits>

namespace vorta {

namespace {

const char* CheckImage(const ImageArg& image, int32_t channels) {
  if (image.data == nullptr) return "null pixel pointer";
  if (channels != 1 && channels != 4) return "channel count other than 1 or 4";
  if (image.width < 1 || image.height < 1) return "width or height below 1";
  if (static_cast<int64_t>(image.stride) < static_cast<int64_t>(image.width) * channels) {
    return "row stride below width x channels";
  }
  if (static_cast<int64_t>(image.stride) * image.height > std::numeric_limits<int32_t>::max()) {
    return "image larger than 2^31 - 1 bytes";
  }
  return nullptr;
}

}  // namespace

const char* CheckFrameArgs(const ImageArg& dst, const ImageArg& aux, const ImageArg& src,
                           int32_t dstChannels, int32_t auxChannels, int32_t srcChannels) {
  if (const char* why = CheckImage(dst, dstChannels)) return why;
  if (const char* why = CheckImage(src, srcChannels)) return why;
  if (aux.data != nullptr) {
    if (const char* why = CheckImage(aux, auxChannels)) return why;
  }
  if (dst.width != src.width || dst.height != src.height) {
    return "source and destination sizes differ";
  }
  return nullptr;
}

}  // namespace vorta
