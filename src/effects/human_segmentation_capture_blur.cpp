// SPDX-License-Identifier: MIT
#include "effects/human_segmentation_capture_blur.h"

#include <opencv2/imgproc.hpp>

#include "ai/human_seg.h"
#include "effects/human_segmentation.h"
#include "effects/segmentation_common.h"
#include "imaging/blend.h"

CHumanSegmentationCaptureBlur::CHumanSegmentationCaptureBlur(vorta::FilterInfoPtr info)
    : NLEAIEffectFilter(info) {
  if (info) {
    resourceDir_ = info->ResourceDir();
    cloudResourceDir_ = info->CloudResourceDir();
  }
  modelDir_ = vorta::ModelDirectory(info.get());
}

CHumanSegmentationCaptureBlur::~CHumanSegmentationCaptureBlur() = default;

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
  const vorta::EdgeSizes sizes =
      vorta::ComputeEdgeSizes(thickness_, feather_, backBlur_, srcWidth, srcHeight);

  cv::Mat source(srcHeight, srcWidth, CV_8UC4, const_cast<unsigned char*>(src), srcStride);
  const cv::Mat destination(srcHeight, srcWidth, CV_8UC4, dst, dstStride);
  cv::Mat mask = cv::Mat::zeros(srcHeight, srcWidth, CV_8UC1);

  if (!segmenter_) {
    segmenter_ = std::make_unique<QuorinHumanSeg>(resourceDir_, cloudResourceDir_, modelDir_,
                                                  kSegHighAccuracy);
    // Without a model there is nothing to keep: try again on the next frame.
    if (!segmenter_->Created()) segmenter_.reset();
  }
  if (!segmenter_ || !segmenter_->Process(source, mask)) {
    vorta::PassThrough(source, destination);
    return 0;
  }
  vorta::RefineMask(mask, sizes);

  cv::Mat person(srcHeight, srcWidth, CV_8UC4);
  imageC::maskBlend(source, mask, person);

  // The blur reads around each pixel, so a source that shares bytes with the destination (other
  // than exactly) must be read from a copy.
  if (vorta::Overlap(source, destination) && source.data != destination.data) {
    source = source.clone();
  }
  cv::Mat blurred = destination;
  const double sigma = sizes.backBlur;
  cv::GaussianBlur(source, blurred, cv::Size(sizes.backBlur, sizes.backBlur), sigma, sigma,
                   cv::BORDER_REFLECT_101);

  const imageC::LayerPlacement whole{0.0, 0.0, 1.0, 1.0, 0.0, 0.0, 1.0, 1.0};
  imageC::blendLayer(person, destination, destination, &whole, imageC::Normal, 1.0f, true, false,
                     0);
  return 0;
}
