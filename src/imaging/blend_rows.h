// SPDX-License-Identifier: MIT
#pragma once

// Per-row kernels of the blend rules: `width` 4-channel pixels, alpha in channel 3, rows given
// as plain pointers. With Simd = false a kernel is the plain per-pixel rule; with Simd = true it
// runs the vector path and finishes the row with the plain rule, giving the same bytes. The
// invokers call Simd = true; the scalar forms exist so tests can prove the two agree.
//
// Solid-colour kernels take the colour already in image channel order: colour = (c2, c1, c0,
// c3) and premul = (p2, p1, p0, c3) for a packed 0xc3c2c1c0 value.

#include <cstdint>

namespace imageC {
namespace rows {

using Plane = const uint8_t (*)[256];

// Normal, strength s < 255 (pixels with mul(l3, s) = 0 stay as they are).
template <bool Simd>
void normalStrength(const uint8_t* layer, uint8_t* dst, int width, uint32_t s);
// Normal at full strength: every pixel is rewritten, the destination premultiplied first.
template <bool Simd>
void normalFull(const uint8_t* layer, uint8_t* dst, int width);
// Normal with a premultiplied layer, any strength.
template <bool Simd>
void normalPremultiplied(const uint8_t* layer, uint8_t* dst, int width, uint32_t s);
// Table-driven layer modes: all four channels through the plane, indexed [dst][layer].
template <bool Simd>
void layerMode(const uint8_t* layer, uint8_t* dst, int width, uint32_t s, Plane plane);
template <bool Simd>
void hollowIn(const uint8_t* layer, uint8_t* dst, int width);
template <bool Simd>
void hollowOut(const uint8_t* layer, uint8_t* dst, int width);
template <bool Simd>
void textBgHollowIn(const uint8_t* layer, uint8_t* dst, int width);

template <bool Simd>
void solidNormalStrength(uint8_t* image, int width, uint32_t s, const uint8_t colour[4]);
template <bool Simd>
void solidNormalFull(uint8_t* image, int width, const uint8_t premul[4]);
template <bool Simd>
void solidNormalPremultiplied(uint8_t* image, int width, uint32_t s, const uint8_t colour[4]);
// The colour is the base and the image the blend layer: plane[colour][image].
template <bool Simd>
void solidLayerMode(uint8_t* image, int width, uint32_t s, Plane plane, const uint8_t colour[4]);
template <bool Simd>
void solidHollowIn(uint8_t* image, int width, const uint8_t colour[4]);
// Only meaningful for a colour alpha other than 0; the caller skips the call otherwise.
template <bool Simd>
void solidHollowOut(uint8_t* image, int width, const uint8_t colour[4]);
template <bool Simd>
void solidTextBgHollowIn(uint8_t* image, int width, uint32_t colourAlpha);

// Mask rows: `src` four channels, `mask` one byte per pixel.
// dst = src scaled by mask/255 in all four channels; dst may equal src.
template <bool Simd>
void maskBlend(const uint8_t* src, const uint8_t* mask, uint8_t* dst, int width);
// The person over opaque white: every byte mul(s, m) + (255 - m).
template <bool Simd>
void whiteBlend(const uint8_t* src, const uint8_t* mask, uint8_t* dst, int width);
// One-channel dst = mul(m, source alpha): a transparent source pixel is never the person.
template <bool Simd>
void alphaLimitedMask(const uint8_t* src, const uint8_t* mask, uint8_t* dst, int width);
// With c = mul(m, source alpha): the source colour with straight alpha c, transparent black
// where c = 0.
template <bool Simd>
void alphaLimitedCutOut(const uint8_t* src, const uint8_t* mask, uint8_t* dst, int width);
// One byte a pixel: weight = mul(mul(m, 255 - blurred), strength), how far inside the person's
// edge a pixel lies, scaled by the strength.
template <bool Simd>
void edgeWeight(const uint8_t* blurred, const uint8_t* mask, uint8_t* weight, int width,
                uint32_t strength);
// dst's colour drawn toward target's by the weight, lerp(target, dst, weight); dst keeps its
// alpha.
template <bool Simd>
void lerpToward(const uint8_t* target, const uint8_t* weight, uint8_t* dst, int width);

}  // namespace rows
}  // namespace imageC
