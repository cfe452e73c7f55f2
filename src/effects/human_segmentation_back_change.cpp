// SPDX-License-Identifier: MIT
// Everything behind the person replaced by a picture, a picture sequence or a colour, with an
// optional blur of the new background and a light wrap of its colour over the person's edge.
#include <algorithm>
#include <cmath>
#include <string>

#include <opencv2/imgproc.hpp>

#include "effects/effect_support.h"
#include "effects/person_mask.h"
#include "effects/picture_layers.h"
#include "framework/registry.h"
#include "imaging/blend.h"

class CHumanSegmentationBackChange : public vorta::NLEAIEffectFilter {
 public:
  explicit CHumanSegmentationBackChange(vorta::FilterInfoPtr info)
      : NLEAIEffectFilter(info),
        person_(info.get(), vorta::kSegHighAccuracy, "CHumanSegmentationBackChange"),
        resourceDir_(info ? info->ResourceDir() : std::string()) {}

  int32_t Transform(unsigned char* dst, int32_t dstWidth, int32_t dstHeight, int32_t dstStride,
                    unsigned char* aux, int32_t auxWidth, int32_t auxHeight, int32_t auxStride,
                    const unsigned char* src, int32_t srcWidth, int32_t srcHeight,
                    int32_t srcStride) override;

 private:
  // The new background for this frame at the canvas size, opaque colour when no picture loads.
  cv::Mat Background(cv::Size canvas) const;
  void LightWrap(const cv::Mat& mask, const cv::Mat& background, double scale, cv::Mat& source);

  float thickness_ = 0.0f;
  float feather_ = 0.0f;
  int32_t blur_ = 0;
  int32_t wrap_ = 0;
  int32_t color_ = 0x000000;
  std::string path_;
  vorta::PersonMask person_;
  std::string resourceDir_;
};

cv::Mat CHumanSegmentationBackChange::Background(cv::Size canvas) const {
  if (!path_.empty()) {
    const cv::Mat picture = vorta::PictureSequences::Instance().Frame(
        vorta::ResourcePath(resourceDir_, path_), CurrentTime(), canvas);
    if (!picture.empty()) return picture.clone();
  }
  // 0xRRGGBB, as a colour well gives it; always opaque.
  const uint32_t c = static_cast<uint32_t>(color_);
  return cv::Mat(canvas, CV_8UC4, cv::Scalar(c & 0xFF, (c >> 8) & 0xFF, (c >> 16) & 0xFF, 255));
}

void CHumanSegmentationBackChange::LightWrap(const cv::Mat& mask, const cv::Mat& background,
                                             double scale, cv::Mat& source) {
  const uint32_t strength = static_cast<uint32_t>(std::clamp(wrap_, 0, 100) * 255 / 100);
  if (strength == 0) return;
  // The wrap reaches about 6 pixels into the person at the 640-pixel reference.
  const int side = 2 * std::max(1, static_cast<int>(std::floor(scale * 6.0))) + 1;
  cv::Mat blurred, weight(mask.size(), CV_8UC1);
  cv::blur(mask, blurred, cv::Size(side, side), cv::Point(-1, -1), cv::BORDER_REFLECT_101);
  imageC::edgeWeight(blurred, mask, strength, weight);
  imageC::lerpToward(background, weight, source);
}

int32_t CHumanSegmentationBackChange::Transform(unsigned char* dst, int32_t, int32_t,
                                                int32_t dstStride, unsigned char*, int32_t, int32_t,
                                                int32_t, const unsigned char* src, int32_t srcWidth,
                                                int32_t srcHeight, int32_t srcStride) {
  if (src == nullptr || dst == nullptr) return 1;
  vorta::ReadNumber(*this, "Edge Thickness", true, vorta::kKindFloat, thickness_);
  vorta::ReadNumber(*this, "Edge Feather", true, vorta::kKindFloat, feather_);
  vorta::ReadNumber(*this, "Background Blur", true, vorta::kKindInt, blur_);
  vorta::ReadNumber(*this, "Light Wrap", true, vorta::kKindInt, wrap_);
  vorta::ReadNumber(*this, "Background Color", true, vorta::kKindInt, color_);
  vorta::ReadText(*this, "Background Path", path_);
  vorta::EdgeSizes sizes;
  if (!vorta::ComputeEdgeSizes(GetGUID(), thickness_, feather_, blur_, srcWidth, srcHeight, &sizes))
    return 1;
  const vorta::FrameImages frame =
      vorta::WrapFrame(src, srcWidth, srcHeight, srcStride, dst, dstStride, 4);
  cv::Mat mask;
  if (!person_.Run(frame.source, sizes, mask, &frame.destination)) return 0;

  const cv::Size canvas = frame.source.size();
  cv::Mat background = Background(canvas);
  if (sizes.backBlur > 1) {
    const double sigma = sizes.backBlur;
    cv::GaussianBlur(background, background, cv::Size(sizes.backBlur, sizes.backBlur), sigma, sigma,
                     cv::BORDER_REFLECT_101);
  }
  cv::Mat person = frame.source.clone();
  LightWrap(mask, background, std::max(srcWidth, srcHeight) / 640.0, person);
  imageC::maskBlend(person, mask, person);
  const imageC::LayerPlacement whole{0.0, 0.0, 1.0, 1.0, 0.0, 0.0, 1.0, 1.0};
  imageC::blendLayer(person, background, background, &whole, imageC::Normal, 1.0f, true, false, 0);
  background.copyTo(frame.destination);
  return 0;
}

KAZ_EFFECT_MAKER(CHumanSegmentationBackChange)
