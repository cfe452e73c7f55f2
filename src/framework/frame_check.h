// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace vorta {

struct ImageArg {
  const unsigned char* data;
  int32_t width;
  int32_t height;
  int32_t stride;
};

// Checks the three images of a transform before any pixel is touched, so that no host can make
// an effect read or write outside the buffers it gave. Returns null when they are usable, else
// the reason. The auxiliary image is optional: with a null pointer its sizes are not looked at.
const char* CheckFrameArgs(const ImageArg& dst, const ImageArg& aux, const ImageArg& src,
                           int32_t dstChannels, int32_t auxChannels, int32_t srcChannels);

}  // namespace vorta
