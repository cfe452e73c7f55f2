// SPDX-License-Identifier: MIT
#include "imaging/person_rows.h"

#include <algorithm>
#include <cstring>

#include "imaging/exact8.h"

namespace imageC {
namespace rows {
namespace {

using exact8::mul;
using U = uint32_t;

#if CV_SIMD128
using exact8::broadcastAlpha;
using exact8::kPixelsPerVector;
using exact8::loadPixels;
using exact8::Pixels4;
using exact8::splat;
using exact8::storePixels;
using exact8::u16x8;

// Keeps the low byte of each lane: the modulo-256 store of the plain rule.
inline u16x8 low8(const u16x8& v) { return v & splat<u16x8>(0xFF); }
#endif

inline uint8_t byte(U v) { return static_cast<uint8_t>(v); }

// Four person pixels that are all zero change nothing (mul(d, 255) = d), and most of a frame is
// no person: skipping them is exact and saves most of the work.
inline bool clear4(const uint8_t* p) {
  uint64_t a, b;
  std::memcpy(&a, p, 8);
  std::memcpy(&b, p + 8, 8);
  return (a | b) == 0;
}

}  // namespace

template <bool Simd>
void humanBorder(const uint8_t* src, const uint8_t* ring, const uint8_t* colour, uint8_t* dst,
                 int width, uint32_t o) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const u16x8 v255 = splat<u16x8>(255), vo = splat<u16x8>(o), vio = splat<u16x8>(255 - o);
    const u16x8 alpha = exact8::alphaLanes();
    for (; x <= width - kPixelsPerVector; x += kPixelsPerVector) {
      const u16x8 a = exact8::loadPerPixel(ring + x), ia = v255 - a;
      const Pixels4 S = loadPixels(src + 4 * x), C = loadPixels(colour + 4 * x);
      const u16x8 even = mul(mul(a, C.even) + mul(ia, S.even), vo) + mul(S.even, vio);
      const u16x8 odd = mul(mul(a, C.odd) + mul(ia, S.odd), vo) + mul(S.odd, vio);
      storePixels(dst + 4 * x, even, (odd & ~alpha) | (cv::v_max(S.odd, a) & alpha));
    }
  }
#endif
  for (; x < width; ++x) {
    const uint8_t* s = src + 4 * x;
    const uint8_t* c = colour + 4 * x;
    uint8_t* d = dst + 4 * x;
    const U a = ring[x];
    const uint8_t s3 = s[3];
    for (int i = 0; i < 3; ++i) {
      const U t = mul<U>(a, c[i]) + mul<U>(255 - a, s[i]);
      d[i] = byte(mul<U>(t, o) + mul<U>(s[i], 255 - o));
    }
    d[3] = std::max<uint8_t>(s3, byte(a));
  }
}

template <bool Simd>
void cloneLayer(const uint8_t* q, uint8_t* d, int width, uint32_t alpha, const uint8_t tint[3]) {
  const uint8_t k[4] = {tint[0], tint[1], tint[2], 255};
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const Pixels4 K = exact8::splatPixel(k);
    const u16x8 va = splat<u16x8>(alpha), v255 = splat<u16x8>(255);
    for (; x <= width - kPixelsPerVector; x += kPixelsPerVector) {
      if (clear4(q + 4 * x)) continue;
      const Pixels4 Q = loadPixels(q + 4 * x), D = loadPixels(d + 4 * x);
      const u16x8 inv = v255 - broadcastAlpha(mul(Q.odd, va));
      storePixels(d + 4 * x, low8(mul(mul(Q.even, va), K.even) + mul(D.even, inv)),
                  low8(mul(mul(Q.odd, va), K.odd) + mul(D.odd, inv)));
    }
  }
#endif
  for (; x < width; ++x) {
    const uint8_t* p = q + 4 * x;
    uint8_t* c = d + 4 * x;
    const U inv = 255 - mul<U>(p[3], alpha);
    for (int i = 0; i < 4; ++i) c[i] = byte(mul<U>(mul<U>(p[i], alpha), k[i]) + mul<U>(c[i], inv));
  }
}

template <bool Simd>
void personOnTop(const uint8_t* p, uint8_t* d, int width) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const u16x8 v255 = splat<u16x8>(255);
    for (; x <= width - kPixelsPerVector; x += kPixelsPerVector) {
      if (clear4(p + 4 * x)) continue;
      const Pixels4 P = loadPixels(p + 4 * x), D = loadPixels(d + 4 * x);
      const u16x8 inv = v255 - broadcastAlpha(P.odd);
      storePixels(d + 4 * x, low8(mul(D.even, inv) + P.even), low8(mul(D.odd, inv) + P.odd));
    }
  }
#endif
  for (; x < width; ++x) {
    const U inv = 255 - U{p[4 * x + 3]};
    for (int i = 0; i < 4; ++i) d[4 * x + i] = byte(mul<U>(d[4 * x + i], inv) + p[4 * x + i]);
  }
}

#define KAZ_PERSON_ROWS(simd)                                                                    \
  template void humanBorder<simd>(const uint8_t*, const uint8_t*, const uint8_t*, uint8_t*, int, \
                                  uint32_t);                                                     \
  template void cloneLayer<simd>(const uint8_t*, uint8_t*, int, uint32_t, const uint8_t*);       \
  template void personOnTop<simd>(const uint8_t*, uint8_t*, int);

KAZ_PERSON_ROWS(false)
KAZ_PERSON_ROWS(true)
#undef KAZ_PERSON_ROWS

}  // namespace rows
}  // namespace imageC
