// SPDX-License-Identifier: MIT
#include "effects/human_segmentation.h"

CHumanSegmentationEffect::CHumanSegmentationEffect(vorta::FilterInfoPtr info)
    : CHumanSegmentation(std::move(info), kSegEffect,
                         vorta::SharedAiSlot::kHumanSegmentationEffect) {
  // The edge belongs to the effect's design, not to the user: taken once from the description.
  ReadEdges(true);
}

void CHumanSegmentationEffect::ReadParameters() { ReadNeedGray(); }
