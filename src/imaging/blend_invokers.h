// SPDX-License-Identifier: MIT
#pragma once

// The band-parallel body behind every compositing entry. It is run by cv::parallel_for_ over
// band indices [0, bandCount) and writes only the rows of its own bands (see bandRows). The row
// function is chosen once, when the invoker is made, as OpenCV's alpha composite does. The
// invokers trust their arguments: 8UC4 images of one size (mask 8UC1), bandCount >= 1, plane
// 0..19. Use the checked entries of blend.h unless those have already been checked.

#include <cstdint>

#include <opencv2/core.hpp>

#include "imaging/blend_rows.h"
#include "imaging/blend_tables.h"

namespace imageC {

// A packed 0xc3c2c1c0 colour in image channel order, plain and premultiplied by its alpha.
struct SolidColor {
  explicit SolidColor(uint32_t packed);
  uint8_t c0, c1, c2, c3;
  uint8_t p0, p1, p2;  // mul(c_i, c3)
  uint8_t colour[4];   // (c2, c1, c0, c3): what image channels 0..3 take
  uint8_t premul[4];   // (p2, p1, p0, c3)
};

// What a row function is given besides its rows.
struct RowArgs {
  uint8_t strength = 255;
  rows::Plane plane = nullptr;
  SolidColor color{0};
};

// One row of `width` pixels: `in` the layer or source row (null for solid colours), `mask` a
// one-byte-per-pixel row (null when there is none), `out` the destination row.
using RowFunction = void (*)(const uint8_t* in, const uint8_t* mask, uint8_t* out, int width,
                             const RowArgs& args);

class parallelBandInvoker : public cv::ParallelLoopBody {
 public:
  parallelBandInvoker(RowFunction row, const cv::Mat& dst, const cv::Mat* in, const cv::Mat* mask,
                      int bandCount, const RowArgs& args)
      : row_(row), dst_(dst), in_(in), mask_(mask), bandCount_(bandCount), args_(args) {}
  void operator()(const cv::Range& bands) const override;

 private:
  RowFunction row_;
  const cv::Mat& dst_;
  const cv::Mat* in_;
  const cv::Mat* mask_;
  int bandCount_;
  RowArgs args_;
};

// The named forms the compositing entries and effects run.
namespace bodies {
RowFunction normal(uint32_t strength, bool preAlpha);
RowFunction layerMode();
RowFunction hollowIn();
RowFunction hollowOut();
RowFunction textBgHollowIn();
RowFunction solidNormal(uint32_t strength, bool preAlpha);
RowFunction solidLayerMode();
RowFunction solidHollowIn();
RowFunction solidHollowOut();
RowFunction solidTextBgHollowIn();
RowFunction maskBlend();
RowFunction whiteBlend();
RowFunction alphaLimitedMask();
RowFunction alphaLimitedCutOut();
RowFunction edgeWeight();
RowFunction lerpToward();
RowArgs args(uint32_t strength, int plane = -1, uint32_t packedColor = 0);
}  // namespace bodies

#define KAZ_LAYER_INVOKER(Name, body)                                                        \
  class Name : public parallelBandInvoker {                                                  \
   public:                                                                                   \
    Name(const cv::Mat& dst, const cv::Mat& layer, int bandCount)                            \
        : parallelBandInvoker(bodies::body(), dst, &layer, nullptr, bandCount, RowArgs()) {} \
  };
#define KAZ_SOLID_INVOKER(Name, body)                                             \
  class Name : public parallelBandInvoker {                                       \
   public:                                                                        \
    Name(const cv::Mat& image, int bandCount, uint32_t packedColor)               \
        : parallelBandInvoker(bodies::body(), image, nullptr, nullptr, bandCount, \
                              bodies::args(255, -1, packedColor)) {}              \
  };
#define KAZ_MASK_INVOKER(Name, body)                                                  \
  class Name : public parallelBandInvoker {                                           \
   public:                                                                            \
    static constexpr int kBands = 8;                                                  \
    Name(const cv::Mat& dst, const cv::Mat& src, const cv::Mat& mask)                 \
        : parallelBandInvoker(bodies::body(), dst, &src, &mask, kBands, RowArgs()) {} \
  };

class parallelBlendNormalRRStrenAlphaInvoker : public parallelBandInvoker {
 public:
  parallelBlendNormalRRStrenAlphaInvoker(const cv::Mat& dst, const cv::Mat& layer,
                                         uint32_t strength, int bandCount)
      : parallelBandInvoker(bodies::normal(strength, false), dst, &layer, nullptr, bandCount,
                            bodies::args(strength)) {}
};

class parallelBlendNormalRRPreAlphaInvoker : public parallelBandInvoker {
 public:
  parallelBlendNormalRRPreAlphaInvoker(const cv::Mat& dst, const cv::Mat& layer, uint32_t strength,
                                       int bandCount)
      : parallelBandInvoker(bodies::normal(strength, true), dst, &layer, nullptr, bandCount,
                            bodies::args(strength)) {}
};

class parallelBlendAdobeInvoker : public parallelBandInvoker {
 public:
  parallelBlendAdobeInvoker(const cv::Mat& dst, const cv::Mat& layer, uint32_t strength, int plane,
                            int bandCount)
      : parallelBandInvoker(bodies::layerMode(), dst, &layer, nullptr, bandCount,
                            bodies::args(strength, plane)) {}
};

class parallelBlendNormalSolidColorRRStrenAlphaInvoker : public parallelBandInvoker {
 public:
  parallelBlendNormalSolidColorRRStrenAlphaInvoker(const cv::Mat& image, uint32_t packedColor,
                                                   uint32_t strength, int bandCount)
      : parallelBandInvoker(bodies::solidNormal(strength, false), image, nullptr, nullptr,
                            bandCount, bodies::args(strength, -1, packedColor)) {}
};

class parallelBlendNormalSolidColorRRPreAlphaInvoker : public parallelBandInvoker {
 public:
  parallelBlendNormalSolidColorRRPreAlphaInvoker(const cv::Mat& image, uint32_t packedColor,
                                                 uint32_t strength, int bandCount)
      : parallelBandInvoker(bodies::solidNormal(strength, true), image, nullptr, nullptr, bandCount,
                            bodies::args(strength, -1, packedColor)) {}
};

class parallelBlendAdobeSolidColorInvoker : public parallelBandInvoker {
 public:
  parallelBlendAdobeSolidColorInvoker(const cv::Mat& image, uint32_t strength, int plane,
                                      int bandCount, uint32_t packedColor)
      : parallelBandInvoker(bodies::solidLayerMode(), image, nullptr, nullptr, bandCount,
                            bodies::args(strength, plane, packedColor)) {}
};

KAZ_LAYER_INVOKER(parallelHollowinInvoker, hollowIn)
KAZ_LAYER_INVOKER(parallelHollowOutInvoker, hollowOut)
KAZ_LAYER_INVOKER(parallelTextBgHollowInInvoker, textBgHollowIn)
KAZ_SOLID_INVOKER(parallelHollowinSolidColorInvoker, solidHollowIn)
KAZ_SOLID_INVOKER(parallelHollowOutSolidColorInvoker, solidHollowOut)
KAZ_SOLID_INVOKER(parallelTextBgHollowInSolidColorInvoker, solidTextBgHollowIn)
// dst = src scaled by mask/255, in 8 bands (the last one also takes rows % 8).
KAZ_MASK_INVOKER(parallelMaskBlendInvoker, maskBlend)
// The person over opaque white, in 8 bands.
KAZ_MASK_INVOKER(parallelWhiteBlendInvoker, whiteBlend)

#undef KAZ_LAYER_INVOKER
#undef KAZ_SOLID_INVOKER
#undef KAZ_MASK_INVOKER

}  // namespace imageC
