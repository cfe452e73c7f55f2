// SPDX-License-Identifier: MIT
// Keeps the person sharp and blurs everything behind them: the whole frame is blurred, then the
// person, cut out with the high-accuracy model and refined, is laid back over it.
#include <opencv2/imgproc.hpp>

#include "effects/effect_support.h"
#include "effects/person_mask.h"
#include "framework/registry.h"
#include "imaging/blend.h"

class CHumanSegmentationCaptureBlur : public vorta::NLEAIEffectFilter {
 public:
  explicit CHumanSegmentationCaptureBlur(vorta::FilterInfoPtr info)
      : NLEAIEffectFilter(info), person_(info.get(), vorta::kSegHighAccuracy, "") {}

  int32_t Transform(unsigned char* dst, int32_t dstWidth, int32_t dstHeight, int32_t dstStride,
                    unsigned char* aux, int32_t auxWidth, int32_t auxHeight, int32_t auxStride,
                    const unsigned char* src, int32_t srcWidth, int32_t srcHeight,
                    int32_t srcStride) override;

 private:
  double thickness_ = 0.0;
  double feather_ = 0.0;
  int32_t backBlur_ = 0;
  // The filter's own model, not the class's.
  vorta::PersonMask person_;
};

int32_t CHumanSegmentationCaptureBlur::Transform(unsigned char* dst, int32_t, int32_t,
                                                 int32_t dstStride, unsigned char*, int32_t,
                                                 int32_t, int32_t, const unsigned char* src,
                                                 int32_t srcWidth, int32_t srcHeight,
                                                 int32_t srcStride) {
  if (src == nullptr || dst == nullptr) return 1;
  // Spaced names only, as doubles and an integer: this effect's own description says so.
  vorta::ReadNumber(*this, "Edge Thickness", false, vorta::kKindDouble, thickness_);
  vorta::ReadNumber(*this, "Edge Feather", false, vorta::kKindDouble, feather_);
  vorta::ReadNumber(*this, "Back Blur", false, vorta::kKindInt, backBlur_);
  vorta::EdgeSizes sizes;
  if (!vorta::ComputeEdgeSizes(GetGUID(), thickness_, feather_, backBlur_, srcWidth, srcHeight,
                               &sizes))
    return 1;
  vorta::FrameImages frame =
      vorta::WrapFrame(src, srcWidth, srcHeight, srcStride, dst, dstStride, 4);
  cv::Mat mask;
  if (!person_.Run(frame.source, sizes, mask, &frame.destination)) return 0;

  cv::Mat person(srcHeight, srcWidth, CV_8UC4);
  imageC::maskBlend(frame.source, mask, person);

  // The blur reads around each pixel, so a source that shares bytes with the destination (other
  // than exactly) must be read from a copy.
  cv::Mat source = frame.source;
  if (vorta::Overlap(source, frame.destination) && source.data != frame.destination.data) {
    source = source.clone();
  }
  cv::Mat blurred = frame.destination;
  const double sigma = sizes.backBlur;
  cv::GaussianBlur(source, blurred, cv::Size(sizes.backBlur, sizes.backBlur), sigma, sigma,
                   cv::BORDER_REFLECT_101);

  const imageC::LayerPlacement whole{0.0, 0.0, 1.0, 1.0, 0.0, 0.0, 1.0, 1.0};
  imageC::blendLayer(person, frame.destination, frame.destination, &whole, imageC::Normal, 1.0f,
                     true, false, 0);
  return 0;
}

KAZ_EFFECT_MAKER(CHumanSegmentationCaptureBlur)
