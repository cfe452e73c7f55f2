// SPDX-License-Identifier: MIT
#include "imaging/blend_rows.h"

#include <algorithm>
#include <cstring>

#include "imaging/exact8.h"

namespace imageC {
namespace rows {
namespace {

using exact8::addClamp;
using exact8::lerp;
using exact8::mul;
using exact8::over;
using U = uint32_t;

#if CV_SIMD128
using exact8::broadcastAlpha;
using exact8::kPixelsPerVector;
using exact8::loadPixels;
using exact8::Pixels4;
using exact8::splat;
using exact8::storePixels;
using exact8::u16x8;

// 255 in the alpha lanes of an `odd` vector: over(k, b) is lerp(255, b, k).
inline u16x8 opaqueAlpha() { return exact8::alphaLanes() & splat<u16x8>(255); }

inline Pixels4 select(const u16x8& mask, const Pixels4& a, const Pixels4& b) {
  return {cv::v_select(mask, a.even, b.even), cv::v_select(mask, a.odd, b.odd)};
}

// Vector part of a row; returns the first pixel left for the scalar tail.
template <class Body>
inline int simdLoop(int width, Body body) {
  int x = 0;
  for (; x <= width - kPixelsPerVector; x += kPixelsPerVector) body(4 * x);
  return x;
}
#endif

// Table-driven kernels look up a short run of pixels first, then blend it with the vector code.
constexpr int kLookupRun = 64;

}  // namespace

template <bool Simd>
void normalStrength(const uint8_t* l, uint8_t* d, int width, uint32_t s) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const u16x8 vs = splat<u16x8>(s), opaque = opaqueAlpha();
    // k = 0 gives lerp(l, d, 0) = d and over(0, d3) = d3, so no pixel needs skipping here.
    x = simdLoop(width, [&](int i) {
      const Pixels4 L = loadPixels(l + i), D = loadPixels(d + i);
      const u16x8 k = broadcastAlpha(mul(L.odd, vs));
      storePixels(d + i, lerp(L.even, D.even, k), lerp(L.odd | opaque, D.odd, k));
    });
  }
#endif
  for (; x < width; ++x) {
    const uint8_t* p = l + 4 * x;
    uint8_t* q = d + 4 * x;
    const U k = mul<U>(p[3], s);
    if (k == 0) continue;
    for (int c = 0; c < 3; ++c) q[c] = static_cast<uint8_t>(lerp<U>(p[c], q[c], k));
    q[3] = static_cast<uint8_t>(over<U>(k, q[3]));
  }
}

template <bool Simd>
void normalFull(const uint8_t* l, uint8_t* d, int width) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const u16x8 opaque = opaqueAlpha();
    x = simdLoop(width, [&](int i) {
      const Pixels4 L = loadPixels(l + i), D = loadPixels(d + i);
      const u16x8 k = broadcastAlpha(L.odd);
      const u16x8 da = broadcastAlpha(D.odd);
      // mul(d3, 255) = d3 keeps the alpha lane's own value for over().
      storePixels(d + i, lerp(L.even, mul(D.even, da), k),
                  lerp(L.odd | opaque, mul(D.odd, da | opaque), k));
    });
  }
#endif
  for (; x < width; ++x) {
    const uint8_t* p = l + 4 * x;
    uint8_t* q = d + 4 * x;
    const U k = p[3];
    for (int c = 0; c < 3; ++c) q[c] = static_cast<uint8_t>(lerp<U>(p[c], mul<U>(q[c], q[3]), k));
    q[3] = static_cast<uint8_t>(over<U>(k, q[3]));
  }
}

template <bool Simd>
void normalPremultiplied(const uint8_t* l, uint8_t* d, int width, uint32_t s) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const u16x8 vs = splat<u16x8>(s), v255 = splat<u16x8>(255), zero = splat<u16x8>(0);
    x = simdLoop(width, [&](int i) {
      const Pixels4 L = loadPixels(l + i), D = loadPixels(d + i);
      // A layer pixel with alpha 0 is zeroed: then k = 0 and min(255, 0 + d) = d, so it leaves
      // the destination as it was without a select.
      const u16x8 visible = broadcastAlpha(L.odd) != zero;
      const u16x8 ls = mul(L.odd & visible, vs);
      // In the alpha lane mul(l3, s) is k itself, so one rule covers all four channels.
      const u16x8 i8 = v255 - broadcastAlpha(ls);
      storePixels(d + i, addClamp(mul(L.even & visible, vs), mul(D.even, i8)),
                  addClamp(ls, mul(D.odd, i8)));
    });
  }
#endif
  for (; x < width; ++x) {
    const uint8_t* p = l + 4 * x;
    uint8_t* q = d + 4 * x;
    if (p[3] == 0) continue;
    const U k = mul<U>(p[3], s), i = 255 - k;
    for (int c = 0; c < 3; ++c)
      q[c] = static_cast<uint8_t>(addClamp<U>(mul<U>(p[c], s), mul<U>(q[c], i)));
    q[3] = static_cast<uint8_t>(addClamp<U>(mul<U>(q[3], i), k));
  }
}

template <bool Simd>
void layerMode(const uint8_t* l, uint8_t* d, int width, uint32_t s, Plane plane) {
  if constexpr (!Simd) {
    for (int x = 0; x < width; ++x) {
      const uint8_t* p = l + 4 * x;
      uint8_t* q = d + 4 * x;
      if (p[3] == 0) continue;
      const U k = mul<U>(p[3], s), i = 255 - k;
      // The alpha channel goes through the plane too, deliberately.
      for (int c = 0; c < 4; ++c)
        q[c] = static_cast<uint8_t>(mul<U>(plane[q[c]][p[c]], k) + mul<U>(q[c], i));
    }
  } else {
    uint8_t looked[4 * kLookupRun];
    for (int x0 = 0; x0 < width; x0 += kLookupRun) {
      const int n = std::min(kLookupRun, width - x0);
      const uint8_t* lr = l + 4 * x0;
      uint8_t* dr = d + 4 * x0;
      for (int j = 0; j < 4 * n; ++j) looked[j] = plane[dr[j]][lr[j]];
      int x = 0;
#if CV_SIMD128
      const u16x8 vs = splat<u16x8>(s), v255 = splat<u16x8>(255);
      // l3 = 0 gives k = 0 and mul(d, 255) = d, so those pixels come out unchanged.
      x = simdLoop(n, [&](int i) {
        const Pixels4 T = loadPixels(looked + i), L = loadPixels(lr + i), D = loadPixels(dr + i);
        const u16x8 k = broadcastAlpha(mul(L.odd, vs)), i8 = v255 - k;
        storePixels(dr + i, mul(T.even, k) + mul(D.even, i8), mul(T.odd, k) + mul(D.odd, i8));
      });
#endif
      for (; x < n; ++x) {
        const U k = mul<U>(lr[4 * x + 3], s), i = 255 - k;
        for (int c = 0; c < 4; ++c) {
          uint8_t& q = dr[4 * x + c];
          q = static_cast<uint8_t>(mul<U>(looked[4 * x + c], k) + mul<U>(q, i));
        }
      }
    }
  }
}

template <bool Simd>
void hollowIn(const uint8_t* l, uint8_t* d, int width) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    x = simdLoop(width, [&](int i) {
      const Pixels4 L = loadPixels(l + i), D = loadPixels(d + i);
      const u16x8 a = broadcastAlpha(L.odd);
      storePixels(d + i, mul(D.even, a), mul(D.odd, a));
    });
  }
#endif
  for (; x < width; ++x) {
    const U a = l[4 * x + 3];
    for (int c = 0; c < 4; ++c) d[4 * x + c] = static_cast<uint8_t>(mul<U>(d[4 * x + c], a));
  }
}

template <bool Simd>
void hollowOut(const uint8_t* l, uint8_t* d, int width) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const u16x8 v255 = splat<u16x8>(255), zero = splat<u16x8>(0);
    x = simdLoop(width, [&](int i) {
      const Pixels4 L = loadPixels(l + i), D = loadPixels(d + i);
      const u16x8 inv = v255 - broadcastAlpha(L.odd);
      const Pixels4 cut = {mul(D.even, inv), mul(D.odd, inv)};
      const Pixels4 out = select(broadcastAlpha(D.odd) == zero, L, cut);
      storePixels(d + i, out.even, out.odd);
    });
  }
#endif
  for (; x < width; ++x) {
    const uint8_t* p = l + 4 * x;
    uint8_t* q = d + 4 * x;
    if (q[3] == 0) {
      std::copy(p, p + 4, q);
      continue;
    }
    const U inv = 255 - U{p[3]};
    for (int c = 0; c < 4; ++c) q[c] = static_cast<uint8_t>(mul<U>(q[c], inv));
  }
}

template <bool Simd>
void textBgHollowIn(const uint8_t* l, uint8_t* d, int width) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    x = simdLoop(width, [&](int i) {
      const Pixels4 L = loadPixels(l + i), D = loadPixels(d + i);
      const u16x8 a = broadcastAlpha(D.odd);
      storePixels(d + i, mul(L.even, a), mul(L.odd, a));
    });
  }
#endif
  for (; x < width; ++x) {
    const U a = d[4 * x + 3];
    for (int c = 0; c < 4; ++c) d[4 * x + c] = static_cast<uint8_t>(mul<U>(l[4 * x + c], a));
  }
}

template <bool Simd>
void solidNormalStrength(uint8_t* img, int width, uint32_t s, const uint8_t colour[4]) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const Pixels4 C = exact8::splatPixel(colour);
    const u16x8 vs = splat<u16x8>(s), opaque = opaqueAlpha(), zero = splat<u16x8>(0);
    x = simdLoop(width, [&](int i) {
      const Pixels4 X = loadPixels(img + i);
      const u16x8 k = broadcastAlpha(mul(X.odd, vs));
      const Pixels4 r = {lerp(X.even, C.even, k), lerp(X.odd | opaque, C.odd, k)};
      // Unlike the image entry, k = 0 would give the colour, so those pixels are kept.
      const Pixels4 out = select(k == zero, X, r);
      storePixels(img + i, out.even, out.odd);
    });
  }
#endif
  for (; x < width; ++x) {
    uint8_t* q = img + 4 * x;
    const U k = mul<U>(q[3], s);
    if (k == 0) continue;
    for (int c = 0; c < 3; ++c) q[c] = static_cast<uint8_t>(lerp<U>(q[c], colour[c], k));
    q[3] = static_cast<uint8_t>(over<U>(k, colour[3]));
  }
}

template <bool Simd>
void solidNormalFull(uint8_t* img, int width, const uint8_t premul[4]) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const Pixels4 P = exact8::splatPixel(premul);
    const u16x8 opaque = opaqueAlpha();
    x = simdLoop(width, [&](int i) {
      const Pixels4 X = loadPixels(img + i);
      const u16x8 k = broadcastAlpha(X.odd);
      storePixels(img + i, lerp(X.even, P.even, k), lerp(X.odd | opaque, P.odd, k));
    });
  }
#endif
  for (; x < width; ++x) {
    uint8_t* q = img + 4 * x;
    const U k = q[3];
    for (int c = 0; c < 3; ++c) q[c] = static_cast<uint8_t>(lerp<U>(q[c], premul[c], k));
    q[3] = static_cast<uint8_t>(over<U>(k, premul[3]));
  }
}

template <bool Simd>
void solidNormalPremultiplied(uint8_t* img, int width, uint32_t s, const uint8_t colour[4]) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const Pixels4 C = exact8::splatPixel(colour);
    const u16x8 vs = splat<u16x8>(s), v255 = splat<u16x8>(255), zero = splat<u16x8>(0);
    x = simdLoop(width, [&](int i) {
      const Pixels4 X = loadPixels(img + i);
      const u16x8 i8 = v255 - broadcastAlpha(mul(X.odd, vs));
      // The alpha lane's mul(x3, s) is k, matching min(255, mul(c3, i) + k).
      const Pixels4 r = {addClamp(mul(X.even, vs), mul(C.even, i8)),
                         addClamp(mul(X.odd, vs), mul(C.odd, i8))};
      const Pixels4 out = select(broadcastAlpha(X.odd) == zero, C, r);
      storePixels(img + i, out.even, out.odd);
    });
  }
#endif
  for (; x < width; ++x) {
    uint8_t* q = img + 4 * x;
    if (q[3] == 0) {
      std::copy(colour, colour + 4, q);
      continue;
    }
    const U k = mul<U>(q[3], s), i = 255 - k;
    for (int c = 0; c < 3; ++c)
      q[c] = static_cast<uint8_t>(addClamp<U>(mul<U>(q[c], s), mul<U>(colour[c], i)));
    q[3] = static_cast<uint8_t>(addClamp<U>(mul<U>(colour[3], i), k));
  }
}

template <bool Simd>
void solidLayerMode(uint8_t* img, int width, uint32_t s, Plane plane, const uint8_t colour[4]) {
  if constexpr (!Simd) {
    for (int x = 0; x < width; ++x) {
      uint8_t* q = img + 4 * x;
      if (q[3] == 0) continue;
      const U k = mul<U>(q[3], s), i = 255 - k;
      for (int c = 0; c < 3; ++c)
        q[c] = static_cast<uint8_t>(mul<U>(plane[colour[c]][q[c]], k) + mul<U>(colour[c], i));
      q[3] = static_cast<uint8_t>(mul<U>(colour[3], i) + k);
    }
  } else {
    // One row of the plane per channel; the alpha "lookup" is 255, since mul(255, k) = k.
    const uint8_t* const lut[3] = {plane[colour[0]], plane[colour[1]], plane[colour[2]]};
    uint8_t looked[4 * kLookupRun];
    for (int x0 = 0; x0 < width; x0 += kLookupRun) {
      const int n = std::min(kLookupRun, width - x0);
      uint8_t* xr = img + 4 * x0;
      for (int j = 0; j < n; ++j) {
        looked[4 * j + 0] = lut[0][xr[4 * j + 0]];
        looked[4 * j + 1] = lut[1][xr[4 * j + 1]];
        looked[4 * j + 2] = lut[2][xr[4 * j + 2]];
        looked[4 * j + 3] = 255;
      }
      int x = 0;
#if CV_SIMD128
      const Pixels4 C = exact8::splatPixel(colour);
      const u16x8 vs = splat<u16x8>(s), v255 = splat<u16x8>(255), zero = splat<u16x8>(0);
      x = simdLoop(n, [&](int i) {
        const Pixels4 T = loadPixels(looked + i), X = loadPixels(xr + i);
        const u16x8 k = broadcastAlpha(mul(X.odd, vs)), i8 = v255 - k;
        const Pixels4 r = {mul(T.even, k) + mul(C.even, i8), mul(T.odd, k) + mul(C.odd, i8)};
        const Pixels4 out = select(broadcastAlpha(X.odd) == zero, X, r);
        storePixels(xr + i, out.even, out.odd);
      });
#endif
      for (; x < n; ++x) {
        uint8_t* q = xr + 4 * x;
        if (q[3] == 0) continue;
        const U k = mul<U>(q[3], s), i = 255 - k;
        for (int c = 0; c < 4; ++c)
          q[c] = static_cast<uint8_t>(mul<U>(looked[4 * x + c], k) + mul<U>(colour[c], i));
      }
    }
  }
}

template <bool Simd>
void solidHollowIn(uint8_t* img, int width, const uint8_t colour[4]) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const Pixels4 C = exact8::splatPixel(colour);
    x = simdLoop(width, [&](int i) {
      const u16x8 a = broadcastAlpha(loadPixels(img + i).odd);
      storePixels(img + i, mul(C.even, a), mul(C.odd, a));
    });
  }
#endif
  for (; x < width; ++x) {
    uint8_t* q = img + 4 * x;
    const U a = q[3];
    for (int c = 0; c < 4; ++c) q[c] = static_cast<uint8_t>(mul<U>(colour[c], a));
  }
}

template <bool Simd>
void solidHollowOut(uint8_t* img, int width, const uint8_t colour[4]) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const Pixels4 C = exact8::splatPixel(colour);
    const u16x8 v255 = splat<u16x8>(255);
    x = simdLoop(width, [&](int i) {
      const u16x8 inv = v255 - broadcastAlpha(loadPixels(img + i).odd);
      storePixels(img + i, mul(C.even, inv), mul(C.odd, inv));
    });
  }
#endif
  for (; x < width; ++x) {
    uint8_t* q = img + 4 * x;
    const U inv = 255 - U{q[3]};
    for (int c = 0; c < 4; ++c) q[c] = static_cast<uint8_t>(mul<U>(colour[c], inv));
  }
}

template <bool Simd>
void solidTextBgHollowIn(uint8_t* img, int width, uint32_t colourAlpha) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const u16x8 a = splat<u16x8>(colourAlpha);
    x = simdLoop(width, [&](int i) {
      const Pixels4 X = loadPixels(img + i);
      storePixels(img + i, mul(X.even, a), mul(X.odd, a));
    });
  }
#endif
  for (; x < width; ++x) {
    uint8_t* q = img + 4 * x;
    for (int c = 0; c < 4; ++c) q[c] = static_cast<uint8_t>(mul<U>(q[c], colourAlpha));
  }
}

template <bool Simd>
void maskBlend(const uint8_t* src, const uint8_t* mask, uint8_t* dst, int width) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    for (; x <= width - kPixelsPerVector; x += kPixelsPerVector) {
      const u16x8 m = exact8::loadPerPixel(mask + x);
      const Pixels4 S = loadPixels(src + 4 * x);
      storePixels(dst + 4 * x, mul(S.even, m), mul(S.odd, m));
    }
  }
#endif
  for (; x < width; ++x) {
    const uint8_t* p = src + 4 * x;
    uint8_t* q = dst + 4 * x;
    const U m = mask[x];
    if (m == 0) {
      std::fill(q, q + 4, uint8_t{0});
    } else if (m == 255) {
      std::copy(p, p + 4, q);
    } else {
      for (int c = 0; c < 4; ++c) q[c] = static_cast<uint8_t>(mul<U>(p[c], m));
    }
  }
}

template <bool Simd>
void whiteBlend(const uint8_t* src, const uint8_t* mask, uint8_t* dst, int width) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const u16x8 full = splat<u16x8>(255);
    for (; x <= width - kPixelsPerVector; x += kPixelsPerVector) {
      const u16x8 m = exact8::loadPerPixel(mask + x);
      const Pixels4 S = loadPixels(src + 4 * x);
      storePixels(dst + 4 * x, mul(S.even, m) + (full - m), mul(S.odd, m) + (full - m));
    }
  }
#endif
  for (; x < width; ++x) {
    const U m = mask[x];
    for (int c = 0; c < 4; ++c)
      dst[4 * x + c] = static_cast<uint8_t>(mul<U>(src[4 * x + c], m) + (255 - m));
  }
}

template <bool Simd>
void alphaLimitedMask(const uint8_t* src, const uint8_t* mask, uint8_t* dst, int width) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    for (; x <= width - kPixelsPerVector; x += kPixelsPerVector) {
      const Pixels4 S = loadPixels(src + 4 * x);
      const u16x8 c = mul(exact8::loadPerPixel(mask + x), broadcastAlpha(S.odd));
      // c sits in both 16-bit lanes of each pixel: the low lanes, narrowed, are the four bytes.
      const cv::v_uint32x4 c32 = cv::v_reinterpret_as_u32(c) & cv::v_setall_u32(0xFF);
      const cv::v_uint16x8 c16 = cv::v_pack(c32, c32);
      const uint32_t four = cv::v_reinterpret_as_u32(cv::v_pack(c16, c16)).get0();
      std::memcpy(dst + x, &four, sizeof four);
    }
  }
#endif
  for (; x < width; ++x) dst[x] = static_cast<uint8_t>(mul<U>(mask[x], src[4 * x + 3]));
}

template <bool Simd>
void alphaLimitedCutOut(const uint8_t* src, const uint8_t* mask, uint8_t* dst, int width) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const u16x8 alpha = exact8::alphaLanes(), zero = splat<u16x8>(0);
    for (; x <= width - kPixelsPerVector; x += kPixelsPerVector) {
      const Pixels4 S = loadPixels(src + 4 * x);
      const u16x8 c = mul(exact8::loadPerPixel(mask + x), broadcastAlpha(S.odd));
      const u16x8 keep = ~(c == zero);
      storePixels(dst + 4 * x, S.even & keep, ((S.odd & keep) & ~alpha) | (c & alpha));
    }
  }
#endif
  for (; x < width; ++x) {
    const uint8_t* s = src + 4 * x;
    uint8_t* d = dst + 4 * x;
    const uint8_t c = static_cast<uint8_t>(mul<U>(mask[x], s[3]));
    for (int k = 0; k < 3; ++k) d[k] = c ? s[k] : 0;
    d[3] = c;
  }
}

template <bool Simd>
void edgeWeight(const uint8_t* blurred, const uint8_t* mask, uint8_t* weight, int width,
                uint32_t strength) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const u16x8 full = splat<u16x8>(255), s = splat<u16x8>(strength);
    for (; x <= width - 8; x += 8) {
      const u16x8 m = cv::v_load_expand(mask + x), e = cv::v_load_expand(blurred + x);
      cv::v_pack_store(weight + x, mul(mul(m, full - e), s));
    }
  }
#endif
  for (; x < width; ++x)
    weight[x] = static_cast<uint8_t>(mul<U>(mul<U>(mask[x], 255 - blurred[x]), strength));
}

template <bool Simd>
void lerpToward(const uint8_t* target, const uint8_t* weight, uint8_t* dst, int width) {
  int x = 0;
#if CV_SIMD128
  if constexpr (Simd) {
    const u16x8 alpha = exact8::alphaLanes();
    for (; x <= width - kPixelsPerVector; x += kPixelsPerVector) {
      const Pixels4 T = loadPixels(target + 4 * x), D = loadPixels(dst + 4 * x);
      const u16x8 k = exact8::loadPerPixel(weight + x);
      storePixels(dst + 4 * x, lerp(T.even, D.even, k),
                  (lerp(T.odd, D.odd, k) & ~alpha) | (D.odd & alpha));
    }
  }
#endif
  for (; x < width; ++x) {
    const U k = weight[x];
    for (int c = 0; c < 3; ++c)
      dst[4 * x + c] = static_cast<uint8_t>(lerp<U>(target[4 * x + c], dst[4 * x + c], k));
  }
}

#define KAZ_ROWS_INSTANTIATE(simd)                                                         \
  template void normalStrength<simd>(const uint8_t*, uint8_t*, int, uint32_t);             \
  template void normalFull<simd>(const uint8_t*, uint8_t*, int);                           \
  template void normalPremultiplied<simd>(const uint8_t*, uint8_t*, int, uint32_t);        \
  template void layerMode<simd>(const uint8_t*, uint8_t*, int, uint32_t, Plane);           \
  template void hollowIn<simd>(const uint8_t*, uint8_t*, int);                             \
  template void hollowOut<simd>(const uint8_t*, uint8_t*, int);                            \
  template void textBgHollowIn<simd>(const uint8_t*, uint8_t*, int);                       \
  template void solidNormalStrength<simd>(uint8_t*, int, uint32_t, const uint8_t*);        \
  template void solidNormalFull<simd>(uint8_t*, int, const uint8_t*);                      \
  template void solidNormalPremultiplied<simd>(uint8_t*, int, uint32_t, const uint8_t*);   \
  template void solidLayerMode<simd>(uint8_t*, int, uint32_t, Plane, const uint8_t*);      \
  template void solidHollowIn<simd>(uint8_t*, int, const uint8_t*);                        \
  template void solidHollowOut<simd>(uint8_t*, int, const uint8_t*);                       \
  template void solidTextBgHollowIn<simd>(uint8_t*, int, uint32_t);                        \
  template void maskBlend<simd>(const uint8_t*, const uint8_t*, uint8_t*, int);            \
  template void whiteBlend<simd>(const uint8_t*, const uint8_t*, uint8_t*, int);           \
  template void alphaLimitedMask<simd>(const uint8_t*, const uint8_t*, uint8_t*, int);     \
  template void alphaLimitedCutOut<simd>(const uint8_t*, const uint8_t*, uint8_t*, int);   \
  template void edgeWeight<simd>(const uint8_t*, const uint8_t*, uint8_t*, int, uint32_t); \
  template void lerpToward<simd>(const uint8_t*, const uint8_t*, uint8_t*, int);

KAZ_ROWS_INSTANTIATE(false)
KAZ_ROWS_INSTANTIATE(true)
#undef KAZ_ROWS_INSTANTIATE

}  // namespace rows
}  // namespace imageC
