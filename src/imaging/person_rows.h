// SPDX-License-Identifier: MIT
#pragma once

// Per-row kernels of the person outline and clone effects: four-channel pixels, alpha in channel
// 3, mul = the shared round(a * b / 255). With Simd = false a kernel is the plain per-pixel
// rule; with Simd = true it runs the vector path and finishes the row with the plain rule,
// giving the same bytes. Sums are stored as bytes (modulo 256), as an 8-bit store does; with a
// pre-multiplied person image they never exceed 255.

#include <cstdint>

namespace imageC {
namespace rows {

// The outline composite: with a = ring[x], c = colour (channel 3 unused), s = source:
// t = mul(a, c_i) + mul(255 - a, s_i); d_i = mul(t, o) + mul(s_i, 255 - o) for i < 3;
// d_3 = max(s_3, a). dst may equal src.
template <bool Simd>
void humanBorder(const uint8_t* src, const uint8_t* ring, const uint8_t* colour, uint8_t* dst,
                 int width, uint32_t opacity);

// One clone laid over `dst`: q = person pixel, a = mul(q_3, alpha);
// d_i = mul(mul(q_i, alpha), K_i) + mul(d_i, 255 - a) with K = (tint_0, tint_1, tint_2, 255),
// so the alpha lane becomes a + mul(d_3, 255 - a). An untinted clone has tint 255, since
// mul(x, 255) = x.
template <bool Simd>
void cloneLayer(const uint8_t* person, uint8_t* dst, int width, uint32_t alpha,
                const uint8_t tint[3]);

// The person on top: d_i = mul(d_i, 255 - p_3) + p_i for all four channels.
template <bool Simd>
void personOnTop(const uint8_t* person, uint8_t* dst, int width);

}  // namespace rows
}  // namespace imageC
