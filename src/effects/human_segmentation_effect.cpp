// SPDX-License-Identifier: MIT
#include "effects/human_segmentation.h"
#include "framework/registry.h"

CHumanSegmentationEffect::CHumanSegmentationEffect(vorta::FilterInfoPtr info)
    : CHumanSegmentation(std::move(info), vorta::kSegEffect, "CHumanSegmentationEffect") {
  // The edge belongs to the effect's design, not to the user: taken once from the description.
  ReadEdges(true);
}

void CHumanSegmentationEffect::ReadParameters() { ReadNeedGray(); }

KAZ_EFFECT_MAKER(CHumanSegmentationEffect)
