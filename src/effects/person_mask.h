// SPDX-License-Identifier: MIT
// The person mask step every segmentation-based effect shares: the module wrapper (shared by
// the effect class, or the filter's own) with its retry rule, the module run, the refinement by
// edge thickness and feather.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <opencv2/core.hpp>

#include "framework/filter_info.h"

class QuorinHumanSeg;

namespace vorta {

// Model variants of the human segmentation module.
enum HumanSegVariant : int32_t {
  kSegCapture = 0,
  kSegEffect = 1,
  kSegHighAccuracy = 2,
  kSegHair = 3,
};

// Edge sizes in pixels for a frame, from values given at a reference long side of 640 pixels.
struct EdgeSizes {
  int morph;     // < 0 erodes, > 0 dilates by a (2|morph| + 1)-square
  int blur;      // box blur size, 2r + 1; no blur when <= 1
  int backBlur;  // odd Gaussian kernel size, >= 1
};

// The largest morphology element, box or Gaussian kernel side an effect runs: beyond it a frame
// would take minutes, and clamping would silently give other bytes.
inline constexpr int kMaxKernelSide = 4097;

// With s = long side / 640: morph = trunc(s * thickness / 2), blur = 2 floor(s * feather / 2)
// + 1, backBlur = 2 trunc(s * backBlur / 2) + 1, in double precision. Non-finite values count
// as 0, and so does a negative back blur. False, with a level-4 line naming `effect`, when a
// side would exceed kMaxKernelSide: the effect refuses the frame.
bool ComputeEdgeSizes(const char* effect, double thickness, double feather, double backBlur,
                      int width, int height, EdgeSizes* sizes);

// Erodes or dilates (rectangular element, constant border), then box-blurs (reflect-101) the
// mask in place.
void RefineMask(cv::Mat& mask, const EdgeSizes& sizes);

class PersonMask {
 public:
  // `sharedBy` names the effect class whose filters share one model; empty: this filter owns
  // its model. Either way a model that fails to load is tried again on the next frame.
  PersonMask(const NLEFilterInfo* info, int32_t variant, std::string sharedBy);
  ~PersonMask();
  PersonMask(const PersonMask&) = delete;
  PersonMask& operator=(const PersonMask&) = delete;

  // Loads the model unless it is loaded already; false while it cannot be loaded.
  bool Acquire();

  // The refined person mask of `source` (8UC4) into `mask` (made 8UC1 of the source's size).
  // False when the module is unavailable or failed on the frame; `passTo`, when given, then
  // receives a copy of the source, so the editor still gets a picture.
  bool Run(const cv::Mat& source, const EdgeSizes& sizes, cv::Mat& mask,
           const cv::Mat* passTo = nullptr);

 private:
  std::shared_ptr<QuorinHumanSeg> segmenter_;
  int32_t variant_;
  std::string sharedBy_;
  std::string resourceDir_;
  std::string cloudResourceDir_;
  std::string modelDir_;
};

}  // namespace vorta
