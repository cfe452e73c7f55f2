// SPDX-License-Identifier: MIT
// A coloured outline around the people in the frame: the person matte grown by a square, softened
// when asked, minus the person itself, filled with a solid colour or a two-colour gradient and
// mixed with the frame by an opacity.
#include <algorithm>
#include <cmath>
#include <cstring>

#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/imgproc.hpp>

#include "api/log.h"
#include "effects/effect_support.h"
#include "effects/person_image.h"
#include "effects/person_mask.h"
#include "framework/registry.h"
#include "imaging/person_invokers.h"

using vorta::kKindFloat;
using vorta::kKindInt;

namespace {

// Frames above this many pixels run the band invokers; smaller ones a plain loop.
constexpr int kPlainLoopPixels = 10000;

// trunc(double(float(h) * factor) * 0.002), the unit of "Size" and "Blur"; 0 when negative or
// NaN, and at most `limit`.
int ThousandthsOfHeight(int h, float factor, int limit) {
  const double v = static_cast<double>(static_cast<float>(h) * factor) * 0.002;
  if (!(v > 0.0)) return 0;
  return v >= limit ? limit : static_cast<int>(v);
}

// The gradient of one channel pair, in single precision as the description of the effect fixes it:
// rows or columns step by (to - from) / extent; diagonals by (y' * H + x * W) / (H^2 + W^2).
void FillGradient(cv::Mat& colour, uint32_t start, uint32_t end, uint32_t direction) {
  const int w = colour.cols, h = colour.rows;
  int p[3], q[3];
  for (int i = 0; i < 3; ++i) {
    p[i] = static_cast<int>((start >> (8 * i)) & 0xFF);
    q[i] = static_cast<int>((end >> (8 * i)) & 0xFF);
  }
  if (direction > 7) return;
  // Directions 0, 1, 6 and 4 run from Q to P; 2, 3, 5 and 7 from P to Q.
  const bool fromQ = direction == 0 || direction == 1 || direction == 4 || direction == 6;
  const int* from = fromQ ? q : p;
  const int* to = fromQ ? p : q;
  auto store = [](float v) {
    return static_cast<uint8_t>(std::clamp(static_cast<int>(v), 0, 255));
  };

  if (direction <= 3) {
    const bool rows = direction == 0 || direction == 2;
    const int extent = rows ? h : w;
    std::vector<uint8_t> line(4 * static_cast<size_t>(extent));
    for (int i = 0; i < 3; ++i) {
      const float step = static_cast<float>(to[i] - from[i]) / static_cast<float>(extent);
      for (int k = 0; k < extent; ++k)
        line[4 * k + i] = store(static_cast<float>(from[i]) + static_cast<float>(k) * step);
    }
    cv::parallel_for_(cv::Range(0, h), [&](const cv::Range& r) {
      for (int y = r.start; y < r.end; ++y) {
        uint8_t* row = colour.ptr<uint8_t>(y);
        if (rows) {
          uint32_t pixel;
          std::memcpy(&pixel, &line[4 * y], 4);
          // Rows of an 8UC4 image are 4-byte aligned.
          std::fill_n(reinterpret_cast<uint32_t*>(row), w, pixel);
        } else {
          std::memcpy(row, line.data(), 4 * static_cast<size_t>(w));
        }
      }
    });
    return;
  }
  const bool fromBottom = direction == 5 || direction == 6;
  const float den = static_cast<float>(static_cast<int64_t>(h) * h + static_cast<int64_t>(w) * w);
  float base[3], diff[3];
  for (int i = 0; i < 3; ++i) {
    base[i] = static_cast<float>(from[i]);
    diff[i] = static_cast<float>(to[i] - from[i]);
  }
  // Below 2^24 the integer numerators convert to float exactly, lane by lane.
  const bool lanes = static_cast<int64_t>(h) * h + static_cast<int64_t>(w) * w < (1 << 24);
  cv::parallel_for_(cv::Range(0, h), [&](const cv::Range& r) {
    for (int y = r.start; y < r.end; ++y) {
      const int64_t yy = fromBottom ? h - 1 - y : y;
      uint8_t* row = colour.ptr<uint8_t>(y);
      int x = 0;
#if CV_SIMD128
      if (lanes) {
        const cv::v_float32x4 vden = cv::v_setall_f32(den), v255 = cv::v_setall_f32(255.0f);
        const cv::v_int32x4 step = cv::v_setall_s32(4 * w);
        cv::v_int32x4 num(static_cast<int>(yy * h), static_cast<int>(yy * h + w),
                          static_cast<int>(yy * h + 2 * w), static_cast<int>(yy * h + 3 * w));
        for (; x <= w - 4; x += 4, num += step) {
          const cv::v_float32x4 t = cv::v_cvt_f32(num) / vden;
          cv::v_int32x4 packed = cv::v_setzero_s32();
          for (int i = 0; i < 3; ++i) {
            const cv::v_float32x4 v = cv::v_setall_f32(base[i]) + t * cv::v_setall_f32(diff[i]);
            const cv::v_int32x4 c = cv::v_trunc(cv::v_min(cv::v_max(v, cv::v_setzero_f32()), v255));
            packed = packed | (c << (8 * i));
          }
          cv::v_store(reinterpret_cast<int*>(row + 4 * x), packed);
        }
      }
#endif
      for (; x < w; ++x) {
        const float t = static_cast<float>(yy * h + static_cast<int64_t>(x) * w) / den;
        for (int i = 0; i < 3; ++i) row[4 * x + i] = store(base[i] + t * diff[i]);
        row[4 * x + 3] = 0;
      }
    }
  });
}

}  // namespace

class NLEHumanBorderEffect : public vorta::NLEAIEffectFilter {
 public:
  explicit NLEHumanBorderEffect(vorta::FilterInfoPtr info);

  int32_t Transform(unsigned char* dst, int32_t dstWidth, int32_t dstHeight, int32_t dstStride,
                    unsigned char* aux, int32_t auxWidth, int32_t auxHeight, int32_t auxStride,
                    const unsigned char* src, int32_t srcWidth, int32_t srcHeight,
                    int32_t srcStride) override;

 private:
  void ReadParameters();
  void Forward(const char* name, float& field);

  vorta::PersonImage person_;
  float size_ = 5.0f;
  float blur_ = 0.0f;
  int32_t opacity_ = 100;
  uint32_t start_ = 0xFFFFFF;
  uint32_t end_ = 0xFFFFFF;
  uint32_t direction_ = 0;
  // Until a host sets them the inner filter cuts the person out unrefined, whatever its own
  // description's defaults say.
  float edgeThickness_ = 0.0f;
  float edgeFeather_ = 0.0f;
};

NLEHumanBorderEffect::NLEHumanBorderEffect(vorta::FilterInfoPtr info)
    : NLEAIEffectFilter(info), person_(info.get()) {
  if (vorta::NLEEffectFilter* inner = person_.Inner()) {
    NLEParamValue none;
    none.type = kKindInt;
    inner->SetParameter(kKAZNeedGrayImageName, kKindInt, none);
    inner->SetParameter("Edge Thickness", kKindFloat, vorta::MakeFloatValue(edgeThickness_));
    inner->SetParameter("Edge Feather", kKindFloat, vorta::MakeFloatValue(edgeFeather_));
  }
}

void NLEHumanBorderEffect::Forward(const char* name, float& field) {
  NLEParamValue value;
  if (!GetParameterValueSpacedOrUnderscore(name, value)) return;
  vorta::ReadNumber(*this, name, true, kKindFloat, field);
  person_.Inner()->SetParameter(name, kKindFloat, vorta::MakeFloatValue(field));
}

void NLEHumanBorderEffect::ReadParameters() {
  vorta::ReadNumber(*this, "Size", false, kKindFloat, size_);
  vorta::ReadNumber(*this, "Blur", false, kKindFloat, blur_);
  vorta::ReadNumber(*this, "Opacity", false, kKindInt, opacity_);
  // Colours keep their 32 bits as a colour well hands them over, even when that reads negative.
  int32_t colour = static_cast<int32_t>(start_);
  vorta::ReadNumber(*this, "Start", false, kKindInt, colour);
  start_ = static_cast<uint32_t>(colour);
  colour = static_cast<int32_t>(end_);
  vorta::ReadNumber(*this, "End", false, kKindInt, colour);
  end_ = static_cast<uint32_t>(colour);
  vorta::ReadNumber(*this, "Gradient Direction", false, kKindInt, direction_);
  Forward("Edge Thickness", edgeThickness_);
  Forward("Edge Feather", edgeFeather_);
}

int32_t NLEHumanBorderEffect::Transform(unsigned char* dst, int32_t, int32_t, int32_t dstStride,
                                        unsigned char* aux, int32_t auxWidth, int32_t auxHeight,
                                        int32_t auxStride, const unsigned char* src, int32_t w,
                                        int32_t h, int32_t srcStride) {
  if (src == nullptr || dst == nullptr || person_.Inner() == nullptr) return 1;
  ReadParameters();
  vorta::FrameImages frame = vorta::WrapFrame(src, w, h, srcStride, dst, dstStride, 4);
  // A radius beyond the frame's long side gives the same grown matte, so it is clamped there.
  const int r = ThousandthsOfHeight(h, size_, std::max(w, h));
  int b = ThousandthsOfHeight(h, blur_, 1 << 30);
  b -= b % 2;
  if (b + 1 > vorta::kMaxKernelSide) {
    kaz::Log(kaz::kLogError, "%s: blur box of %d pixels refused\n", GetGUID(), b + 1);
    return 1;
  }
  cv::Mat person;
  bool found = true;
  if (!person_.Get(AiDataTransferPointer(), frame.source, aux, auxWidth, auxHeight, auxStride,
                   person, &found))
    return 1;
  if (r == 0 || !found) {
    vorta::PassThrough(frame.source, frame.destination);
    return 0;
  }
  const bool parallel = static_cast<int64_t>(w) * h > kPlainLoopPixels;
  cv::Mat source = frame.source;
  if (vorta::Overlap(source, frame.destination) &&
      !(source.data == frame.destination.data && source.step == frame.destination.step))
    source = source.clone();

  // Every step below writes all of its image, so none needs clearing first.
  cv::Mat matte(h, w, CV_8UC1), grown(h, w, CV_8UC1), ring(h, w, CV_8UC1);
  imageC::parallelAChannel alpha(matte, person);
  if (parallel)
    cv::parallel_for_(cv::Range(0, imageC::kPersonBands), alpha, cv::getNumThreads());
  else
    alpha(cv::Range(0, imageC::kPersonBands));
  // Strictly above 128: a matte of exactly 128 is background.
  cv::threshold(matte, matte, 128, 255, cv::THRESH_BINARY);
  if (r >= std::max(w, h) - 1) {
    // Every pixel's square covers the whole frame.
    grown.setTo(cv::countNonZero(matte) > 0 ? 255 : 0);
  } else {
    cv::dilate(matte, grown, cv::getStructuringElement(cv::MORPH_RECT, {2 * r + 1, 2 * r + 1}),
               cv::Point(-1, -1), 1, cv::BORDER_CONSTANT, cv::morphologyDefaultBorderValue());
  }
  if (b > 0) {
    for (int pass = 0; pass < 2; ++pass)
      cv::boxFilter(grown, grown, -1, {b + 1, b + 1}, cv::Point(-1, -1), true,
                    cv::BORDER_REFLECT_101);
  }

  // The colour image carries a fourth, unused byte so the composite loads it like a frame.
  cv::Mat colour(h, w, CV_8UC4);
  if (direction_ > 7) colour.setTo(cv::Scalar::all(0));
  if ((start_ & 0xFFFFFF) == (end_ & 0xFFFFFF)) {
    imageC::parallelSetColor fill(colour, static_cast<uint8_t>(start_),
                                  static_cast<uint8_t>(start_ >> 8),
                                  static_cast<uint8_t>(start_ >> 16));
    if (parallel)
      cv::parallel_for_(cv::Range(0, imageC::kPersonBands), fill, cv::getNumThreads());
    else
      fill(cv::Range(0, imageC::kPersonBands));
  }
  FillGradient(colour, start_, end_, direction_);
  const int32_t percent = std::clamp<int32_t>(opacity_, 0, 100);
  const uint32_t o = static_cast<uint32_t>(std::trunc(percent * 0.01 * 255.0));

  cv::bitwise_xor(matte, grown, ring);
  cv::boxFilter(ring, ring, -1, {2, 2}, cv::Point(-1, -1), true, cv::BORDER_REFLECT_101);

  imageC::parallelHumanBorder composite(frame.destination, source, ring, colour, o);
  if (parallel)
    cv::parallel_for_(cv::Range(0, imageC::kPersonBands), composite, cv::getNumThreads());
  else
    composite(cv::Range(0, imageC::kPersonBands));
  return 0;
}

KAZ_EFFECT_MAKER(NLEHumanBorderEffect)
