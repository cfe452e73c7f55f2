// SPDX-License-Identifier: MIT
#include "effects/human_segmentation.h"
#include "framework/registry.h"
#include "imaging/blend.h"

CHumanSegmentationHighAccMask::CHumanSegmentationHighAccMask(vorta::FilterInfoPtr info)
    : CHumanSegmentation(std::move(info), vorta::kSegHighAccuracy,
                         "CHumanSegmentationHighAccMask") {
  // As for the effect-model member, the edge is the description's, fixed at creation.
  ReadEdges(true);
  // The mask leaves only as this effect's own output, never as a grey image to the receiver.
  sendsGray_ = false;
}

void CHumanSegmentationHighAccMask::ReadParameters() { ReadNeedGray(); }

void CHumanSegmentationHighAccMask::ComposeOneChannel(const cv::Mat& src, const cv::Mat& mask,
                                                      const cv::Mat& dst) {
  imageC::alphaLimitedMask(src, mask, dst);
}

void CHumanSegmentationHighAccMask::ComposeFourChannels(const cv::Mat& src, const cv::Mat& mask,
                                                        const cv::Mat& dst) {
  imageC::alphaLimitedCutOut(src, mask, dst);
}

KAZ_EFFECT_MAKER(CHumanSegmentationHighAccMask)
