// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace quorin::hs {

// What we need from an ONNX model before OpenCV sees it: that it is one, and the shape of its
// first real input. Dimensions that are symbolic or missing are -1.
struct OnnxInputInfo {
  std::string name;
  std::vector<int64_t> dims;
};

// Returns false when the bytes are not a protobuf ModelProto with a graph and at least one
// input that is not an initializer.
bool ReadOnnxInput(const uint8_t* data, size_t size, OnnxInputInfo* info);

}  // namespace quorin::hs
