// SPDX-License-Identifier: MIT
#include "imaging/blend_invokers.h"

#include "imaging/blend.h"
#include "imaging/exact8.h"

namespace imageC {

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

void parallelBandInvoker::operator()(const cv::Range& bands) const {
  for (int b = bands.start; b < bands.end; ++b) {
    const cv::Range r = bandRows(b, bandCount_, dst_.rows);
    for (int y = r.start; y < r.end; ++y) {
      row_(in_ ? in_->ptr<uint8_t>(y) : nullptr, mask_ ? mask_->ptr<uint8_t>(y) : nullptr,
           dst_.data + dst_.step[0] * y, dst_.cols, args_);
    }
  }
}

namespace bodies {

using A = RowArgs;
using u8 = uint8_t;

RowArgs args(uint32_t strength, int plane, uint32_t packedColor) {
  RowArgs a;
  a.strength = static_cast<u8>(strength);
  if (plane >= 0 && plane < kPlaneCount) a.plane = getBlendTables().planes[plane];
  a.color = SolidColor(packedColor);
  return a;
}

// Full strength is deliberately a different rule: every pixel, destination premultiplied.
RowFunction normal(uint32_t strength, bool preAlpha) {
  if (preAlpha) {
    return [](const u8* l, const u8*, u8* d, int w, const A& a) {
      rows::normalPremultiplied<true>(l, d, w, a.strength);
    };
  }
  if ((strength & 0xFF) == 255) {
    return [](const u8* l, const u8*, u8* d, int w, const A&) { rows::normalFull<true>(l, d, w); };
  }
  return [](const u8* l, const u8*, u8* d, int w, const A& a) {
    rows::normalStrength<true>(l, d, w, a.strength);
  };
}

RowFunction layerMode() {
  return [](const u8* l, const u8*, u8* d, int w, const A& a) {
    rows::layerMode<true>(l, d, w, a.strength, a.plane);
  };
}

RowFunction hollowIn() {
  return [](const u8* l, const u8*, u8* d, int w, const A&) { rows::hollowIn<true>(l, d, w); };
}

RowFunction hollowOut() {
  return [](const u8* l, const u8*, u8* d, int w, const A&) { rows::hollowOut<true>(l, d, w); };
}

RowFunction textBgHollowIn() {
  return
      [](const u8* l, const u8*, u8* d, int w, const A&) { rows::textBgHollowIn<true>(l, d, w); };
}

RowFunction solidNormal(uint32_t strength, bool preAlpha) {
  if (preAlpha) {
    return [](const u8*, const u8*, u8* d, int w, const A& a) {
      rows::solidNormalPremultiplied<true>(d, w, a.strength, a.color.colour);
    };
  }
  if ((strength & 0xFF) == 255) {
    return [](const u8*, const u8*, u8* d, int w, const A& a) {
      rows::solidNormalFull<true>(d, w, a.color.premul);
    };
  }
  return [](const u8*, const u8*, u8* d, int w, const A& a) {
    rows::solidNormalStrength<true>(d, w, a.strength, a.color.colour);
  };
}

RowFunction solidLayerMode() {
  return [](const u8*, const u8*, u8* d, int w, const A& a) {
    rows::solidLayerMode<true>(d, w, a.strength, a.plane, a.color.colour);
  };
}

RowFunction solidHollowIn() {
  return [](const u8*, const u8*, u8* d, int w, const A& a) {
    rows::solidHollowIn<true>(d, w, a.color.colour);
  };
}

RowFunction solidHollowOut() {
  return [](const u8*, const u8*, u8* d, int w, const A& a) {
    // The test is on the colour's alpha, not the pixel's: a transparent colour changes nothing.
    if (a.color.c3 != 0) rows::solidHollowOut<true>(d, w, a.color.colour);
  };
}

RowFunction solidTextBgHollowIn() {
  return [](const u8*, const u8*, u8* d, int w, const A& a) {
    rows::solidTextBgHollowIn<true>(d, w, a.color.c3);
  };
}

RowFunction maskBlend() {
  return
      [](const u8* s, const u8* m, u8* d, int w, const A&) { rows::maskBlend<true>(s, m, d, w); };
}

RowFunction whiteBlend() {
  return
      [](const u8* s, const u8* m, u8* d, int w, const A&) { rows::whiteBlend<true>(s, m, d, w); };
}

RowFunction alphaLimitedMask() {
  return [](const u8* s, const u8* m, u8* d, int w, const A&) {
    rows::alphaLimitedMask<true>(s, m, d, w);
  };
}

RowFunction alphaLimitedCutOut() {
  return [](const u8* s, const u8* m, u8* d, int w, const A&) {
    rows::alphaLimitedCutOut<true>(s, m, d, w);
  };
}

RowFunction edgeWeight() {
  return [](const u8* blurred, const u8* m, u8* d, int w, const A& a) {
    rows::edgeWeight<true>(blurred, m, d, w, a.strength);
  };
}

RowFunction lerpToward() {
  return [](const u8* target, const u8* k, u8* d, int w, const A&) {
    rows::lerpToward<true>(target, k, d, w);
  };
}

}  // namespace bodies
}  // namespace imageC
