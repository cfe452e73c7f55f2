// SPDX-License-Identifier: MIT
#include "effects/human_segmentation.h"
#include "framework/registry.h"
#include "imaging/blend.h"

CHumanSegmentationCapture::CHumanSegmentationCapture(vorta::FilterInfoPtr info, int32_t variant)
    // The class shares one capture model; any other variant is this filter's own.
    : CHumanSegmentation(std::move(info), variant,
                         variant == vorta::kSegCapture ? "CHumanSegmentationCapture" : "") {}

void CHumanSegmentationCapture::ReadParameters() { ReadEdges(true); }

void CHumanSegmentationCapture::ComposeFourChannels(const cv::Mat& src, const cv::Mat& mask,
                                                    const cv::Mat& dst) {
  imageC::whiteBlend(src, mask, dst);
}

KAZ_EFFECT_MAKER(CHumanSegmentationCapture)
