// SPDX-License-Identifier: MIT
// The row kernels, vector and plain forms, against the reference on inputs that give every
// channel position every operand combination of its rule.
#include <gtest/gtest.h>

#include <functional>
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

using ImageRow = std::function<void(const uint8_t*, uint8_t*, int)>;

struct ImageCase {
  std::string name;
  uint32_t mode;
  int strength;
  bool pre;
  ImageRow simd, plain;
};

ImageCase normal(int s) {
  if (s == 255)
    return {"NormalFull", 0, 255, false, rows::normalFull<true>, rows::normalFull<false>};
  return {"NormalStrength" + std::to_string(s),
          0,
          s,
          false,
          [s](const uint8_t* l, uint8_t* d, int n) { rows::normalStrength<true>(l, d, n, s); },
          [s](const uint8_t* l, uint8_t* d, int n) { rows::normalStrength<false>(l, d, n, s); }};
}

ImageCase premultiplied(int s) {
  return {
      "Premultiplied" + std::to_string(s),
      0,
      s,
      true,
      [s](const uint8_t* l, uint8_t* d, int n) { rows::normalPremultiplied<true>(l, d, n, s); },
      [s](const uint8_t* l, uint8_t* d, int n) { rows::normalPremultiplied<false>(l, d, n, s); }};
}

ImageCase layerMode(uint32_t mode, int s) {
  const rows::Plane T = imageC::getBlendTables().planes[ref::modePlane(mode)];
  return {"Layer" + std::to_string(mode) + "_" + std::to_string(s),
          mode,
          s,
          false,
          [s, T](const uint8_t* l, uint8_t* d, int n) { rows::layerMode<true>(l, d, n, s, T); },
          [s, T](const uint8_t* l, uint8_t* d, int n) { rows::layerMode<false>(l, d, n, s, T); }};
}

void PrintTo(const ImageCase& c, std::ostream* os) { *os << c.name; }

class ImageKernel : public ::testing::TestWithParam<ImageCase> {};

// The vector form runs over the whole grid. The plain form only ever finishes a row (at most
// three pixels), so every fifth row of the grid is enough for it and keeps the test quick
// under the sanitizers.
TEST_P(ImageKernel, VectorAndPlainFormsMatchTheReference) {
  const ImageCase& c = GetParam();
  const Grid& g = grid();
  const cv::Mat expected = ref::blendImage(g.layer, g.dst, c.mode, c.strength, c.pre);
  cv::Mat out = g.dst.clone();
  for (int y = 0; y < out.rows; ++y) c.simd(g.layer.ptr<uint8_t>(y), out.ptr<uint8_t>(y), out.cols);
  EXPECT_EQ(ref::differingBytes(out, expected), 0) << "vector";
  g.dst.copyTo(out);
  int64_t wrong = 0;
  for (int y = 0; y < out.rows; y += 5) {
    c.plain(g.layer.ptr<uint8_t>(y), out.ptr<uint8_t>(y), out.cols);
    wrong += ref::differingBytes(out.row(y), expected.row(y));
  }
  EXPECT_EQ(wrong, 0) << "plain";
}

INSTANTIATE_TEST_SUITE_P(
    Rules, ImageKernel,
    ::testing::Values(
        // Strengths below 255 share one path; 254 reaches every k from 0 to 254.
        normal(1), normal(254), normal(255), premultiplied(128), premultiplied(255),
        // Colour burn is not symmetric, so a swapped [dst][layer] index shows.
        layerMode(3, 254), layerMode(23, 255),
        ImageCase{"HollowIn", 19, 0, false, rows::hollowIn<true>, rows::hollowIn<false>},
        ImageCase{"HollowOut", 20, 0, false, rows::hollowOut<true>, rows::hollowOut<false>},
        ImageCase{"TextBgHollowIn", 21, 0, false, rows::textBgHollowIn<true>,
                  rows::textBgHollowIn<false>}),
    [](const ::testing::TestParamInfo<ImageCase>& info) { return info.param.name; });

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

// Runs one solid-colour kernel over a row, the colour given as image channels (c2, c1, c0, c3).
void solidRow(uint32_t mode, int s, bool pre, bool simd, uint8_t* row, int n, uint32_t packed) {
  const int c0 = packed & 0xFF, c1 = (packed >> 8) & 0xFF, c2 = (packed >> 16) & 0xFF,
            c3 = packed >> 24;
  const uint8_t colour[4] = {uint8_t(c2), uint8_t(c1), uint8_t(c0), uint8_t(c3)};
  const uint8_t premul[4] = {uint8_t(ref::mul(c2, c3)), uint8_t(ref::mul(c1, c3)),
                             uint8_t(ref::mul(c0, c3)), uint8_t(c3)};
  switch (mode) {
    case 0:
      if (pre)
        simd ? rows::solidNormalPremultiplied<true>(row, n, s, colour)
             : rows::solidNormalPremultiplied<false>(row, n, s, colour);
      else if (s == 255)
        simd ? rows::solidNormalFull<true>(row, n, premul)
             : rows::solidNormalFull<false>(row, n, premul);
      else
        simd ? rows::solidNormalStrength<true>(row, n, s, colour)
             : rows::solidNormalStrength<false>(row, n, s, colour);
      break;
    case 19:
      simd ? rows::solidHollowIn<true>(row, n, colour) : rows::solidHollowIn<false>(row, n, colour);
      break;
    case 20:
      if (c3 == 0) return;  // the invoker's test on the colour
      simd ? rows::solidHollowOut<true>(row, n, colour)
           : rows::solidHollowOut<false>(row, n, colour);
      break;
    case 21:
      simd ? rows::solidTextBgHollowIn<true>(row, n, c3)
           : rows::solidTextBgHollowIn<false>(row, n, c3);
      break;
    default: {
      const rows::Plane T = imageC::getBlendTables().planes[ref::modePlane(mode)];
      simd ? rows::solidLayerMode<true>(row, n, s, T, colour)
           : rows::solidLayerMode<false>(row, n, s, T, colour);
    }
  }
}

struct SolidCase {
  uint32_t mode;
  int strength;
  bool pre;
};

// Colours with alpha 0, 1, 128, 254 and 255 and channels at the edges.
const uint32_t kColours[] = {0x00000000u, 0xFF000000u, 0xFFFFFFFFu, 0x80FF0001u,
                             0x01020304u, 0xFE7F80FFu, 0x00FF8040u, 0x7F10E0C8u};

void PrintTo(const SolidCase& c, std::ostream* os) {
  *os << "mode " << c.mode << " strength " << c.strength << (c.pre ? " premultiplied" : "");
}

class SolidKernel : public ::testing::TestWithParam<SolidCase> {};

TEST_P(SolidKernel, VectorAndPlainFormsMatchTheReferenceForEveryColour) {
  const SolidCase& c = GetParam();
  const cv::Mat input = solidGrid();
  for (uint32_t packed : kColours) {
    const cv::Mat expected = ref::blendSolid(input, packed, c.mode, c.strength, c.pre);
    for (bool simd : {true, false}) {
      cv::Mat out = input.clone();
      for (int y = 0; y < out.rows; ++y)
        solidRow(c.mode, c.strength, c.pre, simd, out.ptr<uint8_t>(y), out.cols, packed);
      EXPECT_EQ(ref::differingBytes(out, expected), 0)
          << std::hex << "colour 0x" << packed << (simd ? " vector" : " plain");
    }
  }
}

std::vector<SolidCase> solidCases() {
  std::vector<SolidCase> cases;
  for (int s : {0, 1, 128, 254, 255}) {
    cases.push_back({0, s, false});
    cases.push_back({0, s, true});
    cases.push_back({3, s, false});   // colour burn: not symmetric
    cases.push_back({14, s, false});  // hard mix
  }
  for (uint32_t m : {19u, 20u, 21u}) cases.push_back({m, 0, false});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Rules, SolidKernel, ::testing::ValuesIn(solidCases()),
                         [](const ::testing::TestParamInfo<SolidCase>& info) {
                           return "Mode" + std::to_string(info.param.mode) + "_S" +
                                  std::to_string(info.param.strength) +
                                  (info.param.pre ? "_Pre" : "");
                         });

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
