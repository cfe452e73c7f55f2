// SPDX-License-Identifier: MIT
#include "effects/human_segmentation.h"

#include <opencv2/imgproc.hpp>

#include "effects/effect_support.h"
#include "framework/registry.h"
#include "imaging/blend.h"
#include "kaz/ai_data.h"

using vorta::kKindFloat;

CHumanSegmentation::CHumanSegmentation(vorta::FilterInfoPtr info)
    : CHumanSegmentation(std::move(info), vorta::kSegHighAccuracy, "CHumanSegmentation") {}

CHumanSegmentation::CHumanSegmentation(vorta::FilterInfoPtr info, int32_t variant,
                                       const char* sharedBy)
    : NLEAIEffectFilter(info), person_(info.get(), variant, sharedBy) {}

CHumanSegmentation::~CHumanSegmentation() = default;

int32_t CHumanSegmentation::Transform(unsigned char* dst, int32_t dstWidth, int32_t dstHeight,
                                      int32_t dstStride, unsigned char* aux, int32_t auxWidth,
                                      int32_t auxHeight, int32_t auxStride,
                                      const unsigned char* src, int32_t srcWidth, int32_t srcHeight,
                                      int32_t srcStride) {
  return TransformChannels(dst, dstWidth, dstHeight, dstStride, aux, auxWidth, auxHeight, auxStride,
                           src, srcWidth, srcHeight, srcStride, 4, 4, 4);
}

void CHumanSegmentation::ReadEdges(bool underscoreToo) {
  vorta::ReadNumber(*this, "Edge Thickness", underscoreToo, kKindFloat, thickness_);
  vorta::ReadNumber(*this, "Edge Feather", underscoreToo, kKindFloat, feather_);
}

void CHumanSegmentation::ReadNeedGray() {
  float gray = needGray_ ? 1.0f : 0.0f;
  vorta::ReadNumber(*this, kKAZNeedGrayImageName, false, kKindFloat, gray);
  needGray_ = gray > 0.0f;
}

void CHumanSegmentation::ReadParameters() {
  ReadEdges(true);
  ReadNeedGray();
}

int32_t CHumanSegmentation::TransformChannels(unsigned char* dst, int32_t, int32_t,
                                              int32_t dstStride, unsigned char*, int32_t, int32_t,
                                              int32_t, const unsigned char* src, int32_t srcWidth,
                                              int32_t srcHeight, int32_t srcStride,
                                              int32_t dstChannels, int32_t, int32_t srcChannels) {
  if (src == nullptr || dst == nullptr) return 1;
  if (srcChannels != 4 || (dstChannels != 4 && dstChannels != 1)) return 1;
  ReadParameters();
  vorta::EdgeSizes sizes;
  if (!vorta::ComputeEdgeSizes(GetGUID(), thickness_, feather_, 0.0, srcWidth, srcHeight, &sizes))
    return 1;
  vorta::FrameImages frame =
      vorta::WrapFrame(src, srcWidth, srcHeight, srcStride, dst, dstStride, dstChannels);
  cv::Mat mask;
  const bool sameCounts = dstChannels == srcChannels;
  if (!person_.Run(frame.source, sizes, mask, sameCounts ? &frame.destination : nullptr)) return 0;

  // Composing reads the source after the destination is written, so an aliased source is copied.
  if (vorta::Overlap(frame.source, frame.destination)) frame.source = frame.source.clone();
  if (dstChannels == 4) {
    if (sendsGray_) SendGrayImage(mask, srcStride);
    ComposeFourChannels(frame.source, mask, frame.destination);
  } else {
    ComposeOneChannel(frame.source, mask, frame.destination);
  }
  return 0;
}

void CHumanSegmentation::SendGrayImage(const cv::Mat& mask, int32_t stride) const {
  if (!needGray_ || AiDataTransferPointer() == nullptr) return;
  KAZAiDataReceiver* receiver =
      static_cast<AIDATA::BaseAIDATA*>(AiDataTransferPointer())->AsReceiver();
  if (receiver == nullptr) return;
  // Rows as far apart as the source's, since the receiver is told the source stride.
  std::vector<unsigned char> pixels(static_cast<size_t>(stride) * mask.rows);
  cv::Mat gray(mask.rows, mask.cols, CV_8UC4, pixels.data(), stride);
  cv::cvtColor(mask, gray, cv::COLOR_GRAY2BGRA);
  receiver->ReceiveGrayImage(pixels.data(), mask.cols, mask.rows, stride);
}

void CHumanSegmentation::ComposeFourChannels(const cv::Mat& src, const cv::Mat& mask,
                                             const cv::Mat& dst) {
  imageC::maskBlend(src, mask, dst);
}

void CHumanSegmentation::ComposeOneChannel(const cv::Mat&, const cv::Mat& mask,
                                           const cv::Mat& dst) {
  mask.copyTo(dst);
}

KAZ_EFFECT_MAKER(CHumanSegmentation)
