// SPDX-License-Identifier: MIT
#include "imaging/blend.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

#include <opencv2/imgproc.hpp>

#include "imaging/blend_invokers.h"

namespace imageC {
namespace {

constexpr uint32_t kModeCount = 24;

const char* const kModeNames[kModeCount] = {
    "Normal",      "Darken",      "Multiply",  "ColorBurn",      "LinearBurn", "Screen",
    "ColorDodge",  "LinearDodge", "Overlay",   "SoftLight",      "HardLight",  "VividLight",
    "LinearLight", "PinLight",    "HardMix",   "Difference",     "Exclusion",  "Lighten",
    nullptr,       "HollowIn",    "HollowOut", "TextBgHollowIn", "Copy",       "Add"};

const int kModePlanes[kModeCount] = {-1,
                                     kPlaneDarken,
                                     kPlaneMul,
                                     kPlaneColorBurn,
                                     kPlaneLinearBurn,
                                     kPlaneScreen,
                                     kPlaneColorDodge,
                                     kPlaneLinearDodge,
                                     kPlaneOverlay,
                                     kPlaneSoftLight,
                                     kPlaneHardLight,
                                     kPlaneVividLight,
                                     kPlaneLinearLight,
                                     kPlanePinLight,
                                     kPlaneHardMix,
                                     kPlaneDifference,
                                     kPlaneExclusion,
                                     kPlaneLighten,
                                     -1,
                                     -1,
                                     -1,
                                     -1,
                                     -1,
                                     kPlaneAdd};

// Layer blends of at most this many pixels run as one band.
constexpr int64_t kOneBandPixels = 10000;
constexpr int kLayerBands = 8;
constexpr int kHollowBands = 8;

uint32_t effectiveMode(uint32_t mode) {
  return mode >= kModeCount || kModeNames[mode] == nullptr ? uint32_t{Normal} : mode;
}

bool isImage(const cv::Mat& m, int type) { return m.dims == 2 && !m.empty() && m.type() == type; }

// With more bands than rows, every band but the last is empty: one band has the same rows and
// saves walking up to bandCount empty bands.
int effectiveBands(int bandCount, int rows) {
  return bandCount < 1 || bandCount > rows ? 1 : bandCount;
}

// True when the pixels of a and b share memory without being the same view of it.
bool overlapsPartly(const cv::Mat& a, const cv::Mat& b) {
  const uint8_t* aEnd = a.data + a.step[0] * (a.rows - 1) + a.cols * a.elemSize();
  const uint8_t* bEnd = b.data + b.step[0] * (b.rows - 1) + b.cols * b.elemSize();
  const bool sameView = a.data == b.data && a.step[0] == b.step[0] && a.size() == b.size();
  return !sameView && a.data < bEnd && b.data < aEnd;
}

void runBands(const cv::ParallelLoopBody& body, int bands) {
  cv::parallel_for_(cv::Range(0, bands), body, cv::getNumThreads());
}

bool isFinite(const LayerPlacement& p) {
  for (double v : {p.cropX, p.cropY, p.cropWidth, p.cropHeight, p.positionX, p.positionY,
                   p.sizeWidth, p.sizeHeight})
    if (!std::isfinite(v)) return false;
  return true;
}

// "Add 0.5 and truncate", kept inside int range so no conversion can overflow.
int roundHalfUp(double v) {
  constexpr double kLimit = 1 << 30;
  return static_cast<int>(std::min(kLimit, std::max(-kLimit, v + 0.5)));
}

}  // namespace

bool blendModeFromName(const std::string& name, uint32_t* mode) {
  if (mode == nullptr) return false;
  for (uint32_t m = 0; m < kModeCount; ++m) {
    const char* n = kModeNames[m];
    if (n == nullptr || std::strlen(n) != name.size()) continue;
    if (std::equal(name.begin(), name.end(), n, [](char a, char b) {
          return std::tolower(static_cast<unsigned char>(a)) ==
                 std::tolower(static_cast<unsigned char>(b));
        })) {
      *mode = m;
      return true;
    }
  }
  return false;
}

const char* blendModeName(uint32_t mode) { return mode < kModeCount ? kModeNames[mode] : nullptr; }

int blendModePlane(uint32_t mode) { return mode < kModeCount ? kModePlanes[mode] : -1; }

bool blendImage(const cv::Mat& layerIn, const cv::Mat& dst, uint32_t mode, uint32_t strength,
                bool preAlpha, int bandCount) {
  if (!isImage(layerIn, CV_8UC4) || !isImage(dst, CV_8UC4) || layerIn.size() != dst.size())
    return false;
  // Bands run in parallel: a layer that shares rows with the destination must not change
  // under another band's writes.
  const cv::Mat layer = overlapsPartly(layerIn, dst) ? layerIn.clone() : layerIn;
  mode = effectiveMode(mode);
  const uint32_t s = strength & 0xFF;
  const int bands = effectiveBands(bandCount, dst.rows);
  const int hollowBands = effectiveBands(kHollowBands, dst.rows);
  switch (mode) {
    case Normal:
      if (preAlpha)
        runBands(parallelBlendNormalRRPreAlphaInvoker(dst, layer, s, bands), bands);
      else
        runBands(parallelBlendNormalRRStrenAlphaInvoker(dst, layer, s, bands), bands);
      break;
    case HollowIn:
      runBands(parallelHollowinInvoker(dst, layer, hollowBands), hollowBands);
      break;
    case HollowOut:
      runBands(parallelHollowOutInvoker(dst, layer, hollowBands), hollowBands);
      break;
    case TextBgHollowIn:
      runBands(parallelTextBgHollowInInvoker(dst, layer, hollowBands), hollowBands);
      break;
    case Copy:
      if (layer.data != dst.data) layer.copyTo(dst);  // the same view is already a copy
      break;
    default:
      runBands(parallelBlendAdobeInvoker(dst, layer, s, kModePlanes[mode], bands), bands);
      break;
  }
  return true;
}

bool blendSolidColor(const cv::Mat& image, uint32_t packedColor, uint32_t mode, uint32_t strength,
                     bool preAlpha, int bandCount) {
  if (!isImage(image, CV_8UC4)) return false;
  mode = effectiveMode(mode);
  const uint32_t s = strength & 0xFF;
  const int bands = effectiveBands(bandCount, image.rows);
  const int hollowBands = effectiveBands(kHollowBands, image.rows);
  switch (mode) {
    case Normal:
      if (preAlpha)
        runBands(parallelBlendNormalSolidColorRRPreAlphaInvoker(image, packedColor, s, bands),
                 bands);
      else
        runBands(parallelBlendNormalSolidColorRRStrenAlphaInvoker(image, packedColor, s, bands),
                 bands);
      break;
    case HollowIn:
      runBands(parallelHollowinSolidColorInvoker(image, hollowBands, packedColor), hollowBands);
      break;
    case HollowOut:
      runBands(parallelHollowOutSolidColorInvoker(image, hollowBands, packedColor), hollowBands);
      break;
    case TextBgHollowIn:
      runBands(parallelTextBgHollowInSolidColorInvoker(image, hollowBands, packedColor),
               hollowBands);
      break;
    case Copy:
      break;
    default:
      runBands(parallelBlendAdobeSolidColorInvoker(image, s, kModePlanes[mode], bands, packedColor),
               bands);
      break;
  }
  return true;
}

bool planLayer(cv::Size layer, cv::Size canvas, const LayerPlacement& p, bool resize,
               LayerPlan* plan) {
  if (!isFinite(p) || layer.width <= 0 || layer.height <= 0 || canvas.width <= 0 ||
      canvas.height <= 0)
    return false;

  const double W = layer.width, H = layer.height;
  int cx = roundHalfUp(std::max(0.0, W * p.cropX));
  int cy = roundHalfUp(std::max(0.0, H * p.cropY));
  const double cropW = std::min(W * p.cropWidth, W), cropH = std::min(H * p.cropHeight, H);
  int cw = std::min(roundHalfUp(cropW), layer.width);
  int ch = std::min(roundHalfUp(cropH), layer.height);
  // A crop reaching past the layer's right or bottom edge keeps the part inside it.
  cx = std::min(cx, layer.width);
  cy = std::min(cy, layer.height);
  cw = std::min(cw, layer.width - cx);
  ch = std::min(ch, layer.height - cy);
  if (cw <= 0 || ch <= 0) return false;

  // Without resizing, the target is the unrounded crop size; rounding happens at the edges.
  const double targetW = resize ? canvas.width * p.sizeWidth : W * p.cropWidth;
  const double targetH = resize ? canvas.height * p.sizeHeight : H * p.cropHeight;
  const int px = roundHalfUp(canvas.width * p.positionX);
  const int py = roundHalfUp(canvas.height * p.positionY);
  const int right = roundHalfUp(px + targetW), bottom = roundHalfUp(py + targetH);
  const int left = std::max(px, 0), top = std::max(py, 0);
  int visW = std::min(right, canvas.width) - left;
  int visH = std::min(bottom, canvas.height) - top;
  const int cutX = left - px, cutY = top - py;
  if (visW <= 0 || visH <= 0) return false;

  cv::Rect source(0, 0, cw, ch);
  if (!resize) {
    // Only the layer's own pixels can be blended: a target larger than the crop stops there.
    visW = std::min(visW, cw - cutX);
    visH = std::min(visH, ch - cutY);
    if (visW <= 0 || visH <= 0) return false;
    source = cv::Rect(cutX, cutY, visW, visH);
  }
  plan->crop = cv::Rect(cx, cy, cw, ch);
  plan->source = source;
  plan->target = cv::Rect(left, top, visW, visH);
  plan->bands = int64_t{visW} * visH <= kOneBandPixels ? 1 : kLayerBands;
  return true;
}

bool blendLayer(const cv::Mat& layer, const cv::Mat& canvas, const cv::Mat& dst,
                const LayerPlacement* placement, uint32_t mode, float opacity, bool preAlpha,
                bool resize, int interpolation) {
  if (placement == nullptr || !isImage(layer, CV_8UC4) || canvas.dims != 2 || canvas.empty() ||
      !isImage(dst, CV_8UC4) || dst.size() != canvas.size())
    return false;
  const float scaled = opacity * 255.0f;
  if (!(std::fabs(scaled) < 2147483520.0f)) return false;  // also rejects NaN
  if (resize && (interpolation < cv::INTER_NEAREST || interpolation > cv::INTER_NEAREST_EXACT))
    return false;
  if (!isFinite(*placement)) return false;

  LayerPlan plan;
  if (!planLayer(layer.size(), canvas.size(), *placement, resize, &plan)) return true;
  const cv::Mat crop = layer(plan.crop);
  cv::Mat work;
  if (resize)
    cv::resize(crop, work, plan.target.size(), 0, 0, interpolation);
  else
    work = crop(plan.source);
  const uint32_t strength = static_cast<uint32_t>(static_cast<int>(scaled)) & 0xFF;
  return blendImage(work, dst(plan.target), mode, strength, preAlpha, plan.bands);
}

namespace {

// The mask entries share their checks; a source or mask that shares rows with the destination
// (other than exactly) is read from a copy, since bands write while others read.
bool runMaskRows(RowFunction row, const cv::Mat& srcIn, const cv::Mat& maskIn, const cv::Mat& dst,
                 int dstType, int srcType = CV_8UC4, uint32_t strength = 255) {
  if (!isImage(srcIn, srcType) || !isImage(maskIn, CV_8UC1) || !isImage(dst, dstType) ||
      srcIn.size() != maskIn.size() || srcIn.size() != dst.size())
    return false;
  const cv::Mat src = overlapsPartly(srcIn, dst) ? srcIn.clone() : srcIn;
  const cv::Mat mask = overlapsPartly(maskIn, dst) ? maskIn.clone() : maskIn;
  constexpr int kMaskBands = parallelMaskBlendInvoker::kBands;
  cv::parallel_for_(cv::Range(0, kMaskBands),
                    parallelBandInvoker(row, dst, &src, &mask, kMaskBands, bodies::args(strength)));
  return true;
}

}  // namespace

bool maskBlend(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst) {
  return runMaskRows(bodies::maskBlend(), src, mask, dst, CV_8UC4);
}

bool whiteBlend(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst) {
  return runMaskRows(bodies::whiteBlend(), src, mask, dst, CV_8UC4);
}

bool alphaLimitedMask(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst) {
  return runMaskRows(bodies::alphaLimitedMask(), src, mask, dst, CV_8UC1);
}

bool alphaLimitedCutOut(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst) {
  return runMaskRows(bodies::alphaLimitedCutOut(), src, mask, dst, CV_8UC4);
}

bool edgeWeight(const cv::Mat& blurredMask, const cv::Mat& mask, uint32_t strength,
                const cv::Mat& weight) {
  return runMaskRows(bodies::edgeWeight(), blurredMask, mask, weight, CV_8UC1, CV_8UC1, strength);
}

bool lerpToward(const cv::Mat& target, const cv::Mat& weight, const cv::Mat& dst) {
  return runMaskRows(bodies::lerpToward(), target, weight, dst, CV_8UC4);
}

}  // namespace imageC
