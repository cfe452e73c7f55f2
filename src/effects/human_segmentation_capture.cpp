// SPDX-License-Identifier: MIT
#include "effects/human_segmentation.h"
#include "imaging/white_blend.h"

CHumanSegmentationCapture::CHumanSegmentationCapture(vorta::FilterInfoPtr info, int32_t variant)
    // The class shares one capture model; any other variant is this filter's own.
    : CHumanSegmentation(std::move(info), variant,
                         variant == kSegCapture ? vorta::SharedAiSlot::kHumanSegmentationCapture
                                                : vorta::SharedAiSlot::kCount) {}

void CHumanSegmentationCapture::ReadParameters() { ReadEdges(true); }

void CHumanSegmentationCapture::ComposeFourChannels(const cv::Mat& src, const cv::Mat& mask,
                                                    const cv::Mat& dst) {
  imageC::whiteBlend(src, mask, dst);
}
