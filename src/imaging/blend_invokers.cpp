// SPDX-License-Identifier: MIT
#include "imaging/blend_invokers.h"

#include "imaging/blend.h"
#include "imaging/exact8.h"

namespace imageC {
namespace {

inline uint8_t* rowOf(const cv::Mat& m, int y) { return m.data + m.step[0] * y; }

// Calls body(y) for every row of the bands in `bands`.
template <class Body>
inline void forBandRows(const cv::Range& bands, int bandCount, int rowCount, Body body) {
  for (int b = bands.start; b < bands.end; ++b) {
    const cv::Range r = bandRows(b, bandCount, rowCount);
    for (int y = r.start; y < r.end; ++y) body(y);
  }
}

rows::Plane planeOf(int plane) {
  CV_Assert(plane >= 0 && plane < kPlaneCount);
  return getBlendTables().planes[plane];
}

}  // namespace

cv::Range bandRows(int band, int bands, int rows) {
  const int step = rows / bands;
  // The last band takes the remainder rows, so no row is left out when rows % bands != 0.
  return cv::Range(band * step, band == bands - 1 ? rows : (band + 1) * step);
}

SolidColor::SolidColor(uint32_t packed)
    : c0(static_cast<uint8_t>(packed)),
      c1(static_cast<uint8_t>(packed >> 8)),
      c2(static_cast<uint8_t>(packed >> 16)),
      c3(static_cast<uint8_t>(packed >> 24)),
      p0(static_cast<uint8_t>(exact8::mul<uint32_t>(c0, c3))),
      p1(static_cast<uint8_t>(exact8::mul<uint32_t>(c1, c3))),
      p2(static_cast<uint8_t>(exact8::mul<uint32_t>(c2, c3))),
      colour{c2, c1, c0, c3},
      premul{p2, p1, p0, c3} {}

parallelBlendNormalRRStrenAlphaInvoker::parallelBlendNormalRRStrenAlphaInvoker(const cv::Mat& dst,
                                                                               const cv::Mat& layer,
                                                                               uint32_t strength,
                                                                               int bandCount)
    : dst_(dst), layer_(layer), strength_(static_cast<uint8_t>(strength)), bandCount_(bandCount) {}

void parallelBlendNormalRRStrenAlphaInvoker::operator()(const cv::Range& bands) const {
  // Full strength is deliberately a different rule: every pixel, destination premultiplied.
  if (strength_ == 255) {
    forBandRows(bands, bandCount_, dst_.rows, [&](int y) {
      rows::normalFull<true>(rowOf(layer_, y), rowOf(dst_, y), dst_.cols);
    });
  } else {
    forBandRows(bands, bandCount_, dst_.rows, [&](int y) {
      rows::normalStrength<true>(rowOf(layer_, y), rowOf(dst_, y), dst_.cols, strength_);
    });
  }
}

parallelBlendNormalRRPreAlphaInvoker::parallelBlendNormalRRPreAlphaInvoker(const cv::Mat& dst,
                                                                           const cv::Mat& layer,
                                                                           uint32_t strength,
                                                                           int bandCount)
    : dst_(dst), layer_(layer), strength_(static_cast<uint8_t>(strength)), bandCount_(bandCount) {}

void parallelBlendNormalRRPreAlphaInvoker::operator()(const cv::Range& bands) const {
  forBandRows(bands, bandCount_, dst_.rows, [&](int y) {
    rows::normalPremultiplied<true>(rowOf(layer_, y), rowOf(dst_, y), dst_.cols, strength_);
  });
}

parallelBlendAdobeInvoker::parallelBlendAdobeInvoker(const cv::Mat& dst, const cv::Mat& layer,
                                                     uint32_t strength, int plane, int bandCount)
    : dst_(dst),
      layer_(layer),
      strength_(static_cast<uint8_t>(strength)),
      plane_(planeOf(plane)),
      bandCount_(bandCount) {}

void parallelBlendAdobeInvoker::operator()(const cv::Range& bands) const {
  forBandRows(bands, bandCount_, dst_.rows, [&](int y) {
    rows::layerMode<true>(rowOf(layer_, y), rowOf(dst_, y), dst_.cols, strength_, plane_);
  });
}

parallelBlendNormalSolidColorRRStrenAlphaInvoker::parallelBlendNormalSolidColorRRStrenAlphaInvoker(
    const cv::Mat& image, uint32_t packedColor, uint32_t strength, int bandCount)
    : image_(image),
      color_(packedColor),
      strength_(static_cast<uint8_t>(strength)),
      bandCount_(bandCount) {}

void parallelBlendNormalSolidColorRRStrenAlphaInvoker::operator()(const cv::Range& bands) const {
  if (strength_ == 255) {
    forBandRows(bands, bandCount_, image_.rows, [&](int y) {
      rows::solidNormalFull<true>(rowOf(image_, y), image_.cols, color_.premul);
    });
  } else {
    forBandRows(bands, bandCount_, image_.rows, [&](int y) {
      rows::solidNormalStrength<true>(rowOf(image_, y), image_.cols, strength_, color_.colour);
    });
  }
}

parallelBlendNormalSolidColorRRPreAlphaInvoker::parallelBlendNormalSolidColorRRPreAlphaInvoker(
    const cv::Mat& image, uint32_t packedColor, uint32_t strength, int bandCount)
    : image_(image),
      color_(packedColor),
      strength_(static_cast<uint8_t>(strength)),
      bandCount_(bandCount) {}

void parallelBlendNormalSolidColorRRPreAlphaInvoker::operator()(const cv::Range& bands) const {
  forBandRows(bands, bandCount_, image_.rows, [&](int y) {
    rows::solidNormalPremultiplied<true>(rowOf(image_, y), image_.cols, strength_, color_.colour);
  });
}

parallelBlendAdobeSolidColorInvoker::parallelBlendAdobeSolidColorInvoker(const cv::Mat& image,
                                                                         uint32_t strength,
                                                                         int plane, int bandCount,
                                                                         uint32_t packedColor)
    : image_(image),
      strength_(static_cast<uint8_t>(strength)),
      plane_(planeOf(plane)),
      bandCount_(bandCount),
      color_(packedColor) {}

void parallelBlendAdobeSolidColorInvoker::operator()(const cv::Range& bands) const {
  forBandRows(bands, bandCount_, image_.rows, [&](int y) {
    rows::solidLayerMode<true>(rowOf(image_, y), image_.cols, strength_, plane_, color_.colour);
  });
}

parallelHollowinInvoker::parallelHollowinInvoker(const cv::Mat& dst, const cv::Mat& layer,
                                                 int bandCount)
    : dst_(dst), layer_(layer), bandCount_(bandCount) {}

void parallelHollowinInvoker::operator()(const cv::Range& bands) const {
  forBandRows(bands, bandCount_, dst_.rows,
              [&](int y) { rows::hollowIn<true>(rowOf(layer_, y), rowOf(dst_, y), dst_.cols); });
}

parallelHollowOutInvoker::parallelHollowOutInvoker(const cv::Mat& dst, const cv::Mat& layer,
                                                   int bandCount)
    : dst_(dst), layer_(layer), bandCount_(bandCount) {}

void parallelHollowOutInvoker::operator()(const cv::Range& bands) const {
  forBandRows(bands, bandCount_, dst_.rows,
              [&](int y) { rows::hollowOut<true>(rowOf(layer_, y), rowOf(dst_, y), dst_.cols); });
}

parallelTextBgHollowInInvoker::parallelTextBgHollowInInvoker(const cv::Mat& dst,
                                                             const cv::Mat& layer, int bandCount)
    : dst_(dst), layer_(layer), bandCount_(bandCount) {}

void parallelTextBgHollowInInvoker::operator()(const cv::Range& bands) const {
  forBandRows(bands, bandCount_, dst_.rows, [&](int y) {
    rows::textBgHollowIn<true>(rowOf(layer_, y), rowOf(dst_, y), dst_.cols);
  });
}

parallelHollowinSolidColorInvoker::parallelHollowinSolidColorInvoker(const cv::Mat& image,
                                                                     int bandCount,
                                                                     uint32_t packedColor)
    : image_(image), bandCount_(bandCount), color_(packedColor) {}

void parallelHollowinSolidColorInvoker::operator()(const cv::Range& bands) const {
  forBandRows(bands, bandCount_, image_.rows, [&](int y) {
    rows::solidHollowIn<true>(rowOf(image_, y), image_.cols, color_.colour);
  });
}

parallelHollowOutSolidColorInvoker::parallelHollowOutSolidColorInvoker(const cv::Mat& image,
                                                                       int bandCount,
                                                                       uint32_t packedColor)
    : image_(image), bandCount_(bandCount), color_(packedColor) {}

void parallelHollowOutSolidColorInvoker::operator()(const cv::Range& bands) const {
  // The test is on the colour's alpha, not the pixel's: a transparent colour changes nothing.
  if (color_.c3 == 0) return;
  forBandRows(bands, bandCount_, image_.rows, [&](int y) {
    rows::solidHollowOut<true>(rowOf(image_, y), image_.cols, color_.colour);
  });
}

parallelTextBgHollowInSolidColorInvoker::parallelTextBgHollowInSolidColorInvoker(
    const cv::Mat& image, int bandCount, uint32_t packedColor)
    : image_(image), bandCount_(bandCount), color_(packedColor) {}

void parallelTextBgHollowInSolidColorInvoker::operator()(const cv::Range& bands) const {
  forBandRows(bands, bandCount_, image_.rows, [&](int y) {
    rows::solidTextBgHollowIn<true>(rowOf(image_, y), image_.cols, color_.c3);
  });
}

parallelMaskBlendInvoker::parallelMaskBlendInvoker(const cv::Mat& dst, const cv::Mat& src,
                                                   const cv::Mat& mask)
    : dst_(dst), src_(src), mask_(mask) {}

void parallelMaskBlendInvoker::operator()(const cv::Range& bands) const {
  forBandRows(bands, kBands, dst_.rows, [&](int y) {
    rows::maskBlend<true>(rowOf(src_, y), rowOf(mask_, y), rowOf(dst_, y), dst_.cols);
  });
}

}  // namespace imageC
