// SPDX-License-Identifier: MIT
#include "effects/human_segmentation.h"
#include "framework/registry.h"

CHumanSegmentationHair::CHumanSegmentationHair(vorta::FilterInfoPtr info)
    : CHumanSegmentation(std::move(info), vorta::kSegHair, "CHumanSegmentationHair") {}

void CHumanSegmentationHair::ReadParameters() {
  ReadEdges(false);
  ReadNeedGray();
}

KAZ_EFFECT_MAKER(CHumanSegmentationHair)
