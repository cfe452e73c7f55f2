// SPDX-License-Identifier: MIT
// Picture layers placed around the person: a folder of PNG files played as a looping sequence,
// and the placement of a canvas-sized layer by position, scale and rotation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <opencv2/core.hpp>

namespace vorta {

// Where a layer goes. Position: the layer centre's offset from the canvas centre, in fractions
// of the canvas width and height (x right, y down). Scale: 1 is the layer's own size (negative
// mirrors). Rotation: degrees, positive counter-clockwise as seen on screen, about the layer's
// centre.
struct LayerTransform {
  double x = 0.0, y = 0.0;
  double scaleX = 1.0, scaleY = 1.0;
  double rotation = 0.0;
};

// Draws `layer` into `canvas` (8UC4, cleared by the caller) with `t`. The layer's corners are
// mapped and their bounding box, each edge rounded half up (+0.5, truncated), clipped to the
// canvas, is the only part written. Without rotation (|rotation| < 1e-6) and with non-negative
// scales, the part of the layer that lands in that box is resized into it (bilinear); otherwise
// the layer is warped into the box through the inverse map (bilinear, transparent outside).
// Non-finite values draw nothing.
void DrawLayer(const cv::Mat& layer, const LayerTransform& t, cv::Mat& canvas);

// One frame of a picture sequence: the ".png" files of `folder` (exactly that extension), or the
// one picture `folder` names when it is a file (any format OpenCV reads), in
// ascending path order, file (frame mod count) with a negative remainder wrapped, read with its
// alpha (grey and colour become BGRA; 16-bit is scaled to 8), centre-cropped to the canvas
// aspect and scaled to the canvas (area averaging when shrinking, bilinear otherwise). Empty
// when the folder or the file cannot be used, with one level-4 line naming it. Thread-safe.
// Decoded frames are cached per folder and canvas size up to a memory bound; a folder whose
// modification time changes is listed again.
class PictureSequences {
 public:
  static PictureSequences& Instance();

  // The image may be shared with the cache: copy it before writing into it.
  cv::Mat Frame(const std::string& folder, int32_t frame, cv::Size canvas);

  // The cache's bound in bytes (default 256 MiB); 0 turns caching off.
  void SetBudget(size_t bytes);
  // Drops everything cached.
  void Clear();

  // A folder with more entries than this is refused: listing it on the render thread would
  // stall playback.
  static constexpr size_t kMaxEntries = 10000;
};

}  // namespace vorta
