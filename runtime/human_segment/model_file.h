// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace quorin::hs {

enum class Layout { kNchw, kNhwc };
enum class Activation { kAuto, kNone, kSigmoid, kSoftmax };

struct OnnxSettings {
  std::string networkPath;
  std::vector<uint8_t> network;    // the file's bytes, read once
  std::vector<int64_t> inputDims;  // as declared by the network; -1 where not fixed
  int width = 0;                   // 0: take it from the network's fixed input shape
  int height = 0;
  Layout inputLayout = Layout::kNchw;
  Layout outputLayout = Layout::kNchw;
  bool rgb = true;
  float scale = 1.0f / 255.0f;
  std::array<float, 3> mean{0.0f, 0.0f, 0.0f};
  std::array<float, 3> std{1.0f, 1.0f, 1.0f};
  std::string outputName;  // empty: the network's first output
  int personChannel = -1;  // -1: 0 for one channel, else 1
  Activation activation = Activation::kAuto;
};

// Debian's opencv-data package puts its cascades here.
constexpr const char* kDefaultFaceCascade =
    "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt2.xml";

struct ClassicalSettings {
  int workingSize = 384;  // long side of the picture the backend works on
  bool peopleDetector = true;
  // A face cascade (OpenCV's Haar or LBP XML) that finds people who have not moved yet, such
  // as a speaker in the first frame. Empty: none.
  std::string faceCascade = kDefaultFaceCascade;
  bool faceCascadeRequired = false;  // named in the manifest, so it must load
};

// A person-matte network pair with MediaPipe selfie segmentation's conventions (RGB in 0..1,
// NCHW; one channel of person probability out), refined along the frame's edges and steadied
// over the last few frames.
struct MatteSettings {
  OnnxSettings square;          // for frames up to about 4:3 wide
  OnnxSettings landscape;       // for wider frames; no networkPath: the square one for all
  bool installed = false;       // every named network file exists
  int refineSize = 512;         // long side at which the edge refinement's coefficients are fitted
  int refineRadius = 4;         // its window radius at that size: smaller follows finer edges
  float refineEpsilon = 0.01f;  // its smoothing: larger keeps more of the network's own matte
  int window = 2;               // earlier frames a mask may depend on
  int crops = 0;                // second looks at people found small, per frame
};

enum class Backend { kOnnx, kClassical, kMatte };

struct ModelFile {
  Backend backend = Backend::kClassical;
  OnnxSettings onnx;
  ClassicalSettings classical;  // also what the matte backend falls back to
  MatteSettings matte;
};

// Reads the model file at `path`: a JSON manifest or a bare ONNX network, told apart by content.
// Throws Failure with a message that names the file and what is wrong with it.
ModelFile LoadModelFile(const std::string& path);

}  // namespace quorin::hs
