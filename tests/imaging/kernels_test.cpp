// SPDX-License-Identifier: MIT
// The row kernels, vector and plain forms, against the reference on inputs that give every
// channel position every operand combination of its rule.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "imaging/blend_rows.h"
#include "imaging/blend_tables.h"
#include "imaging/reference.h"

namespace {

namespace rows = imageC::rows;

// Row y has layer alpha y. Column x < 65536 gives layer colour (x >> 8) and destination colour
// (x & 255), rotated per channel so that channels differ and each still sees every pair; the
// destination alpha runs through all values often and hits 0 and 255 often. Three more columns
// leave a row tail for the plain code after the vector loop.
struct Grid {
  static constexpr int kCols = 65536 + 3;
  cv::Mat layer, dst;
  Grid() : layer(256, kCols, CV_8UC4), dst(256, kCols, CV_8UC4) {
    for (int y = 0; y < 256; ++y) {
      uint8_t* l = layer.ptr<uint8_t>(y);
      uint8_t* d = dst.ptr<uint8_t>(y);
      for (int x = 0; x < kCols; ++x) {
        const int lv = x < 65536 ? x >> 8 : 85 * x, dv = x < 65536 ? x & 255 : 51 * x + y;
        for (int c = 0; c < 3; ++c) {
          l[4 * x + c] = static_cast<uint8_t>(lv + 85 * c);
          d[4 * x + c] = static_cast<uint8_t>(dv + 37 * c);
        }
        l[4 * x + 3] = static_cast<uint8_t>(y);
        const int h = (x * 131 + y * 29) & 1023;
        d[4 * x + 3] = static_cast<uint8_t>(h < 96 ? 0 : h < 192 ? 255 : h);
      }
    }
  }
};

const Grid& grid() {
  static const Grid* g = new Grid;
  return *g;
}

// A rule to prove: mode (0 Normal, 19..21 the hollow modes, others a layer mode through its
// plane), strength and pre-multiplication.
struct Rule {
  uint32_t mode;
  int strength;
  bool pre;
};

std::string ruleName(const ::testing::TestParamInfo<Rule>& info) {
  return "Mode" + std::to_string(info.param.mode) + "_S" + std::to_string(info.param.strength) +
         (info.param.pre ? "_Pre" : "");
}

rows::Plane planeOf(uint32_t mode) { return imageC::getBlendTables().planes[ref::modePlane(mode)]; }

// The image kernel of a rule over one row, in its vector (V) or plain form.
template <bool V>
void imageRow(const Rule& r, const uint8_t* l, uint8_t* d, int n) {
  if (r.mode == 0 && r.pre) {
    rows::normalPremultiplied<V>(l, d, n, r.strength);
  } else if (r.mode == 0) {
    // Full strength is a kernel of its own.
    r.strength == 255 ? rows::normalFull<V>(l, d, n) : rows::normalStrength<V>(l, d, n, r.strength);
  } else if (r.mode == 19) {
    rows::hollowIn<V>(l, d, n);
  } else if (r.mode == 20) {
    rows::hollowOut<V>(l, d, n);
  } else if (r.mode == 21) {
    rows::textBgHollowIn<V>(l, d, n);
  } else {
    rows::layerMode<V>(l, d, n, r.strength, planeOf(r.mode));
  }
}

class ImageKernel : public ::testing::TestWithParam<Rule> {};

// The vector form runs over the whole grid. The plain form only ever finishes a row (at most
// three pixels), so every fifth row of the grid is enough for it and keeps the test quick
// under the sanitizers.
TEST_P(ImageKernel, VectorAndPlainFormsMatchTheReference) {
  const Rule& r = GetParam();
  const Grid& g = grid();
  const cv::Mat expected = ref::blendImage(g.layer, g.dst, r.mode, r.strength, r.pre);
  cv::Mat out = g.dst.clone();
  for (int y = 0; y < out.rows; ++y)
    imageRow<true>(r, g.layer.ptr<uint8_t>(y), out.ptr<uint8_t>(y), out.cols);
  EXPECT_EQ(ref::differingBytes(out, expected), 0) << "vector";
  g.dst.copyTo(out);
  int64_t wrong = 0;
  for (int y = 0; y < out.rows; y += 5) {
    imageRow<false>(r, g.layer.ptr<uint8_t>(y), out.ptr<uint8_t>(y), out.cols);
    wrong += ref::differingBytes(out.row(y), expected.row(y));
  }
  EXPECT_EQ(wrong, 0) << "plain";
}

// Strengths below 255 share one path; 254 reaches every k from 0 to 254. Colour burn (3) is
// not symmetric, so a swapped [dst][layer] index shows.
INSTANTIATE_TEST_SUITE_P(Rules, ImageKernel,
                         ::testing::Values(Rule{0, 1, false}, Rule{0, 254, false},
                                           Rule{0, 255, false}, Rule{0, 128, true},
                                           Rule{0, 255, true}, Rule{3, 254, false},
                                           Rule{23, 255, false}, Rule{19, 0, false},
                                           Rule{20, 0, false}, Rule{21, 0, false}),
                         ruleName);

// Solid colours: row y has alpha y, column x colour (x + 85c) in channel c, so every (colour,
// alpha) pair occurs in every channel; three extra columns make a row tail.
cv::Mat solidGrid() {
  cv::Mat m(256, 256 + 3, CV_8UC4);
  for (int y = 0; y < 256; ++y)
    for (int x = 0; x < m.cols; ++x) {
      uint8_t* p = m.ptr<uint8_t>(y) + 4 * x;
      for (int c = 0; c < 3; ++c) p[c] = static_cast<uint8_t>(x + 85 * c);
      p[3] = static_cast<uint8_t>(y);
    }
  return m;
}

// The solid-colour kernel of a rule over one row, the colour given as image channels
// (c2, c1, c0, c3).
template <bool V>
void solidRow(const Rule& r, uint8_t* row, int n, uint32_t packed) {
  const int c0 = packed & 0xFF, c1 = (packed >> 8) & 0xFF, c2 = (packed >> 16) & 0xFF,
            c3 = packed >> 24;
  const uint8_t colour[4] = {uint8_t(c2), uint8_t(c1), uint8_t(c0), uint8_t(c3)};
  const uint8_t premul[4] = {uint8_t(ref::mul(c2, c3)), uint8_t(ref::mul(c1, c3)),
                             uint8_t(ref::mul(c0, c3)), uint8_t(c3)};
  if (r.mode == 0 && r.pre) {
    rows::solidNormalPremultiplied<V>(row, n, r.strength, colour);
  } else if (r.mode == 0) {
    r.strength == 255 ? rows::solidNormalFull<V>(row, n, premul)
                      : rows::solidNormalStrength<V>(row, n, r.strength, colour);
  } else if (r.mode == 19) {
    rows::solidHollowIn<V>(row, n, colour);
  } else if (r.mode == 20) {
    if (c3 != 0) rows::solidHollowOut<V>(row, n, colour);  // the invoker's test on the colour
  } else if (r.mode == 21) {
    rows::solidTextBgHollowIn<V>(row, n, c3);
  } else {
    rows::solidLayerMode<V>(row, n, r.strength, planeOf(r.mode), colour);
  }
}

// Colours with alpha 0, 1, 128, 254 and 255 and channels at the edges.
const uint32_t kColours[] = {0x00000000u, 0xFF000000u, 0xFFFFFFFFu, 0x80FF0001u,
                             0x01020304u, 0xFE7F80FFu, 0x00FF8040u, 0x7F10E0C8u};

class SolidKernel : public ::testing::TestWithParam<Rule> {};

TEST_P(SolidKernel, VectorAndPlainFormsMatchTheReferenceForEveryColour) {
  const Rule& r = GetParam();
  const cv::Mat input = solidGrid();
  for (uint32_t packed : kColours) {
    const cv::Mat expected = ref::blendSolid(input, packed, r.mode, r.strength, r.pre);
    for (bool simd : {true, false}) {
      cv::Mat out = input.clone();
      for (int y = 0; y < out.rows; ++y)
        (simd ? solidRow<true> : solidRow<false>)(r, out.ptr<uint8_t>(y), out.cols, packed);
      EXPECT_EQ(ref::differingBytes(out, expected), 0)
          << std::hex << "colour 0x" << packed << (simd ? " vector" : " plain");
    }
  }
}

std::vector<Rule> solidRules() {
  std::vector<Rule> rules;
  for (int s : {0, 1, 128, 254, 255}) {
    rules.push_back({0, s, false});
    rules.push_back({0, s, true});
    rules.push_back({3, s, false});   // colour burn: not symmetric
    rules.push_back({14, s, false});  // hard mix
  }
  for (uint32_t m : {19u, 20u, 21u}) rules.push_back({m, 0, false});
  return rules;
}

INSTANTIATE_TEST_SUITE_P(Rules, SolidKernel, ::testing::ValuesIn(solidRules()), ruleName);

// The mask kernels, each with the reference rule it must follow.
struct MaskKernel {
  const char* name;
  void (*vector)(const uint8_t*, const uint8_t*, uint8_t*, int);
  void (*plain)(const uint8_t*, const uint8_t*, uint8_t*, int);
  int outChannels;
  ref::MaskRule rule;
};

const MaskKernel kMaskKernels[] = {
    {"MaskBlend", rows::maskBlend<true>, rows::maskBlend<false>, 4, ref::maskPixel},
    {"WhiteBlend", rows::whiteBlend<true>, rows::whiteBlend<false>, 4, ref::whitePixel},
    {"AlphaLimitedMask", rows::alphaLimitedMask<true>, rows::alphaLimitedMask<false>, 1,
     ref::alphaLimitedPixel},
    {"AlphaLimitedCutOut", rows::alphaLimitedCutOut<true>, rows::alphaLimitedCutOut<false>, 4,
     ref::alphaLimitedCutOutPixel},
};

class MaskRowKernel : public ::testing::TestWithParam<MaskKernel> {};

// Every (byte, mask) pair in every channel, and every source alpha: row y is mask value y.
TEST_P(MaskRowKernel, EveryByteAndMaskPairMatchesTheRule) {
  const MaskKernel& k = GetParam();
  const int type = k.outChannels == 4 ? CV_8UC4 : CV_8UC1;
  cv::Mat src(256, 256 + 3, CV_8UC4), mask(256, 256 + 3, CV_8UC1);
  for (int y = 0; y < 256; ++y)
    for (int x = 0; x < src.cols; ++x) {
      for (int c = 0; c < 4; ++c) src.ptr<uint8_t>(y)[4 * x + c] = static_cast<uint8_t>(x + 85 * c);
      mask.ptr<uint8_t>(y)[x] = static_cast<uint8_t>(y);
    }
  const cv::Mat expected = ref::applyMask(k.rule, src, mask, k.outChannels);
  for (bool simd : {true, false}) {
    cv::Mat out(src.size(), type, cv::Scalar::all(7));
    for (int y = 0; y < 256; ++y)
      (simd ? k.vector : k.plain)(src.ptr<uint8_t>(y), mask.ptr<uint8_t>(y), out.ptr<uint8_t>(y),
                                  out.cols);
    EXPECT_EQ(cv::norm(out, expected, cv::NORM_INF), 0.0) << (simd ? "vector" : "plain");
  }
}

INSTANTIATE_TEST_SUITE_P(Rules, MaskRowKernel, ::testing::ValuesIn(kMaskKernels),
                         [](const ::testing::TestParamInfo<MaskKernel>& info) {
                           return std::string(info.param.name);
                         });

// The light-wrap rows, vector and plain: every (mask, blurred) pair at edge strengths, and every
// (target, colour) pair at edge weights with the alpha kept.
TEST(LightWrapKernels, EveryOperandPairMatchesTheRule) {
  std::vector<uint8_t> m(65536 + 3), e(65536 + 3), w(65536 + 3);
  for (size_t i = 0; i < m.size(); ++i) {
    m[i] = static_cast<uint8_t>(i >> 8);
    e[i] = static_cast<uint8_t>(i);
  }
  for (uint32_t strength : {0u, 1u, 127u, 255u}) {
    for (bool simd : {true, false}) {
      (simd ? rows::edgeWeight<true> : rows::edgeWeight<false>)(e.data(), m.data(), w.data(),
                                                                static_cast<int>(w.size()),
                                                                strength);
      for (size_t i = 0; i < w.size(); ++i)
        ASSERT_EQ(w[i], ref::mul(ref::mul(m[i], 255 - e[i]), strength)) << i << " " << strength;
    }
  }
  cv::Mat target = ref::edgyImage(1, 65536 + 3, 3), colour = ref::edgyImage(1, 65536 + 3, 4);
  std::vector<uint8_t> k(colour.cols);
  for (int i = 0; i < colour.cols; ++i) {
    // Every (target, colour) pair in channel 0, the other channels at random.
    target.ptr<uint8_t>()[4 * i] = static_cast<uint8_t>(i >> 8);
    colour.ptr<uint8_t>()[4 * i] = static_cast<uint8_t>(i);
  }
  for (int weight : {0, 1, 128, 254, 255}) {
    std::fill(k.begin(), k.end(), static_cast<uint8_t>(weight));
    for (bool simd : {true, false}) {
      cv::Mat out = colour.clone();
      (simd ? rows::lerpToward<true> : rows::lerpToward<false>)(target.ptr<uint8_t>(), k.data(),
                                                                out.ptr<uint8_t>(), out.cols);
      for (int i = 0; i < out.cols; ++i) {
        const uint8_t *t = target.ptr<uint8_t>() + 4 * i, *d = colour.ptr<uint8_t>() + 4 * i;
        const uint8_t* o = out.ptr<uint8_t>() + 4 * i;
        for (int c = 0; c < 3; ++c) ASSERT_EQ(o[c], ref::lerp(t[c], d[c], weight)) << i;
        ASSERT_EQ(o[3], d[3]) << "alpha is kept";
      }
    }
  }
}

// UBSan caught the vector mask load reading four mask bytes as a misaligned int.
TEST(MaskBlendKernel, ReadsMaskBytesAtAnyAlignment) {
  alignas(16) uint8_t mask[32];
  for (int i = 0; i < 32; ++i) mask[i] = static_cast<uint8_t>(i * 37 + 5);
  const cv::Mat src = ref::edgyImage(1, 9, 41);
  for (int offset = 0; offset < 4; ++offset) {
    cv::Mat out(1, 9, CV_8UC4), expected(1, 9, CV_8UC4);
    rows::maskBlend<true>(src.ptr<uint8_t>(), mask + offset, out.ptr<uint8_t>(), 9);
    for (int x = 0; x < 9; ++x)
      ref::maskPixel(src.ptr<uint8_t>() + 4 * x, mask[offset + x], expected.ptr<uint8_t>() + 4 * x);
    EXPECT_EQ(ref::differingBytes(out, expected), 0) << "offset " << offset;
  }
}

}  // namespace
