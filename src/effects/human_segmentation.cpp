// SPDX-License-Identifier: MIT
#include "effects/human_segmentation.h"

#include <opencv2/imgproc.hpp>

#include "ai/human_seg.h"
#include "effects/segmentation_common.h"
#include "imaging/blend.h"
#include "kaz/ai_data.h"

using vorta::kKindFloat;

CHumanSegmentation::CHumanSegmentation(vorta::FilterInfoPtr info)
    : CHumanSegmentation(std::move(info), kSegHighAccuracy,
                         vorta::SharedAiSlot::kHumanSegmentation) {}

CHumanSegmentation::CHumanSegmentation(vorta::FilterInfoPtr info, int32_t variant,
                                       vorta::SharedAiSlot slot)
    : NLEAIEffectFilter(info), variant_(variant), slot_(slot) {
  if (info) {
    resourceDir_ = info->ResourceDir();
    cloudResourceDir_ = info->CloudResourceDir();
  }
  modelDir_ = vorta::ModelDirectory(info.get());
}

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
  vorta::ReadNumber(*this, "need gray Image", false, kKindFloat, gray);
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
  const vorta::EdgeSizes sizes =
      vorta::ComputeEdgeSizes(thickness_, feather_, 0.0, srcWidth, srcHeight);

  cv::Mat source(srcHeight, srcWidth, CV_8UC4, const_cast<unsigned char*>(src), srcStride);
  const cv::Mat destination(srcHeight, srcWidth, dstChannels == 4 ? CV_8UC4 : CV_8UC1, dst,
                            dstStride);
  cv::Mat mask = cv::Mat::zeros(srcHeight, srcWidth, CV_8UC1);

  if (!segmenter_) {
    if (slot_ == vorta::SharedAiSlot::kCount) {
      auto own =
          std::make_shared<QuorinHumanSeg>(resourceDir_, cloudResourceDir_, modelDir_, variant_);
      if (own->Created()) segmenter_ = std::move(own);
    } else {
      segmenter_ =
          vorta::SharedSegmenter(slot_, variant_, resourceDir_, cloudResourceDir_, modelDir_);
    }
  }
  if (!segmenter_ || !segmenter_->Process(source, mask)) {
    if (dstChannels == srcChannels) vorta::PassThrough(source, destination);
    return 0;
  }
  vorta::RefineMask(mask, sizes);

  // Composing reads the source after the destination is written, so an aliased source is copied.
  if (vorta::Overlap(source, destination)) source = source.clone();
  if (dstChannels == 4) {
    SendGrayImage(mask, srcStride);
    ComposeFourChannels(source, mask, destination);
  } else {
    ComposeOneChannel(source, mask, destination);
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
