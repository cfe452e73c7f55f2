// SPDX-License-Identifier: MIT
#pragma once

// Blending of 8-bit BGRA images (channel 3 is alpha): 24 numbered modes, a solid-colour entry,
// layer placement and the mask blend. Every entry checks its arguments first and answers false,
// leaving every image untouched, when they are unusable (types other than 8UC4 / 8UC1, unequal
// sizes, no pixels, non-finite placement or opacity). Images may be ROIs with any row step.
// The work runs in row bands on OpenCV's worker threads; the calling thread waits for it.
// Entries may be called from several threads at once on different destinations. Nothing is
// thrown for bad arguments; running out of memory (a copy of an overlapping layer, a resize)
// throws as OpenCV does (std::bad_alloc, cv::Exception).

#include <cstdint>
#include <string>

#include <opencv2/core.hpp>

#include "imaging/blend_tables.h"

namespace imageC {

// The numbers are the interface. 18 has no name and blends as Normal, as does any number > 23.
enum BlendMode : uint32_t {
  Normal = 0,
  Darken = 1,
  Multiply = 2,
  ColorBurn = 3,
  LinearBurn = 4,
  Screen = 5,
  ColorDodge = 6,
  LinearDodge = 7,
  Overlay = 8,
  SoftLight = 9,
  HardLight = 10,
  VividLight = 11,
  LinearLight = 12,
  PinLight = 13,
  HardMix = 14,
  Difference = 15,
  Exclusion = 16,
  Lighten = 17,
  HollowIn = 19,
  HollowOut = 20,
  TextBgHollowIn = 21,
  Copy = 22,
  Add = 23,
};

// "Multiply", "HardMix", "HollowIn", ... (ASCII case ignored). False for an unknown name.
bool blendModeFromName(const std::string& name, uint32_t* mode);
// The name of a mode number, or nullptr for 18 and numbers above 23.
const char* blendModeName(uint32_t mode);
// The table plane of a layer mode (1..17, 23), or -1 for the other numbers.
int blendModePlane(uint32_t mode);

// Blends `layer` onto `dst` in place. strength: only its low 8 bits count (255 = full).
// preAlpha: the layer's colour is already multiplied by its alpha (mode 0 only). bandCount: row
// bands run in parallel (values below 1 mean 1). Layer and destination may be the same image;
// if their pixels partly overlap, the layer is copied first.
bool blendImage(const cv::Mat& layer, const cv::Mat& dst, uint32_t mode, uint32_t strength,
                bool preAlpha, int bandCount);

// Blends one colour with `image` in place. packedColor: byte 0 (least significant) c0, byte 1
// c1, byte 2 c2, byte 3 alpha; image channels 0, 1, 2 take c2, c1, c0, so a BGRA image takes
// 0xAABBGGRR. Mode 22 (Copy) leaves the image as it is.
bool blendSolidColor(const cv::Mat& image, uint32_t packedColor, uint32_t mode, uint32_t strength,
                     bool preAlpha, int bandCount);

// Where a layer goes, all as fractions: the crop of the layer's width/height, the position and
// (when resizing) the size as parts of the canvas width/height.
struct LayerPlacement {
  double cropX, cropY, cropWidth, cropHeight;
  double positionX, positionY;
  double sizeWidth, sizeHeight;
};

// What blendLayer does for one placement, in pixels.
struct LayerPlan {
  cv::Rect crop;    // the part of the layer taken
  cv::Rect source;  // within `crop`: the piece blended (without resizing), or all of it (resizing)
  cv::Rect target;  // within the canvas: the visible part, which receives the blend
  int bands;        // 1 for at most 10,000 target pixels, else 8
};

// Plans the placement of a layer of size `layer` on a canvas of size `canvas`. False when
// nothing would be visible or a value is not finite.
bool planLayer(cv::Size layer, cv::Size canvas, const LayerPlacement& placement, bool resize,
               LayerPlan* plan);

// Crops `layer`, optionally resizes it (cv::resize with `interpolation`, squeezed into the
// visible part when partly off the canvas), and blends it into `dst` at the placement with
// blendImage. canvas gives the size the fractions refer to and must be the size of dst (callers
// normally pass the same image twice); its type does not matter. opacity is 0..1: the strength
// is the low 8 bits of trunc(opacity * 255). An empty or off-canvas placement is not an error:
// the answer is true and dst is unchanged. False for a null placement or unusable arguments.
bool blendLayer(const cv::Mat& layer, const cv::Mat& canvas, const cv::Mat& dst,
                const LayerPlacement* placement, uint32_t mode, float opacity, bool preAlpha,
                bool resize, int interpolation);

// The mask entries: src 8UC4, mask 8UC1, dst 8UC4 (8UC1 for alphaLimitedMask), all the same
// size; dst may be src or mask. Eight row bands.
// dst = src scaled by mask/255 in all four channels (0 gives transparent black, 255 the source
// pixel).
bool maskBlend(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst);
// The person over opaque white: every byte mul(s, m) + (255 - m); mask 0 gives white.
bool whiteBlend(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst);
// The mask limited by the source's alpha, mul(m, a): a transparent source pixel is never the
// person.
bool alphaLimitedMask(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst);
// The source colour with the limited mask mul(m, a) as straight alpha; transparent black where
// that is 0.
bool alphaLimitedCutOut(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst);

// Light wrap: `weight` (8UC1) = mul(mul(mask, 255 - blurredMask), strength & 0xFF), the part of
// the person near its edge; then `dst` (8UC4) drawn toward `target` (8UC4) by that weight,
// colour only. All images one size; false, touching nothing, otherwise.
bool edgeWeight(const cv::Mat& blurredMask, const cv::Mat& mask, uint32_t strength,
                const cv::Mat& weight);
bool lerpToward(const cv::Mat& target, const cv::Mat& weight, const cv::Mat& dst);

// Rows of band `band` out of `bands` over `rows` rows: rows / bands each, the last band also
// takes the remainder, so with fewer rows than bands only the last band has rows.
cv::Range bandRows(int band, int bands, int rows);

}  // namespace imageC
