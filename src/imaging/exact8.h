// SPDX-License-Identifier: MIT
#pragma once

// Exact 8-bit arithmetic shared by the scalar and SIMD paths. Every rule is a template over the
// lane type: `uint32_t` for one value, `cv::v_uint16x8` for eight 16-bit lanes, so a rule is
// written once and both paths give the same bytes. All intermediates stay below 65,536.

#include <cstdint>
#include <cstring>

#include <opencv2/core/hal/intrin.hpp>

namespace imageC {
namespace exact8 {

inline uint32_t mullo(uint32_t a, uint32_t b) { return a * b; }
inline uint32_t mulhi16(uint32_t a, uint32_t b) { return (a * b) >> 16; }
inline uint32_t min(uint32_t a, uint32_t b) { return a < b ? a : b; }
template <class V>
V splat(unsigned c);
template <>
inline uint32_t splat<uint32_t>(unsigned c) {
  return c;
}

#if CV_SIMD128
using u16x8 = cv::v_uint16x8;
inline u16x8 mullo(const u16x8& a, const u16x8& b) { return cv::v_mul_wrap(a, b); }
inline u16x8 mulhi16(const u16x8& a, const u16x8& b) { return cv::v_mul_hi(a, b); }
inline u16x8 min(const u16x8& a, const u16x8& b) { return cv::v_min(a, b); }
template <>
inline u16x8 splat<u16x8>(unsigned c) {
  return cv::v_setall_u16(static_cast<uint16_t>(c));
}
#endif

// round(a * b / 255) for a, b in 0..255: the shared `mul` plane. Ties cannot occur;
// (t * 257) >> 16 with t = a * b + 128 is exact for all 65,536 pairs and stays in 16 bits.
template <class V>
inline V mul(const V& a, const V& b) {
  return mulhi16(mullo(a, b) + splat<V>(128), splat<V>(0x0101));
}

// trunc(x / 255) for every x in 0..65535: 0x8081 / 2^23 approximates 1/255 closely enough.
template <class V>
inline V div255(const V& x) {
  return mulhi16(x, splat<V>(0x8081)) >> 7;
}

// (a * k + b * (255 - k)) / 255 truncated: a laid over b with coverage k (the lerp cube).
template <class V>
inline V lerp(const V& a, const V& b, const V& k) {
  return div255(mullo(a, k) + mullo(b, splat<V>(255) - k));
}

// a + ((255 - a) * b) / 255: the alpha of alpha a laid over alpha b (the `over` plane).
// Equal to lerp(255, b, a), which lets the SIMD paths treat alpha as one more colour lane.
template <class V>
inline V over(const V& a, const V& b) {
  return a + div255(mullo(splat<V>(255) - a, b));
}

// min(255, x + y) for x, y in 0..255.
template <class V>
inline V addClamp(const V& x, const V& y) {
  return min(x + y, splat<V>(255));
}

#if CV_SIMD128
// Four interleaved 4-channel pixels as two vectors of 16-bit lanes: `even` holds channels 0 and
// 2 of each pixel, `odd` channels 1 and 3 (alpha in the upper lane of each 32-bit pair). The
// split and join are a mask and a shift, so no shuffles are needed at any vector width.
constexpr int kPixelsPerVector = 4;

struct Pixels4 {
  u16x8 even, odd;
};

inline Pixels4 loadPixels(const uint8_t* p) {
  const u16x8 v = cv::v_reinterpret_as_u16(cv::v_load(p));
  return {v & splat<u16x8>(0xFF), v >> 8};
}

// Lanes must hold values 0..255.
inline void storePixels(uint8_t* p, const u16x8& even, const u16x8& odd) {
  cv::v_store(p, cv::v_reinterpret_as_u8(even | (odd << 8)));
}

// The value of each pixel's alpha lane (upper lane of the pair in `odd`) in both its lanes.
inline u16x8 broadcastAlpha(const u16x8& odd) {
  const cv::v_uint32x4 a = cv::v_reinterpret_as_u32(odd) >> 16;
  return cv::v_reinterpret_as_u16(a | (a << 16));
}

// 0xFFFF in the alpha lanes of `odd`, 0 in the colour lanes.
inline u16x8 alphaLanes() { return cv::v_reinterpret_as_u16(cv::v_setall_u32(0xFFFF0000u)); }

// One byte per pixel (a mask) for four pixels, in both lanes of each pixel. Reads exactly four
// bytes with no alignment needed (OpenCV's v_load_expand_q reads them as a possibly misaligned
// int).
inline u16x8 loadPerPixel(const uint8_t* p) {
  uint32_t four;
  std::memcpy(&four, p, sizeof four);
  const cv::v_uint8x16 bytes = cv::v_reinterpret_as_u8(cv::v_uint32x4(four, 0, 0, 0));
  const cv::v_uint32x4 m = cv::v_expand_low(cv::v_expand_low(bytes));
  return cv::v_reinterpret_as_u16(m | (m << 16));
}

// Per-pixel constants for both halves: channels (c0, c2) and (c1, c3) of a 4-byte value.
inline Pixels4 splatPixel(const uint8_t c[4]) {
  return {cv::v_reinterpret_as_u16(cv::v_setall_u32(c[0] | (uint32_t{c[2]} << 16))),
          cv::v_reinterpret_as_u16(cv::v_setall_u32(c[1] | (uint32_t{c[3]} << 16)))};
}
#endif

}  // namespace exact8
}  // namespace imageC
